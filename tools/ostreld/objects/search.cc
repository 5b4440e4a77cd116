#include "objects/search.h"

#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "objects/attributes.h"
#include "support/value_order.h"

namespace ostrel::tools::server {
namespace {

bool fulfils(veskType& value, unsigned operation, veskType& given) {
  if (operation == kOperatorContains) return containsValue(value, given);
  const Order order = compareValues(value, given);
  switch (operation) {
    case kOperatorEquals:
      return order == Order::kEqual;
    case kOperatorNotEqual:
      return order != Order::kEqual;
    case kOperatorLess:
      return order == Order::kLess;
    case kOperatorLessOrEqual:
      return order == Order::kLess || order == Order::kEqual;
    case kOperatorGreater:
      return order == Order::kGreater;
    case kOperatorGreaterOrEqual:
      return order == Order::kGreater || order == Order::kEqual;
    default:
      return false;
  }
}

int checkCondition(veskAttribute* condition) {
  if (condition == nullptr) return kAidFormat;
  const unsigned operation = operatorOf(*condition);
  if (isOfPage(operation)) return checkOfPage(*condition);
  if (condition->id.valid == 0) return kAidFormat;
  if (operation < kOperatorEquals || operation > kOperatorContains)
    return kBadValue;
  return operation != kOperatorPresent && condition->value == nullptr
             ? kBadValue
             : kNoError;
}

// Whether a value is what a condition, which was checked, asks for.
bool meets(veskType* value, veskAttribute& condition) {
  if (value == nullptr) return false;
  const unsigned operation = operatorOf(condition);
  return operation == kOperatorPresent ||
         fulfils(*value, operation, *condition.value);
}

// Whether attributes fulfil all conditions.
bool matches(veskList& attributes, veskList& conditions) {
  const Elements<veskAttribute> all(conditions);
  return std::all_of(all.begin(), all.end(), [&](veskAttribute* condition) {
    veskAttribute* attribute = find(attributes, condition->id);
    return attribute != nullptr && meets(attribute->value, *condition);
  });
}

// More are no use: going over all objects of the class in turns is as quick as
// reading them one by one. With few, no other condition has to be looked about.
constexpr std::size_t kMostCandidates = 2048;
constexpr std::size_t kFewCandidates = 32;

// Objects that are listed at a time.
constexpr std::size_t kPage = 256;

bool isOver(Search::Time deadline) {
  return std::chrono::steady_clock::now() >= deadline;
}

}  // namespace

int checkConditions(veskList& conditions, veskList* errors) {
  std::set<unsigned> ofPage;
  return checkEach<veskAttribute>(
      conditions, errors, [&](unsigned i, veskAttribute* condition) {
        if (i >= kMostConditions) return kBadValue;
        const int code = checkCondition(condition);
        if (code != kNoError || !isOfPage(operatorOf(*condition))) return code;
        const bool first = ofPage.insert(operatorOf(*condition)).second;
        return first ? kNoError : kBadValue;
      });
}

Search::Search(Places* places, const veskOid& where, veskList& conditions,
               Sink sink)
    : places_(places),
      page_(conditions),
      sink_(std::move(sink)),
      place_(where),
      after_(where) {
  for (auto* condition : Elements<veskAttribute>(conditions))
    if (!isOfPage(operatorOf(*condition))) conditions_.append(condition);
  begin();
}

// Goes to where the page begins.
void Search::begin() {
  veskOid everything(kEverything);
  everywhere_ = place_ == everything;
  veskOid after = page_.after.value_or(everything);
  if (page_.limit == 0U) {
    done_ = true;
  } else if (!isClass(place_)) {
    candidates_ = {place_};
    done_ = page_.after && compareValues(place_, after) != Order::kGreater;
  } else if (everywhere_) {
    place_ = classOf(after);
    after_ = after;
    if (place_ == everything) goToNextPlace();
  } else if (compareValues(after, place_) == Order::kGreater) {
    after_ = after;
    veskOid classOid = classOf(after);
    done_ = !(classOid == place_);
  }
}

bool Search::step(Time deadline) {
  do {
    if (!done_ && finishPlace(deadline)) goToNextPlace();
  } while (!done_ && !isOver(deadline));
  return !done_;
}

void Search::goToNextPlace() {
  candidates_.reset();
  planned_ = false;
  next_ = 0;
  const auto next = everywhere_ ? places_->classAfter(place_) : std::nullopt;
  if (next)
    place_ = after_ = *next;
  else
    done_ = true;
}

// Whether nothing is left of it.
bool Search::finishPlace(Time deadline) {
  ObjectManager& manager = places_->managerOf(place_);
  if (!candidates_ && !planned_) plan(manager, deadline);
  if (candidates_) return readEach(manager, deadline);
  if (conditions_.count == 0) return list(manager, deadline);
  bool whole = false;
  if (scan(manager, deadline, &whole)) return whole;
  OwnedList all;
  code_ = manager.list(place_, &all);
  if (code_ != kNoError) done_ = true;
  candidates_.emplace();
  for (auto* oid : Elements<veskOid>(all))
    if (oid != nullptr) candidates_->push_back(*oid);
  next_ = firstCandidate();
  return false;
}

// Takes the condition for which an index gives the fewest objects; the others
// are checked on those.
void Search::plan(ObjectManager& manager, Time deadline) {
  planned_ = true;
  for (auto* condition : Elements<veskAttribute>(conditions_)) {
    const std::size_t most =
        candidates_ ? candidates_->size() : kMostCandidates;
    auto fewer =
        manager.candidates(place_, *condition, operatorOf(*condition), most);
    if (fewer) candidates_ = std::move(fewer);
    const bool few = candidates_ && candidates_->size() <= kFewCandidates;
    if (few || isOver(deadline)) break;
  }
  if (candidates_) next_ = firstCandidate();
}

// The first of them that the page may have.
std::size_t Search::firstCandidate() {
  const auto first =
      std::find_if(candidates_->begin(), candidates_->end(), [&](veskOid& oid) {
        return compareValues(oid, after_) == Order::kGreater;
      });
  return static_cast<std::size_t>(first - candidates_->begin());
}

bool Search::list(ObjectManager& manager, Time deadline) {
  bool looked = false;
  for (;;) {
    OwnedList page;
    code_ = manager.listPage(place_, after_, kPage, &page);
    if (code_ != kNoError) done_ = true;
    for (auto* oid : Elements<veskOid>(page)) {
      if (done_ || oid == nullptr) continue;
      if (isOver(deadline) && looked) return false;
      looked = true;
      after_ = *oid;
      found(*oid);
    }
    if (page.count < kPage) return true;
    if (done_ || isOver(deadline)) return false;
  }
}

// By the first condition; the others are looked at where that one is met.
// Returns whether the manager has a way to do so.
bool Search::scan(ObjectManager& manager, Time deadline, bool* whole) {
  auto& first = *conditions_.at<veskAttribute>(0);
  *whole = true;
  return manager.scan(place_, after_, first.id,
                      [&](veskOid& oid, veskType* value) {
                        after_ = oid;
                        if (meets(value, first) && meetsOthers(manager, oid))
                          found(oid);
                        *whole = !done_ && !isOver(deadline);
                        return *whole;
                      });
}

bool Search::meetsOthers(ObjectManager& manager, veskOid& oid) {
  const Elements<veskAttribute> all(conditions_);
  return std::all_of(
      std::next(all.begin()), all.end(), [&](veskAttribute* condition) {
        return manager.holds(oid, condition->id, [&](veskType& value) {
          return meets(&value, *condition);
        });
      });
}

bool Search::readEach(ObjectManager& manager, Time deadline) {
  while (!done_ && next_ < candidates_->size()) {
    veskOid& oid = (*candidates_)[next_++];
    OwnedList attributes;
    // What went away meanwhile is not found.
    if (manager.read(oid, &attributes) == kNoError &&
        matches(attributes, conditions_))
      found(oid);
    if (isOver(deadline)) return false;
  }
  return true;
}

void Search::found(veskOid& oid) {
  if (!sink_(oid)) done_ = true;
}

}  // namespace ostrel::tools::server
