#include "objects/search.h"

#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <algorithm>

#include "objects/attributes.h"
#include "support/value_order.h"

namespace ostrel::tools::server {
namespace {

unsigned operatorOf(veskAttribute& condition) {
  auto* operation = dynamic_cast<veskAttributeValueOp*>(&condition);
  if (operation == nullptr) return kOperatorEquals;
  return static_cast<unsigned char>(operation->op.value);
}

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
  if (condition == nullptr || condition->id.valid == 0) return kAidFormat;
  const unsigned operation = operatorOf(*condition);
  if (operation < kOperatorEquals || operation > kOperatorContains)
    return kBadValue;
  return operation != kOperatorPresent && condition->value == nullptr
             ? kBadValue
             : kNoError;
}

// Whether an object has what a condition, which was checked, asks for.
bool meets(veskList& attributes, veskAttribute& condition) {
  veskAttribute* attribute = find(attributes, condition.id);
  if (attribute == nullptr || attribute->value == nullptr) return false;
  const unsigned operation = operatorOf(condition);
  return operation == kOperatorPresent ||
         fulfils(*attribute->value, operation, *condition.value);
}

}  // namespace

int checkConditions(veskList& conditions, veskList* errors) {
  return checkEach<veskAttribute>(
      conditions, errors, [](unsigned i, veskAttribute* condition) {
        return i < kMostConditions ? checkCondition(condition) : kBadValue;
      });
}

bool matches(veskList& attributes, veskList& conditions) {
  const Elements<veskAttribute> all(conditions);
  return std::all_of(all.begin(), all.end(), [&](veskAttribute* condition) {
    return condition != nullptr && meets(attributes, *condition);
  });
}

int search(ObjectManager& manager, veskOid& oid, veskList& conditions,
           veskList* found) {
  OwnedList candidates;
  if (isClass(oid)) {
    const int code = manager.list(oid, &candidates);
    if (code != kNoError) return code;
    if (conditions.count == 0) {
      candidates.moveTo(found);
      return kNoError;
    }
  } else {
    candidates.append(new veskOid(oid));
  }
  for (auto* candidate : Elements<veskOid>(candidates)) {
    if (candidate == nullptr) continue;
    OwnedList attributes;
    // What went away meanwhile is not found.
    if (manager.read(*candidate, &attributes) != kNoError) continue;
    if (matches(attributes, conditions)) found->append(new veskOid(*candidate));
  }
  return kNoError;
}

}  // namespace ostrel::tools::server
