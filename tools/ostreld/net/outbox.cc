#include "net/outbox.h"

#include <algorithm>
#include <utility>

#include "common/addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {

void Outbox::send(const sockaddr_in& to, std::string& answer) {
  if (answer.size() <= UdpSocket::kQuickMessage) {
    socket_->sendTo(to, answer);
    return;
  }
  std::size_t ofOne = 0;
  for (const Answer& each : waiting_) {
    if (each.to.sin_addr.s_addr != to.sin_addr.s_addr) continue;
    // Whoever asks again while the answer waits gets it once.
    if (sameEndpoint(each.to, to) && each.bytes == answer) return;
    ofOne++;
  }
  if (waiting_.size() >= kMost || ofOne >= kMostOfOne) {
    log(Level::kWarning, "too many long answers wait: dropped one");
    return;
  }
  waiting_.push_back({to, std::move(answer)});
}

void Outbox::sendNext() {
  if (waiting_.empty()) return;
  auto next =
      std::find_if(waiting_.begin(), waiting_.end(), [&](const Answer& each) {
        return each.to.sin_addr.s_addr != last_.s_addr;
      });
  if (next == waiting_.end()) next = waiting_.begin();
  Answer answer = std::move(*next);
  waiting_.erase(next);
  last_ = answer.to.sin_addr;
  socket_->sendTo(answer.to, answer.bytes);
}

}  // namespace ostrel::tools::server
