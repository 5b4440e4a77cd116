// "ostreld serve": the object server's parts put together.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H

#include <ostrel/codes.h>

#include <chrono>
#include <functional>
#include <string>

#include "net/server_loop.h"
#include "objects/registrations.h"
#include "requests/policy.h"
#include "store/schema.h"
#include "support/limits.h"

namespace ostrel::tools::server {

struct ObjectServerOptions : ServerOptions {
  ObjectServerOptions() {
    port = kObjectServerPort;
    longestRequest = 1 << 20;
    requestsPerSecond = 10000;
  }

  std::string store;  // a path, or kInMemory
  bool checkPages = true;
  Unindexed unindexed;
  Policy policy;
  RegistrationRules registrations;
  std::size_t mostValues = kMostValues;  // of a request, and of an object
  std::chrono::seconds budget{10};       // of work for a request
  std::size_t cacheBytes = 64 << 20;     // of objects that were read
  double clockRate = 1;
};

// Reads the options again and hands them to `take`, which changes nothing when
// it throws. Throws std::exception.
using RereadObjectServerOptions = std::function<void(
    const std::function<void(const ObjectServerOptions&)>& take)>;

// Serves until a signal ends it; SIGHUP takes over what can change meanwhile.
// Returns the exit code; throws std::runtime_error when it cannot begin.
int serveObjects(const ObjectServerOptions& options,
                 const RereadObjectServerOptions& reread);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_OBJECT_SERVER_LOOP_H
