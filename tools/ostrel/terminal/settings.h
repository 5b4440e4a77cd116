// The options that every command has.

#ifndef OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H
#define OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H

#include <string>

namespace ostrel::tools::cli {

struct Settings {
  std::string server;     // HOST or HOST:PORT; empty: this host
  std::string directory;  // the same; empty: it is found by multicast
  std::string principal;  // an identifier or "none"; empty: look it up
  long timeout = 3;       // seconds until a request is sent again
  int retries = 2;        // how often it is sent again
  bool dryRun = false;
  bool json = false;
  bool quiet = false;
  bool trace = false;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_TERMINAL_SETTINGS_H
