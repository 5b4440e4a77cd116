// What the client's errors are to the tool: how it ends, what it says, and what
// to do about it.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_FAILURES_H
#define OSTREL_TOOLS_OSTREL_SESSION_FAILURES_H

#include <ostrel/result.h>

#include "terminal/failure.h"

namespace ostrel::tools::cli {

// Whom a request went to decides what to do when nobody is there.
enum class Asked { kObjectServer, kDirectory };

// Why a request to that server failed.
Failure failureOf(const Error& error, const Endpoint& server,
                  Asked asked = Asked::kObjectServer);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_FAILURES_H
