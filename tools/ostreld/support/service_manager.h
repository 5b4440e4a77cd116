// The system's service manager and its journal, where the server runs under
// them. Built without libsystemd, nothing is told to either.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_SERVICE_MANAGER_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_SERVICE_MANAGER_H

#include <chrono>
#include <string>
#include <vector>

#include "support/log_lines.h"

namespace ostrel::tools::server {

// Whether standard error leads to the journal.
bool journalReadsErrors();

// The fields of a line's entry: "MESSAGE=...", "PRIORITY=6" and the line's own.
std::vector<std::string> journalFields(const LogLine& line);

// Returns whether the journal has the line now.
bool sendToJournal(const LogLine& line);

// Tells the manager, if there is one, that requests are served, that the
// server's settings are read again, and that it ends.
void tellReady();
void tellReloading();
void tellStopping();

// Tells the manager in time that the server is not stuck.
class Watchdog {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Watchdog();

  // To be called in each turn. Returns the milliseconds to wait: those given,
  // or fewer, so that the next turn comes in time.
  int alive(int milliseconds, Time now);

 private:
  std::chrono::milliseconds interval_{0};  // 0: nobody wants to know
  Time next_{};
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_SERVICE_MANAGER_H
