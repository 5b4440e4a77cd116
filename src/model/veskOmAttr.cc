#include <ostrel/names.h>
#include <ostrel/tags.h>
#include <ostrel/veskOmAttr.h>

#include "model/value_op.h"
#include "value/values.h"
#include "value/wire.h"

using namespace ostrel;

veskOmAttribute::veskOmAttribute() = default;
veskOmAttribute::veskOmAttribute(veskAid* aid) : veskAttribute(aid) {}
veskOmAttribute::veskOmAttribute(veskAid* aid, veskType* kept)
    : veskAttribute(aid) {
  value = kept;
}
veskOmAttribute::veskOmAttribute(veskOmAttribute* other)
    : veskOmAttribute(&other->id, other->value) {}
veskOmAttribute::veskOmAttribute(const veskOmAttribute& other)
    : veskAttribute() {
  tag = other.tag;
  id = other.id;
  value = other.value;
}

veskOmAttribute::~veskOmAttribute() {
  // So the base's destructor does not free the value.
  value = nullptr;
}

veskOmAttributeValueOp::veskOmAttributeValueOp() : op(kOperatorEquals) {
  tag = kTagAttributeValueOp;
}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskAid* aid)
    : veskOmAttributeValueOp(aid, nullptr, kOperatorEquals) {}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskAid* aid, veskType* kept)
    : veskOmAttributeValueOp(aid, kept, kOperatorEquals) {}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskAid* aid, veskType* kept,
                                               int code)
    : veskOmAttribute(aid, kept), op(static_cast<signed char>(code)) {
  tag = kTagAttributeValueOp;
}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskOmAttribute* attr)
    : veskOmAttribute(attr), op(kOperatorEquals) {
  // Kept: the tag stays that of an attribute here.
}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskOmAttribute* attr, int code)
    : veskOmAttributeValueOp(&attr->id, attr->value, code) {}
veskOmAttributeValueOp::veskOmAttributeValueOp(veskOmAttributeValueOp* other)
    : veskOmAttributeValueOp(&other->id, other->value, other->op.value) {}
veskOmAttributeValueOp::veskOmAttributeValueOp(
    const veskOmAttributeValueOp& other) = default;

unsigned veskOmAttributeValueOp::encode(char* buffer, unsigned length) {
  return encodeValueOp(*this, op, buffer, length);
}

// Kept: the code is read from the wrong place. The value's length is skipped
// twice; without a value one byte too many is skipped. Everything after the
// flag counts as room.
unsigned veskOmAttributeValueOp::decode(char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  if (!reader.has(1)) return 0;
  tag = reader.number<std::uint8_t>();
  reader.read(id.veskAid::decode(reader.at(), reader.left()));
  const bool hasValue = reader.number<std::uint8_t>() != 0;
  if (!reader.ok() || reader.left() == 0) return 0;

  unsigned skipped = 1;
  if (hasValue) {
    skipped = decodeCreate(reader.at(), reader.left(), &value);
    reader.read(skipped);
  }
  const unsigned room = reader.left();
  reader.skip(skipped);
  const unsigned used = op.decode(reader.at(), reader.left());
  return used == 0 ? 0 : length - room + used;
}

char* veskOmAttributeValueOp::getString() { return valueOpText(*this, op); }

void veskAppendOmAttr(const char* name, veskType* value, veskList* list) {
  veskAid id(name);
  list->append(new veskOmAttribute(&id, value));
}

void veskMakeOmAttrList(const char* const* names, veskList* list) {
  for (; *names != nullptr; names++) veskAppendOmAttr(*names, nullptr, list);
}
