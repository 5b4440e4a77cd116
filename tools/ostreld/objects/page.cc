#include "objects/page.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "common/encoding.h"
#include "common/value_types.h"
#include "store/record.h"

namespace ostrel::tools::server {
namespace {

// The value as a limit, if it is a whole number in the range.
std::optional<std::uint32_t> limitIn(veskType& value) {
  const bool isFloating = dynamic_cast<veskFloat*>(&value) != nullptr ||
                          dynamic_cast<veskDouble*>(&value) != nullptr;
  const auto number = isFloating ? std::nullopt : numberIn(value);
  if (!number || *number < 0 ||
      *number > std::numeric_limits<std::uint32_t>::max())
    return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

bool isListOfIdentifiers(veskType& value) {
  auto* list = dynamic_cast<veskList*>(&value);
  if (list == nullptr || list->count > kMostPageAttributes) return false;
  const Elements<veskAid> all(*list);
  return std::all_of(all.begin(), all.end(), [](veskAid* id) {
    return id != nullptr && id->valid != 0;
  });
}

bool isPlace(veskType& value) {
  auto* oid = dynamic_cast<veskOid*>(&value);
  return oid != nullptr && oid->valid != 0;
}

}  // namespace

unsigned operatorOf(veskAttribute& condition) {
  auto* operation = dynamic_cast<veskAttributeValueOp*>(&condition);
  if (operation == nullptr) return kOperatorEquals;
  return static_cast<unsigned char>(operation->op.value);
}

bool isOfPage(unsigned operation) {
  return operation >= kOperatorAfter && operation <= kOperatorAttributes;
}

int checkOfPage(veskAttribute& condition) {
  if (condition.id.valid != 0) return kAidFormat;
  if (condition.value == nullptr) return kBadValue;
  veskType& value = *condition.value;
  const unsigned operation = operatorOf(condition);
  const bool fits = operation == kOperatorAfter   ? isPlace(value)
                    : operation == kOperatorLimit ? limitIn(value).has_value()
                                                  : isListOfIdentifiers(value);
  return fits ? kNoError : kBadValue;
}

Page::Page(const veskList& conditions) {
  for (auto* condition : Elements<veskAttribute>(conditions)) {
    const unsigned operation = operatorOf(*condition);
    if (!isOfPage(operation)) continue;
    asked = true;
    veskType& value = *condition->value;
    if (operation == kOperatorAfter) after = dynamic_cast<veskOid&>(value);
    if (operation == kOperatorLimit) limit = limitIn(value);
    if (operation != kOperatorAttributes) continue;
    attributes = true;
    std::set<Record::Key> known;
    for (auto* id : Elements<veskAid>(dynamic_cast<veskList&>(value)))
      if (known.insert(Record::keyOf(*id)).second)
        wanted.append(new veskAttribute(id));
  }
}

std::optional<std::string> encodedObject(ObjectManager& manager, veskOid& oid,
                                         veskList& wanted,
                                         std::size_t longest) {
  OwnedList attributes;
  OwnedList errors;
  const int code = manager.get(oid, wanted, &attributes, &errors);
  if (code != kNoError && code != kArgListError) return std::nullopt;
  veskList held;
  for (auto* attribute : Elements<veskAttribute>(attributes))
    if (attribute != nullptr && attribute->value != nullptr)
      held.append(attribute);
  const auto list = encoded(held, longest);
  if (!list) return std::nullopt;
  veskObject object(&oid);
  std::string bytes = *encoded(object);
  bytes.resize(bytes.size() - encoded(*object.attributeList)->size());
  bytes += *list;
  return bytes.size() <= longest ? std::optional(bytes) : std::nullopt;
}

}  // namespace ostrel::tools::server
