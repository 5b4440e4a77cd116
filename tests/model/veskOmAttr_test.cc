// Attributes of object managers: they point at values that are not theirs.

#include "ostrel/veskOmAttr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>

#include "support/bytes.h"
#include "support/holders.h"
#include "support/value_table.h"

namespace {

using ostrel::test::attributeOf;
using ostrel::test::Bytes;
using ostrel::test::checkDecoding;
using ostrel::test::checkEncoding;
using ostrel::test::checkShortBuffers;
using ostrel::test::checkText;
using ostrel::test::Counted;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::OwnedValue;
using ostrel::test::prefix;
using ostrel::test::releaseValue;
using ostrel::test::rowFrom;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

veskOmAttribute* pointingAt(veskType* value) {
  veskAid id("59.6.2");
  return new veskOmAttribute(&id, value);
}

// The attribute and the value that it does not free itself.
void releaseWithValue(veskType* attribute) {
  veskType* value = dynamic_cast<veskAttribute*>(attribute)->value;
  delete attribute;
  releaseValue(value);
}

template <class Attribute>
ValueRow omRow(const char* name, std::string bytes, std::string text,
               std::function<veskType*()> make) {
  return rowFrom<Attribute>(name, std::move(bytes), std::move(text),
                            std::move(make))
      .needs(18)
      .releasedWith(releaseWithValue, releaseValue);
}

const ValueRow kAttributes[] = {
    omRow<veskOmAttribute>("OmAttributeEmpty", "17 0B 00 00",
                           "Invalid = ", [] { return new veskOmAttribute; }),
    omRow<veskOmAttribute>("OmAttributeWithoutValue",
                           "17 0B 01 01 3B 01 06 01 02 00",
                           "59.6.2 = ", [] { return pointingAt(nullptr); }),
    omRow<veskOmAttribute>(
        "OmAttributeOfInt", "17 0B 01 01 3B 01 06 01 02 01 03 01 05",
        "59.6.2 = 5", [] { return pointingAt(new veskInt(5)); }),
};

class OmAttributeTable : public testing::TestWithParam<ValueRow> {};

TEST_P(OmAttributeTable, RowHolds) {
  checkEncoding(GetParam());
  checkShortBuffers(GetParam());
  checkDecoding(GetParam());
  checkText(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Values, OmAttributeTable,
                         testing::ValuesIn(kAttributes), rowName);

const ValueRow kValueOps[] = {
    omRow<veskOmAttributeValueOp>("OmValueOpEmpty", "18 0B 00 00 01 01",
                                  "Invalid =  op = 1",
                                  [] { return new veskOmAttributeValueOp; }),
    omRow<veskOmAttributeValueOp>(
        "OmValueOpOfInt", "18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 C8",
        "59.6.2 = 5 op = 200",
        [] {
          veskAid id("59.6.2");
          return new veskOmAttributeValueOp(&id, new veskInt(5), 200);
        }),
};

class OmValueOpTable : public testing::TestWithParam<ValueRow> {};

TEST_P(OmValueOpTable, RowHolds) {
  checkEncoding(GetParam());
  checkShortBuffers(GetParam());
  checkText(GetParam());
}

// A peer cannot tell them from the attributes that own their value.
TEST_P(OmValueOpTable, BytesArriveAsAnOrdinaryValueOp) {
  Bytes bytes = hex(GetParam().bytes);
  veskAttributeValueOp received;
  EXPECT_EQ(decodeFrom(received, bytes), bytes.size());
  EXPECT_EQ(textOf(received), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Values, OmValueOpTable, testing::ValuesIn(kValueOps),
                         rowName);

// Constructors and ownership

TEST(OmAttribute, PointsAtItsValueAndNeverFreesIt) {
  int alive = 0;
  Counted value(&alive);
  veskAid id("59.6.2");
  {
    veskOmAttribute attribute(&id, &value);
    id = "1.2.3";
    EXPECT_EQ(attribute.value, &value);
    EXPECT_EQ(attribute.tag, 23);
    EXPECT_EQ(textOf(attribute.id), "59.6.2");
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 1);
}

TEST(OmAttribute, HasNoValueUnlessGivenOne) {
  veskAid id("59.6.2");
  veskOmAttribute empty;
  veskOmAttribute named(&id);
  veskOmAttribute none(&id, nullptr);
  EXPECT_EQ(empty.value, nullptr);
  EXPECT_EQ(empty.id.valid, 0u);
  EXPECT_EQ(named.value, nullptr);
  EXPECT_EQ(textOf(named), "59.6.2 = ");
  EXPECT_EQ(none.value, nullptr);
}

TEST(OmAttribute, CopiesShareTheValue) {
  veskInt value(5);
  const std::unique_ptr<veskOmAttribute> source(pointingAt(&value));
  veskOmAttribute byPointer(source.get());
  veskOmAttribute byReference(*source);
  EXPECT_EQ(byPointer.value, &value);
  EXPECT_EQ(byReference.value, &value);
  dynamic_cast<veskInt*>(byPointer.value)->value = 6;
  EXPECT_EQ(textOf(*source), "59.6.2 = 6");
}

TEST(OmAttribute, AListThatItPointsAtStaysWhole) {
  int alive = 0;
  const OwnedValue list(ostrel::test::listOf({new Counted(&alive)}));
  delete pointingAt(list.get());
  EXPECT_EQ(alive, 1);
}

TEST(OmAttribute, KeepsGivingPlainAttributesAsCopies) {
  veskInt value(5);
  const std::unique_ptr<veskOmAttribute> source(pointingAt(&value));
  const OwnedValue copy(source->dup());
  EXPECT_EQ(typeid(*copy), typeid(veskAttribute));
  EXPECT_EQ(copy->tag, 23);
  EXPECT_NE(dynamic_cast<veskAttribute&>(*copy).value, &value);
  EXPECT_EQ(textOf(*copy), "59.6.2 = 5");
}

TEST(OmAttribute, InACopiedListBecomesAPlainAttribute) {
  veskInt value(5);
  veskList list;
  veskAppendOmAttr("59.6.2", &value, &list);
  const OwnedValue copy(list.dup());
  list.clear(1);
  value.value = 6;
  EXPECT_EQ(textOf(*copy), "59.6.2 = 5");
}

TEST(OmAttribute, HandsAnArrivedValueToWhoeverDecodes) {
  veskOmAttribute attribute;
  ASSERT_EQ(
      decodeFrom(attribute, hex("17 0B 00 01 80 43 01 01 19 0A 00 80 43 00")),
      14u);
  const OwnedValue mine(attribute.value);
  EXPECT_EQ(textOf(*mine), "Invalid : ");
}

TEST(OmAttribute, BecomesNullWhenAssignedZero) {
  veskInt value(5);
  const std::unique_ptr<veskOmAttribute> attribute(pointingAt(&value));
  *attribute = 0;
  EXPECT_EQ(*attribute == 0, 1);
  EXPECT_EQ(attribute->value, &value);
}

// Value operations

TEST(OmValueOp, HasEachOfItsConstructors) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskOmAttribute attribute(&id, &value);
  veskOmAttributeValueOp empty;
  veskOmAttributeValueOp named(&id);
  veskOmAttributeValueOp valued(&id, &value);
  veskOmAttributeValueOp coded(&id, &value, 257 + 8);
  veskOmAttributeValueOp fromAttribute(&attribute, 7);
  veskOmAttributeValueOp byPointer(&coded);
  veskOmAttributeValueOp byReference(coded);

  EXPECT_EQ(textOf(empty), "Invalid =  op = 1");
  EXPECT_EQ(textOf(named), "59.6.2 =  op = 1");
  EXPECT_EQ(textOf(valued), "59.6.2 = 5 op = 1");
  EXPECT_EQ(textOf(coded), "59.6.2 = 5 op = 9");
  EXPECT_EQ(textOf(fromAttribute), "59.6.2 = 5 op = 7");
  EXPECT_EQ(textOf(byPointer), "59.6.2 = 5 op = 9");
  EXPECT_EQ(textOf(byReference), "59.6.2 = 5 op = 9");
  for (veskOmAttributeValueOp* each :
       {&empty, &named, &valued, &coded, &fromAttribute, &byPointer,
        &byReference}) {
    EXPECT_EQ(each->tag, 24);
    const bool points = each != &empty && each != &named;
    EXPECT_EQ(each->value, points ? &value : nullptr);
  }
}

TEST(OmValueOp, KeepsTagOfAnAttributeWhenMadeFromOneWithoutACode) {
  veskInt value(5);
  const std::unique_ptr<veskOmAttribute> attribute(pointingAt(&value));
  veskOmAttributeValueOp op(attribute.get());
  EXPECT_EQ(op.tag, 23);
  EXPECT_EQ(op.value, &value);
  EXPECT_THAT(encoded(op),
              IsHex("17 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01"));
}

TEST(OmValueOp, KeepsGivingPlainAttributesWithoutTheCodeAsCopies) {
  int alive = 0;
  Counted value(&alive);
  veskAid id("59.6.2");
  veskOmAttributeValueOp op(&id, &value, 5);
  {
    const OwnedValue copy(op.dup());
    EXPECT_EQ(typeid(*copy), typeid(veskAttribute));
    EXPECT_EQ(copy->tag, 23);
    EXPECT_EQ(textOf(*copy), "59.6.2 = ");
    EXPECT_EQ(alive, 2);
  }
  EXPECT_EQ(alive, 1);
}

TEST(OmValueOp, TextHasAtMost1023Characters) {
  const std::string longText(1010, 'x');
  veskString value(longText.c_str(), 0);
  veskAid id("59.6.2");
  veskOmAttributeValueOp op(&id, &value, 5);
  EXPECT_EQ(textOf(op), ("59.6.2 = " + longText + " op = 5").substr(0, 1023));
}

TEST(OmValueOp, BecomesNullWhenAssignedZero) {
  veskOmAttributeValueOp op;
  op = 0;
  EXPECT_EQ(op == 0, 1);
}

// The skewed place of the code: F is the flag's place, V the value's length.

TEST(OmValueOpBytes, KeepsReadingTheCodeBehindTheValueByItsLength) {
  // F at 3, the value takes 3 bytes, the code is looked for at 3 + 1 + 2 * 3.
  const Bytes bytes = hex("18 0B 00 01 03 01 05 AA BB CC 01 09");
  veskOmAttributeValueOp op;
  // All that follows the value counts as left, but for the code's two bytes:
  // 12 - 5 + 2.
  EXPECT_EQ(decodeFrom(op, bytes), 9u);
  const OwnedValue value(op.value);
  EXPECT_EQ(textOf(op), "Invalid = 5 op = 9");
  EXPECT_EQ(op.tag, 24);
}

TEST(OmValueOpBytes, KeepsReadingTheCodeOneByteFurtherWithoutAValue) {
  // The code that encode() wrote is 01 07; 07 is taken for its tag.
  veskOmAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 00 01 07 2A")), 6u);
  EXPECT_EQ(op.op.tag, 7);
  EXPECT_EQ(op.op.value, 0x2A);
  EXPECT_EQ(op.value, nullptr);
}

TEST(OmValueOpBytes, CountWhatFollowsTheCodeAsLeft) {
  veskOmAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 00 FF 01 07 EE EE EE EE")), 6u);
  EXPECT_EQ(op.op.value, 7);
}

TEST(OmValueOpBytes, FailWhenOneByteFollowsTheIdentifier) {
  for (const char* bytes : {"18 0B 00 00", "18 0B 00 01"}) {
    veskOmAttributeValueOp op;
    EXPECT_EQ(decodeFrom(op, hex(bytes)), 0u);
  }
}

TEST(OmValueOpBytes, FailWhenNothingFollowsTheIdentifier) {
  veskOmAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00")), 0u);
  EXPECT_EQ(decodeFrom(op, hex("18 0B")), 0u);
  EXPECT_EQ(decodeFrom(op, hex("18")), 0u);
  EXPECT_EQ(decodeFrom(op, {}), 0u);
}

TEST(OmValueOpBytes, FailWhenTheCodeWouldLieOutside) {
  // Its own encodings end before the place where the code is looked for.
  for (const char* bytes :
       {"18 0B 00 00 01 07", "18 0B 00 01 03 01 05 01 07",
        "18 0B 00 01 03 01 05 AA BB CC 01", "18 0B 00 01 03 01 05 AA BB CC",
        "18 0B 00 01 03 01 05"}) {
    SCOPED_TRACE(bytes);
    veskOmAttributeValueOp op;
    EXPECT_EQ(decodeFrom(op, hex(bytes)), 0u);
    const OwnedValue mine(op.value);
  }
}

TEST(OmValueOpBytes, FailWithATagThatNoClassHas) {
  veskInt value(5);
  for (const char* bytes :
       {"18 0B 00 01 FF 01 01 01 01", "18 0B 00 01 4D 01 01 01 01 01 01"}) {
    SCOPED_TRACE(bytes);
    veskOmAttributeValueOp op;
    op.value = &value;
    EXPECT_EQ(decodeFrom(op, hex(bytes)), 0u);
    EXPECT_EQ(op.value, nullptr);
  }
}

TEST(OmValueOpBytes, HandOverAValueThatFailed) {
  veskOmAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 01 80 43 01 02 19 0A 00 80 43 00")),
            0u);
  const OwnedValue mine(op.value);
  EXPECT_EQ(textOf(*mine), "Invalid : ");
}

TEST(OmValueOpBytes, HandOverAValueWhoseCodeFailed) {
  veskInt value(5);
  veskAid id("59.6.2");
  veskOmAttributeValueOp op(&id, &value, 3);
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 01 80 43 01 01 03 01 05 01 07")), 0u);
  EXPECT_NE(op.value, &value);
  const OwnedValue mine(op.value);
  EXPECT_EQ(textOf(*mine), "5");
}

TEST(OmValueOpBytes, EveryTruncationOfWhatDecodesFailsOrDecodesLess) {
  const Bytes bytes = hex("18 0B 00 01 03 01 05 AA BB CC 01 09");
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    veskOmAttributeValueOp op;
    EXPECT_EQ(decodeFrom(op, prefix(bytes, size)), 0u) << size;
    const OwnedValue mine(op.value);
  }
}

// Functions that build lists

TEST(AppendOmAttr, PointsAtTheValue) {
  int alive = 0;
  Counted value(&alive);
  veskList list;
  veskAppendOmAttr("59.6.1", &value, &list);
  veskAppendOmAttr("59.6.2", nullptr, &list);
  EXPECT_EQ(typeid(*list.at(0)), typeid(veskOmAttribute));
  EXPECT_EQ(list.at<veskOmAttribute>(0)->value, &value);
  EXPECT_EQ(list.at<veskOmAttribute>(1)->value, nullptr);
  EXPECT_EQ(textOf(list), "59.6.1 = , 59.6.2 = ");
  list.clear(1);
  EXPECT_EQ(alive, 1);
}

TEST(MakeOmAttrList, AppendsAnAttributeForEachName) {
  char first[] = "59.6.1";
  char second[] = "59.6.2";
  char* names[] = {first, second, nullptr};
  veskList list;
  veskMakeOmAttrList(names, &list);
  EXPECT_EQ(textOf(list), "59.6.1 = , 59.6.2 = ");
  EXPECT_EQ(typeid(*list.at(1)), typeid(veskOmAttribute));
  list.clear(1);
}

TEST(MakeOmAttrList, AppendsNothingForNoName) {
  const char* const names[] = {nullptr};
  veskList list;
  veskMakeOmAttrList(names, &list);
  EXPECT_EQ(list.count, 0u);
}

}  // namespace
