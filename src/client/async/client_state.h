// What a Client consists of: the engine and its socket, the requests that
// tickets name, and the loop. Operations of several requests (searches,
// watches, looking for a directory server) are built on single ones.

#ifndef OSTREL_SRC_CLIENT_STATE_H
#define OSTREL_SRC_CLIENT_STATE_H

#include <ostrel/client.h>

#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/platform_async.h"
#include "client/async/pending.h"
#include "client/async/poster.h"
#include "client/async/socket.h"
#include "client/engine/engine.h"

namespace ostrel {

class Watch;

struct ClientState : std::enable_shared_from_this<ClientState> {
  explicit ClientState(const ClientOptions& options);
  ~ClientState();
  ClientState(const ClientState&) = delete;
  ClientState& operator=(const ClientState&) = delete;

  // client_state.cc: what tickets name.
  void enter(Operation* operation);
  // Also takes care of an operation that the client owns.
  void enter(std::unique_ptr<Operation> operation);
  std::unique_ptr<Operation> leave(Operation* operation);
  std::unique_ptr<Operation> leave(std::uint32_t number);
  Operation* find(const Ticket& ticket) const;
  void name(const Operation* operation, Ticket* ticket);

  // Takes over a request that is complete but for its options and principal.
  // Null when the client is closing.
  Pending* ask(std::unique_ptr<Pending> pending, const RequestOptions& options);
  void cancel(Pending* pending);
  void forget(Pending* pending);

  // The same for callers that name it later.
  template <class T>
  Ticket askFor(std::unique_ptr<PendingOf<T>> pending,
                const RequestOptions& options) {
    Ticket ticket;
    if (Pending* taken = ask(std::move(pending), options)) name(taken, &ticket);
    return ticket;
  }

  // The whole of a call: makes the request, with a cell where there is no
  // handler, and names it.
  template <class Make, class T>
  Request<T> request(Make make, Handler<T> handler,
                     const RequestOptions& given) {
    Request<T> result;
    if (closing) return result;
    Pending* taken = ask(make(orCell(std::move(handler), &result)), given);
    if (taken != nullptr) name(taken, &result);
    return result;
  }

  // Puts a handler in place, or where there is none a cell for the result.
  template <class T>
  static Handler<T> orCell(Handler<T> handler, Request<T>* request) {
    if (handler) return handler;
    request->cell_ = std::make_shared<typename Request<T>::Cell>();
    return [cell = request->cell_](Result<T>&& result) {
      if (!cell->handler) {
        cell->result.emplace(std::move(result));
        return;
      }
      Handler<T> waiting = std::move(cell->handler);
      cell->handler = nullptr;
      waiting(std::move(result));
    };
  }

  // client_loop.cc
  void run();
  std::size_t process(std::size_t most);
  int drive(const Ticket& ticket);
  int descriptor();
  Moment nextDue() const;
  void close();
  void finishClosing();
  void stir();
  void openWakeup();
  // Lets the engine do what is due, and sends.
  void exchange();
  // Has an operation's alarm() called, from the loop.
  void setAlarm(Operation* operation, Moment when);
  void clearAlarms(Operation* operation);

  // principal.cc
  void needPrincipal(Pending* pending);
  void holdForPrincipal(Pending* pending);
  void learnPrincipal(const Oid& found, bool known);

  Engine engine;
  EngineSocket socket;
  int socketError = 0;
  bool inHandler = false;
  bool closing = false;
  bool closed = false;
  bool receiveMore = false;
  unsigned quietTurns = 0;

  struct Slot {
    Operation* operation = nullptr;
    std::unique_ptr<Operation> owned;
    std::uint32_t generation = 0;
    std::uint32_t nextFree = 0;
  };
  std::vector<Slot> slots;
  std::uint32_t firstFree = 0;
  std::size_t inUse = 0;

  struct Alarm {
    std::uint32_t slot;
    std::uint32_t generation;
  };
  std::multimap<Moment, Alarm> alarms;

  // The user's principal.
  enum class Lookup : std::uint8_t { kNone, kUnderWay, kKnown, kFailed };
  Lookup lookup = Lookup::kNone;
  Oid principal;
  Moment lookupFailedUntil = 0;
  std::vector<Alarm> heldForPrincipal;

  std::vector<Watch*> watches;
  std::uint64_t toldDrops = 0;
  std::shared_ptr<Poster::Shared> shared;
  platform::Wakeup wakeup;  // the shared one's
  platform::Readiness readiness;
  Moment timerSet = kNever;  // when the readiness's timer goes off
  bool writeWatched = false;

 private:
  void deliver(std::unique_ptr<Pending> pending);
  std::size_t runPosted();
  std::size_t runAlarms(Moment now, std::size_t most);
  bool hasMore() const;
  void waitForWork();
  void arm();
};

// While it lives, a handler runs.
class InHandler {
 public:
  explicit InHandler(ClientState& state)
      : state_(state), before_(state.inHandler) {
    state.inHandler = true;
  }
  ~InHandler() { state_.inHandler = before_; }
  InHandler(const InHandler&) = delete;
  InHandler& operator=(const InHandler&) = delete;

 private:
  ClientState& state_;
  bool before_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_CLIENT_STATE_H
