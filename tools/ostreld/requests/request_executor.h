// The object server without its socket: from the bytes of requests to the bytes
// of answers, with everything that makes an answer a promise. The changes of a
// batch are one transaction, on the disk before there is an answer; each is
// executed once, however often it arrives.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "net/udp_socket.h"
#include "objects/registrations.h"
#include "requests/repeats.h"
#include "requests/request_router.h"
#include "requests/searches.h"
#include "store/store.h"
#include "support/counters.h"
#include "support/limits.h"

namespace ostrel::tools::server {

class RequestExecutor {
 public:
  using Time = Repeats::Time;

  // A batch ends before it holds more than this, whatever else has arrived:
  // bytes of requests and their answers, and events.
  static constexpr std::size_t kMostHeldBytes = 16 << 20;
  static constexpr std::size_t kMostHeldEvents = 1024;

  // What is given has to outlive this object. A request beyond the limits is
  // refused.
  RequestExecutor(Store* store, Registrations* registrations,
                  RequestRouter* router, Counters* counters,
                  RequestLimits limits);

  // For what arrives from now on.
  void setLimits(std::size_t longestAnswer, std::chrono::milliseconds budget);

  // Executes a request, or begins it when it is a search. Changes belong to a
  // batch, which the first of them begins; once there is one, other requests
  // see it, and belong to it too. What the server does not answer has no
  // answer.
  void handle(Message& message, Time arrived);

  // Ends the batch: all of its changes are kept, or none.
  void finishBatch();

  // Goes on with searches until then, outside a batch. Returns whether there
  // are any left.
  bool work(Time until) { return searches_.work(until, &ready_); }

  // Whether there is a batch. Events that were raised meanwhile may still turn
  // out not to have happened.
  bool inBatch() const { return transaction_.has_value(); }

  // Answers that may be sent: to all but the present batch.
  std::vector<Answer> takeAnswers();

  // Forgets answers to changes that are old enough; to be called at times, and
  // not in a batch. Throws StoreError.
  void tick(Time now);

 private:
  // A request, as it arrived and as it was understood.
  struct Asked {
    const RequestKind& kind;
    veskPDU& pdu;
    const Message& message;
    const std::string& key;  // what repeats are told by
    Time arrived;
  };

  // One that was executed in the batch.
  struct Held {
    Message message;
    const RequestKind* kind;
    std::uint32_t requestId;
    std::string answer;
  };
  class Change;

  void take(Message& message, Time arrived);
  bool refuses(const Asked& asked);
  void execute(Message* message, const Asked& asked);
  bool repeats(const Asked& asked);
  std::string read(const Asked& asked);
  std::string change(const Asked& asked);
  void beginBatch(Time now);
  void failBatch();
  bool isHeld(const Message& message) const;
  void deliver(Message* message, const Asked& asked, std::string answer);

  Store* store_;
  Registrations* registrations_;
  RequestRouter* router_;
  Counters* counters_;
  RequestLimits limits_;
  Repeats repeats_;
  Searches searches_;

  std::optional<Transaction> transaction_;  // of the batch
  std::size_t mark_ = 0;                    // where its events begin
  std::vector<Held> held_;
  std::size_t heldBytes_ = 0;
  std::vector<Answer> ready_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
