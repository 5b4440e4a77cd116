// The factory: one row for each tag that may arrive. This is the one file that
// knows all classes of values.

#include "value/tag_table.h"

#include <ostrel/elements.h>
#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskOmAttr.h>
#include <ostrel/veskPDU.h>

#include "value/list_nodes.h"
#include "value/quick.h"
#include "value/values.h"
#include "value/walk.h"

namespace ostrel {
namespace {

// Counts the values that are being decoded inside one another.
class Nesting {
 public:
  Nesting() { depth_++; }
  ~Nesting() { depth_--; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  static bool tooDeep() { return depth_ > kMaxNesting; }
  static bool hasRoom() { return depth_ < kMaxNesting; }

 private:
  static thread_local unsigned depth_;
};

thread_local unsigned Nesting::depth_ = 0;

// Makes a value with its class's default constructor, stores it and decodes it.
// Returns the bytes consumed, or 0. (The compiler knows the class, so it can
// inline both.)
using Maker = unsigned (*)(char* buffer, unsigned length, veskType** out);

template <class Value>
unsigned plain(char* buffer, unsigned length, veskType** out) {
  auto* value = new Value;
  *out = value;
  return value->Value::decode(buffer, length);
}

// The same for classes that may have other values inside.
template <class Value>
unsigned holder(char* buffer, unsigned length, veskType** out) {
  const Nesting nesting;
  return Nesting::tooDeep() ? 0 : plain<Value>(buffer, length, out);
}

// A new description has a default value, which decode() leaves to its owner.
template <>
unsigned holder<veskAttributeDesc>(char* buffer, unsigned length,
                                   veskType** out) {
  const Nesting nesting;
  if (Nesting::tooDeep()) return 0;
  auto* value = new veskAttributeDesc;
  *out = value;
  delete value->defval;
  value->defval = nullptr;
  return value->veskAttributeDesc::decode(buffer, length);
}

// Frees what the destructor of a decoded value leaves to others.

void empty(veskList* list) {
  if (list != nullptr) list->destroyDecodedElements();
}
void freeParts(veskList& list) { empty(&list); }
void freeParts(veskAttribute& attribute) {
  veskType::destroyDecoded(attribute.value);
  attribute.value = nullptr;
}
void freeParts(veskObject& object) { empty(object.attributeList); }
void freeParts(veskAttributeDesc& description) {
  veskType::destroyDecoded(description.defval);
  description.defval = nullptr;
}
void freeParts(veskActionDesc& description) { empty(&description.arguments); }
void freeParts(veskEventDesc& description) { empty(&description.arguments); }
void freeParts(veskObjectDesc& description) {
  empty(&description.attributes);
  empty(&description.actions);
  empty(&description.events);
}
template <class Pdu>
void freeListOf(Pdu& pdu) {
  empty(pdu.list);
  pdu.clear();
}
void freeParts(veskCreatePDU& pdu) { freeListOf(pdu); }
void freeParts(veskGetPDU& pdu) { freeListOf(pdu); }
void freeParts(veskSearchPDU& pdu) { freeListOf(pdu); }
void freeParts(veskEventPDU& pdu) { freeListOf(pdu); }
void freeParts(veskActionPDU& pdu) { freeListOf(pdu); }
void freeParts(veskDSsearchPDU& pdu) {
  empty(pdu.list2);
  freeListOf(pdu);
}
void freeParts(veskRespPDU& pdu) {
  empty(pdu.errors);
  pdu.clear();
}
void freeParts(veskGetRespPDU& pdu) {
  empty(pdu.errors);
  freeListOf(pdu);
}
void freeParts(veskSearchRespPDU& pdu) {
  empty(pdu.errors);
  freeListOf(pdu);
}
void freeParts(veskDSsearchRespPDU& pdu) {
  empty(pdu.errors);
  empty(pdu.list2);
  freeListOf(pdu);
}

// Frees the parts of a value of this very class. Returns whether it was one.
using PartsFreer = bool (*)(veskType& value);

template <class Value>
bool freePartsOf(veskType& value) {
  if (!isExactly<Value>(value)) return false;
  freeParts(static_cast<Value&>(value));
  return true;
}

// The same for a value of this class or of one derived from it.
template <class Value>
bool freePartsOfSome(veskType& value) {
  auto* const held = as<Value>(value);
  if (held != nullptr) freeParts(*held);
  return held != nullptr;
}

template <class... Values>
void freePartsOfAny(veskType& value) {
  static_cast<void>((freePartsOfSome<Values>(value) || ...));
}

// The same for a class that has no such parts.
template <class Value>
bool hasNoParts(veskType& value) {
  return isExactly<Value>(value);
}

struct Row {
  Tag tag;
  Maker make;
  PartsFreer freeParts;
  Layout layout;  // its wire order
};

template <class Value>
constexpr Row plainRow(Tag tag, Layout layout) {
  return {tag, plain<Value>, hasNoParts<Value>, layout};
}
template <class Value>
constexpr Row holderRow(Tag tag, Layout layout) {
  return {tag, holder<Value>, freePartsOf<Value>, layout};
}

// Kept: gauges (77), counters (78) and the bare PDU headers (27, 36) have no
// row. They can be sent and are refused when they arrive.
constexpr Row kRows[] = {
    plainRow<veskType>(kTagNull, {kTag}),
    plainRow<veskChar>(kTagChar, {kOne}),
    plainRow<veskShort>(kTagShort, {kTwo}),
    plainRow<veskInt>(kTagInt, {kInteger}),
    plainRow<veskLong>(kTagLong, {kInteger}),
    plainRow<veskFloat>(kTagFloat, {kFour}),
    plainRow<veskDouble>(kTagDouble, {kEight}),
    plainRow<veskBool>(kTagBool, {kInteger}),
    plainRow<veskOpaque>(kTagOpaque, {kCounted}),
    plainRow<veskString>(kTagString, {kCounted}),
    plainRow<veskOid>(kTagOid, {kOid}),
    plainRow<veskAid>(kTagAid, {kAid}),
    plainRow<veskTime>(kTagTime, {kInteger}),
    plainRow<veskAddress>(kTagAddress, {kAddress}),
    plainRow<veskArgumentDesc>(kTagArgumentDesc, {kTag, kCounted, kInteger}),
    holderRow<veskAttributeDesc>(
        kTagAttributeDesc,
        {kTag, kCounted, kAid, kInteger, kDefault, kInteger, kInteger, kTruth}),
    holderRow<veskActionDesc>(kTagActionDesc, {kTag, kCounted, kAid, kList}),
    holderRow<veskEventDesc>(kTagEventDesc, {kTag, kCounted, kAid, kList}),
    holderRow<veskObjectDesc>(
        kTagObjectDesc, {kTag, kCounted, kOid, kOid, kList, kList, kList}),
    holderRow<veskAttribute>(kTagAttribute, {kTag, kAid, kOptional}),
    holderRow<veskAttributeValueOp>(kTagAttributeValueOp,
                                    {kTag, kAid, kOptional, kOne}),
    holderRow<veskObject>(kTagObject, {kTag, kOid, kList}),
    plainRow<veskError>(kTagError, {kTag, kInteger, kSigned}),
    holderRow<veskCreatePDU>(kTagCreatePDU, {kPDUHeader, kOid, kList}),
    holderRow<veskClonePDU>(kTagClonePDU, {kPDUHeader, kOid, kList}),
    plainRow<veskRemovePDU>(kTagRemovePDU, {kPDUHeader, kOid}),
    holderRow<veskGetPDU>(kTagGetPDU, {kPDUHeader, kOid, kList}),
    holderRow<veskSetPDU>(kTagSetPDU, {kPDUHeader, kOid, kList}),
    holderRow<veskSearchPDU>(kTagSearchPDU, {kPDUHeader, kOid, kList, kTruth}),
    holderRow<veskDSsearchPDU>(kTagDSsearchPDU,
                               {kPDUHeader, kOid, kList, kList}),
    plainRow<veskVerifyPDU>(kTagVerifyPDU, {kPDUHeader, kOid}),
    holderRow<veskEventPDU>(kTagEventPDU, {kPDUHeader, kOid, kAid, kList}),
    holderRow<veskActionPDU>(kTagActionPDU, {kPDUHeader, kAid, kList}),
    holderRow<veskCreateRespPDU>(kTagCreateRespPDU, {kPDUHeader, kList, kOid}),
    holderRow<veskCloneRespPDU>(kTagCloneRespPDU, {kPDUHeader, kList, kOid}),
    holderRow<veskGetRespPDU>(kTagGetRespPDU, {kPDUHeader, kList, kList}),
    holderRow<veskSetRespPDU>(kTagSetRespPDU, {kPDUHeader, kList}),
    holderRow<veskSearchRespPDU>(kTagSearchRespPDU, {kPDUHeader, kList, kList}),
    holderRow<veskDSsearchRespPDU>(kTagDSsearchRespPDU,
                                   {kPDUHeader, kList, kList, kList}),
    holderRow<veskActionRespPDU>(kTagActionRespPDU, {kPDUHeader, kList}),
    plainRow<veskRemoveRespPDU>(kTagRemoveRespPDU, {kPDUHeader}),
    plainRow<veskVerifyRespPDU>(kTagVerifyRespPDU, {kPDUHeader}),
    plainRow<veskUnsignedChar>(kTagUnsignedChar, {kOne}),
    plainRow<veskUnsignedShort>(kTagUnsignedShort, {kTwo}),
    plainRow<veskUnsignedInt>(kTagUnsignedInt, {kInteger}),
    plainRow<veskUnsignedLong>(kTagUnsignedLong, {kInteger}),
    holderRow<veskList>(kTagList, {kList}),
};

constexpr unsigned kTagCount = 256;

struct Table {
  Row of[kTagCount] = {};
};

constexpr Table byTag() {
  Table table;
  for (const Row& row : kRows) table.of[row.tag] = row;
  return table;
}

constexpr Table kTable = byTag();

// How far freeing goes: to what lists and attributes own by the rules, or to
// everything that can be reached.
enum class Freeing { kHeld, kDecoded };

template <Freeing freeing>
void free(veskType* value);

// Most elements are attributes with plain values.
template <Freeing freeing>
[[gnu::always_inline]] inline bool freeQuickly(Pool::Lists& pool,
                                               veskType* value) {
  if (!isExactly<veskAttribute>(*value)) return quick::freeValue(pool, value);
  auto* attribute = static_cast<veskAttribute*>(value);
  veskType* const held = attribute->value;
  if (held != nullptr && !quick::freeValue(pool, held)) free<freeing>(held);
  pool.release(attribute, sizeof *attribute);
  return true;
}

template <>
void free<Freeing::kHeld>(veskType* value) {
  if (freeQuickly<Freeing::kHeld>(Pool::mine(), value)) return;
  if (auto* list = as<veskList>(value)) list->clear(1);
  delete value;
}

template <>
void free<Freeing::kDecoded>(veskType* value) {
  if (freeQuickly<Freeing::kDecoded>(Pool::mine(), value)) return;
  const PartsFreer freeParts = kTable.of[value->tag].freeParts;
  if (freeParts == nullptr || !freeParts(*value)) {
    // The tag does not fit the class, or the class is a program's own. The
    // value that an object manager's attribute points at belongs to the
    // manager.
    if (as<veskOmAttribute>(value) == nullptr) {
      freePartsOfAny<veskList, veskAttribute, veskObject, veskAttributeDesc,
                     veskActionDesc, veskEventDesc, veskObjectDesc,
                     veskCreatePDU, veskGetPDU, veskSearchPDU, veskEventPDU,
                     veskActionPDU, veskDSsearchPDU, veskGetRespPDU,
                     veskSearchRespPDU, veskDSsearchRespPDU, veskRespPDU>(
          *value);
    }
  }
  delete value;
}

template <Freeing freeing>
void freeElements(veskList& list) {
  Pool::Lists& pool = Pool::mine();
  drain(pool, list, [&](void* element) {
    auto* const value = static_cast<veskType*>(element);
    if (!freeQuickly<freeing>(pool, value)) free<freeing>(value);
  });
}

// Owns a value until it is in a list.
struct Arriving {
  Arriving() = default;
  ~Arriving() { veskType::destroyDecoded(value); }
  Arriving(const Arriving&) = delete;
  Arriving& operator=(const Arriving&) = delete;

  veskType* value = nullptr;
};

// An attribute with a plain value: its tag, its identifier and the flag before.
constexpr std::size_t kAttributeRoom =
    1 + 1 + kIdentifierRoom<veskAid> + 1 + quick::kValueRoom;

// Reads an attribute, with a plain value or none, at `from`, where
// kAttributeRoom bytes can be read. *out always has what was made: when memory
// runs out, it is freed with the list.
[[gnu::always_inline]] inline const char* readAttribute(Pool::Lists& pool,
                                                        const char* from,
                                                        const char* end,
                                                        veskType** out) {
  if (from[2] == 0) return nullptr;
  std::uint32_t component[3];
  const char* at = quick::readNumbers<3>(from + 3, component);
  if (at == nullptr) return nullptr;
  auto* attribute = quick::make<veskAttribute>(pool);
  *out = attribute;
  attribute->id.tag = static_cast<std::uint8_t>(from[1]);
  attribute->id.valid = 1;
  std::memcpy(attribute->id.component, component, sizeof component);
  if (*at++ == 0) return at;
  at = quick::readValue(pool, at, end, &attribute->value);
  if (at != nullptr) return at;
  pool.release(attribute, sizeof *attribute);
  *out = nullptr;
  return nullptr;
}

// Writes an attribute at `to`, where kAttributeRoom bytes are free.
[[gnu::always_inline]] inline char* writeAttribute(
    char* to, const char* end, const veskAttribute& attribute) {
  if (attribute.id.valid != 1) return nullptr;
  *to = static_cast<char>(attribute.tag);
  to = quick::writeValid(to + 1, attribute.id);
  *to++ = attribute.value == nullptr ? 0 : 1;
  return attribute.value == nullptr
             ? to
             : quick::writeValue(to, end, *attribute.value);
}

// Reads an element of which at least kAttributeRoom bytes can be read.
[[gnu::always_inline]] inline const char* readQuickly(Pool::Lists& pool,
                                                      const char* from,
                                                      const char* end,
                                                      veskType** out) {
  if (static_cast<unsigned char>(*from) == kTagAttribute)
    return readAttribute(pool, from, end, out);
  return quick::readValue(pool, from, end, out);
}

// The same near the end of the input, where fewer bytes are left: it reads from
// a copy with zeros after it. An element that reaches into the zeros is left to
// the general code.
const char* readLast(Pool::Lists& pool, const char* from, std::size_t left,
                     veskType** out) {
  char padded[2 * kAttributeRoom] = {};
  std::memcpy(padded, from, left);
  const char* const end = padded + left;
  const char* const behind = readQuickly(pool, padded, end, out);
  if (behind != nullptr && behind <= end) return from + (behind - padded);
  veskType::destroyDecoded(*out);
  *out = nullptr;
  return nullptr;
}

char* writeQuickly(char* to, std::size_t left, const veskType& value) {
  if (left < kAttributeRoom) return nullptr;
  if (isExactly<veskAttribute>(value))
    return writeAttribute(to, to + left,
                          static_cast<const veskAttribute&>(value));
  return quick::writeValue(to, to + left, value);
}

}  // namespace

const Layout& layoutOf(unsigned char tag) { return kTable.of[tag].layout; }

void readElements(ByteReader& reader, std::uint32_t count, veskList& list) {
  // An attribute is a level of nesting of its own.
  const bool quickly = Nesting::hasRoom();
  Pool::Lists& pool = Pool::mine();
  const char* at = reader.at();
  const char* const end = at + reader.left();
  // Every element takes at least one byte, so even a false count ends with the
  // input.
  for (; count > 0; count--) {
    const auto left = static_cast<std::size_t>(end - at);
    Arriving arriving;
    const char* behind = nullptr;
    if (quickly) {
      behind = left >= kAttributeRoom
                   ? readQuickly(pool, at, end, &arriving.value)
                   : readLast(pool, at, left, &arriving.value);
    }
    if (behind == nullptr) {
      reader.moveTo(at);
      reader.read(
          veskType::decodeCreate(reader.at(), reader.left(), &arriving.value));
      if (!reader.ok()) return;
      behind = reader.at();
    }
    appendElement(pool, list, arriving.value);
    arriving.value = nullptr;
    at = behind;
  }
  reader.moveTo(at);
}

void writeElements(ByteWriter& writer, const veskList& list) {
  for (veskType* value : Elements(list)) {
    if (value == nullptr) return writer.fail();
    char* const behind = writeQuickly(writer.at(), writer.left(), *value);
    if (behind != nullptr)
      writer.moveTo(behind);
    else
      writer.wrote(value->encode(writer.at(), writer.left()));
    if (!writer.ok()) return;
  }
}

void freeHeld(veskType* value) {
  if (value != nullptr) free<Freeing::kHeld>(value);
}

void freeList(veskList* list) {
  if (list == nullptr) return;
  if (list->count != 0) {
    // Only a program's own class may free its elements in another way.
    if (isExactly<veskList>(*list))
      freeElements<Freeing::kHeld>(*list);
    else
      list->clear(1);
  }
  delete list;
}

}  // namespace ostrel

using namespace ostrel;

unsigned veskType::decodeCreate(char* buffer, unsigned length, veskType** out) {
  if (length == 0) return 0;
  *out = nullptr;
  const Maker make = kTable.of[static_cast<unsigned char>(buffer[0])].make;
  return make == nullptr ? 0 : make(buffer, length, out);
}

void veskType::destroyDecoded(veskType* value) {
  if (value != nullptr) ostrel::free<Freeing::kDecoded>(value);
}

void veskList::destroyDecodedElements() {
  freeElements<Freeing::kDecoded>(*this);
}
