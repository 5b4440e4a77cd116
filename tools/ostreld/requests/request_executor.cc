#include "requests/request_executor.h"

#include <ostrel/codes.h>

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

}  // namespace

RequestExecutor::RequestExecutor(Store* store, Registrations* registrations,
                                 RequestRouter* router,
                                 std::size_t longestAnswer)
    : store_(store),
      registrations_(registrations),
      router_(router),
      longestAnswer_(longestAnswer),
      repeats_(store) {
  tick(std::chrono::steady_clock::now());
}

void RequestExecutor::tick(Time now) {
  repeats_.forget(now);
  store_->shrink();
}

std::string RequestExecutor::handle(const Message& message, Time now) {
  const sockaddr_in& from = message.from;
  const Owned<veskType> value = decoded(message.bytes);
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  if (pdu == nullptr) {
    log(Level::kDebug, endpointText(from) + " sent what is no PDU");
    return "";
  }
  logRequest(*pdu, from);
  const RequestKind* kind = kindOf(*pdu);
  if (kind == nullptr) return "";
  const Asked asked = {*kind, *pdu, message, now};
  try {
    return changes(*kind) ? change(asked) : read(asked);
  } catch (const StoreError& error) {
    registrations_->dropOutgoing();
    log(Level::kError, error.what());
    // A failure is not remembered: the same request may succeed later.
    return refusalBytes(*kind, *pdu, kDatabaseError);
  }
}

std::string RequestExecutor::read(const Asked& asked) {
  const Owned<veskPDU> answer =
      router_->answer(asked.kind, asked.pdu, asked.message.from);
  const auto bytes = encoded(*answer, longestAnswer_);
  return bytes ? *bytes : tooLongBytes(asked.kind, asked.pdu, longestAnswer_);
}

// The answer is committed with the change: whoever asks again, after a crash
// too, is told what happened before.
std::string RequestExecutor::change(const Asked& asked) {
  const Message& message = asked.message;
  const std::string key = Repeats::keyOf(message.from, message.bytes);
  if (auto given = repeats_.answerTo(key, message.id, asked.now)) {
    log(Level::kDebug,
        endpointText(message.from) + " asked again: same answer");
    return *given;
  }
  Transaction transaction(*store_);
  const Owned<veskPDU> answer =
      router_->answer(asked.kind, asked.pdu, message.from);
  const auto bytes = encoded(*answer, longestAnswer_);
  if (!bytes) {
    // What cannot be told is not done.
    registrations_->dropOutgoing();
    return tooLongBytes(asked.kind, asked.pdu, longestAnswer_);
  }
  const int code = answer->status.value;
  if (code == kNoError || code == kArgListError) {
    repeats_.keep(key, message.id, asked.now, *bytes);
    transaction.commit();
  }
  return *bytes;
}

}  // namespace ostrel::tools::server
