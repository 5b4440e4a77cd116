#include "client/async/client_state.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "base/platform.h"

namespace ostrel {
namespace {

Moment momentOf(Millis time) {
  return std::max<Moment>(time.count(), 0) * kMillisecond;
}

EngineOptions engineOptions(const ClientOptions& options) {
  EngineOptions result;
  result.firstWait = std::max(momentOf(options.firstWait), kMillisecond);
  result.shortestWait = std::max(momentOf(options.shortestWait), kMillisecond);
  result.inAll = std::max(momentOf(options.inAll), kMillisecond);
  result.transmissions =
      static_cast<unsigned>(std::max(options.transmissions, 1));
  result.adaptive = options.adaptive;
  result.perServer = std::max(options.perServer, 1U);
  result.perServerSilent = std::max(options.perServerSilent, 1U);
  result.queued = options.queued;
  result.queuedBytes = options.queuedBytes;
  result.retryClosedPort = options.retryClosedPort;
  return result;
}

IdKey randomKey() {
  IdKey key;
  if (platform::randomBytes(&key, sizeof key) != 0) {
    // Better than nothing: where things lie and what time it is.
    key.first = static_cast<std::uint64_t>(platform::elapsed());
    key.second = reinterpret_cast<std::uintptr_t>(&key);
    key.start = static_cast<std::uint32_t>(platform::now());
  }
  return key;
}

}  // namespace

ClientState::ClientState(const ClientOptions& given)
    : engine(engineOptions(given), randomKey(), platform::elapsed()),
      shared(std::make_shared<Poster::Shared>()) {
  socketError = socket.open();
  std::size_t bytes = socket.receiveBytes();
  if (given.inFlight != 0) bytes = std::size_t{given.inFlight} * kFullCharge;
  if (bytes != 0) engine.setReceiveBytes(bytes);
}

ClientState::~ClientState() { platform::closeReadiness(readiness); }

void ClientState::enter(Operation* operation) {
  std::uint32_t slot = firstFree;
  if (slot == slots.size()) {
    slots.emplace_back();
    slots.back().nextFree = slot + 1;
  }
  firstFree = slots[slot].nextFree;
  slots[slot].operation = operation;
  operation->slotNumber = slot;
  inUse++;
}

void ClientState::enter(std::unique_ptr<Operation> operation) {
  enter(operation.get());
  Slot& slot = slots[operation->slotNumber];
  slot.owned = std::move(operation);
}

// Afterwards no ticket names it.
std::unique_ptr<Operation> ClientState::leave(Operation* operation) {
  const std::uint32_t number = operation->slotNumber;
  operation->slotNumber = Operation::kNoSlot;
  return leave(number);
}

std::unique_ptr<Operation> ClientState::leave(std::uint32_t number) {
  Slot& slot = slots[number];
  std::unique_ptr<Operation> owned = std::move(slot.owned);
  slot.operation = nullptr;
  slot.generation++;
  slot.nextFree = firstFree;
  firstFree = number;
  inUse--;
  return owned;
}

Operation* ClientState::find(const Ticket& ticket) const {
  if (!ticket.taken_ || ticket.slot_ >= slots.size()) return nullptr;
  const Slot& slot = slots[ticket.slot_];
  return slot.generation == ticket.generation_ ? slot.operation : nullptr;
}

void ClientState::name(const Operation* operation, Ticket* ticket) {
  ticket->client_ = weak_from_this();
  ticket->slot_ = operation->slotNumber;
  ticket->generation_ = slots[operation->slotNumber].generation;
  ticket->taken_ = true;
}

Pending* ClientState::ask(std::unique_ptr<Pending> owned,
                          const RequestOptions& given) {
  if (closing) return nullptr;
  Pending* pending = owned.get();
  if (given.deadline.count() > 0) pending->deadline = momentOf(given.deadline);
  if (given.firstWait.count() > 0)
    pending->firstWait = momentOf(given.firstWait);
  if (given.transmissions > 0) {
    pending->transmissions = static_cast<std::uint16_t>(
        std::min<int>(given.transmissions, UINT16_MAX));
  }
  const bool empty = pending->rest.empty();
  const bool waits = !given.principal && !pending->multicast;
  if (waits) {
    needPrincipal(pending);
  } else {
    pending->rest =
        principalBytes(given.principal.value_or(Oid())) + pending->rest;
  }
  enter(pending);
  const std::uint32_t number = pending->slotNumber;
  try {
    engine.add(std::move(owned), platform::elapsed());
  } catch (...) {
    // The request is gone, and its number is all that is left.
    leave(number);
    throw;
  }
  if (pending->to.port == 0) {
    engine.end(pending, Ended::kUnsendable, EDESTADDRREQ);
  } else if (empty) {
    engine.end(pending, Ended::kUnsendable, EINVAL);
  } else if (socketError != 0) {
    engine.end(pending, Ended::kUnsendable, socketError);
  }
  if (!pending->ready) {
    try {
      holdForPrincipal(pending);
    } catch (const std::bad_alloc&) {
      engine.end(pending, Ended::kUnsendable, ENOMEM);
    }
  }
  stir();
  return pending;
}

void ClientState::cancel(Pending* pending) {
  engine.end(pending, Ended::kCancelled, ECANCELED);
  stir();
}

// Its handler may do anything while it is destroyed.
void ClientState::forget(Pending* pending) {
  leave(pending);
  engine.takeOut(pending).reset();
}

void ClientState::setAlarm(Operation* operation, Moment when) {
  alarms.emplace(when, Alarm{operation->slotNumber,
                             slots[operation->slotNumber].generation});
  stir();
}

void ClientState::clearAlarms(Operation* operation) {
  for (auto at = alarms.begin(); at != alarms.end();) {
    at = at->second.slot == operation->slotNumber ? alarms.erase(at)
                                                  : std::next(at);
  }
}

}  // namespace ostrel
