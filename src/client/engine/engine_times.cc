// When a request is sent, and sent again: the fragments of long ones, first
// waits and back-off, and the end of waiting.

#include <algorithm>
#include <cerrno>

#include "client/engine/engine.h"
#include "value/wire.h"

namespace ostrel {
namespace {

constexpr unsigned kPaceFragments = 20;
constexpr Moment kPaceTime = 100 * kMillisecond;

// After a transmission, how long the receive buffer keeps room for the answer:
// as long as the server usually takes, or else servers in general, and this
// long if that is not known either.
constexpr Moment kShortestLapse = 10 * kMillisecond;
constexpr Moment kUnknownLapse = 20 * kMillisecond;

// Pauses of a server between fragments, twice.
constexpr Moment kFragmentLapse = 200 * kMillisecond;

// A message id tells a retransmission up to this far above the original's.
constexpr unsigned kMostTransmissions = 256;

constexpr char kStatusTag = 0x03;
constexpr char kIdTag = 0x43;

// The first bytes of the PDU. Returns the place behind them.
char* writeStart(const Call& request, char* to) {
  *to++ = static_cast<char>(request.tag);
  *to++ = kStatusTag;
  *to++ = 0;
  *to++ = kIdTag;
  return storeInteger(to, request.id());
}

std::size_t startSize(const Call& request) {
  char start[Outgoing::kMostHead];
  return static_cast<std::size_t>(writeStart(request, start) - start);
}

std::uint32_t totalOf(const Call& request) {
  return static_cast<std::uint32_t>(startSize(request) + request.rest.size());
}

std::uint16_t fragmentsOf(const Call& request) {
  const std::uint32_t total = totalOf(request);
  return static_cast<std::uint16_t>((total + kFragmentData - 1) /
                                    kFragmentData);
}

void fillIn(const Call& request, std::uint16_t messageId, std::uint16_t number,
            Outgoing* datagram) {
  const std::uint32_t total = totalOf(request);
  const std::uint32_t offset = number * kFragmentData;
  const std::uint32_t end = std::min(total, offset + kFragmentData);
  ByteWriter writer(datagram->head, kFragmentHeader);
  writer.number(static_cast<std::uint16_t>(kFragmentVersion));
  writer.number(messageId);
  writer.number(fragmentsOf(request));
  writer.number(number);
  writer.number(total);
  writer.number(offset);
  const auto start = static_cast<std::uint32_t>(startSize(request));
  char* behind = datagram->head + kFragmentHeader;
  if (number == 0) behind = writeStart(request, behind);
  datagram->headSize = static_cast<std::uint8_t>(behind - datagram->head);
  const std::uint32_t from = number == 0 ? 0 : offset - start;
  datagram->data = request.rest.data() + from;
  datagram->size = end - start - from;
  datagram->to = request.to;
  datagram->ttl = request.multicast ? request.ttl : 0;
}

Moment sum(Moment a, Moment b) { return a > kNever - b ? kNever : a + b; }

}  // namespace

bool Engine::isAdaptive(const Call* request) const {
  return options_.adaptive && request->firstWait == 0;
}

unsigned Engine::mostTransmissions(const Call* request) const {
  const unsigned most = request->transmissions != 0 ? request->transmissions
                                                    : options_.transmissions;
  return std::min(std::max(most, 1U), kMostTransmissions);
}

Moment Engine::firstWaitOf(const Call* request) const {
  if (request->firstWait > 0) return request->firstWait;
  const RoundTrip& trips = request->server_->tripsOf(request);
  if (!options_.adaptive || !trips.isKnown()) return options_.firstWait;
  return trips.firstWait(options_.shortestWait, options_.firstWait);
}

// Begins a transmission.
void Engine::enqueue(Call* request) {
  request->fragment_ = 0;
  request->granted_ = 0;
  grant(request, now_);
}

// Lets the next fragments go out, or sets the time when they may.
void Engine::grant(Call* request, Moment now) {
  const unsigned left = fragmentsOf(*request) - request->fragment_;
  unsigned allowed = left;
  ServerState* server = request->server_;
  if (fragmentsOf(*request) > 1) {
    if (now - server->paceBegan >= kPaceTime) {
      server->paceBegan = now;
      server->paced = 0;
    }
    allowed = std::min(left, kPaceFragments - server->paced);
    server->paced += allowed;
  }
  if (allowed == 0) {
    request->state_ = Call::State::kPaced;
    Moment next = server->paceBegan + kPaceTime;
    if (request->deadline > 0)
      next = std::min(next, sum(request->called_, request->deadline));
    wheel_.set(request, next);
    return;
  }
  request->granted_ = static_cast<std::uint16_t>(allowed);
  request->state_ = Call::State::kSending;
  outgoing_.append(request);
}

std::size_t Engine::peek(Outgoing* datagrams, std::size_t most) {
  std::size_t count = 0;
  for (Call* request = outgoing_.first(); request != nullptr;
       request = outgoing_.after(request)) {
    for (std::uint16_t i = 0; i < request->granted_; ++i) {
      if (count == most) return count;
      Outgoing& datagram = datagrams[count++];
      datagram.request = request;
      fillIn(*request, request->messageId_,
             static_cast<std::uint16_t>(request->fragment_ + i), &datagram);
    }
  }
  return count;
}

void Engine::sent(const Outgoing* datagrams, std::size_t count, Moment now) {
  now_ = std::max(now_, now);
  for (std::size_t i = 0; i < count; ++i) {
    Call* request = datagrams[i].request;
    counters_.datagramsSent++;
    request->fragment_++;
    if (--request->granted_ > 0) continue;
    outgoing_.remove(request);
    if (request->fragment_ == fragmentsOf(*request)) {
      transmitted(request, now_);
    } else {
      grant(request, now_);
    }
  }
}

void Engine::unsendable(const Outgoing& datagram, int error) {
  end(datagram.request, Ended::kUnsendable, error);
}

// A transmission is complete: waiting begins.
void Engine::transmitted(Call* request, Moment now) {
  request->state_ = Call::State::kWaiting;
  request->lastSent_ = now;
  if (++request->sent > 1) {
    counters_.retransmissions++;
    arrange(request);
    return;
  }
  request->firstSent_ = now;
  request->wait_ = firstWaitOf(request);
  RoundTrip& trips = request->server_->tripsOf(request);
  if (isAdaptive(request) && trips.isKnown())
    request->backOff_ = static_cast<std::uint8_t>(trips.backOff());
  Moment all = options_.inAll;
  if (request->firstWait > 0) {
    all = std::max(all, request->firstWait);
    // Times and transmissions that are both given say when waiting ends.
    if (request->transmissions > 0) {
      all = 0;
      Moment wait = request->firstWait;
      for (unsigned i = 0; i < mostTransmissions(request); ++i) {
        all = sum(all, wait);
        wait = sum(wait, wait);
      }
    }
  }
  request->end_ = sum(now, all);
  if (request->deadline > 0)
    request->end_ = sum(request->called_, request->deadline);
  request->lapse_ = lapseOf(request);
  arrange(request);
}

// Sets when the present wait ends. The last one lasts to the end.
void Engine::arrange(Call* request) {
  request->due_ = sum(request->lastSent_, request->wait_);
  if (request->sent >= mostTransmissions(request) ||
      request->due_ >= request->end_)
    request->due_ = request->end_;
  Moment next = request->due_;
  if (request->charge_ > 0) next = std::min(next, request->lapse_);
  wheel_.set(request, next);
}

// Until when the receive buffer keeps room for the answer.
Moment Engine::lapseOf(const Call* request) const {
  const RoundTrip& trips = request->server_->tripsOf(request);
  return request->lastSent_ + (trips.isKnown()
                                   ? std::max(trips.expected(), kShortestLapse)
                                   : kUnknownLapse);
}

void Engine::tick(Moment now) {
  now_ = std::max(now_, now);
  stirred_ = false;
  while (Timer* timer = wheel_.takeDue(now_))
    expired(static_cast<Call*>(timer), now_);
  if (now_ >= partialsExpire_) {
    partials_.expire(now_);
    partialsExpire_ = partials_.count() > 0 ? now_ + kSecond : kNever;
  }
  counters_.partialsDropped = partials_.dropped();
  fill();
  stirred_ = false;
}

Moment Engine::nextDue() const {
  if (stirred_) return now_;
  return std::min(wheel_.next(), partialsExpire_);
}

void Engine::expired(Call* request, Moment now) {
  using State = Call::State;
  const bool late =
      request->deadline > 0 && now >= sum(request->called_, request->deadline);
  if (request->state_ == State::kPaced && !late) {
    grant(request, now);
    return;
  }
  if (request->state_ != State::kWaiting) {
    end(request, Ended::kNoAnswer, ETIMEDOUT);
    return;
  }
  if (now >= request->lapse_) {
    if (drained_) {
      uncharge(request, request->charge_);
    } else {
      request->lapse_ = now + kMillisecond;
    }
  }
  if (now < request->due_) {
    wheel_.set(request, request->charge_ > 0
                            ? std::min(request->due_, request->lapse_)
                            : request->due_);
    return;
  }
  if (now >= request->end_) {
    giveUp(request, now);
    return;
  }
  request->wait_ = sum(request->wait_, request->wait_);
  if (request->backOff_ < UINT8_MAX) request->backOff_++;
  if (isAdaptive(request))
    request->server_->tripsOf(request).backedOff(request->backOff_);
  uncharge(request, request->charge_);
  request->messageId_++;
  enqueue(request);
  // A socket that takes nothing must not keep it for ever.
  if (request->state_ == State::kSending) wheel_.set(request, request->end_);
}

// A server that was not heard while the request was under way gets single
// requests now. If this was one of those, what has queued as long as a request
// waits in all ends too.
void Engine::giveUp(Call* request, Moment now) {
  ServerState* server = request->server_;
  const bool heard = server->lastSign >= request->firstSent_;
  const bool probing = request->probing_;
  if (!heard && !request->multicast) server->silent = true;
  end(request, Ended::kNoAnswer, ETIMEDOUT);
  if (!heard && probing) failQueue(server, now);
}

void Engine::failQueue(ServerState* server, Moment now) {
  while (Call* request = server->queue.first()) {
    if (sum(request->called_, options_.inAll) > now || request->deadline > 0)
      return;
    end(request, Ended::kNoAnswer, ETIMEDOUT);
  }
}

// An answer has come, or begun to. If it can only belong to one transmission,
// that says how long the server takes.
void Engine::measure(Call* request, Moment now) {
  if (request->measured_ || request->sent != 1 || request->multicast) return;
  request->measured_ = true;
  const Moment time = std::max<Moment>(now - request->lastSent_, 0);
  std::size_t bucket = 0;
  while (bucket + 1 < kBuckets && time > Moment{1} << bucket) bucket++;
  roundTrips_[bucket]++;
  RoundTrip& trips = request->server_->tripsOf(request);
  const bool first = !trips.isKnown();
  trips.measured(time);
  overall_.measured(time);
  if (first) retime(request->server_, request->traffic);
}

// The waits of what is under way began before anything was known.
void Engine::retime(ServerState* server, Traffic traffic) {
  for (Call* request = server->current.first(); request != nullptr;
       request = server->current.after(request)) {
    if (request->traffic != traffic || !isAdaptive(request)) continue;
    if (request->state_ != Call::State::kWaiting || request->sent != 1)
      continue;
    request->wait_ = firstWaitOf(request);
    request->lapse_ = lapseOf(request);
    arrange(request);
  }
}

// A fragment of its answer has come: the request is neither sent again nor
// given up while more may follow.
void Engine::signOfLife(Call* request, Moment now) {
  if (request->state_ != Call::State::kWaiting) return;
  if (request->charge_ > 0) request->lapse_ = now + kFragmentLapse;
  if (request->deadline == 0) {
    const Moment most =
        sum(request->firstSent_, options_.inAll + Partials::kPatience);
    request->end_ =
        std::max(request->end_, std::min(sum(now, request->wait_), most));
  }
  const Moment sentAt = request->lastSent_;
  request->lastSent_ = now;
  arrange(request);
  request->lastSent_ = sentAt;
}

}  // namespace ostrel
