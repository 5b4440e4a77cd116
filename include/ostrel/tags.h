// Names for the tags: a value's tag names its class, and is the first byte of
// its encoding.

#ifndef OSTREL_TAGS_H
#define OSTREL_TAGS_H

#include <cstdint>

namespace ostrel {

enum Tag : std::uint8_t {
  kTagNull = 0,
  kTagChar = 1,
  kTagShort = 2,
  kTagInt = 3,
  kTagLong = 4,
  kTagFloat = 5,
  kTagDouble = 6,
  kTagBool = 7,
  kTagOpaque = 8,
  kTagString = 9,
  kTagOid = 10,
  kTagAid = 11,
  kTagTime = 12,
  kTagAddress = 15,
  kTagArgumentDesc = 16,
  kTagAttributeDesc = 17,
  kTagActionDesc = 18,
  kTagEventDesc = 19,
  kTagObjectDesc = 20,
  kTagAttribute = 23,
  kTagAttributeValueOp = 24,
  kTagObject = 25,
  kTagError = 26,
  kTagPDU = 27,
  kTagCreatePDU = 28,
  kTagClonePDU = 29,
  kTagRemovePDU = 30,
  kTagGetPDU = 31,
  kTagSetPDU = 32,
  kTagSearchPDU = 33,
  kTagEventPDU = 34,
  kTagActionPDU = 35,
  kTagRespPDU = 36,
  kTagCreateRespPDU = 37,
  kTagCloneRespPDU = 38,
  kTagGetRespPDU = 39,
  kTagSetRespPDU = 40,
  kTagSearchRespPDU = 41,
  kTagActionRespPDU = 42,
  kTagRemoveRespPDU = 43,
  kTagVerifyPDU = 44,
  kTagVerifyRespPDU = 45,
  kTagDSsearchPDU = 46,
  kTagDSsearchRespPDU = 47,
  kTagUnsignedChar = 65,
  kTagUnsignedShort = 66,
  kTagUnsignedInt = 67,
  kTagUnsignedLong = 68,
  kTagGauge = 77,
  kTagCounter = 78,
  kTagList = 128,
};

// Every PDU has a tag in this range, both ends included.
constexpr unsigned kTagFirstPDU = kTagPDU;
constexpr unsigned kTagLastPDU = kTagDSsearchRespPDU;

}  // namespace ostrel

#endif  // OSTREL_TAGS_H
