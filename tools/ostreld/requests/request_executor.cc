#include "requests/request_executor.h"

#include <ctime>

#include "base/codes.h"
#include "base/log.h"

namespace ostrel::tools::server {
namespace {

// Longer than any answer that has nothing but a code.
constexpr std::size_t kLongestRefusal = 256;

}  // namespace

Service::Service(Store* store, Registrations* registrations,
                 Dispatcher* dispatcher, std::size_t longestAnswer)
    : store_(store),
      registrations_(registrations),
      dispatcher_(dispatcher),
      longestAnswer_(longestAnswer),
      start_(std::time(nullptr) -
             std::chrono::floor<std::chrono::seconds>(
                 std::chrono::steady_clock::now().time_since_epoch())
                 .count()) {
  tick(std::chrono::steady_clock::now());
}

std::int64_t Service::seconds(AnswerCache::Time now) const {
  const auto passed =
      std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
  return (start_ + passed).count();
}

void Service::tick(AnswerCache::Time now) {
  store_->forgetAnswers(seconds(now));
  store_->shrink();
}

std::string Service::handle(const sockaddr_in& from, std::string_view request,
                            AnswerCache::Time now) {
  const std::string key = AnswerCache::keyOf(from, request);
  if (const std::string* given = answers_.find(key, now)) {
    log(Level::kDebug, text(from) + " asked again: same answer");
    return *given;
  }
  const Owned<veskType> value = decoded(request);
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  if (pdu == nullptr) {
    log(Level::kDebug, text(from) + " sent what is no PDU");
    return "";
  }
  logRequest(*pdu, from);
  try {
    if (Dispatcher::changes(*pdu)) return change(*pdu, from, key, now);
    std::string answer = read(*pdu, from);
    if (!answer.empty()) answers_.keep(key, answer, now);
    return answer;
  } catch (const StoreError& error) {
    registrations_->dropOutgoing();
    log(Level::kError, error.what());
    const Owned<veskPDU> refused = refusal(*pdu, kDatabaseError);
    // A failure is not remembered: the same request may succeed later.
    return encoded(*refused, kLongestRefusal).value_or("");
  }
}

std::string Service::read(veskPDU& request, const sockaddr_in& from) {
  const Owned<veskPDU> answer = dispatcher_->answer(request, from);
  if (answer == nullptr) return "";
  auto bytes = encoded(*answer, longestAnswer_);
  return bytes ? *bytes : tooLong(request);
}

// The answer is committed with the change: whoever asks again, after a crash
// too, is told what happened before.
std::string Service::change(veskPDU& request, const sockaddr_in& from,
                            const std::string& key, AnswerCache::Time now) {
  if (auto given = store_->answer(key, seconds(now))) {
    log(Level::kDebug, text(from) + " asked again: same answer");
    return *given;
  }
  Transaction transaction(store_->database());
  const Owned<veskPDU> answer = dispatcher_->answer(request, from);
  const auto bytes = encoded(*answer, longestAnswer_);
  if (!bytes) {
    // What cannot be told is not done.
    registrations_->dropOutgoing();
    return tooLong(request);
  }
  if (answer->status.value == kNoError || answer->status.value == kItemErrors) {
    store_->forgetAnswers(seconds(now));
    // The seconds are whole ones: one more makes no life shorter.
    store_->keepAnswer(key, *bytes,
                       seconds(now) + AnswerCache::kLife.count() + 1);
    transaction.commit();
  }
  return *bytes;
}

std::string Service::tooLong(veskPDU& request) const {
  log(Level::kWarning, "an answer of more than " +
                           std::to_string(longestAnswer_) +
                           " bytes was replaced by an error");
  const Owned<veskPDU> refused = refusal(request, kInternalError);
  return encoded(*refused, kLongestRefusal).value_or("");
}

void Service::logRequest(veskPDU& request, const sockaddr_in& from) {
  if (!logs(Level::kDebug)) return;
  log(Level::kDebug, text(from) + " tag " + std::to_string(request.tag) + ": " +
                         text(request));
}

}  // namespace ostrel::tools::server
