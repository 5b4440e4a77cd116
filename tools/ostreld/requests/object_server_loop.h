// "ostreld serve": the object server's parts put together, and its loop.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/codes.h"
#include "requests/policy.h"

namespace ostrel::tools::server {

struct ServeOptions {
  in_addr listen = {};
  std::uint16_t port = kObjectServerPort;
  std::string store;  // a path, or ":memory:"
  Policy policy;
  std::size_t longestRequest = 1 << 20;
  std::size_t longestAnswer = 256 << 10;
  unsigned requestsPerSecond = 10000;  // for each sender; 0: no limit
  double clockRate = 1;
};

// Serves until a signal ends it. Returns the exit code; throws
// std::runtime_error when it cannot begin.
int serve(const ServeOptions& options);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H
