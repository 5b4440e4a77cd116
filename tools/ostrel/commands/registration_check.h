// Whether a server still has a registration, and whether it is the same server
// as before: events are sent once, and nobody else tells of those that were
// not.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_REGISTRATION_CHECK_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_REGISTRATION_CHECK_H

#include <ostrel/type.h>

#include <optional>

#include "session/session.h"

namespace ostrel::tools::cli {

// A registration as it was made.
struct Registered {
  veskOid oid;
  veskOid object;
  veskAid event;
  veskAddress to;
  veskUnsignedShort port;
};

// Whether the server has it. A server that lost it may have given its
// identifier to another one: only the same one counts. Throws Failure when that
// cannot be told.
bool hasRegistration(Session& session, Registered& registered);

// When the server started, in seconds since 1970; nothing where it does not
// tell. Throws Failure when it does not answer.
std::optional<double> serverStart(Session& session);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_REGISTRATION_CHECK_H
