// Who is sent next. Requests queue at their servers in the order of the calls.
// Servers with something to send stand in two rings, those that have answered
// and those that have not or gave up, and take turns, request by request. While
// anybody waits in the first ring, the second gets at most half of the receive
// buffer.

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "client/engine/engine.h"

namespace ostrel {
namespace {

// Servers that are remembered. With nothing to do there, the oldest is
// forgotten.
constexpr std::size_t kMostServers = 16384;

// After datagrams were dropped for want of room, all answers are taken for full
// ones so long.
constexpr Moment kCarefulTime = 60 * kSecond;

std::uint64_t keyOf(const PeerAddress& address) {
  return std::uint64_t{address.host} << 16 | address.port;
}

}  // namespace

std::size_t Engine::costOf(const Call& request) {
  // What the caller adds to a request, and tables and the allocator.
  constexpr std::size_t kAround = 256;
  return sizeof request + request.rest.capacity() + kAround;
}

Call* Engine::add(std::unique_ptr<Call> owned, Moment now) {
  Call* request = owned.get();
  now_ = std::max(now_, now);
  ServerState* server = serverOf(request->to);
  if (request->change) {
    const ObjectKey key = {request->to, request->object};
    request->chain_ = &chains_.try_emplace(key).first->second;
    request->chain_->key = key;
    request->chain_->changes.append(request);
  }
  // From here on nothing fails.
  request->server_ = server;
  request->called_ = now_;
  request->id_ = numbers_.next();
  outstanding_++;
  queued_++;
  request->cost_ = static_cast<std::uint32_t>(costOf(*request));
  queuedBytes_ += request->cost_;
  server->waiting++;
  counters_.requests++;
  request->state_ = Call::State::kQueued;
  server->queue.append(request);
  static_cast<void>(owned.release());
  stirred_ = true;
  const bool tooLong =
      request->rest.size() + Outgoing::kMostHead - kFragmentHeader >
      kLongestMessage;
  if (tooLong) {
    end(request, Ended::kUnsendable, EMSGSIZE);
  } else if (queued_ > options_.queued || queuedBytes_ > options_.queuedBytes) {
    counters_.overfull++;
    end(request, Ended::kUnsendable, ENOBUFS);
    std::string().swap(request->rest);
  } else {
    if (request->deadline > 0) wheel_.set(request, now_ + request->deadline);
    offer(server);
  }
  return request;
}

ServerState* Engine::serverOf(const PeerAddress& address) {
  const auto found = servers_.try_emplace(keyOf(address));
  ServerState* server = &found.first->second;
  if (found.second) {
    server->address = address;
    if (servers_.size() > kMostServers) pruneIdle();
  }
  return server;
}

void Engine::pruneIdle() {
  ServerState* oldest = idle_.take();
  if (oldest != nullptr) servers_.erase(keyOf(oldest->address));
}

void Engine::makeReady(Call* request) {
  request->ready = true;
  stirred_ = true;
  unblock(request);
}

bool Engine::isBlocked(const Call* request) const {
  if (!request->ready) return true;
  return request->chain_ != nullptr &&
         request->chain_->changes.first() != request;
}

// Gives a request whose turn has passed its turn now, if it may be sent.
void Engine::unblock(Call* request) {
  if (request->state_ != Call::State::kParked || isBlocked(request)) return;
  parked_.remove(request);
  request->state_ = Call::State::kUrgent;
  request->server_->urgent.append(request);
  offer(request->server_);
}

void Engine::leaveChain(Call* request) {
  ObjectChain* chain = request->chain_;
  if (chain == nullptr) return;
  request->chain_ = nullptr;
  chain->changes.remove(request);
  Call* next = chain->changes.first();
  if (next == nullptr) {
    const ObjectKey key = chain->key;
    chains_.erase(key);
  } else {
    unblock(next);
  }
}

// Puts a server into the ring where it belongs now.
void Engine::offer(ServerState* server) {
  using Ring = ServerState::Ring;
  Ring wanted = Ring::kNone;
  if (!server->queue.empty() || !server->urgent.empty()) {
    const unsigned most =
        server->silent ? options_.perServerSilent : options_.perServer;
    if (server->underWay < most)
      wanted = server->isKnown() ? Ring::kKnown : Ring::kUnknown;
  } else if (server->underWay == 0 && server->waiting == 0) {
    wanted = Ring::kIdle;
  }
  if (server->ring == wanted) return;
  withdraw(server);
  server->ring = wanted;
  if (wanted == Ring::kKnown) known_.append(server);
  if (wanted == Ring::kUnknown) unknown_.append(server);
  if (wanted == Ring::kIdle) idle_.append(server);
}

void Engine::withdraw(ServerState* server) {
  using Ring = ServerState::Ring;
  if (server->ring == Ring::kKnown) known_.remove(server);
  if (server->ring == Ring::kUnknown) unknown_.remove(server);
  if (server->ring == Ring::kIdle) idle_.remove(server);
  server->ring = Ring::kNone;
}

// What the answer will take of the receive buffer: as much as such answers took
// lately, of this server or else of all.
std::uint32_t Engine::chargeOf(const Call* request) const {
  if (request->smallAnswer) return kSmallCharge;
  if (now_ < carefulUntil_) return kFullCharge;
  const auto traffic = static_cast<std::size_t>(request->traffic);
  const std::uint32_t own = request->server_->usualCharge[traffic];
  if (own != 0) return own;
  return usualCharge_[traffic] != 0 ? usualCharge_[traffic] : kFullCharge;
}

// An answer has taken so many bytes. Larger ones count at once, smaller ones
// little by little.
void Engine::learnCharge(const Call* request, std::uint32_t bytes) {
  const auto traffic = static_cast<std::size_t>(request->traffic);
  for (std::uint32_t* usual :
       {&request->server_->usualCharge[traffic], &usualCharge_[traffic]}) {
    *usual =
        std::max(bytes, *usual - (*usual > bytes ? (*usual - bytes) / 8 : 0));
  }
}

void Engine::kernelDropped(std::uint64_t count) {
  if (count == 0) return;
  counters_.kernelDrops += count;
  carefulUntil_ = now_ + kCarefulTime;
}

// The server whose turn it is, if the receive buffer has room for its next
// answer.
ServerState* Engine::nextServer() {
  const std::size_t all = options_.receiveBytes;
  for (unsigned i = 0; i < 2; ++i) {
    const bool known = i == 0 ? knownIsNext_ : !knownIsNext_;
    ServerState* server = known ? known_.first() : unknown_.first();
    if (server == nullptr) continue;
    const Call* request =
        server->urgent.empty() ? server->queue.first() : server->urgent.first();
    const std::uint32_t bytes = chargeOf(request);
    if (charged_ > 0 && charged_ + bytes > all) return nullptr;
    if (!known && !known_.empty() && chargedUnknown_ > 0 &&
        chargedUnknown_ + bytes > all / 2)
      continue;
    knownIsNext_ = !known;
    return server;
  }
  return nullptr;
}

// The next request of a server that may be sent. Those that may not yet are
// parked on the way.
Call* Engine::nextOf(ServerState* server) {
  for (;;) {
    Call* request = server->urgent.take();
    if (request == nullptr) request = server->queue.take();
    if (request == nullptr || !isBlocked(request)) return request;
    request->state_ = Call::State::kParked;
    parked_.append(request);
  }
}

void Engine::fill() {
  while (ServerState* server = nextServer()) {
    Call* request = nextOf(server);
    withdraw(server);
    if (request != nullptr) begin(request);
    offer(server);
  }
}

void Engine::begin(Call* request) {
  ServerState* server = request->server_;
  queued_--;
  queuedBytes_ -= request->cost_;
  server->waiting--;
  server->underWay++;
  server->current.append(request);
  request->probing_ = server->silent;
  request->messageId_ = numbers_.nextMessage();
  request->unknown_ = !server->isKnown();
  charge(request, chargeOf(request));
  enqueue(request);
  try {
    ids_.insert(request->id_, request);
  } catch (const std::bad_alloc&) {
    end(request, Ended::kUnsendable, ENOMEM);
  }
}

void Engine::charge(Call* request, std::uint32_t bytes) {
  request->charge_ += bytes;
  charged_ += bytes;
  if (request->unknown_) chargedUnknown_ += bytes;
}

void Engine::uncharge(Call* request, std::uint32_t bytes) {
  bytes = std::min(bytes, request->charge_);
  request->charge_ -= bytes;
  charged_ -= bytes;
  if (request->unknown_) chargedUnknown_ -= bytes;
}

// Takes a request out of every table and list.
void Engine::detach(Call* request) {
  using State = Call::State;
  ServerState* server = request->server_;
  const State state = request->state_;
  wheel_.clear(request);
  if (state == State::kDone) {
    done_.remove(request);
    request->state_ = State::kNew;
    return;
  }
  if (state == State::kQueued) server->queue.remove(request);
  if (state == State::kUrgent) server->urgent.remove(request);
  if (state == State::kParked) parked_.remove(request);
  if (state == State::kSending) outgoing_.remove(request);
  if (request->isUnderWay()) {
    ids_.remove(request->id_);
    uncharge(request, request->charge_);
    server->current.remove(request);
    server->underWay--;
  } else {
    queued_--;
    queuedBytes_ -= request->cost_;
    server->waiting--;
  }
  request->state_ = State::kNew;
  outstanding_--;
  stirred_ = true;
  leaveChain(request);
  if (server->underWay == 0 && partials_.count() > 0)
    partials_.forget(server->address);
  offer(server);
}

std::unique_ptr<Call> Engine::takeOut(Call* request) {
  detach(request);
  return std::unique_ptr<Call>(request);
}

void Engine::end(Call* request, Ended how, int error) {
  if (request->state_ == Call::State::kDone) return;
  detach(request);
  request->ended = how;
  request->error = error;
  request->state_ = Call::State::kDone;
  done_.append(request);
  if (how == Ended::kAnswered) counters_.answered++;
  if (how == Ended::kNoAnswer) counters_.noAnswer++;
  if (how == Ended::kPortClosed) counters_.portsClosed++;
  if (how == Ended::kUndecodable) counters_.undecodable++;
  if (how == Ended::kUnsendable) counters_.unsendable++;
  if (how == Ended::kCancelled) counters_.cancelled++;
}

void Engine::endAll() {
  // The end of one change makes another of its object ready: hence the loop.
  while (outstanding_ > 0) {
    for (auto& [key, server] : servers_) {
      for (ServerState::Queue* queue : {&server.queue, &server.urgent}) {
        while (Call* request = queue->first())
          end(request, Ended::kCancelled, ECANCELED);
      }
      while (Call* request = server.current.first())
        end(request, Ended::kCancelled, ECANCELED);
    }
    while (Call* request = parked_.first())
      end(request, Ended::kCancelled, ECANCELED);
  }
}

std::unique_ptr<Call> Engine::nextCompletion() {
  Call* request = done_.take();
  if (request != nullptr) request->state_ = Call::State::kNew;
  return std::unique_ptr<Call>(request);
}

}  // namespace ostrel
