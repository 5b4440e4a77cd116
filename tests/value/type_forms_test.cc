// The forms in which programs write assignments and comparisons of values, for
// every class. Compiled as C++20, which is the stricter here: it tries the
// operands of == in exchanged order as well.

#include <gtest/gtest.h>

#include <new>
#include <tuple>

#include "ostrel/objectdesc.h"
#include "ostrel/veskAttr.h"
#include "ostrel/veskError.h"
#include "ostrel/veskOmAttr.h"
#include "ostrel/veskPDU.h"

namespace {

// One value of every class. Null pointers in place of lists and of default
// values leave nothing to free.
template <class Pdu>
struct Emptied : Pdu {
  Emptied() { this->clear(); }
};

struct BareRespPDU : veskRespPDU {
  BareRespPDU() : veskRespPDU(36u, nullptr) { clear(); }
};

struct BarePDU : veskPDU {
  BarePDU() : veskPDU(27) {}
};

struct AttributeDesc : veskAttributeDesc {
  ~AttributeDesc() override { delete defval; }
};

using Scalars = std::tuple<veskType, veskChar, veskShort, veskInt, veskLong,
                           veskFloat, veskDouble, veskBool, veskTime,
                           veskUnsignedChar, veskUnsignedShort, veskUnsignedInt,
                           veskUnsignedLong, veskGauge, veskCounter>;
using Texts = std::tuple<veskOid, veskAid, veskString, veskAddress>;
using Records =
    std::tuple<veskOpaque, veskList, veskAttribute, veskAttributeValueOp,
               veskOmAttribute, veskOmAttributeValueOp, veskObject, veskError,
               veskArgumentDesc, AttributeDesc, veskActionDesc, veskEventDesc,
               veskObjectDesc>;
using Pdus = std::tuple<
    BarePDU, Emptied<veskCreatePDU>, Emptied<veskClonePDU>, veskRemovePDU,
    Emptied<veskGetPDU>, Emptied<veskSetPDU>, Emptied<veskSearchPDU>,
    Emptied<veskEventPDU>, Emptied<veskActionPDU>, veskVerifyPDU,
    Emptied<veskDSsearchPDU>, BareRespPDU, Emptied<veskCreateRespPDU>,
    Emptied<veskCloneRespPDU>, Emptied<veskGetRespPDU>, Emptied<veskSetRespPDU>,
    Emptied<veskActionRespPDU>, Emptied<veskSearchRespPDU>, veskRemoveRespPDU,
    veskVerifyRespPDU, Emptied<veskDSsearchRespPDU>>;

// Calls `what` with a new value of each class, as the class itself.
template <class Values, class What>
void forEach(What what) {
  Values values;
  std::apply([&](auto&... each) { (what(each), ...); }, values);
}

// The class of the library behind a helper above.
veskPDU& asWritten(BarePDU& value) { return value; }
veskRespPDU& asWritten(BareRespPDU& value) { return value; }
veskAttributeDesc& asWritten(AttributeDesc& value) { return value; }
template <class Pdu>
Pdu& asWritten(Emptied<Pdu>& value) {
  return value;
}
template <class Value>
Value& asWritten(Value& value) {
  return value;
}

template <class What>
void forEveryClass(What what) {
  const auto written = [&](auto& value) { what(asWritten(value)); };
  forEach<Scalars>(written);
  forEach<Texts>(written);
  forEach<Records>(written);
  forEach<Pdus>(written);
}

// A function of its own: 2809 pairs would each compile the assertion anew.
void expectSame(int written, int throughTheBase, int pair) {
  EXPECT_EQ(written, throughTheBase) << "pair " << pair;
}

TEST(Equality, OfAnyTwoClassesAsksTheLeftOne) {
  int pairs = 0;
  forEveryClass([&](auto& left) {
    forEveryClass([&](auto& right) {
      expectSame(left == right, left == static_cast<veskType&>(right), pairs);
      pairs++;
    });
  });
  EXPECT_EQ(pairs, 53 * 53);
}

TEST(Equality, OfAPlainValueAsksItAndNotTheOther) {
  veskType claimsToBeANumber(ostrel::kTagInt);
  veskInt number(5);
  EXPECT_EQ(claimsToBeANumber == number, 1);
  EXPECT_EQ(number == claimsToBeANumber, 0);
  veskType claimsToBeText(ostrel::kTagString);
  veskString text("five", 0);
  EXPECT_EQ(claimsToBeText == text, 1);
  EXPECT_EQ(text == claimsToBeText, 0);
}

TEST(Equality, ThroughTheBaseIsThatOfTheClass) {
  veskInt five(5);
  veskInt other(5);
  veskType& base = five;
  EXPECT_EQ(base == other, 1);
  EXPECT_EQ(other == base, 1);
  other.value = 6;
  EXPECT_EQ(base == other, 0);
}

TEST(Null, IsAssignedAndAskedForByWritingZero) {
  const auto nulls = [](auto& written) {
    auto& value = asWritten(written);
    auto& returned = (value = 0);
    EXPECT_EQ(static_cast<veskType*>(&returned), &value);
    EXPECT_EQ(value.tag, ostrel::kTagNull);
    EXPECT_EQ(value == 0, 1);
    value.tag = ostrel::kTagGauge;
    EXPECT_EQ(value == 0, 0);
  };
  forEach<Scalars>(nulls);
  forEach<Records>(nulls);
  forEach<Pdus>(nulls);
}

TEST(Members, TakePlainNumbers) {
  veskRemoveRespPDU answer;
  answer.status = -1;
  answer.requestId = 7u;
  EXPECT_EQ(answer.status.value, -1);
  EXPECT_EQ(answer.requestId.value, 7u);
  veskError error;
  error.code = 5;
  EXPECT_EQ(error.code.value, 5u);
}

TEST(Null, IsANullTextWhereTextIsTaken) {
  forEach<Texts>([](auto& value) {
    const unsigned tag = value.tag;
    value = 0;
    EXPECT_EQ(value.tag, tag);
  });
  veskOid oid("59.6");
  oid = 0;
  EXPECT_EQ(oid.valid, 0u);
  veskString text("abc", 0);
  text = 0;
  EXPECT_EQ(text.length.value, 0u);
  veskAddress address("10.0.0.1");
  address = 0;
  EXPECT_EQ(address == 0, 1);
}

TEST(NewValue, MayAskForNullInsteadOfAnException) {
  veskType* value = new (std::nothrow) veskInt(5);
  ASSERT_NE(value, nullptr);
  delete value;
}

}  // namespace
