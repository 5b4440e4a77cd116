#include "net/outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

void logFailure(const sockaddr_in& to, int cause) {
  if (!logs(Level::kDebug)) return;
  log(Level::kDebug,
      "cannot send to " + endpointText(to) + ": " + std::strerror(cause));
}

}  // namespace

void Outbox::send(const sockaddr_in& to, std::string& answer, Time now) {
  const bool isShort = answer.size() <= kQuickMessage;
  if (!isShort) {
    // Whoever asks again while the answer waits gets it once.
    const bool waits =
        std::any_of(waiting_.begin(), waiting_.end(), [&](const Waiting& each) {
          return sameEndpoint(each.parcel.to, to) &&
                 each.parcel.bytes == answer;
        });
    if (!waits)
      wait(socket_->parcel(to, std::move(answer)), now,
           Counter::kAnswersDropped);
    return;
  }
  Parcel parcel = socket_->parcel(to, std::move(answer));
  if (parcel.left() == 1 &&
      bytes_->allows(to.sin_addr, now, parcel.bytes.size())) {
    ready_.push_back(std::move(parcel));
    if (ready_.size() == kTogether) flush(now);
    return;
  }
  switch (sendBurst(&parcel, kBurst, now)) {
    case Sent::kNoRoom:
      wait(std::move(parcel), now + kRetry, Counter::kAnswersOverBytes);
      break;
    case Sent::kBusy:
      wait(std::move(parcel), now + kRetry, Counter::kAnswersDropped);
      break;
    default:
      break;
  }
}

void Outbox::flush(Time now) {
  for (std::size_t at = 0; at < ready_.size();) {
    const std::size_t sent =
        socket_->sendSingles(&ready_[at], ready_.size() - at);
    const int cause = errno;
    at += sent;
    if (sent == 0) putBack(std::move(ready_[at++]), cause, now);
  }
  ready_.clear();
}

// What could not be sent. Its bytes are spent twice if it leaves later.
void Outbox::putBack(Parcel parcel, int cause, Time now) {
  if (UdpSocket::isBusy(cause))
    wait(std::move(parcel), now + kRetry, Counter::kAnswersDropped);
  else
    logFailure(parcel.to, cause);
}

// Sends so many fragments if the address may get their bytes.
Outbox::Sent Outbox::sendBurst(Parcel* parcel, std::size_t most, Time now) {
  const std::size_t before = parcel->sent * kFragmentData;
  const std::size_t bytes =
      std::min(parcel->bytes.size() - before, most * kFragmentData);
  const in_addr address = parcel->to.sin_addr;
  if (!bytes_->hasRoom(address, now, bytes)) return Sent::kNoRoom;
  const bool sent = socket_->send(parcel, most);
  const int cause = errno;
  bytes_->spend(address, now,
                std::min(bytes, parcel->sent * kFragmentData - before));
  if (sent) return parcel->left() == 0 ? Sent::kAll : Sent::kPart;
  if (UdpSocket::isBusy(cause)) return Sent::kBusy;
  logFailure(parcel->to, cause);
  return Sent::kFailed;
}

void Outbox::wait(Parcel parcel, Time due, Counter otherwise) {
  const auto address = parcel.to.sin_addr.s_addr;
  const auto ofOne = static_cast<std::size_t>(
      std::count_if(waiting_.begin(), waiting_.end(), [&](const Waiting& each) {
        return each.parcel.to.sin_addr.s_addr == address;
      }));
  if (waiting_.size() < kMost && ofOne < kMostOfOne) {
    waiting_.push_back({std::move(parcel), due});
    return;
  }
  counters_->add(otherwise);
  log(Level::kWarning, otherwise == Counter::kAnswersOverBytes
                           ? "an address asked for too many bytes: dropped an "
                             "answer"
                           : "too many long answers wait: dropped one");
}

// Answers to one endpoint leave one after another.
bool Outbox::isFirst(std::size_t at) const {
  const auto answer = waiting_.begin() + static_cast<std::ptrdiff_t>(at);
  return std::none_of(waiting_.begin(), answer, [&](const Waiting& each) {
    return sameEndpoint(each.parcel.to, answer->parcel.to);
  });
}

// The position of what is due first; past the end when nothing waits.
std::size_t Outbox::earliest() const {
  std::size_t result = waiting_.size();
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    const bool earlier =
        result == waiting_.size() || waiting_[i].due < waiting_[result].due;
    if (earlier && isFirst(i)) result = i;
  }
  return result;
}

std::optional<Outbox::Time> Outbox::nextDue() const {
  if (waiting_.empty()) return std::nullopt;
  return waiting_[earliest()].due;
}

void Outbox::sendDue(Time now) {
  for (int i = 0; i < kBurstsOfTurn && !waiting_.empty(); ++i) {
    const std::size_t at = earliest();
    Waiting& next = waiting_[at];
    if (next.due > now) return;
    switch (sendBurst(&next.parcel, kBurst, now)) {
      case Sent::kPart:
        next.due = now + kRest;
        break;
      case Sent::kNoRoom:
      case Sent::kBusy:
        next.due = now + kRetry;
        break;
      default:
        finish(at, now);
    }
  }
}

// Takes an answer out. What leaves next for its endpoint rests before.
void Outbox::finish(std::size_t at, Time now) {
  const sockaddr_in to = waiting_[at].parcel.to;
  waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(at));
  for (Waiting& each : waiting_) {
    if (sameEndpoint(each.parcel.to, to))
      each.due = std::max(each.due, now + kRest);
  }
}

}  // namespace ostrel::tools::server
