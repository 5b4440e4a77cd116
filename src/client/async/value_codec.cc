#include "client/async/value_codec.h"

#include <ostrel/codes.h>

#include <array>
#include <cstring>
#include <utility>

#include "value/identifier.h"
#include "value/layout.h"
#include "value/quick.h"
#include "value/tag_table.h"

namespace ostrel {
namespace {

// One number with an integer body, and its tag.
constexpr std::size_t kNumberRoom = 1 + kIntegerRoom;
constexpr std::size_t kFlagRoom = 1;

// The fewest bytes that each of these takes.
constexpr std::size_t kShortestValue = 1;
constexpr std::size_t kShortestIdentifier = 2;
constexpr std::size_t kShortestNumber = 2;
constexpr std::size_t kShortestAttribute = 1 + kShortestIdentifier + kFlagRoom;
constexpr std::size_t kShortestObject =
    1 + kShortestIdentifier + 1 + kShortestNumber;
constexpr std::size_t kShortestError = 1 + 2 * kShortestNumber;

Part partOf(Tag tag) {
  const Layout& layout = layoutOf(tag);
  // What has more than one part, or one that no value class below has, is kept
  // as its bytes.
  return layout.parts[1] == kEnd ? layout.parts[0] : kEnd;
}

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

namespace {

// The tag of a member, which the layout fixes, so that it is not looked at.
void skipTag(ByteReader& reader) { reader.skip(1); }

Tag tagAt(ByteReader& reader) {
  if (!reader.has(1)) return kTagNull;
  return static_cast<Tag>(static_cast<unsigned char>(*reader.at()));
}

std::uint32_t readInteger(ByteReader& reader) {
  skipTag(reader);
  return reader.integer();
}

template <class Stated>
using Numbers = std::array<std::uint32_t, kComponents<Stated>>;

// Reads the numbers where the longest would fit, so that nothing is checked on
// the way. Returns false, with nothing read, for the rare number of more than
// four bytes.
template <class Stated>
bool readQuickly(ByteReader& reader, Numbers<Stated>* numbers) {
  if (reader.left() < kIdentifierRoom<Stated>) return false;
  const char* const behind =
      quick::readNumbers<kComponents<Stated>>(reader.at(), numbers->data());
  if (behind == nullptr) return false;
  reader.moveTo(behind);
  return true;
}

// Its tag has been read.
template <class Stated, class Id>
void readIdentifierBody(ByteReader& reader, Id* out) {
  *out = Id();
  if (reader.number<std::uint8_t>() == 0 || !reader.ok()) return;
  Numbers<Stated> numbers;
  if (!readQuickly<Stated>(reader, &numbers)) {
    for (std::uint32_t& number : numbers) number = reader.integer();
  }
  if (!reader.ok()) return;
  if constexpr (kComponents<Stated> == 4)
    *out = Id(numbers[0], numbers[1], numbers[2], numbers[3]);
  else
    *out = Id(numbers[0], numbers[1], numbers[2]);
}

// Goes one level deeper for as long as it lives.
class Deeper {
 public:
  Deeper(ByteReader& reader, DecodeLimits& limits) : limits_(limits) {
    entered_ = limits.nesting != 0;
    if (entered_)
      limits.nesting--;
    else
      reader.fail();
  }
  ~Deeper() {
    if (entered_) limits_.nesting++;
  }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;

 private:
  DecodeLimits& limits_;
  bool entered_;
};

bool countOne(ByteReader& reader, DecodeLimits& limits) {
  if (limits.values == 0) reader.fail();
  if (!reader.ok()) return false;
  limits.values--;
  return true;
}

std::string_view readBytes(ByteReader& reader, std::size_t count) {
  if (!reader.has(count)) return {};
  const char* const at = reader.at();
  reader.skip(count);
  return {at, count};
}

void readAddress(ByteReader& reader, Value* out) {
  const std::uint8_t family = reader.number<std::uint8_t>();
  *out = Value::noAddress();
  if (family == kNoFamily) return;
  if (family != kIPv4) return reader.fail();
  const std::string_view bytes = readBytes(reader, sizeof(in_addr));
  if (!reader.ok()) return;
  in_addr address;
  std::memcpy(&address, bytes.data(), sizeof address);
  *out = Value(address);
}

// A value that is kept as its bytes: an attribute, an object, a PDU.
void readWhole(ByteReader& reader, Tag tag, Value* out,
               const DecodeLimits& limits) {
  const unsigned used =
      walkValues(reader.at(), reader.left(), limits.nesting).used;
  if (used == 0) return reader.fail();
  *out = ValueAccess::bytes(tag, readBytes(reader, used));
}

// A value with a tag and one part. Returns false for any other.
bool readSimple(ByteReader& reader, Tag tag, Part part, Value* out) {
  const auto number = [&](std::uint64_t bits) {
    *out = ValueAccess::number(tag, bits);
    return true;
  };
  if (part == kEnd || part == kPDUHeader || part == kList) return false;
  skipTag(reader);
  switch (part) {
    case kOne:
      return number(reader.number<std::uint8_t>());
    case kTwo:
      return number(reader.number<std::uint16_t>());
    case kFour:
      return number(reader.number<std::uint32_t>());
    case kEight:
      return number(reader.number<std::uint64_t>());
    case kInteger:
      return number(reader.integer());
    case kCounted:
      *out = ValueAccess::bytes(tag, readBytes(reader, readInteger(reader)));
      return true;
    case kOid: {
      Oid oid;
      readIdentifierBody<veskOid>(reader, &oid);
      *out = oid;
      return true;
    }
    case kAid: {
      Aid aid;
      readIdentifierBody<veskAid>(reader, &aid);
      *out = aid;
      return true;
    }
    case kAddress:
      return readAddress(reader, out), true;
    default:
      return number(0);
  }
}

// What follows the tag of an attribute.
void readMembers(ByteReader& reader, Attribute* out, DecodeLimits& limits) {
  read(reader, &out->id);
  out->hasValue = reader.number<std::uint8_t>() != 0 && reader.ok();
  out->value = Value();
  if (out->hasValue) read(reader, &out->value, limits);
}

// The elements of lists. Values count themselves.
template <class Element>
void readElement(ByteReader& reader, Element* out, DecodeLimits& limits) {
  if (countOne(reader, limits)) read(reader, out, limits);
}
void readElement(ByteReader& reader, Value* out, DecodeLimits& limits) {
  read(reader, out, limits);
}
void readElement(ByteReader& reader, ItemError* out, DecodeLimits& limits) {
  if (!countOne(reader, limits)) return;
  if (tagAt(reader) != kTagError) return reader.fail();
  skipTag(reader);
  out->position = readInteger(reader);
  out->code = static_cast<std::int32_t>(readInteger(reader));
}

// A new element at the end of a list.
template <class Element>
Element* added(std::vector<Element>* list) {
  list->emplace_back();
  return &list->back();
}
Attribute* added(Attributes* list) {
  list->append(Attribute());
  return &(*list)[list->size() - 1];
}

// Reads a list whose elements take `smallest` bytes or more. A count that the
// bytes cannot hold, beside what the lists around this one still need, is
// refused before anything is reserved for it: so all lists together reserve no
// more than the bytes that are there could fill.
template <class List>
void readList(ByteReader& reader, DecodeLimits& limits, std::size_t smallest,
              List* list) {
  skipTag(reader);
  const std::uint32_t count = readInteger(reader);
  const std::size_t left = reader.left();
  if (!reader.ok() || limits.owed > left ||
      count > (left - limits.owed) / smallest)
    return reader.fail();
  list->reserve(count);
  limits.owed += count * smallest;
  for (std::uint32_t i = 0; i < count && reader.ok(); i++) {
    limits.owed -= smallest;
    readElement(reader, added(list), limits);
  }
}

}  // namespace

void read(ByteReader& reader, Oid* out) {
  skipTag(reader);
  readIdentifierBody<veskOid>(reader, out);
}
void read(ByteReader& reader, Aid* out) {
  skipTag(reader);
  readIdentifierBody<veskAid>(reader, out);
}

void read(ByteReader& reader, Value* out, DecodeLimits& limits) {
  if (!countOne(reader, limits)) return;
  const Tag tag = tagAt(reader);
  const Part part = partOf(tag);
  if (!reader.ok() || readSimple(reader, tag, part, out)) return;
  if (part != kList) return readWhole(reader, tag, out, limits);
  const Deeper deeper(reader, limits);
  Values elements;
  read(reader, &elements, limits);
  *out = Value(std::move(elements));
}

void read(ByteReader& reader, Attribute* out, DecodeLimits& limits) {
  const Tag tag = tagAt(reader);
  if (tag == kTagAttributeValueOp) {
    // Whoever asks for attributes has no use for the code.
    Term term;
    read(reader, &term, limits);
    *out = std::move(term.attribute);
    return;
  }
  if (tag != kTagAttribute) return reader.fail();
  const Deeper deeper(reader, limits);
  skipTag(reader);
  readMembers(reader, out, limits);
}

void read(ByteReader& reader, Term* out, DecodeLimits& limits) {
  if (tagAt(reader) != kTagAttributeValueOp) return reader.fail();
  const Deeper deeper(reader, limits);
  skipTag(reader);
  readMembers(reader, &out->attribute, limits);
  skipTag(reader);
  out->comparison = static_cast<SearchOperator>(reader.number<std::uint8_t>());
}

void read(ByteReader& reader, Object* out, DecodeLimits& limits) {
  if (tagAt(reader) != kTagObject) return reader.fail();
  const Deeper deeper(reader, limits);
  skipTag(reader);
  read(reader, &out->oid);
  read(reader, &out->attributes, limits);
}

void read(ByteReader& reader, Attributes* out, DecodeLimits& limits) {
  readList(reader, limits, kShortestAttribute, out);
}
void read(ByteReader& reader, std::vector<Object>* out, DecodeLimits& limits) {
  readList(reader, limits, kShortestObject, out);
}
void read(ByteReader& reader, Values* out, DecodeLimits& limits) {
  readList(reader, limits, kShortestValue, out);
}
void read(ByteReader& reader, std::vector<ItemError>* out,
          DecodeLimits& limits) {
  readList(reader, limits, kShortestError, out);
}

}  // namespace ostrel
