// IPv4 addresses: from names and texts, and as texts.

#ifndef OSTREL_TOOLS_COMMON_ADDRESSES_H
#define OSTREL_TOOLS_COMMON_ADDRESSES_H

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostrel::tools {

// The address that four numbers with dots between stand for; no name is looked
// up.
std::optional<in_addr> parseAddress(const std::string& text);

// A host's address, from the system's names. This may take long.
struct HostLookup {
  int code = 0;  // of getaddrinfo(), for gai_strerror(); 0: found
  in_addr address = {};
};
HostLookup lookUpHost(const std::string& host);

// A server as people name it, HOST or HOST:PORT; port 0 when none is named.
struct ServerName {
  std::string host;
  std::uint16_t port = 0;
};
// Nothing when there is no host, or the port is no number from 1 to 65535.
std::optional<ServerName> parseServerName(const std::string& text);

// Names with commas between, without those that are empty.
std::vector<std::string> serverNames(const std::string& text);

// A port, in host order, at an address.
sockaddr_in endpoint(in_addr address, std::uint16_t port);
bool sameEndpoint(const sockaddr_in& left, const sockaddr_in& right);

in_addr loopbackAddress();
in_addr directoryGroup();

bool isLoopback(in_addr address);

// Whether the address may be one machine's: no multicast, no broadcast, not
// 0.0.0.0.
bool isUnicast(in_addr address);

// All addresses that begin with the same bits as `address`: "10.0.0.0/8".
struct Network {
  in_addr address = {};
  unsigned prefix = 0;  // bits, 0 to 32
};

// An address alone is a network of its own. What stands behind the prefix has
// to be 0.
std::optional<Network> parseNetwork(const std::string& text);
bool contains(Network network, in_addr address);

// "127.0.0.1" and "127.0.0.1:5135".
std::string addressText(in_addr address);
std::string endpointText(const sockaddr_in& address);

// The shorter one where the port is the usual one.
std::string serverText(const sockaddr_in& address, std::uint16_t usualPort);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_ADDRESSES_H
