#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "description.h"
#include "values.h"

using namespace ostrel;

veskAttributeDesc::veskAttributeDesc()
    : veskType(kTagAttributeDesc),
      defval(ownDefault(new veskType)),
      made_(defval) {}

veskAttributeDesc::veskAttributeDesc(veskString& called, veskAid& aid,
                                     veskUnsignedInt& kind,
                                     veskType& defaultValue,
                                     veskUnsignedInt& accessMode,
                                     veskUnsignedInt& storageClass,
                                     veskBool& required)
    : veskType(kTagAttributeDesc),
      name(called),
      id(aid),
      type(kind),
      defval(&defaultValue),
      access(accessMode),
      storage(storageClass),
      requiredOnCreate(required),
      made_(nullptr) {}

veskAttributeDesc::veskAttributeDesc(const char* called, veskAid& aid,
                                     unsigned int kind, veskType* defaultValue,
                                     unsigned int accessMode,
                                     unsigned int storageClass,
                                     unsigned int required)
    : veskType(kTagAttributeDesc),
      name(called),
      id(aid),
      type(kind),
      defval(ownDefault(defaultValue != nullptr ? copyValue(defaultValue)
                                                : new veskType)),
      access(accessMode),
      storage(storageClass),
      requiredOnCreate(required),
      made_(defval) {}

veskAttributeDesc::veskAttributeDesc(const veskAttributeDesc& other)
    : veskType(other),
      name(other.name),
      id(other.id),
      type(other.type),
      defval(other.defval),
      access(other.access),
      storage(other.storage),
      requiredOnCreate(other.requiredOnCreate),
      made_(nullptr) {}

Members veskAttributeDesc::wireOrder(veskType& defaultValue) {
  return {name, id, type, defaultValue, access, storage, requiredOnCreate};
}

unsigned veskAttributeDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       wireOrder(*defval));
}

unsigned veskAttributeDesc::decode(char* buffer, unsigned length) {
  holdsValues_ = true;
  // Kept: a plain veskType reads the tag of the default value and leaves its
  // body to the members behind it.
  veskType* received = ownDefault(new veskType);
  if (holdsOwnDefault()) destroyValue(made_);
  defval = made_ = received;
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       wireOrder(*received));
}

char* veskAttributeDesc::getString() {
  Text text;
  addOpening(&text, "\tattribute ", name);
  addField(&text, "\t\tid ", id);
  addField(&text, "\t\ttype ", type);
  addField(&text, "\t\tdefval ", *defval);
  addField(&text, "\t\taccess ", access);
  addField(&text, "\t\tstorage ", storage);
  addField(&text, "\t\trequiredOnCreate ", requiredOnCreate);
  return text.add("\t};\n").release();
}

veskType* veskAttributeDesc::dup() {
  return new veskAttributeDesc(name, id, type, *defval, access, storage,
                               requiredOnCreate);
}

// A program may have freed the default that was made here, and put one of its
// own in its place, even at the same address: that one has no mark.
bool veskAttributeDesc::holdsOwnDefault() const {
  return made_ != nullptr && defval == made_ && isOwnDefault(*made_);
}

void veskAttributeDesc::releaseContents() {
  if (!arrived() || !holdsOwnDefault()) return;
  destroyValue(made_);
  defval = made_ = nullptr;
}

void veskAttributeDesc::separateContents() {
  defval = made_ = ownDefault(copyValue(defval));
}
