// The factory: one row for each tag that may arrive.

#include "tag_table.h"

#include <ostrel/objectdesc.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

#include "tags.h"

namespace ostrel {
namespace {

template <class Value>
veskType* make() {
  return new Value;
}

struct Row {
  Tag tag;
  ValueMaker maker;
};

// Kept: gauges (77), counters (78) and the bare PDU headers (27, 36) have no
// row. They can be sent and are refused when they arrive.
constexpr Row kRows[] = {
    {kTagNull, make<veskType>},
    {kTagChar, make<veskChar>},
    {kTagShort, make<veskShort>},
    {kTagInt, make<veskInt>},
    {kTagLong, make<veskLong>},
    {kTagFloat, make<veskFloat>},
    {kTagDouble, make<veskDouble>},
    {kTagBool, make<veskBool>},
    {kTagOpaque, make<veskOpaque>},
    {kTagString, make<veskString>},
    {kTagOid, make<veskOid>},
    {kTagAid, make<veskAid>},
    {kTagTime, make<veskTime>},
    {kTagAddress, make<veskAddress>},
    {kTagArgumentDesc, make<veskArgumentDesc>},
    {kTagAttributeDesc, make<veskAttributeDesc>},
    {kTagActionDesc, make<veskActionDesc>},
    {kTagEventDesc, make<veskEventDesc>},
    {kTagObjectDesc, make<veskObjectDesc>},
    {kTagAttribute, make<veskAttribute>},
    {kTagAttributeValueOp, make<veskAttributeValueOp>},
    {kTagObject, make<veskObject>},
    {kTagError, make<veskError>},
    {kTagCreatePDU, make<veskCreatePDU>},
    {kTagClonePDU, make<veskClonePDU>},
    {kTagRemovePDU, make<veskRemovePDU>},
    {kTagGetPDU, make<veskGetPDU>},
    {kTagSetPDU, make<veskSetPDU>},
    {kTagSearchPDU, make<veskSearchPDU>},
    {kTagDSsearchPDU, make<veskDSsearchPDU>},
    {kTagVerifyPDU, make<veskVerifyPDU>},
    {kTagEventPDU, make<veskEventPDU>},
    {kTagActionPDU, make<veskActionPDU>},
    {kTagCreateRespPDU, make<veskCreateRespPDU>},
    {kTagCloneRespPDU, make<veskCloneRespPDU>},
    {kTagGetRespPDU, make<veskGetRespPDU>},
    {kTagSetRespPDU, make<veskSetRespPDU>},
    {kTagSearchRespPDU, make<veskSearchRespPDU>},
    {kTagDSsearchRespPDU, make<veskDSsearchRespPDU>},
    {kTagActionRespPDU, make<veskActionRespPDU>},
    {kTagRemoveRespPDU, make<veskRemoveRespPDU>},
    {kTagVerifyRespPDU, make<veskVerifyRespPDU>},
    {kTagUnsignedChar, make<veskUnsignedChar>},
    {kTagUnsignedShort, make<veskUnsignedShort>},
    {kTagUnsignedInt, make<veskUnsignedInt>},
    {kTagUnsignedLong, make<veskUnsignedLong>},
    {kTagList, make<veskList>},
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
