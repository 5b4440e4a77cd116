#include "requests/request_executor.h"

#include <ostrel/codes.h>
#include <ostrel/veskError.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "common/addresses.h"
#include "common/encoding.h"
#include "common/printed.h"
#include "requests/answer_bytes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

void logRequest(veskPDU& request, const sockaddr_in& from) {
  if (!logs(Level::kDebug)) return;
  log(Level::kDebug, endpointText(from) + " tag " +
                         std::to_string(request.tag) + ": " + printed(request));
}

struct Free {
  void operator()(char* text) const { std::free(text); }
};

// A request was refused with a code, or dropped when that is 0.
void logRefused(const RequestKind& kind, veskPDU& request,
                const sockaddr_in& from, int code) {
  if (!logs(Level::kInfo)) return;
  const std::unique_ptr<char, Free> text(veskGetErrorString(code, nullptr));
  const std::string why = text ? text.get() : std::to_string(code);
  veskOid& principal = request.principal;
  logRefusal({from, principal.valid != 0 ? printed(principal) : "",
              describe(kind, request), code == kNoError ? "dropped" : why});
}

}  // namespace

// One change of a batch. Without keep() it leaves no trace.
class RequestExecutor::Change {
 public:
  Change(Store& store, Registrations* registrations)
      : registrations_(registrations),
        mark_(registrations->mark()),
        savepoint_(std::in_place, store) {}
  ~Change() {
    if (kept_) return;
    savepoint_.reset();
    registrations_->rollBackTo(mark_);
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  void keep() {
    savepoint_->keep();
    kept_ = true;
  }

 private:
  Registrations* registrations_;
  std::size_t mark_;
  std::optional<Savepoint> savepoint_;
  bool kept_ = false;
};

RequestExecutor::RequestExecutor(Store* store, Registrations* registrations,
                                 RequestRouter* router, Counters* counters,
                                 RequestLimits limits)
    : store_(store),
      registrations_(registrations),
      router_(router),
      counters_(counters),
      limits_(limits),
      repeats_(store),
      searches_(router, counters, limits) {
  tick(std::chrono::steady_clock::now());
}

void RequestExecutor::setLimits(std::size_t longestAnswer,
                                std::chrono::milliseconds budget) {
  limits_.longestAnswer = longestAnswer;
  limits_.budget = budget;
  searches_.setLimits(limits_);
}

void RequestExecutor::tick(Time now) {
  repeats_.forget(now);
  store_->shrink();
}

// Running out of memory costs the request, not the server.
void RequestExecutor::handle(Message& message, Time arrived) {
  // So that what was executed can be held.
  if (held_.size() == held_.capacity()) held_.reserve(2 * held_.size() + 1);
  try {
    take(message, arrived);
  } catch (const std::bad_alloc&) {
    counters_->add(Counter::kOutOfMemory);
    log(Level::kError,
        "no memory for a request of " + endpointText(message.from));
    ready_.push_back(
        {message.from, refusalBytes(message.bytes, kInternalError)});
  }
}

void RequestExecutor::take(Message& message, Time arrived) {
  message.arrived = arrived;
  if (isHeld(message) || searches_.has(message)) {
    counters_->add(Counter::kRepeats);
    return;
  }
  // Nothing is made of the bytes before it is known what that would cost.
  const auto values = valuesIn(message.bytes);
  const bool tooMany = values.value_or(0) > limits_.mostValues;
  Owned<veskType> value;
  if (values) {
    value =
        tooMany ? headerIn(message.bytes) : decodedCanonically(message.bytes);
  }
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  const RequestKind* kind = pdu == nullptr ? nullptr : kindOf(*pdu);
  if (kind == nullptr) {
    counters_->add(Counter::kMalformed);
    log(Level::kDebug, endpointText(message.from) + " sent what is no request");
    return;
  }
  logRequest(*pdu, message.from);
  const std::string key = Repeats::keyOf(message.from, message.bytes);
  const Asked asked = {*kind, *pdu, message, key, arrived};
  if (refuses(asked)) return;
  if (tooMany) {
    counters_->add(Counter::kMalformed);
    ready_.push_back(
        {message.from, refusalBytes(*kind, pdu->requestId.value, kBadValue)});
    return;
  }
  if (auto search = takeAs<veskSearchPDU>(value))
    searches_.add(std::move(message), std::move(search));
  else
    execute(&message, asked);
}

// Whoever may not read is not answered; whoever may not change is told so.
bool RequestExecutor::refuses(const Asked& asked) {
  const sockaddr_in& from = asked.message.from;
  const Asker asker = router_->askerOf(asked.pdu, from);
  if (router_->mayAsk(asked.kind, asker)) return false;
  const bool change = changes(asked.kind);
  const int code = change ? kPermissionDenied : kNoError;
  counters_->add(change ? Counter::kChangesRefused : Counter::kReadingRefused);
  logRefused(asked.kind, asked.pdu, from, code);
  if (change)
    ready_.push_back(
        {from, refusalBytes(asked.kind, asked.pdu.requestId.value, code)});
  return true;
}

void RequestExecutor::execute(Message* message, const Asked& asked) {
  const bool change = changes(asked.kind);
  try {
    if (change && repeats(asked)) return;
    deliver(message, asked, change ? this->change(asked) : read(asked));
    return;
  } catch (const StoreError& error) {
    counters_->add(Counter::kStoreErrors);
    log(Level::kError, error.what());
  }
  // Some failures undo the whole transaction.
  if (inBatch() && transaction_->lost()) failBatch();
  // A failure is not remembered: the same request may succeed later.
  ready_.push_back(
      {message->from,
       refusalBytes(asked.kind, asked.pdu.requestId.value, kDatabaseError)});
}

// Whether it was made before, which the sender is told again. That was kept,
// whatever becomes of the present batch.
bool RequestExecutor::repeats(const Asked& asked) {
  auto given = repeats_.answerTo(asked.key, asked.message.id, asked.arrived);
  if (!given) return false;
  counters_->add(Counter::kRepeats);
  log(Level::kDebug,
      endpointText(asked.message.from) + " asked again: same answer");
  ready_.push_back({asked.message.from, std::move(*given)});
  return true;
}

std::string RequestExecutor::read(const Asked& asked) {
  const Owned<veskPDU> answer =
      router_->answer(asked.kind, asked.pdu, asked.message.from);
  const auto bytes = encoded(*answer, limits_.longestAnswer);
  return bytes ? *bytes
               : tooLongBytes(asked.kind, asked.pdu, limits_.longestAnswer);
}

// The answer is committed with the change: whoever asks again, after a crash
// too, is told what happened before.
std::string RequestExecutor::change(const Asked& asked) {
  const Message& message = asked.message;
  if (!inBatch()) beginBatch(asked.arrived);
  Change change(*store_, registrations_);
  const Owned<veskPDU> answer =
      router_->answer(asked.kind, asked.pdu, message.from);
  const auto bytes = encoded(*answer, limits_.longestAnswer);
  // What cannot be told is not done.
  if (!bytes) return tooLongBytes(asked.kind, asked.pdu, limits_.longestAnswer);
  const int code = answer->status.value;
  if (code == kNoError || code == kArgListError) {
    repeats_.keep(asked.key, message.id, asked.arrived, *bytes);
    change.keep();
  } else if (code != kPermissionDenied) {
    // A manager that does not permit something says why itself.
    logRefused(asked.kind, asked.pdu, message.from, code);
  }
  return *bytes;
}

void RequestExecutor::beginBatch(Time now) {
  transaction_.emplace(*store_);
  mark_ = registrations_->mark();
  repeats_.forget(now);
}

// Whether this repeats what was asked in this batch: it has one answer.
bool RequestExecutor::isHeld(const Message& message) const {
  return std::any_of(held_.begin(), held_.end(), [&](const Held& each) {
    using Milliseconds = std::chrono::milliseconds;
    const auto passed = std::chrono::floor<Milliseconds>(
        std::max(message.arrived, each.message.arrived) -
        std::min(message.arrived, each.message.arrived));
    return sameEndpoint(each.message.from, message.from) &&
           each.message.bytes == message.bytes &&
           Repeats::areRepeats(each.message.id, message.id, passed);
  });
}

void RequestExecutor::deliver(Message* message, const Asked& asked,
                              std::string answer) {
  if (!inBatch()) {
    ready_.push_back({message->from, std::move(answer)});
    return;
  }
  heldBytes_ += message->bytes.size() + answer.size();
  const std::uint32_t requestId = asked.pdu.requestId.value;
  held_.push_back(
      {std::move(*message), &asked.kind, requestId, std::move(answer)});
  if (heldBytes_ >= kMostHeldBytes ||
      registrations_->mark() - mark_ >= kMostHeldEvents)
    finishBatch();
}

void RequestExecutor::finishBatch() {
  if (!inBatch()) return;
  try {
    // Behind the commit nothing may fail.
    ready_.reserve(ready_.size() + held_.size());
    transaction_->commit();
  } catch (const std::bad_alloc&) {
    counters_->add(Counter::kOutOfMemory);
    failBatch();
    return;
  } catch (const StoreError& error) {
    counters_->add(Counter::kStoreErrors);
    log(Level::kError, error.what());
    failBatch();
    return;
  }
  transaction_.reset();
  for (Held& each : held_)
    ready_.push_back({each.message.from, std::move(each.answer)});
  held_.clear();
  heldBytes_ = 0;
}

// None of it happened: neither what was changed nor what was read.
void RequestExecutor::failBatch() {
  transaction_.reset();
  registrations_->rollBackTo(mark_);
  for (const Held& each : held_)
    ready_.push_back(
        {each.message.from,
         refusalBytes(*each.kind, each.requestId, kDatabaseError)});
  held_.clear();
  heldBytes_ = 0;
}

std::vector<Answer> RequestExecutor::takeAnswers() {
  std::vector<Answer> result;
  result.swap(ready_);
  return result;
}

}  // namespace ostrel::tools::server
