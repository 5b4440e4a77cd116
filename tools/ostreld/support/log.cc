#include "support/log.h"

#include <cstdio>

#include "common/addresses.h"
#include "support/log_lines.h"
#include "support/service_manager.h"

namespace ostrel::tools::server {
namespace {

Level threshold = Level::kInfo;

void write(const LogLine& line) {
  LogLine safe = line;
  safe.text = harmless(line.text);
  for (auto& field : safe.fields) field.second = harmless(field.second);
  // The journal knows the time of its entries.
  static const bool journal = journalReadsErrors();
  if (journal && sendToJournal(safe)) return;
  std::string text;
  if (!journal) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    text = timeText(now) + " ";
  }
  // One call for each line: lines of several processes do not mix.
  text +=
      std::string("ostreld: ") + nameOf(line.level) + ": " + safe.text + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

// Never destroyed: lines are written to the very end.
LogFilter& filter() {
  static auto* const lines = new LogFilter(write);
  return *lines;
}

}  // namespace

void setLogLevel(Level level) { threshold = level; }

bool logs(Level level) { return level <= threshold; }

void log(Level level, const std::string& text) {
  if (!logs(level)) return;
  const LogLine line = {level, text, {}};
  if (level == Level::kDebug) return write(line);
  filter().take(line, text, std::chrono::steady_clock::now());
}

void logRefusal(const Refusal& refusal) {
  const LogLine line = lineOf(refusal);
  if (!logs(line.level)) return;
  const std::string key = addressText(refusal.who.sin_addr) + " " + refusal.why;
  filter().take(line, key, std::chrono::steady_clock::now());
}

void logRepeats() { filter().flush(); }

}  // namespace ostrel::tools::server
