#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "model/description.h"

using namespace ostrel;

veskObjectDesc::veskObjectDesc() : veskType(kTagObjectDesc) {}
veskObjectDesc::veskObjectDesc(veskString& called, veskOid& oid,
                               veskOid& parent, veskList& described,
                               veskList& doable, veskList& told)
    : veskType(kTagObjectDesc),
      name(called),
      id(oid),
      derivedFrom(parent),
      attributes(described),
      actions(doable),
      events(told) {}

namespace {

Members wireOrder(veskObjectDesc& self) {
  return {self.name,       self.id,      self.derivedFrom,
          self.attributes, self.actions, self.events};
}

}  // namespace

unsigned veskObjectDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       wireOrder(*this));
}

unsigned veskObjectDesc::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       wireOrder(*this));
}

char* veskObjectDesc::getString() {
  Text text;
  addOpening(&text, "object ", name);
  addField(&text, "\tid ", id);
  addField(&text, "\tderivedFrom ", derivedFrom);
  addBlocks(&text, attributes);
  addBlocks(&text, actions);
  addBlocks(&text, events);
  return text.add("};\n").release();
}

veskType* veskObjectDesc::dup() {
  veskList described;
  veskList doable;
  veskList told;
  copyElements(&described, attributes);
  copyElements(&doable, actions);
  copyElements(&told, events);
  return new veskObjectDesc(name, id, derivedFrom, described, doable, told);
}
