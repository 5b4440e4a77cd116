#include "manager.h"

#include <ostrel/veskOmAttr.h>

#include "codes.h"

namespace ostreld {

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
  OwnedList all;
  const int code = read(oid, &all);
  if (code != kNoError) return code;
  if (wanted.count == 0) {
    all.moveTo(attributes);
    return kNoError;
  }
  bool missing = false;
  forEach(wanted, [&](unsigned i, veskType* element) {
    auto* name = dynamic_cast<veskAttribute*>(element);
    const bool named = name != nullptr && name->id.valid != 0;
    veskAttribute* held = named ? find(all, name->id) : nullptr;
    if (held != nullptr) {
      // A copy of an attribute that points at its value would own a copy of
      // it; this one points at it as well, whoever owns it in the end.
      auto* om = dynamic_cast<veskOmAttribute*>(held);
      attributes->append(om != nullptr ? new veskOmAttribute(om)
                                       : new veskAttribute(held));
      return;
    }
    missing = true;
    attributes->append(named ? new veskAttribute(&name->id)
                             : new veskAttribute);
    addError(errors, i, named ? kNoSuchName : kAidFormat);
  });
  return missing ? kItemErrors : kNoError;
}

int ObjectManager::clone(const Asker& asker, veskOid& oid, veskList& attributes,
                         veskOid* created, veskList* errors) {
  OwnedList held;
  const int code = read(oid, &held);
  if (code != kNoError) return code;
  // The given attributes come first, so that errors name their positions.
  veskList merged;
  forEach(attributes,
          [&](unsigned, veskType* element) { merged.append(element); });
  forEach(held, [&](unsigned, veskType* element) {
    auto* attribute = dynamic_cast<veskAttribute*>(element);
    if (attribute != nullptr && find(attributes, attribute->id) == nullptr)
      merged.append(attribute);
  });
  veskOid classOid = classOf(oid);
  return create(asker, classOid, merged, created, errors);
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

}  // namespace ostreld
