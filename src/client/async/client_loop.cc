// The loop of a client: datagrams, what is due, completions, and waiting.

#include <algorithm>
#include <cerrno>

#include "base/platform.h"
#include "client/async/client_state.h"
#include "client/async/watch.h"

namespace ostrel {
namespace {

constexpr unsigned kBatches = 8;  // of datagrams in one turn
constexpr std::size_t kTurn = 256;
// With nothing under way, how often the socket is not looked at.
constexpr unsigned kMostQuietTurns = 1;
constexpr Moment kBlockedWait = 10 * kMillisecond;

// The first exception of several handlers.
class FirstFailure {
 public:
  template <class Work>
  void guard(Work work) {
    try {
      work();
    } catch (...) {
      if (failure_ == nullptr) failure_ = std::current_exception();
    }
  }
  void rethrow() {
    if (failure_ != nullptr) std::rethrow_exception(failure_);
  }

 private:
  std::exception_ptr failure_;
};

}  // namespace

// A request has left every table before its handler runs; nothing of it is
// touched afterwards.
void ClientState::deliver(std::unique_ptr<Pending> pending) {
  leave(pending.get());
  const InHandler running(*this);
  Pending* one = pending.get();
  one->complete(std::move(pending));
}

std::size_t ClientState::runPosted() {
  if (!shared->hasWork) return 0;
  std::size_t count = 0;
  // What is posted meanwhile waits for the next turn.
  for (std::size_t left = kTurn; left > 0; --left) {
    UniqueFunction<void()> work = shared->take();
    if (!work) break;
    count++;
    const InHandler running(*this);
    work();
  }
  return count;
}

std::size_t ClientState::runAlarms(Moment now, std::size_t most) {
  std::size_t count = 0;
  while (count < most && !alarms.empty() && alarms.begin()->first <= now) {
    const Alarm alarm = alarms.begin()->second;
    alarms.erase(alarms.begin());
    const Slot& slot = slots[alarm.slot];
    if (slot.generation != alarm.generation || slot.operation == nullptr)
      continue;
    count++;
    const InHandler running(*this);
    slot.operation->alarm(*this);
  }
  return count;
}

void ClientState::exchange() {
  engine.tick(platform::elapsed());
  if (socket.descriptor() >= 0) socket.send(engine);
}

bool ClientState::hasMore() const {
  return engine.hasCompletions() || receiveMore || shared->hasWork ||
         engine.hasEvents();
}

std::size_t ClientState::process(std::size_t most) {
  if (inHandler || closed) return 0;
  const std::shared_ptr<ClientState> keep = shared_from_this();
  struct AtEnd {
    ClientState& state;
    ~AtEnd() {
      if (state.readiness.descriptor >= 0) state.arm();
    }
  } const atEnd{*this};
  if (shared->awake.exchange(false)) platform::hush(wakeup);
  std::size_t count = runPosted();
  if (closing) return finishClosing(), count;
  // With nothing under way nothing but late answers can have come; they wait.
  const bool expects = engine.underWay() > 0 || !watches.empty() ||
                       ++quietTurns > kMostQuietTurns;
  if (expects && socket.descriptor() >= 0) {
    quietTurns = 0;
    receiveMore = socket.receive(engine, kBatches);
    engine.setDrained(!receiveMore);
  }
  exchange();
  count += runAlarms(platform::elapsed(), most);
  while (count < most) {
    ArrivedEvent event;
    std::unique_ptr<Call> call;
    if (engine.nextEvent(&event)) {
      const InHandler running(*this);
      count += tellWatches(*this, event);
    } else if ((call = engine.nextCompletion()) != nullptr) {
      count++;
      deliver(std::unique_ptr<Pending>(static_cast<Pending*>(call.release())));
    } else {
      break;
    }
    if (closing) return finishClosing(), count;
  }
  tellGaps(*this);
  if (closing) return finishClosing(), count;
  // What handlers asked for goes out at once.
  exchange();
  return count;
}

void ClientState::run() {
  if (inHandler) return;
  const std::shared_ptr<ClientState> keep = shared_from_this();
  while (!closed && !shared->stopped.exchange(false)) {
    process(kTurn);
    if (closed || shared->stopped) continue;
    if (hasMore()) continue;
    if (inUse == 0) return;
    waitForWork();
  }
}

int ClientState::drive(const Ticket& ticket) {
  if (inHandler) return EDEADLK;
  const std::shared_ptr<ClientState> keep = shared_from_this();
  while (!closed && find(ticket) != nullptr) {
    process(kTurn);
    if (closed || find(ticket) == nullptr) break;
    if (!hasMore()) waitForWork();
  }
  return 0;
}

void ClientState::waitForWork() {
  const Moment due = nextDue();
  Moment wait = -1;
  if (due != kNever) wait = std::max<Moment>(due - platform::elapsed(), 0);
  platform::waitFor(socket.descriptor(), socket.isBlocked(), wakeup.readEnd,
                    wait);
}

Moment ClientState::nextDue() const {
  if (hasMore() || closing) return platform::elapsed();
  Moment due = engine.nextDue();
  if (!alarms.empty()) due = std::min(due, alarms.begin()->first);
  if (socket.isBlocked())
    due = std::min(due, platform::elapsed() + kBlockedWait);
  return due;
}

int ClientState::descriptor() {
  if (readiness.descriptor >= 0) return readiness.descriptor;
  if (platform::openReadiness(&readiness) != 0) return -1;
  if (socket.descriptor() >= 0)
    platform::watchDescriptor(readiness, socket.descriptor());
  // A poster may have been there before.
  if (wakeup.readEnd >= 0) {
    platform::watchDescriptor(readiness, wakeup.readEnd);
  } else {
    openWakeup();
  }
  arm();
  return readiness.descriptor;
}

// There is something to do that no datagram and no timer tells.
void ClientState::stir() {
  if (readiness.descriptor >= 0 && !inHandler) arm();
}

// Sets the timer for what is due next. One that goes off too early does no harm
// and saves a call.
void ClientState::arm() {
  const Moment now = platform::elapsed();
  if (socket.descriptor() >= 0 && socket.isBlocked() != writeWatched) {
    writeWatched = socket.isBlocked();
    platform::watchWrite(readiness, socket.descriptor(), writeWatched);
  }
  const Moment due = nextDue();
  if (timerSet > now && timerSet <= due) return;
  if (timerSet == due && due == kNever) return;
  timerSet = due;
  platform::setTimer(readiness,
                     due == kNever ? -1 : std::max<Moment>(due - now, 0));
}

void ClientState::openWakeup() {
  if (wakeup.readEnd >= 0) return;
  if (platform::openWakeup(&shared->wakeup) != 0) return;
  wakeup = shared->wakeup;
  if (readiness.descriptor >= 0)
    platform::watchDescriptor(readiness, wakeup.readEnd);
}

void ClientState::close() {
  if (closed) return;
  closing = true;
  if (!inHandler) finishClosing();
}

// Ends everything that is left. Handlers that ask again get nothing.
void ClientState::finishClosing() {
  if (closed) return;
  const std::shared_ptr<ClientState> keep = shared_from_this();
  FirstFailure failure;
  failure.guard([this] { unregisterWatches(*this); });
  closed = true;
  shared->close();
  engine.endAll();
  while (std::unique_ptr<Call> call = engine.nextCompletion()) {
    failure.guard([&] {
      deliver(std::unique_ptr<Pending>(static_cast<Pending*>(call.release())));
    });
  }
  // What consists of several requests and waited for none.
  for (std::uint32_t i = 0; i < slots.size(); ++i) {
    if (slots[i].operation == nullptr) continue;
    failure.guard([&] {
      const InHandler running(*this);
      slots[i].operation->close(*this);
    });
  }
  socket.close();
  failure.rethrow();
}

}  // namespace ostrel
