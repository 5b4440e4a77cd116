// How many requests an address may send in a second; what is beyond is dropped
// like a lost datagram.

#ifndef OSTRELD_RATE_LIMIT_H
#define OSTRELD_RATE_LIMIT_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace ostreld {

class RateLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Addresses that are remembered at a time.
  static constexpr std::size_t kMostSenders = 4096;

  // So many requests a second, and as many at once; 0 is no limit.
  explicit RateLimit(unsigned perSecond) : perSecond_(perSecond) {}

  bool allows(in_addr sender, Time now);

 private:
  struct Bucket {
    double tokens;
    Time at;
  };

  double perSecond_;
  std::unordered_map<std::uint32_t, Bucket> buckets_;
};

}  // namespace ostreld

#endif  // OSTRELD_RATE_LIMIT_H
