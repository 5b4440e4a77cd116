#include <ostrel/codes.h>

#include <cstring>

#include "client/async/value_codec.h"
#include "value/identifier.h"

namespace ostrel {
namespace {

// One number with an integer body, and its tag.
constexpr std::size_t kNumberRoom = 1 + kIntegerRoom;
constexpr std::size_t kFlagRoom = 1;

// How values of this type are held: kEnd for those that are kept as their
// bytes. Gauges and counters have no layout, since they are refused when they
// arrive.
Part heldAs(Tag tag) {
  if (tag == kTagGauge || tag == kTagCounter) return kInteger;
  const Part part = partOf(tag);
  return part == kPDUHeader ? kEnd : part;
}

void writeTag(ByteWriter& writer, Tag tag) {
  writer.number(static_cast<std::uint8_t>(tag));
}

void writeCount(ByteWriter& writer, std::size_t count) {
  writeTag(writer, kTagUnsignedInt);
  writer.integer(static_cast<std::uint32_t>(count));
}

template <class Stated, class Id>
void writeIdentifier(ByteWriter& writer, Tag tag, const Id& id) {
  writeTag(writer, tag);
  if (!writer.room(kIdentifierRoom<Stated>)) return;
  writer.number(static_cast<std::uint8_t>(id.valid()));
  if (!id.valid()) return;
  char* at = writer.at();
  for (const std::uint32_t number : id.numbers()) at = storeInteger(at, number);
  writer.moveTo(at);
}

template <class List>
std::size_t roomForList(const List& list) noexcept {
  std::size_t room = 1 + kNumberRoom;
  for (const auto& element : list) room += roomFor(element);
  return room;
}

template <class List>
void writeList(ByteWriter& writer, const List& list) {
  writeTag(writer, kTagList);
  writeCount(writer, list.size());
  for (const auto& element : list) write(writer, element);
}

void writeAddress(ByteWriter& writer, const Value& value) {
  const auto address = value.as<in_addr>();
  writer.number(address ? kIPv4 : kNoFamily);
  if (address) writer.bytes(&*address, sizeof *address);
}

void writeMembers(ByteWriter& writer, const Attribute& attribute) {
  write(writer, attribute.id);
  writer.number(static_cast<std::uint8_t>(attribute.hasValue));
  if (attribute.hasValue) write(writer, attribute.value);
}

}  // namespace

bool holdsBytes(Tag tag) noexcept {
  const Part part = heldAs(tag);
  return part == kCounted || part == kEnd;
}

std::size_t roomFor(const Oid&) noexcept {
  return 1 + kIdentifierRoom<veskOid>;
}
std::size_t roomFor(const Aid&) noexcept {
  return 1 + kIdentifierRoom<veskAid>;
}

std::size_t roomFor(const Value& value) noexcept {
  switch (heldAs(value.type())) {
    case kOid:
      return roomFor(Oid());
    case kAid:
      return roomFor(Aid());
    case kCounted:
      return 1 + kNumberRoom + value.bytes().size();
    case kList:
      return roomForList(*value.as<Values>());
    case kEnd:
      return value.bytes().size();
    default:
      return 1 + sizeof(std::uint64_t);
  }
}

std::size_t roomFor(const Attribute& attribute) noexcept {
  const std::size_t room = 1 + roomFor(attribute.id) + kFlagRoom;
  return attribute.hasValue ? room + roomFor(attribute.value) : room;
}
std::size_t roomFor(const Term& term) noexcept {
  return roomFor(term.attribute) + 2;
}
std::size_t roomFor(const Object& object) noexcept {
  return 1 + roomFor(object.oid) + roomFor(object.attributes);
}
std::size_t roomFor(const Attributes& attributes) noexcept {
  return roomForList(attributes);
}
std::size_t roomFor(const std::vector<Term>& terms) noexcept {
  return roomForList(terms);
}
std::size_t roomFor(const std::vector<Aid>& wanted) noexcept {
  return 1 + kNumberRoom + wanted.size() * roomFor(Attribute());
}

void write(ByteWriter& writer, const Oid& oid) {
  writeIdentifier<veskOid>(writer, kTagOid, oid);
}
void write(ByteWriter& writer, const Aid& aid) {
  writeIdentifier<veskAid>(writer, kTagAid, aid);
}

void write(ByteWriter& writer, const Value& value) {
  const Part part = heldAs(value.type());
  // These bring their own tag.
  if (part == kEnd)
    return writer.bytes(value.bytes().data(), value.bytes().size());
  if (part == kOid) return write(writer, ValueAccess::oid(value));
  if (part == kAid) return write(writer, ValueAccess::aid(value));
  if (part == kList) return writeList(writer, *value.as<Values>());
  writeTag(writer, value.type());
  const std::uint64_t bits = ValueAccess::bits(value);
  switch (part) {
    case kOne:
      return writer.number(static_cast<std::uint8_t>(bits));
    case kTwo:
      return writer.number(static_cast<std::uint16_t>(bits));
    case kFour:
      return writer.number(static_cast<std::uint32_t>(bits));
    case kEight:
      return writer.number(bits);
    case kInteger:
      return writer.integer(static_cast<std::uint32_t>(bits));
    case kCounted:
      writeCount(writer, value.bytes().size());
      return writer.bytes(value.bytes().data(), value.bytes().size());
    case kAddress:
      return writeAddress(writer, value);
    default:
      return;  // null has nothing but its tag
  }
}

void write(ByteWriter& writer, const Attribute& attribute) {
  writeTag(writer, kTagAttribute);
  writeMembers(writer, attribute);
}
void write(ByteWriter& writer, const Term& term) {
  writeTag(writer, kTagAttributeValueOp);
  writeMembers(writer, term.attribute);
  writeTag(writer, kTagChar);
  writer.number(static_cast<std::uint8_t>(term.comparison));
}
void write(ByteWriter& writer, const Object& object) {
  writeTag(writer, kTagObject);
  write(writer, object.oid);
  write(writer, object.attributes);
}
void write(ByteWriter& writer, const Attributes& attributes) {
  writeList(writer, attributes);
}
void write(ByteWriter& writer, const std::vector<Term>& terms) {
  writeList(writer, terms);
}
void write(ByteWriter& writer, const std::vector<Aid>& wanted) {
  writeTag(writer, kTagList);
  writeCount(writer, wanted.size());
  for (const Aid& id : wanted) write(writer, Attribute(id));
}

}  // namespace ostrel
