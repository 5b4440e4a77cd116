#include "objects/manager.h"

#include <ostrel/elements.h>
#include <ostrel/veskError.h>
#include <ostrel/veskOmAttr.h>

#include "objects/attributes.h"
#include "support/value_order.h"

namespace ostrel::tools::server {

int ObjectManager::set(const Asker&, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const int code = verify(oid);
  if (code != kNoError) return code;
  return checkEach<veskType>(attributes, errors,
                             [](unsigned, veskType*) { return kBadAccess; });
}

int ObjectManager::create(const Asker&, veskOid&, veskList&, veskOid*,
                          veskList*) {
  return kBadAccess;
}

int ObjectManager::remove(const Asker&, veskOid& oid) {
  const int code = verify(oid);
  return code == kNoError ? kBadAccess : code;
}

int ObjectManager::action(const Asker&, veskAid&, veskList&, veskList*) {
  return kNoObjectManager;
}

int ObjectManager::listPage(veskOid& classOid, veskOid& after, std::size_t most,
                            veskList* oids) {
  OwnedList all;
  const int code = list(classOid, &all);
  if (code != kNoError) return code;
  for (auto* oid : Elements<veskOid>(all)) {
    if (oids->count >= most) break;
    if (compareValues(*oid, after) == Order::kGreater)
      oids->append(new veskOid(*oid));
  }
  return kNoError;
}

std::optional<veskOid> ObjectManager::classAfter(veskOid& classOid) {
  std::optional<veskOid> first;
  for (veskOid& each : classes()) {
    if (compareValues(each, classOid) == Order::kGreater &&
        (!first || compareValues(each, *first) == Order::kLess))
      first = each;
  }
  return first;
}

bool ObjectManager::scan(veskOid&, veskOid&, veskAid&, const Each&) {
  return false;
}

std::optional<std::vector<veskOid>> ObjectManager::candidates(veskOid&,
                                                              veskAttribute&,
                                                              unsigned,
                                                              std::size_t) {
  return std::nullopt;
}

bool ObjectManager::holds(veskOid& oid, veskAid& id, const Test& test) {
  OwnedList attributes;
  if (read(oid, &attributes) != kNoError) return false;
  veskAttribute* attribute = find(attributes, id);
  return attribute != nullptr && attribute->value != nullptr &&
         test(*attribute->value);
}

int ObjectManager::verify(veskOid& oid) {
  OwnedList attributes;
  return read(oid, &attributes);
}

int ObjectManager::get(veskOid& oid, veskList& wanted, veskList* attributes,
                       veskList* errors) {
  held_.destroyDecodedElements();
  const int code = read(oid, &held_);
  if (code != kNoError) return code;
  if (wanted.count == 0) {
    held_.moveTo(attributes);
    return kNoError;
  }
  // However often a value is asked for, it is there once.
  const AttributeIndex held(held_);
  return checkEach<veskAttribute>(
      wanted, errors, [&](unsigned, veskAttribute* name) {
        veskAid id = name != nullptr ? name->id : veskAid();
        veskAttribute* found = held.find(id);
        attributes->append(new veskOmAttribute(
            &id, found != nullptr ? found->value : nullptr));
        if (found != nullptr) return kNoError;
        return id.valid != 0 ? kNoSuchName : kAidFormat;
      });
}

int ObjectManager::clone(const Asker& asker, veskOid& oid, veskList& attributes,
                         veskOid* created, veskList* errors) {
  OwnedList held;
  const int code = read(oid, &held);
  if (code != kNoError) return code;
  // The given attributes come first, so that errors name their positions.
  const AttributeIndex given(attributes);
  veskList merged;
  appendAll(&merged, attributes);
  for (auto* attribute : Elements<veskAttribute>(held))
    if (attribute != nullptr && given.find(attribute->id) == nullptr)
      merged.append(attribute);
  veskOid classOid = classOf(oid);
  OwnedList refused;
  const int result = create(asker, classOid, merged, created, &refused);
  // Errors name positions of the request; what the original has, has none.
  int inherited = kNoError;
  for (auto* error : Elements<veskError>(refused)) {
    if (error == nullptr) continue;
    const int reason = error->code.value;
    if (error->index.value < attributes.count)
      addError(errors, error->index.value, reason);
    else
      inherited = reason;
  }
  return errors->count == 0 && inherited != kNoError ? inherited : result;
}

}  // namespace ostrel::tools::server
