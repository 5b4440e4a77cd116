#include "value/walk.h"

#include <ostrel/tags.h>
#include <ostrel/type.h>

#include <cstddef>
#include <cstdint>

#include "value/identifier.h"
#include "value/wire.h"

namespace ostrel {
namespace {

// The parts of an encoded value. Each begins with a tag unless it says
// otherwise. The tags are ignored: the first is the value's own, and the layout
// gives the class of each member.
enum Part : unsigned char {
  kEnd,
  kTag,        // nothing but the tag
  kOne,        // so many bytes
  kTwo,        //
  kFour,       //
  kEight,      //
  kInteger,    // an integer body
  kCounted,    // an integer with its tag, and so many bytes
  kOid,        // a validity, and the components if it is not 0
  kAid,        //
  kAddress,    // a family and its address
  kPDUHeader,  // status, request id, principal
  kList,       // an integer with its tag, and so many values
  kOptional,   // no tag: a flag, and a value if it is not 0
  // Kept: a description reads only the tag of its default value.
  kDefault,
};

constexpr std::size_t kMostParts = 8;

struct Row {
  Tag tag;
  Part parts[kMostParts + 1];
};

// The same classes as in the factory's table, each with its wire order.
constexpr Row kRows[] = {
    {kTagNull, {kTag}},
    {kTagChar, {kOne}},
    {kTagShort, {kTwo}},
    {kTagInt, {kInteger}},
    {kTagLong, {kInteger}},
    {kTagFloat, {kFour}},
    {kTagDouble, {kEight}},
    {kTagBool, {kInteger}},
    {kTagOpaque, {kCounted}},
    {kTagString, {kCounted}},
    {kTagOid, {kOid}},
    {kTagAid, {kAid}},
    {kTagTime, {kInteger}},
    {kTagAddress, {kAddress}},
    {kTagArgumentDesc, {kTag, kCounted, kInteger}},
    {kTagAttributeDesc,
     {kTag, kCounted, kAid, kInteger, kDefault, kInteger, kInteger, kInteger}},
    {kTagActionDesc, {kTag, kCounted, kAid, kList}},
    {kTagEventDesc, {kTag, kCounted, kAid, kList}},
    {kTagObjectDesc, {kTag, kCounted, kOid, kOid, kList, kList, kList}},
    {kTagAttribute, {kTag, kAid, kOptional}},
    {kTagAttributeValueOp, {kTag, kAid, kOptional, kOne}},
    {kTagObject, {kTag, kOid, kList}},
    {kTagError, {kTag, kInteger, kInteger}},
    {kTagCreatePDU, {kPDUHeader, kOid, kList}},
    {kTagClonePDU, {kPDUHeader, kOid, kList}},
    {kTagRemovePDU, {kPDUHeader, kOid}},
    {kTagGetPDU, {kPDUHeader, kOid, kList}},
    {kTagSetPDU, {kPDUHeader, kOid, kList}},
    {kTagSearchPDU, {kPDUHeader, kOid, kList, kInteger}},
    {kTagDSsearchPDU, {kPDUHeader, kOid, kList, kList}},
    {kTagVerifyPDU, {kPDUHeader, kOid}},
    {kTagEventPDU, {kPDUHeader, kOid, kAid, kList}},
    {kTagActionPDU, {kPDUHeader, kAid, kList}},
    {kTagCreateRespPDU, {kPDUHeader, kList, kOid}},
    {kTagCloneRespPDU, {kPDUHeader, kList, kOid}},
    {kTagGetRespPDU, {kPDUHeader, kList, kList}},
    {kTagSetRespPDU, {kPDUHeader, kList}},
    {kTagSearchRespPDU, {kPDUHeader, kList, kList}},
    {kTagDSsearchRespPDU, {kPDUHeader, kList, kList, kList}},
    {kTagActionRespPDU, {kPDUHeader, kList}},
    {kTagRemoveRespPDU, {kPDUHeader}},
    {kTagVerifyRespPDU, {kPDUHeader}},
    {kTagUnsignedChar, {kOne}},
    {kTagUnsignedShort, {kTwo}},
    {kTagUnsignedInt, {kInteger}},
    {kTagUnsignedLong, {kInteger}},
    {kTagList, {kList}},
};

constexpr unsigned kTagCount = 256;

struct Layout {
  Part parts[kMostParts + 1] = {};
  bool nests = false;  // values may lie inside: one level of nesting
};

constexpr bool mayHold(Part part) {
  return part == kList || part == kOptional || part == kDefault;
}

struct Layouts {
  Layout of[kTagCount] = {};
};

constexpr Layouts byTag() {
  Layouts layouts;
  for (const Row& row : kRows) {
    Layout& layout = layouts.of[row.tag];
    for (std::size_t i = 0; i < kMostParts; i++) {
      layout.parts[i] = row.parts[i];
      layout.nests = layout.nests || mayHold(row.parts[i]);
    }
  }
  return layouts;
}

constexpr Layouts kLayouts = byTag();

// Walks with one small frame for each level of nesting.
class Walker {
 public:
  Walker(const char* bytes, unsigned length) : reader_(bytes, length) {}

  // One value, with at most this many levels of nesting.
  void value(unsigned nesting) {
    ByteReader ahead = reader_;
    const Layout& layout = kLayouts.of[ahead.number<std::uint8_t>()];
    const bool known = layout.parts[0] != kEnd;
    if (!ahead.ok() || !known) return reader_.fail();
    values_++;
    if (layout.nests && nesting-- == 0) return reader_.fail();
    for (const Part* at = layout.parts; *at != kEnd && reader_.ok(); at++)
      part(*at, nesting);
  }

  Walked result() const { return {reader_.used(), values_}; }

 private:
  void part(Part kind, unsigned nesting) {
    switch (kind) {
      case kEnd:
        return;
      case kTag:
      case kDefault:
        return tag();
      case kOne:
        return tag(), bytes(1);
      case kTwo:
        return tag(), bytes(2);
      case kFour:
        return tag(), bytes(4);
      case kEight:
        return tag(), bytes(8);
      case kInteger:
        return static_cast<void>(integer());
      case kCounted:
        return tag(), bytes(integer());
      case kOid:
        return identifier(kComponents<veskOid>);
      case kAid:
        return identifier(kComponents<veskAid>);
      case kAddress:
        return address();
      case kPDUHeader:
        tag();
        integer();
        integer();
        return identifier(kComponents<veskOid>);
      case kList:
        tag();
        return values(integer(), nesting);
      case kOptional:
        return values(byte() != 0 ? 1 : 0, nesting);
    }
  }

  // Every value takes at least one byte, so even a false count ends with the
  // input.
  void values(std::uint32_t count, unsigned nesting) {
    for (; count != 0 && reader_.ok(); count--) value(nesting);
  }

  void identifier(unsigned components) {
    tag();
    if (byte() == 0) return;
    for (; components != 0 && reader_.ok(); components--) reader_.integer();
  }

  void address() {
    constexpr std::uint8_t kNoFamily = 0;
    constexpr std::uint8_t kIPv4 = 2;
    tag();
    const std::uint8_t family = byte();
    if (family == kIPv4) return bytes(sizeof(in_addr));
    if (family != kNoFamily) reader_.fail();
  }

  void bytes(std::size_t count) {
    if (reader_.has(count)) reader_.skip(count);
  }

  std::uint32_t integer() {
    tag();
    return reader_.integer();
  }
  void tag() { byte(); }
  std::uint8_t byte() { return reader_.number<std::uint8_t>(); }

  ByteReader reader_;
  unsigned values_ = 0;
};

}  // namespace

Walked walkValues(const char* bytes, unsigned length, unsigned nesting) {
  Walker walker(bytes, length);
  walker.value(nesting);
  return walker.result();
}

unsigned walkValue(const char* bytes, unsigned length) {
  return walkValues(bytes, length).used;
}

}  // namespace ostrel
