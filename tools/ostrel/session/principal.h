// On whose behalf requests are made: the principal of this user, as the object
// server of this host knows it.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H
#define OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H

#include <netinet/in.h>

#include "session/exchange.h"

namespace ostrel::tools::cli {

// Asks for it. The server that the request itself goes to is `to`: another
// than this host's does without the principal, so that nobody waits long, and
// for five minutes after a failure it is not looked for again.
// Returns an invalid identifier, and tells people why, when there is none.
// Throws Failure when a signal came, or the server is the same and silent.
veskOid lookUpPrincipal(Exchange& exchange, Output& output,
                        const sockaddr_in& to);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H
