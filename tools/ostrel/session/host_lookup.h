// A host's address, however long the name server takes.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_HOST_LOOKUP_H
#define OSTREL_TOOLS_OSTREL_SESSION_HOST_LOOKUP_H

#include <netinet/in.h>

#include <string>

#include "terminal/output.h"

namespace ostrel::tools::cli {

// An IPv4 host by name or address. Shows progress; throws Failure.
in_addr resolve(const std::string& host, Output& output);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_HOST_LOOKUP_H
