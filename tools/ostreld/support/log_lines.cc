#include "support/log_lines.h"

#include "common/addresses.h"
#include "common/utf8.h"

namespace ostrel::tools::server {

LogLine lineOf(const Refusal& refusal) {
  const std::string as =
      refusal.principal.empty() ? "" : " as " + refusal.principal;
  LogLine line = {Level::kInfo,
                  "refused " + endpointText(refusal.who) + as + ": " +
                      refusal.what + ": " + refusal.why,
                  {{"OSTREL_ADDRESS", addressText(refusal.who.sin_addr)},
                   {"OSTREL_PORT", std::to_string(ntohs(refusal.who.sin_port))},
                   {"OSTREL_REFUSED", refusal.what},
                   {"OSTREL_REASON", refusal.why}}};
  if (!refusal.principal.empty())
    line.fields.emplace_back("OSTREL_PRINCIPAL", refusal.principal);
  return line;
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

std::string harmless(std::string_view text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    const std::string_view character = text.substr(0, length ? length : 1);
    text.remove_prefix(character.size());
    if (length != 0 && !isHidden(character)) {
      result += character;
      continue;
    }
    for (const char c : character) {
      const auto byte = static_cast<unsigned char>(c);
      result += "\\x";
      result.push_back(kHex[byte >> 4]);
      result.push_back(kHex[byte & 0xF]);
    }
  }
  return result;
}

std::string timeText(const timespec& time) {
  constexpr long kNanosecondsOfMillisecond = 1000000;
  tm parts = {};
  gmtime_r(&time.tv_sec, &parts);
  char seconds[sizeof "2026-11-22T10:11:12"] = "";
  std::strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
  const std::string digits =
      std::to_string(1000 + time.tv_nsec / kNanosecondsOfMillisecond);
  return seconds + ("." + digits.substr(1)) + "Z";
}

void LogFilter::take(const LogLine& line, const std::string& key, Time now) {
  flush(now);
  const std::string known = nameOf(line.level) + (" " + key);
  const auto found = byKey_.find(known);
  if (found != byKey_.end()) {
    found->second->repeats++;
    return;
  }
  Count& count = countOf(line.level);
  if (count.written >= kMost) {
    count.leftOut++;
    return;
  }
  count.written++;
  recent_.push_back({line, known, now, 0});
  byKey_[known] = std::prev(recent_.end());
  write_(line);
}

void LogFilter::flush(Time now) {
  while (!recent_.empty() &&
         (now == Time::max() || now - recent_.front().at >= kQuiet))
    forgetOldest();
}

void LogFilter::forgetOldest() {
  const Written oldest = std::move(recent_.front());
  recent_.pop_front();
  byKey_.erase(oldest.key);
  const Level level = oldest.line.level;
  Count& count = countOf(level);
  count.written--;
  if (oldest.repeats != 0) {
    LogLine again = oldest.line;
    again.text += " (" + std::to_string(oldest.repeats) + " more times)";
    write_(again);
  }
  if (count.written != 0 || count.leftOut == 0) return;
  write_({level,
          std::to_string(count.leftOut) + " more lines were left out: too many "
                                          "in ten seconds",
          {}});
  count.leftOut = 0;
}

}  // namespace ostrel::tools::server
