// What the system knows about datagrams that could not be delivered: the host
// that they went to says so when nobody listens at the port.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_REFUSALS_H
#define OSTREL_TOOLS_OSTREL_SESSION_REFUSALS_H

#include <netinet/in.h>

namespace ostrel::tools::cli {

// Has the system keep for a UDP socket what it is told.
void keepRefusals(int socket);

// Takes all that was kept, and returns whether it says that the port at `to` is
// closed. Other failures on the way may pass, so they count for nothing.
bool takeRefusals(int socket, const sockaddr_in& to);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_REFUSALS_H
