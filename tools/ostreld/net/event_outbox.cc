#include "net/event_outbox.h"

#include <algorithm>

#include "common/addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {

bool EventOutbox::allows(const sockaddr_in& to, in_addr askedBy,
                         std::size_t bytes, Time now) {
  const std::size_t cost = fragmentsOf(bytes);
  const bool both = to.sin_addr.s_addr != askedBy.s_addr;
  if (!rate_->hasRoom(to.sin_addr, now, cost + spare_) ||
      !bytes_->hasRoom(to.sin_addr, now, bytes) ||
      (both && !rate_->hasRoom(askedBy, now, cost + spare_)))
    return false;
  rate_->spend(to.sin_addr, now, cost);
  bytes_->spend(to.sin_addr, now, bytes);
  if (both) rate_->spend(askedBy, now, cost);
  return true;
}

void EventOutbox::send(const sockaddr_in& to, in_addr askedBy,
                       const std::string& bytes, Time now) {
  if (!allows(to, askedBy, bytes.size(), now)) {
    counters_->add(Counter::kEventsDropped);
    log(Level::kWarning, "too many events for an address: dropped one");
    return;
  }
  ready_.push_back(socket_->parcel(to, bytes));
  if (ready_.size() >= kMost) flush();
}

void EventOutbox::flush() {
  if (ready_.empty()) return;
  const std::size_t failed = std::min(socket_->sendAll(ready_), ready_.size());
  for (std::size_t i = 0; i < ready_.size(); ++i)
    counters_->add(i < failed ? Counter::kEventsDropped : Counter::kEventsSent);
  ready_.clear();
}

}  // namespace ostrel::tools::server
