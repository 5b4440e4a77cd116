#include "support/own_addresses.h"

#include <ifaddrs.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <set>

#include "common/addresses.h"

namespace ostrel::tools::server {
namespace {

using Time = std::chrono::steady_clock::time_point;
constexpr std::chrono::seconds kLookAgain{10};

std::set<in_addr_t> addressesOfInterfaces() {
  std::set<in_addr_t> result;
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return result;
  for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET)
      continue;
    sockaddr_in address;
    std::memcpy(&address, each->ifa_addr, sizeof address);
    result.insert(address.sin_addr.s_addr);
  }
  freeifaddrs(first);
  return result;
}

}  // namespace

bool isOwnAddress(in_addr address) {
  if (isLoopback(address)) return true;
  static std::set<in_addr_t> known;
  static std::optional<Time> lookedAt;
  const Time now = std::chrono::steady_clock::now();
  if (!lookedAt || now - *lookedAt >= kLookAgain) {
    known = addressesOfInterfaces();
    lookedAt = now;
  }
  return known.count(address.s_addr) != 0;
}

}  // namespace ostrel::tools::server
