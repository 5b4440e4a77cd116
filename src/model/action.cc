#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>

#include "model/description.h"

using namespace ostrel;

veskActionDesc::veskActionDesc() : veskType(kTagActionDesc) {}
veskActionDesc::veskActionDesc(veskString& called, veskAid& aid,
                               veskList& taken)
    : veskType(kTagActionDesc), name(called), id(aid), arguments(taken) {}
veskActionDesc::veskActionDesc(const char* called, veskAid& aid,
                               veskList& taken)
    : veskType(kTagActionDesc), name(called), id(aid), arguments(taken) {}

unsigned veskActionDesc::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       callableOrder(*this));
}

unsigned veskActionDesc::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       callableOrder(*this));
}

char* veskActionDesc::getString() { return callableText(*this, "\taction "); }

veskType* veskActionDesc::dup() { return copyCallable(*this); }
