#include <ostrel/names.h>
#include <ostrel/tags.h>
#include <ostrel/veskAttr.h>

#include <memory>
#include <utility>

#include "base/text.h"
#include "model/value_op.h"
#include "value/identifier.h"
#include "value/members.h"
#include "value/tag_table.h"
#include "value/values.h"
#include "value/wire.h"

using namespace ostrel;

namespace {

constexpr std::size_t kLongestAttributeText = 1023;
constexpr std::size_t kLongestObjectText = 8249;

// An operation code keeps the low 8 bits of what it is given.
signed char lowByte(int op) { return static_cast<signed char>(op); }

}  // namespace

veskAttribute::veskAttribute(veskAid* aid, veskType* initial)
    : veskAttribute(aid) {
  value = copyOf(initial);
}
veskAttribute::veskAttribute(veskAttribute* other)
    : veskAttribute(&other->id, other->value) {}
veskAttribute::veskAttribute(const veskAttribute& other)
    : veskType(other), id(other.id), value(copyOf(other.value)) {}
veskAttribute::~veskAttribute() { freeHeld(value); }

unsigned veskAttribute::encode(char* buffer, unsigned length) {
  veskType* const held = value;
  ByteWriter writer(buffer, length);
  writer.number(tag);
  writeIdentifier(writer, id);
  writer.number(static_cast<std::uint8_t>(held != nullptr));
  if (writer.ok() && held != nullptr)
    writer.wrote(held->encode(writer.at(), writer.left()));
  return writer.used();
}

unsigned veskAttribute::decode(char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  if (!reader.has(1)) return 0;
  tag = reader.number<std::uint8_t>();
  readIdentifier(reader, id);
  const bool hasValue = reader.number<std::uint8_t>() != 0;
  if (!reader.ok() || !hasValue) return reader.used();
  // Decoded directly into `value`: even after a failure the attribute owns what
  // was made.
  reader.read(decodeCreate(reader.at(), reader.left(), &value));
  return reader.used();
}

char* veskAttribute::getString() {
  Text text;
  text.take(id.getString()).add(" = ");
  if (value != nullptr) text.take(value->getString());
  return text.cutTo(kLongestAttributeText).release();
}

veskType* veskAttribute::dup() { return new veskAttribute(this); }

unsigned ostrel::encodeValueOp(veskAttribute& attribute, veskChar& op,
                               char* buffer, unsigned length) {
  const unsigned used = attribute.veskAttribute::encode(buffer, length);
  return encodeMembers(used, buffer, length, Members(op));
}

char* ostrel::valueOpText(veskAttribute& attribute, const veskChar& op) {
  Text text;
  text.take(attribute.veskAttribute::getString()).add(" op = ");
  text.add(std::uint32_t{static_cast<std::uint8_t>(op.value)});
  return text.cutTo(kLongestAttributeText).release();
}

veskAttributeValueOp::veskAttributeValueOp() : op(kOperatorEquals) {
  tag = kTagAttributeValueOp;
}
veskAttributeValueOp::veskAttributeValueOp(veskAid* aid)
    : veskAttributeValueOp(aid, nullptr, kOperatorEquals) {}
veskAttributeValueOp::veskAttributeValueOp(veskAid* aid, veskType* initial)
    : veskAttributeValueOp(aid, initial, kOperatorEquals) {}
veskAttributeValueOp::veskAttributeValueOp(veskAid* aid, veskType* initial,
                                           int code)
    : veskAttribute(aid, initial), op(lowByte(code)) {
  tag = kTagAttributeValueOp;
}
veskAttributeValueOp::veskAttributeValueOp(veskAttribute* attr)
    : veskAttribute(attr), op(kOperatorEquals) {
  // Kept: the tag stays that of an attribute here.
}
veskAttributeValueOp::veskAttributeValueOp(veskAttribute* attr, int code)
    : veskAttributeValueOp(&attr->id, attr->value, code) {}
veskAttributeValueOp::veskAttributeValueOp(veskAttributeValueOp* other)
    : veskAttributeValueOp(&other->id, other->value, other->op.value) {}
veskAttributeValueOp::veskAttributeValueOp(const veskAttributeValueOp& other) =
    default;

unsigned veskAttributeValueOp::encode(char* buffer, unsigned length) {
  return encodeValueOp(*this, op, buffer, length);
}

unsigned veskAttributeValueOp::decode(char* buffer, unsigned length) {
  const unsigned used = veskAttribute::decode(buffer, length);
  return decodeMembers(used, buffer, length, Members(op));
}

char* veskAttributeValueOp::getString() { return valueOpText(*this, op); }

veskType* veskAttributeValueOp::dup() { return new veskAttributeValueOp(this); }

veskObject::veskObject() : veskType(kTagObject), attributeList(new veskList) {}
veskObject::veskObject(veskOid* id) : veskObject() { oid = *id; }
veskObject::veskObject(veskOid* id, veskList* attrs)
    : veskType(kTagObject), oid(*id), attributeList(attrs) {}
veskObject::veskObject(veskObject* other)
    : veskObject(&other->oid, other->attributeList) {}
veskObject::~veskObject() { freeList(attributeList); }

unsigned veskObject::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       Members(oid, attributeList));
}

unsigned veskObject::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       Members(oid, attributeList));
}

char* veskObject::getString() {
  Text text;
  joinMembers(&text, " : ", Members(oid, attributeList));
  return text.cutTo(kLongestObjectText).release();
}

veskType* veskObject::dup() { return new veskObject(this); }

namespace {

void append(veskList* list, std::unique_ptr<veskAttribute> attribute) {
  list->append(attribute.get());
  static_cast<void>(attribute.release());
}

}  // namespace

void veskAtAppendAttr(veskList* list, const char* name, veskType* value) {
  auto attribute = std::make_unique<veskAttribute>();
  attribute->id = name;
  veskAttribute* const made = attribute.get();
  append(list, std::move(attribute));
  made->value = value;  // only now: without memory it stays the caller's
}

void veskAppendAttr(veskList* list, const char* name, veskType* value) {
  auto attribute = std::make_unique<veskAttribute>();
  attribute->id = name;
  attribute->value = copyOf(value);
  append(list, std::move(attribute));
}

void veskMakeAttrList(const char* const* names, veskList* list) {
  for (; *names != nullptr; names++) veskAppendAttr(list, *names, nullptr);
}
