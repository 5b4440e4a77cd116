#include "common/addresses.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <ostrel/codes.h>
#include <sys/socket.h>

#include <charconv>
#include <cstring>
#include <sstream>
#include <system_error>

namespace ostrel::tools {
namespace {

constexpr unsigned kAddressBits = 32;

// The bits of an address, in host order, that tell its network.
std::uint32_t maskOf(unsigned prefix) {
  if (prefix == 0) return 0;
  return 0xFFFFFFFF << (kAddressBits - prefix);
}

}  // namespace

std::optional<in_addr> parseAddress(const std::string& text) {
  in_addr address = {};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address;
}

HostLookup lookUpHost(const std::string& host) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &wanted, &found);
  if (code != 0) return {code, {}};
  sockaddr_in address;
  std::memcpy(&address, found->ai_addr, sizeof address);
  freeaddrinfo(found);
  return {code, address.sin_addr};
}

std::optional<ServerName> parseServerName(const std::string& text) {
  const std::size_t colon = text.find(':');
  ServerName server;
  server.host = text.substr(0, colon);
  if (server.host.empty()) return std::nullopt;
  if (colon == text.npos) return server;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + colon + 1, end, server.port);
  if (read.ec != std::errc() || read.ptr != end || server.port == 0)
    return std::nullopt;
  return server;
}

std::vector<std::string> serverNames(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream all(text);
  for (std::string name; std::getline(all, name, ',');)
    if (!name.empty()) names.push_back(name);
  return names;
}

sockaddr_in endpoint(in_addr address, std::uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr = address;
  return result;
}

bool sameEndpoint(const sockaddr_in& left, const sockaddr_in& right) {
  return left.sin_addr.s_addr == right.sin_addr.s_addr &&
         left.sin_port == right.sin_port;
}

in_addr loopbackAddress() { return {htonl(INADDR_LOOPBACK)}; }

in_addr directoryGroup() { return {htonl(kDirectoryGroup)}; }

bool isLoopback(in_addr address) {
  constexpr unsigned kLoopbackNet = 127;
  return ntohl(address.s_addr) >> 24 == kLoopbackNet;
}

bool isUnicast(in_addr address) {
  const std::uint32_t number = ntohl(address.s_addr);
  return number != INADDR_ANY && !IN_MULTICAST(number) && !IN_BADCLASS(number);
}

std::optional<Network> parseNetwork(const std::string& text) {
  const std::size_t slash = text.find('/');
  const auto address = parseAddress(text.substr(0, slash));
  if (!address) return std::nullopt;
  unsigned prefix = kAddressBits;
  if (slash != std::string::npos) {
    const std::string digits = text.substr(slash + 1);
    if (digits.empty() || digits.size() > 2 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
      return std::nullopt;
    prefix = static_cast<unsigned>(std::stoul(digits));
    if (prefix > kAddressBits) return std::nullopt;
  }
  if ((ntohl(address->s_addr) & ~maskOf(prefix)) != 0) return std::nullopt;
  return Network{*address, prefix};
}

bool contains(Network network, in_addr address) {
  const std::uint32_t differing =
      ntohl(network.address.s_addr) ^ ntohl(address.s_addr);
  return (differing & maskOf(network.prefix)) == 0;
}

std::string addressText(in_addr address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

std::string endpointText(const sockaddr_in& address) {
  return addressText(address.sin_addr) + ":" +
         std::to_string(ntohs(address.sin_port));
}

std::string serverText(const sockaddr_in& address, std::uint16_t usualPort) {
  return ntohs(address.sin_port) == usualPort ? addressText(address.sin_addr)
                                              : endpointText(address);
}

}  // namespace ostrel::tools
