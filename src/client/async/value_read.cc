#include <ostrel/codes.h>

#include <array>
#include <cstring>
#include <utility>

#include "client/async/value_codec.h"
#include "value/identifier.h"
#include "value/layout.h"
#include "value/quick.h"

namespace ostrel {
namespace {

// The fewest bytes that each of these takes.
constexpr std::size_t kShortestValue = 1;
constexpr std::size_t kShortestIdentifier = 2;
constexpr std::size_t kShortestNumber = 2;
constexpr std::size_t kShortestAttribute = 1 + kShortestIdentifier + 1;
constexpr std::size_t kShortestObject =
    1 + kShortestIdentifier + 1 + kShortestNumber;
constexpr std::size_t kShortestError = 1 + 2 * kShortestNumber;

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
