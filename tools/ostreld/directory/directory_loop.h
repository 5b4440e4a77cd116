// "ostreld directory": the directory server's parts put together, and the group
// that it hears.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H

#include <ostrel/codes.h>

#include <functional>
#include <string>
#include <vector>

#include "net/server_loop.h"

namespace ostrel::tools::server {

struct DirectoryOptions : ServerOptions {
  DirectoryOptions() {
    port = kDirectoryPort;
    // So short that a search leaves at once for all object servers.
    longestRequest = 24 << 10;
    requestsPerSecond = 1000;
  }

  std::vector<std::string> servers;
  std::string serverFile;  // read again on SIGHUP; may be empty
  bool multicast = true;
  std::vector<in_addr> interfaces;  // where the group is joined; none: where
                                    // the server listens
  long timeout = 1;                 // seconds until a server is asked again
  int retries = 1;                  // how often it is
};

// Reads the options again and hands them to `take`, which changes nothing when
// it throws. Throws std::exception.
using RereadDirectoryOptions = std::function<void(
    const std::function<void(const DirectoryOptions&)>& take)>;

// Serves until a signal ends it; SIGHUP takes over what can change meanwhile.
// Returns the exit code; throws std::runtime_error when it cannot begin.
int serveDirectory(const DirectoryOptions& options,
                   const RereadDirectoryOptions& reread);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H
