#include "requests/searches.h"

#include <ostrel/codes.h>

#include <algorithm>
#include <new>
#include <utility>

#include "common/addresses.h"
#include "common/encoding.h"
#include "requests/answer_bytes.h"
#include "requests/search_answer.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

using std::chrono::steady_clock;

}  // namespace

struct Searches::UnderWay {
  UnderWay(Message&& asked, Owned<veskSearchPDU> pdu, Places* places,
           std::size_t longest)
      : cost(costOf(asked)),
        message(std::move(asked)),
        request(std::move(pdu)),
        kind(kindOf(*request)),
        found(places, answer.get(), longest) {
    answer->requestId = request->requestId;
  }

  std::size_t cost;  // of the request
  Message message;
  Owned<veskSearchPDU> request;
  const RequestKind* kind;
  Owned<veskSearchRespPDU> answer = make<veskSearchRespPDU>();
  SearchAnswer found;
  std::unique_ptr<Search> search;
  Time::duration used{};
  std::string refusal;
};

Searches::Searches(RequestRouter* router, Counters* counters,
                   RequestLimits limits)
    : router_(router), counters_(counters), limits_(limits) {}

Searches::~Searches() = default;

bool Searches::has(const Message& message) const {
  return std::any_of(underWay_.begin(), underWay_.end(), [&](const auto& each) {
    return sameEndpoint(each->message.from, message.from) &&
           each->message.bytes == message.bytes;
  });
}

// The memory that a request takes, about: its bytes, and the values in it.
std::size_t Searches::costOf(const Message& message) {
  return message.bytes.size() +
         valuesIn(message.bytes).value_or(0) * kValueMemory;
}

bool Searches::hasRoomFor(const Message& message) const {
  std::size_t ofOne = 0;
  std::size_t bytes = costOf(message);
  for (const auto& each : underWay_) {
    if (each->message.from.sin_addr.s_addr == message.from.sin_addr.s_addr)
      ofOne++;
    bytes += each->cost + each->found.size();
  }
  return underWay_.size() < kMost && ofOne < kMostOfOne && bytes <= kMostBytes;
}

void Searches::add(Message&& message, Owned<veskSearchPDU> request) {
  if (!hasRoomFor(message)) {
    counters_->add(Counter::kOverRate);
    log(Level::kWarning, "too many searches: dropped one");
    return;
  }
  auto added = std::make_unique<UnderWay>(
      std::move(message), std::move(request), router_, limits_.longestAnswer);
  SearchAnswer& found = added->found;
  added->search = router_->begin(*added->request, added->answer.get(),
                                 [&](veskOid& oid) { return found.add(oid); });
  if (added->search != nullptr) found.begin(&added->search->page());
  underWay_.push_front(std::move(added));
}

bool Searches::work(Time until, std::vector<Answer>* answers) {
  while (!underWay_.empty()) {
    auto each = std::move(underWay_.front());
    underWay_.pop_front();
    if (step(each.get(), until))
      underWay_.push_back(std::move(each));
    else
      answers->push_back({each->message.from, finish(each.get())});
    if (steady_clock::now() >= until) break;
  }
  return !underWay_.empty();
}

// Whether it has more to do.
bool Searches::step(UnderWay* each, Time until) {
  if (each->search == nullptr) return false;  // it was refused
  const auto refuse = [&](Counter counter, int code) {
    counters_->add(counter);
    each->refusal =
        refusalBytes(*each->kind, each->request->requestId.value, code);
    return false;
  };
  const Time start = steady_clock::now();
  try {
    const bool more = each->search->step(
        std::min(until, start + limits_.budget - each->used));
    each->used += steady_clock::now() - start;
    each->answer->status.value = each->search->code();
    if (!more) return false;
  } catch (const StoreError& error) {
    log(Level::kError, error.what());
    return refuse(Counter::kStoreErrors, kDatabaseError);
  } catch (const std::bad_alloc&) {
    each->found.clear();
    log(Level::kError, "no memory for a search");
    return refuse(Counter::kOutOfMemory, kInternalError);
  }
  if (each->used < limits_.budget) return true;
  log(Level::kWarning, "a search of " + endpointText(each->message.from) +
                           " was given up: it took more than " +
                           std::to_string(limits_.budget.count()) + " ms");
  return refuse(Counter::kOutOfTime, kInternalError);
}

std::string Searches::finish(UnderWay* each) {
  if (!each->refusal.empty()) return std::move(each->refusal);
  std::string bytes = each->found.finish();
  return bytes.empty()
             ? tooLongBytes(*each->kind, *each->request, limits_.longestAnswer)
             : bytes;
}

}  // namespace ostrel::tools::server
