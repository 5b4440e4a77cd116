#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "model/description.h"

using namespace ostrel;

veskAttributeDesc::veskAttributeDesc()
    : veskType(kTagAttributeDesc), defval(new veskType) {}

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
      requiredOnCreate(required) {}

veskAttributeDesc::veskAttributeDesc(const char* called, veskAid& aid,
                                     unsigned int kind, veskType* defaultValue,
                                     unsigned int accessMode,
                                     unsigned int storageClass,
                                     unsigned int required)
    : veskType(kTagAttributeDesc),
      name(called),
      id(aid),
      type(kind),
      defval(defaultValue != nullptr ? defaultValue->dup() : new veskType),
      access(accessMode),
      storage(storageClass),
      requiredOnCreate(required) {}

veskAttributeDesc::veskAttributeDesc(const veskAttributeDesc& other)
    : veskType(other),
      name(other.name),
      id(other.id),
      type(other.type),
      defval(other.defval),
      access(other.access),
      storage(other.storage),
      requiredOnCreate(other.requiredOnCreate) {}

namespace {

Members wireOrder(veskAttributeDesc& self) {
  return {self.name,
          self.id,
          self.type,
          *self.defval,
          self.access,
          self.storage,
          self.requiredOnCreate};
}

}  // namespace

unsigned veskAttributeDesc::encode(char* buffer, unsigned length) {
  // Null: there was no memory for it.
  if (defval == nullptr) return 0;
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       wireOrder(*this));
}

unsigned veskAttributeDesc::decode(char* buffer, unsigned length) {
  // Kept: a plain veskType reads only the tag of the default value. The next
  // member then reads its body.
  defval = nullptr;
  defval = new veskType;
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       wireOrder(*this));
}

char* veskAttributeDesc::getString() {
  Text text;
  addOpening(&text, "\tattribute ", name);
  addField(&text, "\t\tid ", id);
  addField(&text, "\t\ttype ", type);
  veskType none;
  addField(&text, "\t\tdefval ", defval != nullptr ? *defval : none);
  addField(&text, "\t\taccess ", access);
  addField(&text, "\t\tstorage ", storage);
  addField(&text, "\t\trequiredOnCreate ", requiredOnCreate);
  return text.add("\t};\n").release();
}

veskType* veskAttributeDesc::dup() {
  if (defval == nullptr) return new veskAttributeDesc(*this);
  return new veskAttributeDesc(name, id, type, *defval, access, storage,
                               requiredOnCreate);
}
