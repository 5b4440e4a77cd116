// The options that every command has.

#ifndef OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H
#define OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H

#include <string>

namespace ostrel::tools::cli {

// What the times are when nobody gives them.
constexpr long kUsualTimeout = 3;
constexpr int kUsualRetries = 2;

struct Settings {
  std::string server;            // HOST or HOST:PORT; empty: this host
  std::string directory;         // the same; empty: it is found by multicast
  std::string principal;         // an identifier or "none"; empty: look it up
  long timeout = kUsualTimeout;  // seconds until a request is sent again
  int retries = kUsualRetries;   // how often it is sent again
  bool dryRun = false;
  bool json = false;
  bool quiet = false;
  bool trace = false;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H
