// The factory: one row for each tag that may arrive.

#include "tag_table.h"

#include <ostrel/objectdesc.h>
#include <ostrel/tags.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

namespace ostrel {
namespace {

// How many values may arrive inside one another. Each takes a few stack
// frames to read, print, compare, copy and free.
constexpr unsigned kMaxNesting = 2048;

// Counts the values that are being decoded inside one another.
class Nesting {
 public:
  Nesting() { depth_++; }
  ~Nesting() { depth_--; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  bool tooDeep() const { return depth_ > kMaxNesting; }

 private:
  static thread_local unsigned depth_;
};

thread_local unsigned Nesting::depth_ = 0;

// Knowing the class, the compiler makes and reads the value in one go.
template <class Value>
unsigned plain(char* buffer, unsigned length, veskType** out) {
  auto* value = new Value;
  *out = value;
  return value->Value::decode(buffer, length);
}

// The same for what may have other values inside.
template <class Value>
unsigned holder(char* buffer, unsigned length, veskType** out) {
  const Nesting nesting;
  return nesting.tooDeep() ? 0 : plain<Value>(buffer, length, out);
}

struct Row {
  Tag tag;
  ValueMaker maker;
};

// Kept: gauges (77), counters (78) and the bare PDU headers (27, 36) have no
// row. They can be sent and are refused when they arrive.
constexpr Row kRows[] = {
    {kTagNull, plain<veskType>},
    {kTagChar, plain<veskChar>},
    {kTagShort, plain<veskShort>},
    {kTagInt, plain<veskInt>},
    {kTagLong, plain<veskLong>},
    {kTagFloat, plain<veskFloat>},
    {kTagDouble, plain<veskDouble>},
    {kTagBool, plain<veskBool>},
    {kTagOpaque, plain<veskOpaque>},
    {kTagString, plain<veskString>},
    {kTagOid, plain<veskOid>},
    {kTagAid, plain<veskAid>},
    {kTagTime, plain<veskTime>},
    {kTagAddress, plain<veskAddress>},
    {kTagArgumentDesc, plain<veskArgumentDesc>},
    {kTagAttributeDesc, holder<veskAttributeDesc>},
    {kTagActionDesc, holder<veskActionDesc>},
    {kTagEventDesc, holder<veskEventDesc>},
    {kTagObjectDesc, holder<veskObjectDesc>},
    {kTagAttribute, holder<veskAttribute>},
    {kTagAttributeValueOp, holder<veskAttributeValueOp>},
    {kTagObject, holder<veskObject>},
    {kTagError, plain<veskError>},
    {kTagCreatePDU, holder<veskCreatePDU>},
    {kTagClonePDU, holder<veskClonePDU>},
    {kTagRemovePDU, plain<veskRemovePDU>},
    {kTagGetPDU, holder<veskGetPDU>},
    {kTagSetPDU, holder<veskSetPDU>},
    {kTagSearchPDU, holder<veskSearchPDU>},
    {kTagDSsearchPDU, holder<veskDSsearchPDU>},
    {kTagVerifyPDU, plain<veskVerifyPDU>},
    {kTagEventPDU, holder<veskEventPDU>},
    {kTagActionPDU, holder<veskActionPDU>},
    {kTagCreateRespPDU, holder<veskCreateRespPDU>},
    {kTagCloneRespPDU, holder<veskCloneRespPDU>},
    {kTagGetRespPDU, holder<veskGetRespPDU>},
    {kTagSetRespPDU, holder<veskSetRespPDU>},
    {kTagSearchRespPDU, holder<veskSearchRespPDU>},
    {kTagDSsearchRespPDU, holder<veskDSsearchRespPDU>},
    {kTagActionRespPDU, holder<veskActionRespPDU>},
    {kTagRemoveRespPDU, plain<veskRemoveRespPDU>},
    {kTagVerifyRespPDU, plain<veskVerifyRespPDU>},
    {kTagUnsignedChar, plain<veskUnsignedChar>},
    {kTagUnsignedShort, plain<veskUnsignedShort>},
    {kTagUnsignedInt, plain<veskUnsignedInt>},
    {kTagUnsignedLong, plain<veskUnsignedLong>},
    {kTagList, holder<veskList>},
};

constexpr unsigned kTagCount = 256;

struct Makers {
  ValueMaker of[kTagCount] = {};
};

constexpr Makers byTag() {
  Makers makers;
  for (const Row& row : kRows) makers.of[row.tag] = row.maker;
  return makers;
}

constexpr Makers kMakers = byTag();

}  // namespace

ValueMaker makerOf(unsigned char tag) { return kMakers.of[tag]; }

}  // namespace ostrel
