// What operations of several requests have in common: they end once, may be
// forgotten by the handlers that they call, and take their requests with them.

#ifndef OSTREL_SRC_COMPOSITE_H
#define OSTREL_SRC_COMPOSITE_H

#include <new>
#include <utility>
#include <vector>

#include "client/async/client_state.h"

namespace ostrel {

inline Error cancelledError(const char* what) {
  return Error(Failure::cancelled, kNetworkError, ECANCELED, false, what);
}

// An operation that returns a T. The client's slot owns it.
template <class T>
class Composite : public Operation {
 public:
  Composite(ClientState& state, const char* what, Handler<T> end)
      : state_(state), what_(what), end_(std::move(end)) {}

  void cancel(ClientState&) override {
    if (cancelled_) return;
    // From the loop, whatever is under way.
    state_.setAlarm(this, 0);
    cancelled_ = true;
  }
  void alarm(ClientState&) override {
    if (cancelled_) finish(cancelledError(what_));
  }
  void forget(ClientState&) override {
    dropRequests();
    goesAway();
    state_.leave(this).reset();
  }
  void close(ClientState&) override { finish(cancelledError(what_)); }

 protected:
  // Ends the operation. Nothing of it may be touched afterwards.
  void finish(Result<T> result) {
    dropRequests();
    goesAway();
    Handler<T> end = std::move(end_);
    state_.leave(this).reset();
    if (end) end(std::move(result));
  }

  // The last thing that an operation does.
  virtual void goesAway() {}

  // Asks; the answer comes unless the operation ends before. When the client is
  // closing nothing is asked, and the operation is ended there.
  template <class R>
  void ask(std::unique_ptr<PendingOf<R>> pending,
           const RequestOptions& options) {
    // Its place first: what has been asked must be known here.
    requests_.reserve(requests_.size() + 1);
    requests_.push_back(state_.askFor(std::move(pending), options));
  }

  // Does what asks. Without memory the operation ends, or, when it is about to
  // begin, the call fails.
  template <class Function>
  void guarded(Function function) {
    try {
      function();
    } catch (const std::bad_alloc&) {
      if (!state_.inHandler) throw;
      finish(Error(Failure::unsendable, kNetworkError, ENOMEM, false, what_));
    }
  }
  void setAlarm(Moment when) {
    guarded([this, when] { state_.setAlarm(this, when); });
  }

  // After the answers to all that was asked have come.
  void allAnswered() { requests_.clear(); }

  // Calls a function that may forget this operation. Returns whether it is
  // still there.
  template <class Function>
  bool survives(Function function) {
    Ticket self;
    state_.name(this, &self);
    ClientState& state = state_;
    function();
    return state.find(self) != nullptr;
  }

  bool isAsking() const { return !requests_.empty(); }
  template <class Function>
  void keep(Function ask) {
    requests_.reserve(requests_.size() + 1);
    requests_.push_back(ask());
  }

  void dropRequests() {
    std::vector<Ticket> requests;
    requests.swap(requests_);
    for (Ticket& request : requests) request.forget();
  }

  ClientState& state_;
  const char* what_;
  bool cancelled_ = false;

 private:
  Handler<T> end_;
  std::vector<Ticket> requests_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_COMPOSITE_H
