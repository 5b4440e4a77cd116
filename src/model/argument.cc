#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "model/description.h"

using namespace ostrel;

veskArgumentDesc::veskArgumentDesc() : veskType(kTagArgumentDesc) {}
veskArgumentDesc::veskArgumentDesc(veskString& called, veskUnsignedInt& kind)
    : veskType(kTagArgumentDesc), name(called), type(kind) {}
veskArgumentDesc::veskArgumentDesc(const char* called, unsigned int kind)
    : veskType(kTagArgumentDesc), name(called), type(kind) {}

unsigned veskArgumentDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       Members(name, type));
}

unsigned veskArgumentDesc::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       Members(name, type));
}

char* veskArgumentDesc::getString() {
  Text text;
  addOpening(&text, "\t\targument ", name);
  addField(&text, "\t\t\ttype ", type);
  return text.add("\t\t};\n").release();
}

veskType* veskArgumentDesc::dup() { return new veskArgumentDesc(name, type); }
