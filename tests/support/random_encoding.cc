#include "random_encoding.h"

#include <cstdint>

#include "ostrel/tags.h"

namespace ostrel::test {

namespace {

constexpr unsigned kMostElements = 4;
constexpr unsigned kMostBytes = 20;
constexpr unsigned kLongestNumber = 9;

// Tags of values that hold no other value, and of those that do.
constexpr Tag kPlain[] = {
    kTagNull,         kTagChar,          kTagShort,         kTagInt,
    kTagLong,         kTagFloat,         kTagDouble,        kTagBool,
    kTagOpaque,       kTagString,        kTagOid,           kTagAid,
    kTagTime,         kTagAddress,       kTagArgumentDesc,  kTagError,
    kTagRemovePDU,    kTagVerifyPDU,     kTagRemoveRespPDU, kTagVerifyRespPDU,
    kTagUnsignedChar, kTagUnsignedShort, kTagUnsignedInt,   kTagUnsignedLong};
constexpr Tag kHolders[] = {
    kTagAttributeDesc, kTagActionDesc,    kTagEventDesc,
    kTagObjectDesc,    kTagAttribute,     kTagAttributeValueOp,
    kTagObject,        kTagCreatePDU,     kTagClonePDU,
    kTagGetPDU,        kTagSetPDU,        kTagSearchPDU,
    kTagDSsearchPDU,   kTagEventPDU,      kTagActionPDU,
    kTagCreateRespPDU, kTagCloneRespPDU,  kTagGetRespPDU,
    kTagSetRespPDU,    kTagSearchRespPDU, kTagDSsearchRespPDU,
    kTagActionRespPDU, kTagList};

template <std::size_t count>
Tag pick(Random& random, const Tag (&tags)[count]) {
  return tags[random.below(count)];
}

class Writer {
 public:
  Writer(Random& random, Spelling spelling)
      : random_(random),
        loose_(spelling == Spelling::kLoose),
        canonical_(spelling == Spelling::kCanonical) {}

  Encoding result() const { return {bytes_, copy_}; }

  void anything(unsigned depth) {
    const bool holds = depth != 0 && random_.below(2) == 0;
    const Tag tag = holds ? pick(random_, kHolders) : pick(random_, kPlain);
    byte(tag);
    if (tag == kTagActionRespPDU && !shared_) copy_.back() = kTagSetRespPDU;
    const bool sharedBefore = shared_;
    shared_ |= isPDU(tag) || tag == kTagObject;
    body(tag, holds ? depth - 1 : 0);
    shared_ = sharedBefore;
  }

 private:
  // The bytes after a value's own tag.
  void body(Tag tag, unsigned depth) {
    if (isPDU(tag)) header();
    switch (tag) {
      case kTagChar:
      case kTagUnsignedChar:
        return some(1);
      case kTagShort:
      case kTagUnsignedShort:
        return some(2);
      case kTagFloat:
        return some(4);
      case kTagDouble:
        return some(8);
      case kTagInt:
      case kTagLong:
      case kTagBool:
      case kTagTime:
      case kTagUnsignedInt:
      case kTagUnsignedLong:
        return number();
      case kTagOpaque:
      case kTagString:
        return counted();
      case kTagOid:
        return identifier(4);
      case kTagAid:
        return identifier(3);
      case kTagAddress:
        return address();
      case kTagList:
        return list(depth);
      case kTagArgumentDesc:
        return member(kTagString), member(kTagUnsignedInt);
      case kTagAttributeDesc:
        member(kTagString);
        member(kTagAid);
        member(kTagUnsignedInt);
        // All that is read of the default value.
        byte(canonical_ ? 0 : random_.below(256));
        member(kTagUnsignedInt);
        member(kTagUnsignedInt);
        return member(kTagBool);
      case kTagActionDesc:
      case kTagEventDesc:
        return member(kTagString), member(kTagAid), member(kTagList, depth);
      case kTagObjectDesc:
        member(kTagString);
        member(kTagOid);
        member(kTagOid);
        member(kTagList, depth);
        member(kTagList, depth);
        return member(kTagList, depth);
      case kTagAttribute:
        return member(kTagAid), optional(depth);
      case kTagAttributeValueOp:
        return member(kTagAid), optional(depth), member(kTagChar);
      case kTagError:
        return member(kTagUnsignedInt), member(kTagInt);
      case kTagRemovePDU:
      case kTagVerifyPDU:
        return member(kTagOid);
      case kTagObject:
      case kTagCreatePDU:
      case kTagClonePDU:
      case kTagGetPDU:
      case kTagSetPDU:
        return member(kTagOid), member(kTagList, depth);
      case kTagSearchPDU:
        member(kTagOid);
        member(kTagList, depth);
        return member(kTagBool);
      case kTagDSsearchPDU:
        member(kTagOid);
        member(kTagList, depth);
        return member(kTagList, depth);
      case kTagEventPDU:
        return member(kTagOid), member(kTagAid), member(kTagList, depth);
      case kTagActionPDU:
        return member(kTagAid), member(kTagList, depth);
      case kTagCreateRespPDU:
      case kTagCloneRespPDU:
        return member(kTagList, depth), member(kTagOid);
      case kTagGetRespPDU:
      case kTagSearchRespPDU:
        return member(kTagList, depth), member(kTagList, depth);
      case kTagSetRespPDU:
      case kTagActionRespPDU:
        return member(kTagList, depth);
      case kTagDSsearchRespPDU:
        member(kTagList, depth);
        member(kTagList, depth);
        return member(kTagList, depth);
      default:
        return;
    }
  }

  void member(Tag tag, unsigned depth = 0) {
    memberTag(tag);
    body(tag, depth);
  }

  void header() { member(kTagInt), member(kTagUnsignedInt), member(kTagOid); }

  void list(unsigned depth) {
    const unsigned count = random_.below(kMostElements + 1);
    memberTag(kTagUnsignedInt);
    numberOf(count);
    for (unsigned i = 0; i < count; ++i) anything(depth);
  }

  void optional(unsigned depth) {
    const bool there = random_.below(4) != 0;
    flag(there);
    if (there) anything(depth);
  }

  void counted() {
    const unsigned count = random_.below(kMostBytes + 1);
    memberTag(kTagUnsignedInt);
    numberOf(count);
    some(count);
  }

  void identifier(unsigned components) {
    const bool valid = random_.below(4) != 0;
    flag(valid);
    for (; valid && components != 0; --components) number();
  }

  void address() {
    const bool known = random_.below(4) != 0;
    byte(known ? 2 : 0);
    some(known ? 4 : 0);
  }

  void number() {
    if (!liberty()) return numberOf(random_.number());
    const unsigned length = random_.below(kLongestNumber + 1);
    byte(length);
    some(length);
  }

  // The shortest spelling, or one with zeros in front.
  void numberOf(std::uint32_t value) {
    unsigned length = 0;
    while (length < 4 && value >> (8 * length) != 0) ++length;
    const unsigned zeros = liberty() ? random_.below(5) : 0;
    byte(length + zeros);
    for (unsigned i = 0; i < zeros; ++i) byte(0);
    while (length != 0) byte(value >> (8 * --length) & 0xFF);
  }

  void flag(bool set) {
    byte(set && liberty() ? 1 + random_.below(255) : unsigned{set});
  }
  // A decoder ignores a member's tag.
  void memberTag(Tag tag) {
    byte(liberty() ? random_.below(256) : unsigned{tag});
  }
  void some(unsigned count) {
    for (; count != 0; --count) byte(random_.below(256));
  }
  void byte(unsigned value) {
    bytes_.push_back(static_cast<unsigned char>(value));
    copy_.push_back(static_cast<unsigned char>(value));
  }
  static bool isPDU(Tag tag) {
    return tag >= kTagFirstPDU && tag <= kTagLastPDU;
  }
  bool liberty() { return loose_ && random_.below(8) == 0; }

  Random& random_;
  bool loose_;
  bool canonical_;
  bool shared_ = false;  // in a list that the copy has as well
  Bytes bytes_;
  Bytes copy_;
};

}  // namespace

Encoding randomEncoding(Random& random, unsigned depth, Spelling spelling) {
  Writer writer(random, spelling);
  writer.anything(depth);
  return writer.result();
}

}  // namespace ostrel::test
