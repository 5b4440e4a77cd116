// Attributes, value operations and objects, and the functions that build lists
// of attributes.

#include "ostrel/veskAttr.h"

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
using ostrel::test::checkRow;
using ostrel::test::Counted;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::kTwoAttributes;
using ostrel::test::kTwoAttributesText;
using ostrel::test::listOf;
using ostrel::test::OwnedValue;
using ostrel::test::releaseValue;
using ostrel::test::rowFrom;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::twoAttributes;
using ostrel::test::ValueRow;

constexpr std::size_t kLongestAttributeText = 1023;
constexpr std::size_t kLongestObjectText = 8249;

veskAttributeValueOp* valueOp(const char* name, veskType* value, int op) {
  auto* made = new veskAttributeValueOp;
  made->id = name;
  made->value = value;
  made->op.value = static_cast<signed char>(op);
  return made;
}

veskObject* object(const char* name, veskList* list) {
  veskOid oid(name);
  return new veskObject(&oid, list);
}

// A copy shares the list: the source frees it.
void deleteWithoutList(veskType* value) {
  dynamic_cast<veskObject*>(value)->attributeList = nullptr;
  delete value;
}

ValueRow objectRow(const char* name, std::string bytes, std::string text,
                   unsigned room, std::function<veskType*()> make) {
  return rowFrom<veskObject>(name, std::move(bytes), std::move(text),
                             std::move(make))
      .needs(room)
      .releasedWith(releaseValue, deleteWithoutList);
}

const ValueRow kRows[] = {
    rowFrom<veskAttribute>("AttributeEmpty", "17 0B 00 00",
                           "Invalid = ", [] { return new veskAttribute; })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeWithoutValue", "17 0B 01 01 3B 01 06 01 02 00",
        "59.6.2 = ", [] { return attributeOf("59.6.2", nullptr); })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeOfInt", "17 0B 01 01 3B 01 06 01 02 01 03 01 05",
        "59.6.2 = 5", [] { return attributeOf("59.6.2", new veskInt(5)); })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeOfTheLongestIdentifier",
        "17 0B 01 04 FF FF FF FF 04 FF FF FF FE 04 80 00 00 00 00",
        "4294967295.4294967294.2147483648 = ",
        [] {
          return attributeOf("4294967295.4294967294.2147483648", nullptr);
        }),
    rowFrom<veskAttribute>("AttributeOfNull", "17 0B 00 01 00", "Invalid = ",
                           [] { return attributeOf("", new veskType); })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeOfString",
        "17 0B 01 01 3B 01 06 01 02 01 09 43 01 03 61 62 63", "59.6.2 = abc",
        [] { return attributeOf("59.6.2", new veskString("abc", 0)); })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeOfList", "17 0B 00 01 80 43 01 02 03 01 05 07 01 01",
        "Invalid = 5, True",
        [] {
          return attributeOf("", listOf({new veskInt(5), new veskBool(1)}));
        })
        .needs(18),
    rowFrom<veskAttribute>(
        "AttributeOfAttribute", "17 0B 00 01 17 0B 00 01 03 01 05",
        "Invalid = Invalid = 5",
        [] { return attributeOf("", attributeOf("", new veskInt(5))); })
        .needs(22),
    rowFrom<veskAttributeValueOp>("ValueOpEmpty", "18 0B 00 00 01 01",
                                  "Invalid =  op = 1",
                                  [] { return new veskAttributeValueOp; })
        .needs(18),
    rowFrom<veskAttributeValueOp>(
        "ValueOpEquals", "18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01",
        "59.6.2 = 5 op = 1",
        [] { return valueOp("59.6.2", new veskInt(5), 1); })
        .needs(18),
    rowFrom<veskAttributeValueOp>(
        "ValueOpOfAHighCode", "18 0B 01 01 3B 01 06 01 02 00 01 C8",
        "59.6.2 =  op = 200", [] { return valueOp("59.6.2", nullptr, 200); })
        .needs(18),
    rowFrom<veskAttributeValueOp>(
        "ValueOpOfList", "18 0B 00 01 80 43 01 01 03 01 07 01 00",
        "Invalid = 7 op = 0",
        [] { return valueOp("", listOf({new veskInt(7)}), 0); })
        .needs(18),
    objectRow("ObjectEmpty", "19 0A 00 80 43 00", "Invalid : ", 23,
              [] { return new veskObject; }),
    objectRow("ObjectWithoutAttributes", "19 0A 01 01 3B 01 06 00 00 80 43 00",
              "59.6.0.0 : ", 23, [] { return object("59.6", new veskList); }),
    objectRow("ObjectWithAttributes",
              std::string("19 0A 01 01 3B 01 06 01 03 01 07 ") + kTwoAttributes,
              std::string("59.6.3.7 : ") + kTwoAttributesText, 43,
              [] { return object("59.6.3.7", twoAttributes()); }),
};

class AttributeTable : public testing::TestWithParam<ValueRow> {};

TEST_P(AttributeTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, AttributeTable, testing::ValuesIn(kRows),
                         rowName);

// Attributes: constructors and ownership

TEST(Attribute, HasNoIdentifierAndNoValueAtFirst) {
  veskAttribute attribute;
  EXPECT_EQ(attribute.tag, 23);
  EXPECT_EQ(attribute.id.valid, 0u);
  EXPECT_EQ(attribute.value, nullptr);
}

TEST(Attribute, CopiesTheIdentifierThatItIsGiven) {
  veskAid id("59.6.2");
  veskAttribute attribute(&id);
  id = "1.2.3";
  EXPECT_EQ(textOf(attribute.id), "59.6.2");
  EXPECT_EQ(attribute.value, nullptr);
  EXPECT_EQ(attribute.tag, 23);
}

TEST(Attribute, CopiesTheValueThatItIsGiven) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskAttribute attribute(&id, &value);
  value.value = 6;
  EXPECT_NE(attribute.value, &value);
  EXPECT_EQ(textOf(attribute), "59.6.2 = 5");
}

TEST(Attribute, AcceptsANullValueAsNone) {
  veskAid id("59.6.2");
  veskAttribute attribute(&id, nullptr);
  EXPECT_EQ(attribute.value, nullptr);
}

TEST(Attribute, CopiesAnotherWithItsValue) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskAttribute source(&id, &value);
  veskAttribute byPointer(&source);
  veskAttribute byReference(source);
  dynamic_cast<veskInt*>(source.value)->value = 6;
  EXPECT_EQ(textOf(byPointer), "59.6.2 = 5");
  EXPECT_EQ(textOf(byReference), "59.6.2 = 5");
  veskAttribute empty;
  veskAttribute copyOfEmpty(&empty);
  EXPECT_EQ(copyOfEmpty.value, nullptr);
}

TEST(Attribute, CopiesAListWithItsElements) {
  int alive = 0;
  veskAid id("59.6.2");
  const OwnedValue list(listOf({new Counted(&alive), new Counted(&alive)}));
  {
    veskAttribute attribute(&id, list.get());
    veskAttribute copy(&attribute);
    EXPECT_EQ(alive, 6);
  }
  EXPECT_EQ(alive, 2);
}

TEST(Attribute, FreesItsValueOnce) {
  int alive = 0;
  veskAttribute* attribute = attributeOf("59.6.2", new Counted(&alive));
  EXPECT_EQ(alive, 1);
  delete attribute;
  EXPECT_EQ(alive, 0);
}

TEST(Attribute, FreesAListWithItsElementsToAnyDepth) {
  int alive = 0;
  delete attributeOf(
      "59.6.2", listOf({new Counted(&alive), listOf({new Counted(&alive)})}));
  EXPECT_EQ(alive, 0);
}

TEST(Attribute, FreesAListWhateverItsTag) {
  int alive = 0;
  veskList* list = listOf({new Counted(&alive)});
  list->tag = 0;
  delete attributeOf("59.6.2", list);
  EXPECT_EQ(alive, 0);
}

TEST(Attribute, WithTheTagOfAListInsideIsNoList) {
  auto* plain = new veskInt(5);
  plain->tag = 128;
  delete attributeOf("59.6.2", plain);
}

TEST(Attribute, DupIsAnAttributeOfItsOwn) {
  const OwnedValue source(attributeOf("59.6.2", new veskInt(5)));
  const OwnedValue copy(source->dup());
  EXPECT_EQ(typeid(*copy), typeid(veskAttribute));
  EXPECT_EQ(copy->tag, 23);
  EXPECT_EQ(textOf(*copy), "59.6.2 = 5");
}

TEST(Attribute, BecomesNullWhenAssignedZeroAndKeepsItsValue) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskAttribute attribute(&id, &value);
  attribute = 0;
  EXPECT_EQ(attribute == 0, 1);
  EXPECT_THAT(encoded(attribute),
              IsHex("00 0B 01 01 3B 01 06 01 02 01 03 01 05"));
}

TEST(Attribute, ComparesByTagAlone) {
  const OwnedValue one(attributeOf("59.6.1", new veskInt(1)));
  const OwnedValue two(attributeOf("59.6.2", nullptr));
  const OwnedValue op(valueOp("59.6.1", nullptr, 1));
  EXPECT_EQ(one->compare(*two), 0);
  EXPECT_EQ(*one == *two, 1);
  EXPECT_EQ(*one < *two, 0);
  EXPECT_EQ(one->compare(*op), 1);
  EXPECT_EQ(op->compare(*one), 1);
  EXPECT_EQ(*one == *op, 0);
  EXPECT_EQ(*one > *op, 1);
}

// Attributes: bytes

TEST(AttributeBytes, NeedAByteBehindTheIdentifier) {
  const OwnedValue value(
      attributeOf("4294967295.4294967295.4294967295", nullptr));
  EXPECT_EQ(encodeInto(*value, 18).used, 0u);
  EXPECT_EQ(encodeInto(*value, 19).used, 19u);
}

TEST(AttributeBytes, FailWhenTheIdentifierTakesThemAll) {
  veskAttribute attribute;
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 01 01 3B 01 06 01 02")), 0u);
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00")), 0u);
  EXPECT_EQ(attribute.value, nullptr);
}

TEST(AttributeBytes, TakeOverAnyTag) {
  veskAttribute attribute;
  EXPECT_EQ(decodeFrom(attribute, hex("55 0C 00 00")), 4u);
  EXPECT_EQ(attribute.tag, 0x55);
  EXPECT_EQ(attribute.id.tag, 0x0C);
}

TEST(AttributeBytes, TakeAnyFlagButZeroForAValue) {
  veskAttribute attribute;
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00 FF 03 01 05")), 7u);
  ASSERT_NE(attribute.value, nullptr);
  EXPECT_EQ(textOf(*attribute.value), "5");
}

TEST(AttributeBytes, FailWithTheirValue) {
  for (const char* bytes :
       {"17 0B 00 01", "17 0B 00 01 03", "17 0B 00 01 03 02 01",
        "17 0B 00 01 FF", "17 0B 00 01 4D 01 05", "17 0B 00 01 4E 01 05",
        "17 0B 00 01 1B 03 00 43 00 0A 00",
        "17 0B 00 01 24 03 00 43 00 0A 00 80 43 00",
        "17 0B 00 01 80 43 01 02 03 01 05"}) {
    SCOPED_TRACE(bytes);
    veskAttribute attribute;
    EXPECT_EQ(decodeFrom(attribute, hex(bytes)), 0u);
  }
}

TEST(AttributeBytes, FailWhenTheValueDoesNotEncode) {
  const OwnedValue unknownFamily(attributeOf("59.6.2", nullptr));
  auto* address = new veskAddress;
  address->family = 7;
  dynamic_cast<veskAttribute&>(*unknownFamily).value = address;
  EXPECT_EQ(encodeInto(*unknownFamily, 64).used, 0u);
}

TEST(AttributeBytes, LeaveTheValueWhenNoneArrives) {
  const OwnedValue value(attributeOf("59.6.2", new veskInt(5)));
  EXPECT_EQ(decodeFrom(*value, hex("17 0B 00 00")), 4u);
  EXPECT_EQ(textOf(*value), "Invalid = 5");
}

TEST(AttributeBytes, ReplaceAValueWithoutFreeingIt) {
  int alive = 0;
  auto* held = new Counted(&alive);
  const OwnedValue value(attributeOf("59.6.2", held));
  EXPECT_EQ(decodeFrom(*value, hex("17 0B 00 01 03 01 06")), 7u);
  EXPECT_EQ(textOf(*value), "Invalid = 6");
  EXPECT_EQ(alive, 1);
  delete held;
}

TEST(AttributeBytes, KeepWhatArrivedOfAValueThatFails) {
  const OwnedValue former(new veskInt(1));
  const OwnedValue held(attributeOf("59.6.2", former.get()));
  auto& attribute = dynamic_cast<veskAttribute&>(*held);
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00 01 80 43 01 02 03 01 05")), 0u);
  ASSERT_NE(dynamic_cast<veskList*>(attribute.value), nullptr);
  EXPECT_EQ(textOf(*attribute.value), "5");
}

TEST(AttributeBytes, HaveNoValueAfterATagThatNoClassHas) {
  const OwnedValue former(new veskInt(1));
  veskAttribute attribute;
  attribute.value = former.get();
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00 01 4D 01 05")), 0u);
  EXPECT_EQ(attribute.value, nullptr);
}

TEST(AttributeBytes, LeaveTheValueThatWasThereWhenNothingFollowsTheFlag) {
  veskAttribute attribute;
  auto* const held = new veskInt(1);
  attribute.value = held;
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00 01")), 0u);
  EXPECT_EQ(attribute.value, held);
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00")), 0u);
  EXPECT_EQ(attribute.value, held);
  EXPECT_EQ(decodeFrom(attribute, hex("17 0B 00 00")), 4u);
  EXPECT_EQ(attribute.value, held);
}

// Attributes: text

TEST(AttributeText, HasAtMost1023Characters) {
  for (const std::size_t length : {1013u, 1014u, 1015u, 1100u, 70000u}) {
    const std::string value(length, 'x');
    const OwnedValue attribute(
        attributeOf("59.6.2", new veskString(value.c_str(), 0)));
    EXPECT_EQ(textOf(*attribute),
              ("59.6.2 = " + value).substr(0, kLongestAttributeText));
  }
}

TEST(AttributeText, OfAValueOpHasAtMost1023CharactersWithItsCode) {
  for (const std::size_t length : {1006u, 1007u, 1010u, 1014u, 1100u}) {
    const std::string value(length, 'x');
    const OwnedValue op(valueOp("59.6.2", new veskString(value.c_str(), 0), 1));
    EXPECT_EQ(
        textOf(*op),
        ("59.6.2 = " + value + " op = 1").substr(0, kLongestAttributeText));
  }
}

TEST(AttributeText, OfAValueWithoutTextIsEmpty) {
  auto* address = new veskAddress;
  address->family = 7;
  const OwnedValue attribute(attributeOf("59.6.2", address));
  EXPECT_EQ(textOf(*attribute), "59.6.2 = ");
}

TEST(AttributeText, OfAnObjectHasAtMost8249Characters) {
  for (const std::size_t length : {8238u, 8239u, 70000u}) {
    const std::string value(length, 'x');
    const OwnedValue made(
        object("59.6", listOf({new veskString(value.c_str(), 0)})));
    EXPECT_EQ(textOf(*made),
              ("59.6.0.0 : " + value).substr(0, kLongestObjectText));
  }
}

// Value operations

TEST(ValueOp, HasCodeOneUnlessItIsGivenAnother) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskAttributeValueOp empty;
  veskAttributeValueOp named(&id);
  veskAttributeValueOp valued(&id, &value);
  veskAttributeValueOp coded(&id, &value, 5);
  EXPECT_THAT(encoded(empty), IsHex("18 0B 00 00 01 01"));
  EXPECT_THAT(encoded(named), IsHex("18 0B 01 01 3B 01 06 01 02 00 01 01"));
  EXPECT_THAT(encoded(valued),
              IsHex("18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01"));
  EXPECT_THAT(encoded(coded),
              IsHex("18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 05"));
  EXPECT_NE(valued.value, &value);
  EXPECT_NE(coded.value, &value);
}

TEST(ValueOp, AcceptsANullValueAsNone) {
  veskAid id("59.6.2");
  veskAttributeValueOp valued(&id, nullptr);
  veskAttributeValueOp coded(&id, nullptr, 5);
  EXPECT_EQ(valued.value, nullptr);
  EXPECT_EQ(coded.value, nullptr);
}

TEST(ValueOp, KeepsTheLowEightBitsOfItsCode) {
  veskAid id("59.6.2");
  veskAttributeValueOp one(&id, nullptr, 257);
  veskAttributeValueOp all(&id, nullptr, -1);
  EXPECT_EQ(textOf(one), "59.6.2 =  op = 1");
  EXPECT_EQ(textOf(all), "59.6.2 =  op = 255");
  EXPECT_EQ(all.op.value, -1);
}

TEST(ValueOp, KeepsTagOfAnAttributeWhenMadeFromOneWithoutACode) {
  const std::unique_ptr<veskAttribute> source(
      attributeOf("59.6.2", new veskInt(5)));
  veskAttributeValueOp plain(source.get());
  EXPECT_EQ(plain.tag, 23);
  EXPECT_EQ(plain.op.value, 1);
  EXPECT_THAT(encoded(plain),
              IsHex("17 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01"));
  EXPECT_EQ(textOf(plain), "59.6.2 = 5 op = 1");

  veskAttributeValueOp coded(source.get(), 1);
  EXPECT_EQ(coded.tag, 24);
  EXPECT_THAT(encoded(coded),
              IsHex("18 0B 01 01 3B 01 06 01 02 01 03 01 05 01 01"));
  EXPECT_NE(plain.value, source->value);
  EXPECT_NE(coded.value, source->value);
}

TEST(ValueOp, MadeFromAnAttributeOfTag23ReadsBackItsOwnBytes) {
  veskAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("17 0B 00 00 01 07")), 6u);
  EXPECT_EQ(op.tag, 23);
  EXPECT_EQ(op.op.value, 7);
}

TEST(ValueOp, CopiesAnotherWithItsCode) {
  veskAid id("59.6.2");
  veskInt value(5);
  veskAttributeValueOp source(&id, &value, 9);
  veskAttributeValueOp byPointer(&source);
  veskAttributeValueOp byReference(source);
  const OwnedValue copy(source.dup());
  for (veskType* each : {static_cast<veskType*>(&byPointer),
                         static_cast<veskType*>(&byReference), copy.get()}) {
    EXPECT_EQ(typeid(*each), typeid(veskAttributeValueOp));
    EXPECT_EQ(each->tag, 24);
    EXPECT_EQ(textOf(*each), "59.6.2 = 5 op = 9");
    EXPECT_NE(dynamic_cast<veskAttribute*>(each)->value, source.value);
  }
}

TEST(ValueOp, CopyHasItsOwnTagWhateverThatOfTheSource) {
  veskAttribute attribute;
  veskAttributeValueOp source(&attribute);
  ASSERT_EQ(source.tag, 23);
  const OwnedValue copy(source.dup());
  EXPECT_EQ(copy->tag, 24);
}

TEST(ValueOp, LeavesAValueThatArrivedBeforeItsCodeFailed) {
  veskAttributeValueOp op;
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 01 03 01 05")), 0u);
  EXPECT_EQ(decodeFrom(op, hex("18 0B 00 00 01")), 0u);
}

TEST(ValueOp, BecomesNullWhenAssignedZero) {
  veskAttributeValueOp op;
  op = 0;
  EXPECT_EQ(op == 0, 1);
  EXPECT_THAT(encoded(op), IsHex("00 0B 00 00 01 01"));
}

// Objects

TEST(Object, HasAnEmptyListAtFirst) {
  veskObject empty;
  EXPECT_EQ(empty.tag, 25);
  EXPECT_EQ(empty.oid.valid, 0u);
  ASSERT_NE(empty.attributeList, nullptr);
  EXPECT_EQ(empty.attributeList->count, 0u);

  veskOid oid("59.6.3.7");
  veskObject named(&oid);
  oid = "1.2";
  EXPECT_EQ(textOf(named), "59.6.3.7 : ");
  ASSERT_NE(named.attributeList, nullptr);
}

TEST(Object, TakesTheListItself) {
  int alive = 0;
  veskOid oid("59.6");
  veskList* list = listOf({new Counted(&alive)});
  auto* made = new veskObject(&oid, list);
  EXPECT_EQ(made->attributeList, list);
  delete made;
  EXPECT_EQ(alive, 0);
}

TEST(Object, WithoutAListIsFreedAndDoesNotTravel) {
  veskOid oid("59.6");
  veskObject none(&oid, nullptr);
  EXPECT_EQ(encodeInto(none, 64).used, 0u);
  EXPECT_EQ(decodeFrom(none, hex("19 0A 00 80 43 00")), 0u);
  EXPECT_EQ(textOf(none), "Invalid : ");
}

TEST(Object, KeepsSharingItsListWithItsCopies) {
  const OwnedValue source(object("59.6", twoAttributes()));
  auto& object = dynamic_cast<veskObject&>(*source);
  auto* copy = dynamic_cast<veskObject*>(object.dup());
  auto* constructed = new veskObject(&object);
  EXPECT_EQ(copy->attributeList, object.attributeList);
  EXPECT_EQ(constructed->attributeList, object.attributeList);
  object.attributeList->append(new veskInt(9));
  EXPECT_EQ(textOf(*copy), textOf(object));
  EXPECT_EQ(textOf(*copy),
            std::string("59.6.0.0 : ") + kTwoAttributesText + ", 9");
  deleteWithoutList(copy);
  deleteWithoutList(constructed);
}

TEST(Object, ComparesByTagAlone) {
  const OwnedValue one(object("59.6", new veskList));
  const OwnedValue two(object("59.7", twoAttributes()));
  EXPECT_EQ(one->compare(*two), 0);
}

TEST(Object, AppendsWhatArrivesToItsList) {
  const OwnedValue made(object("59.6", listOf({new veskInt(1)})));
  EXPECT_EQ(decodeFrom(*made, hex("19 0A 00 80 43 01 01 03 01 02")), 10u);
  EXPECT_EQ(textOf(*made), "Invalid : 1, 2");
}

TEST(Object, DoesNotCheckTheTagsOfItsMembers) {
  veskObject made;
  EXPECT_EQ(decodeFrom(made, hex("19 0B 00 00 03 01 01 03 01 02")), 10u);
  EXPECT_EQ(textOf(made), "Invalid : 2");
}

TEST(Object, CanBeFreedAfterAFailure) {
  veskObject made;
  EXPECT_EQ(decodeFrom(made, hex("19 0A 00 80 43 01 02 17 0B 00 01 80 43 00")),
            0u);
  EXPECT_EQ(made.attributeList->count, 1u);
}

TEST(Object, BecomesNullWhenAssignedZero) {
  veskObject made;
  made = 0;
  EXPECT_EQ(made == 0, 1);
  EXPECT_THAT(encoded(made), IsHex("00 0A 00 80 43 00"));
}

// What arrived inside a holder

TEST(ArrivedObject, KeepsSharingItsListWithItsCopies) {
  const Bytes bytes =
      hex(std::string("80 43 01 01 19 0A 00 ") + kTwoAttributes);
  veskList arrived;
  ASSERT_EQ(decodeFrom(arrived, bytes), bytes.size());
  veskType* const copy = arrived.dup();
  auto* const first = arrived.at<veskObject>(0);
  auto* const second = dynamic_cast<veskList*>(copy)->at<veskObject>(0);
  EXPECT_EQ(first->attributeList, second->attributeList);
  EXPECT_EQ(encoded(*copy), bytes);
  second->attributeList = nullptr;
  releaseValue(copy);
  arrived.clear(1);
}

TEST(ArrivedObject, InAnAttributeIsCopiedWithTheAttribute) {
  veskAttribute arrived;
  ASSERT_EQ(
      decodeFrom(arrived, hex("17 0B 00 01 19 0A 00 80 43 01 01 03 01 05")),
      14u);
  veskAttribute copy(&arrived);
  auto* mine = dynamic_cast<veskObject*>(arrived.value);
  auto* theirs = dynamic_cast<veskObject*>(copy.value);
  ASSERT_NE(mine, nullptr);
  ASSERT_NE(theirs, nullptr);
  EXPECT_EQ(mine->attributeList, theirs->attributeList);
  EXPECT_EQ(textOf(copy), "Invalid = Invalid : 5");
  theirs->attributeList = nullptr;
}

TEST(ArrivedObject, HasCopiesWithTheBytesOfAnActionsResponseInItsList) {
  const Bytes bytes =
      hex("19 0A 00 80 43 01 01 2A 03 00 43 01 05 0A 00 80 43 00");
  ExactBuffer buffer(bytes);
  veskType* arrived = nullptr;
  ASSERT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &arrived),
            bytes.size());
  veskType* const copy = arrived->dup();
  EXPECT_EQ(encoded(*copy), bytes);
  dynamic_cast<veskObject&>(*copy).attributeList = nullptr;
  delete copy;
  veskType::destroyDecoded(arrived);
}

// Functions that build lists

TEST(AppendAttr, CopiesTheValue) {
  veskList list;
  veskInt value(5);
  veskAppendAttr(&list, "59.6.2", &value);
  veskAppendAttr(&list, "59.6.1", nullptr);
  value.value = 6;
  EXPECT_EQ(textOf(list), "59.6.2 = 5, 59.6.1 = ");
  EXPECT_EQ(typeid(*list.at(0)), typeid(veskAttribute));
  EXPECT_NE(list.at<veskAttribute>(0)->value, &value);
  EXPECT_EQ(list.at<veskAttribute>(1)->value, nullptr);
  list.clear(1);
}

TEST(AppendAttr, AcceptsAListAsTheValue) {
  int alive = 0;
  veskList list;
  const OwnedValue value(listOf({new Counted(&alive)}));
  veskAppendAttr(&list, "59.6.2", value.get());
  EXPECT_EQ(alive, 2);
  list.clear(1);
  EXPECT_EQ(alive, 1);
}

TEST(AppendAttr, MakesAnInvalidIdentifierOfAnyOtherText) {
  veskList list;
  veskAppendAttr(&list, "59", nullptr);
  veskAtAppendAttr(&list, "x", nullptr);
  EXPECT_EQ(textOf(list), "Invalid = , Invalid = ");
  list.clear(1);
}

TEST(AtAppendAttr, AdoptsTheValue) {
  int alive = 0;
  veskList list;
  auto* value = new Counted(&alive);
  veskAtAppendAttr(&list, "59.6.2", value);
  veskAtAppendAttr(&list, "59.6.1", nullptr);
  EXPECT_EQ(list.at<veskAttribute>(0)->value, value);
  EXPECT_EQ(list.at<veskAttribute>(1)->value, nullptr);
  EXPECT_EQ(textOf(list), "59.6.2 = , 59.6.1 = ");
  list.clear(1);
  EXPECT_EQ(alive, 0);
}

TEST(MakeAttrList, AppendsAnAttributeForEachName) {
  char first[] = "59.6.1";
  char second[] = "59.6.2";
  char* names[] = {first, second, nullptr};
  veskList list;
  list.append(new veskInt(7));
  veskMakeAttrList(names, &list);
  EXPECT_EQ(textOf(list), "7, 59.6.1 = , 59.6.2 = ");
  EXPECT_EQ(list.at<veskAttribute>(1)->value, nullptr);
  EXPECT_THAT(encoded(*list.at(2)), IsHex("17 0B 01 01 3B 01 06 01 02 00"));
  list.clear(1);
}

TEST(MakeAttrList, AppendsNothingForNoName) {
  const char* const names[] = {nullptr};
  veskList list;
  veskMakeAttrList(names, &list);
  EXPECT_EQ(list.count, 0u);
}

}  // namespace
