#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "model/description.h"

using namespace ostrel;

veskEventDesc::veskEventDesc() : veskType(kTagEventDesc) {}
veskEventDesc::veskEventDesc(veskString& called, veskAid& aid, veskList& taken)
    : veskType(kTagEventDesc), name(called), id(aid), arguments(taken) {}
veskEventDesc::veskEventDesc(const char* called, veskAid& aid, veskList& taken)
    : veskType(kTagEventDesc), name(called), id(aid), arguments(taken) {}

unsigned veskEventDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       callableOrder(*this));
}

unsigned veskEventDesc::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       callableOrder(*this));
}

char* veskEventDesc::getString() { return callableText(*this, "\tevent "); }

veskType* veskEventDesc::dup() { return copyCallable(*this); }
