// "ostreld directory": the directory's sockets and its loop.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/codes.h"

namespace ostrel::tools::server {

struct DirectoryOptions {
  in_addr listen = {};
  std::uint16_t port = kDirectoryPort;
  std::vector<std::string> servers;
  std::string serverFile;  // read again on SIGHUP; may be empty
  bool multicast = true;
  std::vector<in_addr> interfaces;  // where the group is joined; none: where
                                    // the server listens
  long timeout = 1;                 // seconds until a server is asked again
  int retries = 1;                  // how often it is
  // So short that a search leaves at once for all object servers.
  std::size_t longestRequest = 24 << 10;
  std::size_t longestAnswer = 256 << 10;
  unsigned requestsPerSecond = 1000;  // for each sender; 0: no limit
};

// Serves until a signal ends it. Returns the exit code; throws
// std::runtime_error when it cannot begin.
int serveDirectory(const DirectoryOptions& options);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_DIRECTORY_LOOP_H
