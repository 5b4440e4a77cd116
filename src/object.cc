#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "description.h"

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

Members veskObjectDesc::wireOrder() {
  return {name, id, derivedFrom, attributes, actions, events};
}

unsigned veskObjectDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       wireOrder());
}

unsigned veskObjectDesc::decode(char* buffer, unsigned length) {
  holdsValues_ = true;
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       wireOrder());
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

void veskObjectDesc::releaseContents() {
  if (!arrived()) return;
  attributes.clear(1);
  actions.clear(1);
  events.clear(1);
}
