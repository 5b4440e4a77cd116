// This machine's addresses: whose sender has one of them is a program here.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_OWN_ADDRESSES_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_OWN_ADDRESSES_H

#include <netinet/in.h>

namespace ostrel::tools::server {

// Whether an address is one of the loopback network or of an interface. The
// interfaces are looked at every ten seconds at most.
bool isOwnAddress(in_addr address);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_OWN_ADDRESSES_H
