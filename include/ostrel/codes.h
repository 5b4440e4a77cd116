// The numbers that clients and servers agree on: return codes, ports, the
// directory's multicast group and the limits of a fragment.

#ifndef OSTREL_CODES_H
#define OSTREL_CODES_H

#include <cstdint>

namespace ostrel {

// What operations return and answers have for their status. Codes 13 to 42 have
// a text and no use here; veskGetErrorString() of veskError.h knows it.
constexpr int kNoError = 0;
constexpr int kArgListError = -1;  // items failed: a list of veskError says
                                   // which
constexpr int kNoSuchName = 1;     // no such object, class or attribute
constexpr int kBadValue = 2;       // the value or its type does not fit
constexpr int kOidFormat = 3;
constexpr int kAidFormat = 4;
constexpr int kPermissionDenied = 5;
constexpr int kBadAccess = 6;  // the object does not allow this operation
constexpr int kRequiredAttribute = 7;
constexpr int kNoObjectManager = 8;  // nobody serves this class or action
constexpr int kDatabaseError = 9;
constexpr int kNetworkError = 10;  // errno tells more, ETIMEDOUT for instance
constexpr int kCodingError = 11;   // a message does not encode or decode
constexpr int kAddressError = 12;
constexpr int kTooManyResults = 100;  // more than an answer holds; has no text
constexpr int kInternalError = 255;

// UDP ports of the two kinds of servers.
constexpr std::uint16_t kObjectServerPort = 5135;
constexpr std::uint16_t kDirectoryPort = 5136;

// The multicast group at which directory servers are found: 224.0.1.2, in host
// order.
constexpr std::uint32_t kDirectoryGroup = 0xe0000102;

// A message travels in fragments, each a datagram: a header and data.
constexpr unsigned kFragmentVersion = 1;
constexpr unsigned kFragmentHeader = 16;    // bytes
constexpr unsigned kFragmentData = 1456;    // bytes, at most
constexpr unsigned kMostFragments = 65535;  // of a message
constexpr unsigned kLongestMessage = kMostFragments * kFragmentData;  // bytes

// The families of address values, on the wire and in veskAddress::family.
constexpr std::uint8_t kNoFamily = 0;
constexpr std::uint8_t kIPv4 = 2;

// How a directory server is looked for: an empty search goes to the group, at
// first to the nearest networks alone.
struct DiscoveryAttempt {
  long seconds;      // how long to wait for an answer
  std::uint8_t ttl;  // networks that the search may cross
};
constexpr DiscoveryAttempt kDiscoveryAttempts[] = {
    {3, 1}, {3, 2}, {5, 4}, {5, 8}};

}  // namespace ostrel

#endif  // OSTREL_CODES_H
