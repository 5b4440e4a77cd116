#include "support/service_manager.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#ifdef OSTREL_HAS_SYSTEMD
#include <systemd/sd-daemon.h>
#include <systemd/sd-journal.h>
#endif

namespace ostrel::tools::server {
namespace {

#ifdef OSTREL_HAS_SYSTEMD
bool sendFields(const iovec* fields, int count) {
  return sd_journal_sendv(fields, count) == 0;
}

void tell(const std::string& state) { sd_notify(0, state.c_str()); }

std::chrono::microseconds watchdogTime() {
  std::uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0) microseconds = 0;
  return std::chrono::microseconds(microseconds);
}
#else
bool sendFields(const iovec*, int) { return false; }
void tell(const std::string&) {}
std::chrono::microseconds watchdogTime() { return {}; }
#endif

// As syslog numbers them.
int priorityOf(Level level) {
  constexpr int kPriorities[] = {3, 4, 6, 7};
  return kPriorities[static_cast<std::size_t>(level)];
}

}  // namespace

bool journalReadsErrors() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat file = {};
  if (stream == nullptr || fstat(STDERR_FILENO, &file) != 0) return false;
  return stream ==
         std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
}

std::vector<std::string> journalFields(const LogLine& line) {
  std::vector<std::string> fields = {
      "MESSAGE=" + line.text,
      "PRIORITY=" + std::to_string(priorityOf(line.level)),
      "SYSLOG_IDENTIFIER=ostreld"};
  for (const auto& [name, value] : line.fields)
    fields.push_back(std::string(name) + "=" + value);
  return fields;
}

bool sendToJournal(const LogLine& line) {
  std::vector<std::string> fields = journalFields(line);
  std::vector<iovec> parts;
  for (std::string& field : fields)
    parts.push_back({field.data(), field.size()});
  return sendFields(parts.data(), static_cast<int>(parts.size()));
}

void tellReady() { tell("READY=1"); }

void tellReloading() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  constexpr std::int64_t kMicroseconds = 1000000;
  const std::int64_t time = now.tv_sec * kMicroseconds + now.tv_nsec / 1000;
  tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(time));
}

void tellStopping() { tell("STOPPING=1"); }

// Half the time, so that one turn may take as long.
Watchdog::Watchdog()
    : interval_(std::chrono::duration_cast<std::chrono::milliseconds>(
          watchdogTime() / 2)) {}

int Watchdog::alive(int milliseconds, Time now) {
  if (interval_.count() == 0) return milliseconds;
  if (now >= next_) {
    tell("WATCHDOG=1");
    next_ = now + interval_;
  }
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(next_ - now);
  return std::min(milliseconds, static_cast<int>(left.count()) + 1);
}

}  // namespace ostrel::tools::server
