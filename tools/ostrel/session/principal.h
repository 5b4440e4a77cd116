// On whose behalf requests are made: the principal of this user, as the object
// server of this host knows it. The client could look it up itself, but tells
// nobody how long that takes, and forgets a failure when the program ends.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H
#define OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H

#include <ostrel/client.h>

namespace ostrel::tools::cli {

class Session;

// Asks for it. The server that the request itself goes to is `to`, not valid
// for several: another than this host's does without the principal, so that
// nobody waits long, and for five minutes after a failure it is not looked for
// again.
// Returns an invalid identifier, and tells people why, when there is none.
// Throws Failure when a signal came, or the server is the same and silent.
Oid lookUpPrincipal(Session& session, const Endpoint& to);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_PRINCIPAL_H
