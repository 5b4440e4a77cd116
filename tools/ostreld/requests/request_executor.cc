#include "requests/request_executor.h"

#include <ostrel/codes.h>

#include <ctime>

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
      start_(std::time(nullptr) -
             std::chrono::floor<std::chrono::seconds>(
                 std::chrono::steady_clock::now().time_since_epoch())
                 .count()) {
  tick(std::chrono::steady_clock::now());
}

std::int64_t RequestExecutor::seconds(AnswerCache::Time now) const {
  const auto passed =
      std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
  return (start_ + passed).count();
}

void RequestExecutor::tick(AnswerCache::Time now) {
  store_->forgetAnswers(seconds(now));
  store_->shrink();
}

std::string RequestExecutor::handle(const sockaddr_in& from,
                                    std::string_view request,
                                    AnswerCache::Time now) {
  const std::string key = AnswerCache::keyOf(from, request);
  if (const std::string* given = answers_.find(key, now)) {
    log(Level::kDebug, endpointText(from) + " asked again: same answer");
    return *given;
  }
  const Owned<veskType> value = decoded(request);
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  if (pdu == nullptr) {
    log(Level::kDebug, endpointText(from) + " sent what is no PDU");
    return "";
  }
  logRequest(*pdu, from);
  const RequestKind* kind = kindOf(*pdu);
  if (kind == nullptr) return "";
  const Asked asked = {*kind, *pdu, from, key, now};
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
      router_->answer(asked.kind, asked.pdu, asked.from);
  const auto bytes = encoded(*answer, longestAnswer_);
  std::string result =
      bytes ? *bytes : tooLongBytes(asked.kind, asked.pdu, longestAnswer_);
  answers_.keep(asked.key, result, asked.now);
  return result;
}

// The answer is committed with the change: whoever asks again, after a crash
// too, is told what happened before.
std::string RequestExecutor::change(const Asked& asked) {
  const std::int64_t now = seconds(asked.now);
  if (auto given = store_->answer(asked.key, now)) {
    log(Level::kDebug, endpointText(asked.from) + " asked again: same answer");
    return *given;
  }
  Transaction transaction(*store_);
  const Owned<veskPDU> answer =
      router_->answer(asked.kind, asked.pdu, asked.from);
  const auto bytes = encoded(*answer, longestAnswer_);
  if (!bytes) {
    // What cannot be told is not done.
    registrations_->dropOutgoing();
    return tooLongBytes(asked.kind, asked.pdu, longestAnswer_);
  }
  const int code = answer->status.value;
  if (code == kNoError || code == kArgListError) {
    store_->forgetAnswers(now);
    // The seconds are whole ones: one more makes no life shorter.
    store_->keepAnswer(asked.key, *bytes, now + AnswerCache::kLife.count() + 1);
    transaction.commit();
  }
  return *bytes;
}

}  // namespace ostrel::tools::server
