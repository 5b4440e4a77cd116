#include "support/log.h"

#include <chrono>
#include <cstdio>
#include <list>

namespace ostrel::tools::server {
namespace {

using Time = std::chrono::steady_clock::time_point;
constexpr std::chrono::seconds kQuiet{10};
constexpr std::size_t kMostRemembered = 16;

// A line that was written a short while ago.
struct Line {
  Level level;
  std::string text;
  Time at;
  unsigned repeats;  // that were not written
};

Level threshold = Level::kInfo;

// The oldest first. Never destroyed: lines are written to the very end.
std::list<Line>& recent() {
  static auto* const lines = new std::list<Line>;
  return *lines;
}

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

void write(Level level, const std::string& text) {
  // One call for each line: lines of several processes do not mix.
  const std::string line =
      std::string("ostreld: ") + nameOf(level) + ": " + harmless(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void forgetOldest() {
  const Line line = recent().front();
  recent().pop_front();
  if (line.repeats == 0) return;
  write(line.level,
        line.text + " (" + std::to_string(line.repeats) + " more times)");
}

}  // namespace

void setLogLevel(Level level) { threshold = level; }

bool logs(Level level) { return level <= threshold; }

void log(Level level, const std::string& text) {
  if (!logs(level)) return;
  if (level == Level::kDebug) return write(level, text);
  const Time now = std::chrono::steady_clock::now();
  while (!recent().empty() && now - recent().front().at >= kQuiet)
    forgetOldest();
  for (Line& line : recent()) {
    if (line.level != level || line.text != text) continue;
    line.repeats++;
    return;
  }
  if (recent().size() >= kMostRemembered) forgetOldest();
  recent().push_back({level, text, now, 0});
  write(level, text);
}

void logRepeats() {
  while (!recent().empty()) forgetOldest();
}

}  // namespace ostrel::tools::server
