#include "directory/merged_page.h"

#include <ostrel/elements.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "common/encoding.h"
#include "requests/search_answer.h"
#include "support/value_order.h"

namespace ostrel::tools::server {
namespace {

// No more stands before the results of an answer that has no errors, and beside
// each result its server's address.
constexpr std::size_t kAnswerHead = 64;
constexpr std::size_t kAddressBytes = 8;

bool isBehind(veskOid& oid, veskOid& other) {
  return compareValues(oid, other) == Order::kGreater;
}

// A result's identifier; null for what is no result.
veskOid* oidIn(veskType* result) {
  if (auto* object = dynamic_cast<veskObject*>(result)) return &object->oid;
  return dynamic_cast<veskOid*>(result);
}

}  // namespace

// A server that ignores where the page begins would have a client ask for the
// same again and again.
void MergedPage::add(veskList* results, in_addr server) {
  std::optional<veskOid> last;
  std::vector<Owned<veskType>> taken;
  for (veskType* value : Elements(*results)) taken.emplace_back(value);
  results->clear(0);
  for (Owned<veskType>& value : taken) {
    veskOid* oid = oidIn(value.get());
    veskOid after = page_->after.value_or(veskOid());
    if (oid == nullptr || !isBehind(*oid, after)) continue;
    if (!last || isBehind(*oid, *last)) last = *oid;
    results_.push_back({std::move(value), oid, server});
  }
  if (last && (!end_ || isBehind(*end_, *last))) end_ = last;
}

std::size_t MergedPage::lengthOf(Results::iterator first,
                                 Results::iterator last) {
  return std::accumulate(
      first, last, std::size_t{0}, [](std::size_t sum, const Result& each) {
        return sum + kAddressBytes + encoded(*each.value).value_or("").size();
      });
}

void MergedPage::moveTo(veskDSsearchRespPDU* answer, std::size_t longest) {
  const auto beyond = std::stable_partition(
      results_.begin(), results_.end(),
      [&](const Result& each) { return !isBehind(*each.oid, *end_); });
  results_.erase(beyond, results_.end());
  std::stable_sort(results_.begin(), results_.end(),
                   [](const Result& left, const Result& right) {
                     return isBehind(*right.oid, *left.oid);
                   });
  const std::size_t room = std::min(longest, SearchAnswer::kLongestPage);
  std::size_t length = kAnswerHead;
  for (auto first = results_.begin(); first != results_.end();) {
    const auto last = std::find_if(
        first, results_.end(),
        [&](const Result& each) { return isBehind(*each.oid, *first->oid); });
    const std::size_t count = answer->list->count;
    if (page_->limit && count >= *page_->limit) return;
    const std::size_t added = lengthOf(first, last);
    if (count != 0 && length + added > room) return;
    length += added;
    for (; first != last; ++first) {
      // What no answer holds can be asked for by its identifier.
      if (length > longest) first->value = make<veskOid>(*first->oid);
      answer->list->append(first->value.release());
      answer->list2->append(new veskAddress(first->server));
    }
  }
}

}  // namespace ostrel::tools::server
