#include "objects/search.h"

#include "base/codes.h"

namespace ostrel::tools::server {
namespace {

int operationOf(veskAttribute& condition) {
  auto* operation = dynamic_cast<veskAttributeValueOp*>(&condition);
  if (operation == nullptr) return kEquals;
  return static_cast<unsigned char>(operation->op.value);
}

bool fulfils(veskType& value, int operation, veskType& given) {
  if (operation == kContains) return containsValue(value, given);
  const Order order = compareValues(value, given);
  switch (operation) {
    case kEquals:
      return order == Order::kEqual;
    case kNotEqual:
      return order != Order::kEqual;
    case kLess:
      return order == Order::kLess;
    case kLessOrEqual:
      return order == Order::kLess || order == Order::kEqual;
    case kGreater:
      return order == Order::kGreater;
    case kGreaterOrEqual:
      return order == Order::kGreater || order == Order::kEqual;
    default:
      return false;
  }
}

int checkCondition(veskType* element) {
  auto* condition = dynamic_cast<veskAttribute*>(element);
  if (condition == nullptr || condition->id.valid == 0) return kAidFormat;
  const int operation = operationOf(*condition);
  if (operation < kEquals || operation > kContains) return kBadValue;
  if (operation != kPresent && condition->value == nullptr) return kBadValue;
  return kNoError;
}

}  // namespace

int checkConditions(veskList& conditions, veskList* errors) {
  int result = kNoError;
  forEach(conditions, [&](unsigned i, veskType* element) {
    const int code = i < kMostConditions ? checkCondition(element) : kBadValue;
    if (code == kNoError) return;
    addError(errors, i, code);
    result = kItemErrors;
  });
  return result;
}

bool matches(veskList& attributes, veskList& conditions) {
  bool all = true;
  forEach(conditions, [&](unsigned, veskType* element) {
    if (!all) return;
    auto& condition = dynamic_cast<veskAttribute&>(*element);
    veskAttribute* attribute = find(attributes, condition.id);
    all = attribute != nullptr && attribute->value != nullptr;
    if (!all || operationOf(condition) == kPresent) return;
    all = fulfils(*attribute->value, operationOf(condition), *condition.value);
  });
  return all;
}

int search(ObjectManager& manager, veskOid& oid, veskList& conditions,
           veskList* found) {
  OwnedList candidates;
  int code = kNoError;
  if (isClass(oid)) {
    code = manager.list(oid, &candidates);
  } else {
    candidates.append(new veskOid(oid));
  }
  if (code != kNoError) return code;
  if (isClass(oid) && conditions.count == 0) {
    candidates.moveTo(found);
    return kNoError;
  }
  forEach(candidates, [&](unsigned, veskType* element) {
    auto& candidate = dynamic_cast<veskOid&>(*element);
    OwnedList attributes;
    // What went away meanwhile is not found.
    if (manager.read(candidate, &attributes) != kNoError) return;
    if (matches(attributes, conditions)) found->append(new veskOid(candidate));
  });
  return kNoError;
}

}  // namespace ostrel::tools::server
