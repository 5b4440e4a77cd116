#include "service.h"

#include <ctime>

#include "codes.h"
#include "log.h"

namespace ostreld {
namespace {

// Longer than any answer that has nothing but a code.
constexpr std::size_t kLongestRefusal = 256;

}  // namespace

Service::Service(Store* store, Registrations* registrations,
                 Dispatcher* dispatcher, std::size_t longestAnswer)
    : store_(store),
      registrations_(registrations),
      dispatcher_(dispatcher),
      longestAnswer_(longestAnswer) {
  const auto now = std::chrono::steady_clock::now();
  store->forgetAnswers(std::time(nullptr));
  store->eachAnswer([&](std::string_view key, std::string_view answer) {
    answers_.keep(std::string(key), std::string(answer), now);
  });
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
  std::string answer;
  try {
    answer = execute(*pdu, from, key);
  } catch (const StoreError& error) {
    registrations_->dropOutgoing();
    log(Level::kError, error.what());
    const Owned<veskPDU> refused = refusal(*pdu, kDatabaseError);
    // A failure is not remembered: the same request may succeed later.
    return encode(*pdu, *refused);
  }
  if (!answer.empty()) answers_.keep(key, answer, now);
  return answer;
}

std::string Service::execute(veskPDU& request, const sockaddr_in& from,
                             const std::string& key) {
  if (!Dispatcher::changes(request)) {
    const Owned<veskPDU> answer = dispatcher_->answer(request, from);
    return answer == nullptr ? "" : encode(request, *answer);
  }
  // The answer is committed with the change: whoever asks again after a crash
  // is told what happened before it.
  Transaction transaction(store_->database());
  const Owned<veskPDU> answer = dispatcher_->answer(request, from);
  std::string bytes = encode(request, *answer);
  if (answer->status.value == kNoError || answer->status.value == kItemErrors) {
    const std::int64_t now = std::time(nullptr);
    store_->forgetAnswers(now);
    store_->keepAnswer(key, bytes, now + AnswerCache::kLife.count());
    transaction.commit();
  }
  return bytes;
}

std::string Service::encode(veskPDU& request, veskPDU& answer) {
  auto bytes = encoded(answer, longestAnswer_);
  if (bytes) return *bytes;
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

}  // namespace ostreld
