// Remembers for the user's session that the principal could not be looked up,
// so that not every command waits for a server that is not there.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_LOOKUP_MEMORY_H
#define OSTREL_TOOLS_OSTREL_SESSION_LOOKUP_MEMORY_H

#include <optional>

namespace ostrel::tools::cli {

// How long a failure counts, in seconds.
constexpr long kLookupMemory = 5 * 60;

// The file is $XDG_RUNTIME_DIR/ostrel/no-principal, and its time is that of the
// failure. Where the folders or the file are not this user's alone, nothing is
// remembered.

// How many seconds ago the lookup failed; nothing when that is not known, or
// too long ago to count.
std::optional<long> failedLookupAge();

void rememberFailedLookup();
void forgetFailedLookup();

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_LOOKUP_MEMORY_H
