#include "net/rate_limit.h"

#include <ostrel/codes.h>

#include <algorithm>

namespace ostrel::tools::server {
bool RateLimit::allows(in_addr sender, Time now) {
  if (perSecond_ == 0) return true;
  // Whoever sends from many addresses starts with new buckets at times; that
  // costs less than memory without a bound.
  if (buckets_.size() >= kMostSenders && buckets_.count(sender.s_addr) == 0)
    buckets_.clear();
  Bucket& bucket = buckets_.try_emplace(sender.s_addr, Bucket{perSecond_, now})
                       .first->second;
  const std::chrono::duration<double> passed = now - bucket.at;
  bucket.tokens =
      std::min(perSecond_, bucket.tokens + passed.count() * perSecond_);
  bucket.at = now;
  if (bucket.tokens < 1) return false;
  bucket.tokens -= 1;
  return true;
}

void RateLimit::charge(in_addr sender, std::size_t answerBytes) {
  const auto bucket = buckets_.find(sender.s_addr);
  if (bucket == buckets_.end()) return;
  bucket->second.tokens -= static_cast<double>(answerBytes / kFragmentData);
}

}  // namespace ostrel::tools::server
