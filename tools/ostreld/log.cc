#include "log.h"

#include <chrono>
#include <cstdio>

namespace ostreld {
namespace {

using Time = std::chrono::steady_clock::time_point;
constexpr std::chrono::seconds kQuiet{10};

Level threshold = Level::kInfo;
std::string lastText;
Time lastTime;

const char* nameOf(Level level) {
  switch (level) {
    case Level::kError:
      return "error";
    case Level::kWarning:
      return "warning";
    case Level::kInfo:
      return "info";
    default:
      return "debug";
  }
}

std::string harmless(const std::string& text) {
  constexpr char kHex[] = "0123456789abcdef";
  constexpr unsigned char kDelete = 0x7F;
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != kDelete) {
      result.push_back(c);
      continue;
    }
    result += "\\x";
    result.push_back(kHex[byte >> 4]);
    result.push_back(kHex[byte & 0xF]);
  }
  return result;
}

}  // namespace

void setLogLevel(Level level) { threshold = level; }

bool logs(Level level) { return level <= threshold; }

void log(Level level, const std::string& text) {
  if (!logs(level)) return;
  const Time now = std::chrono::steady_clock::now();
  if (level != Level::kDebug) {
    if (text == lastText && now - lastTime < kQuiet) return;
    lastText = text;
    lastTime = now;
  }
  // One call for each line: lines of several processes do not mix.
  const std::string line =
      std::string("ostreld: ") + nameOf(level) + ": " + harmless(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace ostreld
