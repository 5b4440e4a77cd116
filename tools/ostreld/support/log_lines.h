// Lines of the log: which of them are written, and as what.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_LINES_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_LINES_H

#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "support/log.h"

namespace ostrel::tools::server {

struct LogLine {
  Level level;
  std::string text;

  // What the journal finds the line by, beside the text: "OSTREL_ADDRESS".
  std::vector<std::pair<const char*, std::string>> fields;
};

LogLine lineOf(const Refusal& refusal);

// "error", "warning", "info" or "debug".
const char* nameOf(Level level);

// A text without what a terminal could act on or hide: each byte of that, and
// of what is not UTF-8, becomes \xNN.
std::string harmless(std::string_view text);

// "2026-11-22T10:11:12.345Z", in UTC.
std::string timeText(const timespec& time);

// Holds back what repeats and what is too much.
class LogFilter {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Write = std::function<void(const LogLine&)>;

  // So long a line is not written again.
  static constexpr std::chrono::seconds kQuiet{10};

  // So many lines of a level are written in that time.
  static constexpr std::size_t kMost = 256;

  explicit LogFilter(Write write) : write_(std::move(write)) {}

  // Writes the line, or counts it where one with the key was written lately.
  void take(const LogLine& line, const std::string& key, Time now);

  // Writes the counts of lines that may be written again by now, or of all.
  void flush(Time now);
  void flush() { flush(Time::max()); }

 private:
  struct Written {
    LogLine line;
    std::string key;
    Time at;
    unsigned repeats;  // that were not written
  };

  // Of a level: how many were written lately, and left out as too many.
  struct Count {
    std::size_t written = 0;
    unsigned leftOut = 0;
  };
  Count& countOf(Level level) {
    return counts_[static_cast<std::size_t>(level)];
  }
  void forgetOldest();

  Write write_;
  std::list<Written> recent_;  // the oldest first
  std::unordered_map<std::string, std::list<Written>::iterator> byKey_;
  std::array<Count, static_cast<std::size_t>(Level::kDebug) + 1> counts_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_LINES_H
