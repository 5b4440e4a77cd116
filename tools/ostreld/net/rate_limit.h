// How much an address may ask for in a second; what is beyond is dropped like a
// lost datagram. A request costs one, and every further datagram of its answer:
// a sender's address may be forged, and whoever it belongs to is to be spared.

#ifndef OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H
#define OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace ostrel::tools::server {

class RateLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Addresses that are remembered at a time.
  static constexpr std::size_t kMostSenders = 4096;

  // So much in a second, and as much at once; 0 is no limit.
  explicit RateLimit(unsigned perSecond) : perSecond_(perSecond) {}

  // Whether there is enough left for a request, which it then costs.
  bool allows(in_addr sender, Time now);

  // What the answer cost, after a request that was allowed.
  void charge(in_addr sender, std::size_t answerBytes);

 private:
  struct Bucket {
    double tokens;
    Time at;
  };

  double perSecond_;
  std::unordered_map<std::uint32_t, Bucket> buckets_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H
