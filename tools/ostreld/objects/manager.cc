#include "objects/manager.h"

#include <ostrel/veskError.h>
#include <ostrel/veskOmAttr.h>

#include "base/codes.h"

namespace ostrel::tools::server {

int ObjectManager::set(const Asker&, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const int code = verify(oid);
  if (code != kNoError) return code;
  forEach(attributes,
          [&](unsigned i, veskType*) { addError(errors, i, kBadAccess); });
  return attributes.count == 0 ? kNoError : kItemErrors;
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

int ObjectManager::verify(veskOid& oid) {
  OwnedList attributes;
  return read(oid, &attributes);
}

int ObjectManager::get(veskOid& oid, veskList& wanted, veskList* attributes,
                       veskList* errors) {
  held_.clear(1);
  const int code = read(oid, &held_);
  if (code != kNoError) return code;
  if (wanted.count == 0) {
    held_.moveTo(attributes);
    return kNoError;
  }
  // However often a value is asked for, it is there once.
  const AttributeIndex held(held_);
  bool missing = false;
  forEach(wanted, [&](unsigned i, veskType* element) {
    auto* name = dynamic_cast<veskAttribute*>(element);
    veskAid id = name != nullptr ? name->id : veskAid();
    veskAttribute* found = held.find(id);
    attributes->append(
        new veskOmAttribute(&id, found != nullptr ? found->value : nullptr));
    if (found != nullptr) return;
    missing = true;
    addError(errors, i, id.valid != 0 ? kNoSuchName : kAidFormat);
  });
  return missing ? kItemErrors : kNoError;
}

int ObjectManager::clone(const Asker& asker, veskOid& oid, veskList& attributes,
                         veskOid* created, veskList* errors) {
  OwnedList held;
  const int code = read(oid, &held);
  if (code != kNoError) return code;
  // The given attributes come first, so that errors name their positions.
  const AttributeIndex given(attributes);
  veskList merged;
  forEach(attributes,
          [&](unsigned, veskType* element) { merged.append(element); });
  forEach(held, [&](unsigned, veskType* element) {
    auto* attribute = dynamic_cast<veskAttribute*>(element);
    if (attribute != nullptr && given.find(attribute->id) == nullptr)
      merged.append(attribute);
  });
  veskOid classOid = classOf(oid);
  OwnedList refused;
  const int result = create(asker, classOid, merged, created, &refused);
  // Errors name positions of the request; what the original has, has none.
  int inherited = kNoError;
  forEach(refused, [&](unsigned, veskType* element) {
    auto& error = dynamic_cast<veskError&>(*element);
    const int reason = error.code.value;
    if (error.index.value < attributes.count) {
      addError(errors, error.index.value, reason);
    } else {
      inherited = reason;
    }
  });
  return errors->count == 0 && inherited != kNoError ? inherited : result;
}

AttributeIndex::AttributeIndex(veskList& attributes) {
  forEach(attributes, [&](unsigned, veskType* element) {
    auto* attribute = dynamic_cast<veskAttribute*>(element);
    if (attribute == nullptr || attribute->id.valid == 0) return;
    const auto& numbers = attribute->id.component;
    attributes_.try_emplace({numbers[0], numbers[1], numbers[2]}, attribute);
  });
}

veskAttribute* AttributeIndex::find(const veskAid& id) const {
  if (id.valid == 0) return nullptr;
  const auto found =
      attributes_.find({id.component[0], id.component[1], id.component[2]});
  return found == attributes_.end() ? nullptr : found->second;
}

int writable(veskType* element) {
  auto* attribute = dynamic_cast<veskAttribute*>(element);
  if (attribute == nullptr || attribute->id.valid == 0) return kAidFormat;
  // Some values can be received and not be sent, an address of an unknown
  // family for one.
  if (attribute->value == nullptr || !encoded(*attribute->value, kLongestValue))
    return kBadValue;
  return kNoError;
}

int checkWritable(veskList& attributes, veskList* errors) {
  int result = kNoError;
  forEach(attributes, [&](unsigned i, veskType* element) {
    const int code = writable(element);
    if (code == kNoError) return;
    addError(errors, i, code);
    result = kItemErrors;
  });
  return result;
}

veskAttribute* find(veskList& attributes, veskAid& id) {
  veskAttribute* found = nullptr;
  forEach(attributes, [&](unsigned, veskType* element) {
    auto* attribute = dynamic_cast<veskAttribute*>(element);
    if (found == nullptr && attribute != nullptr && attribute->id == id)
      found = attribute;
  });
  return found;
}

}  // namespace ostrel::tools::server
