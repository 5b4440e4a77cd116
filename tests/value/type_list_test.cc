// Lists of values, and the factory that makes a value from its bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <typeinfo>
#include <utility>

#include "ostrel/type.h"
#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/value_table.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::checkRow;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::OwnedValue;
using ostrel::test::releaseValue;
using ostrel::test::repeated;
using ostrel::test::row;
using ostrel::test::rowFrom;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

veskList* listOf(std::initializer_list<veskType*> elements) {
  veskList* list = new veskList;
  for (veskType* element : elements) list->append(element);
  return list;
}

veskList* numbers(std::initializer_list<int> values) {
  veskList* list = new veskList;
  for (const int value : values) list->append(new veskInt(value));
  return list;
}

// A list that frees its elements at the end of the test.
class OwnedList {
 public:
  explicit OwnedList(veskList* list = new veskList) : list_(list) {}
  ~OwnedList() { releaseValue(list_); }
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;

  veskList& operator*() const { return *list_; }
  veskList* operator->() const { return list_; }

 private:
  veskList* list_;
};

ValueRow list(const char* name, std::string bytes, std::string text,
              unsigned room, std::function<veskType*()> make) {
  return rowFrom<veskList>(name, std::move(bytes), std::move(text),
                           std::move(make))
      .needs(room);
}

std::string times(int count, const char* text) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

const ValueRow kRows[] = {
    list("ListEmpty", "80 43 00", "", 7, [] { return new veskList; }),
    list("ListOfIntAndBool", "80 43 01 02 03 01 05 07 00", "5, False", 13,
         [] {
           return listOf({new veskInt(5), new veskBool(0)});
         }),
    list("ListOfThree", "80 43 01 03 03 01 01 03 01 02 03 01 03", "1, 2, 3", 16,
         [] {
           return numbers({1, 2, 3});
         }),
    list("ListInAList", "80 43 01 01 80 43 01 01 03 01 07", "7", 14,
         [] { return listOf({numbers({7})}); }),
    list("ListOfEmptyLists", "80 43 01 02 80 43 00 80 43 00", ", ", 14,
         [] {
           return listOf({new veskList, new veskList});
         }),
    list("ListOfNulls", "80 43 01 02 00 00", ", ", 7,
         [] {
           return listOf({new veskType, new veskType});
         }),
    list("ListOfOneNull", "80 43 01 01 00", "", 7,
         [] { return listOf({new veskType}); }),
    list("ListOfEachKind",
         "80 43 01 12 00 01 41 02 FF FE 03 01 05 04 01 06 05 3F C0 00 00 "
         "06 3F F0 00 00 00 00 00 00 07 01 01 09 43 01 03 61 62 63 "
         "0A 01 01 3B 01 06 00 00 0B 01 01 3B 01 06 01 02 0C 01 09 "
         "0F 02 0A 00 00 01 41 42 42 FF FF 43 01 07 44 01 08 "
         "80 43 01 01 03 01 01",
         ", A, -2, 5, 6, 1.500000, 1072693248, True, abc, 59.6.0.0, 59.6.2, 9, "
         "10.0.0.1, B, 65535, 7, 8, 1",
         86,
         [] {
           return listOf(
               {new veskType, new veskChar('A'), new veskShort(-2),
                new veskInt(5), new veskLong(6), new veskFloat(1.5f),
                new veskDouble(1.0), new veskBool(1), new veskString("abc", 0),
                new veskOid("59.6"), new veskAid("59.6.2"), new veskTime(9),
                new veskAddress("10.0.0.1"), new veskUnsignedChar('B'),
                new veskUnsignedShort(65535), new veskUnsignedInt(7),
                new veskUnsignedLong(8), numbers({1})});
         }),
    list("ListOf256", "80 43 02 01 00 " + times(256, "00 "), times(255, ", "),
         5 + 256,
         [] {
           veskList* result = new veskList;
           for (int i = 0; i < 256; ++i) result->append(new veskType);
           return result;
         }),
    row<veskList>("ListDefault", "80 43 00", "").needs(7),
};

class ListTable : public testing::TestWithParam<ValueRow> {};

TEST_P(ListTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, ListTable, testing::ValuesIn(kRows), rowName);

// Building and reading.

TEST(ValueList, StoresEveryElementAsItsValue) {
  OwnedList list;
  veskList* nested = numbers({7});
  veskType* asValue = nested;
  list->append(nested);
  list->append(new veskString("abc", 0));
  EXPECT_EQ(list->index(0)->data, static_cast<void*>(asValue));
  EXPECT_EQ(list->at(0), asValue);
  EXPECT_EQ(list->at<veskList>(0), nested);
  EXPECT_EQ(list->at<veskString>(0), nullptr);
  ASSERT_NE(list->at<veskString>(1), nullptr);
  EXPECT_EQ(textOf(*list->at(1)), "abc");
}

TEST(ValueList, FindsInsertsAndRemovesNestedListsByTheirOwnPointer) {
  OwnedList list;
  veskList* nested = numbers({7});
  list->append(new veskInt(1));
  list->insert(0, nested);
  EXPECT_EQ(list->at<veskList>(0), nested);
  ASSERT_NE(list->search(nested), nullptr);
  EXPECT_EQ(list->search(nested), list->index(0));
  list->remove(nested);
  EXPECT_EQ(list->count, 1u);
  EXPECT_EQ(list->search(nested), nullptr);
  releaseValue(nested);
}

TEST(ValueList, AcceptsUntypedElementsThatAreValues) {
  OwnedList list;
  veskType* value = new veskInt(5);
  void* untyped = value;
  list->append(untyped);
  list->insert(0, static_cast<void*>(static_cast<veskType*>(new veskInt(4))));
  EXPECT_EQ(textOf(*list), "4, 5");
  EXPECT_NE(list->search(untyped), nullptr);
}

TEST(ValueList, HasItsTagAndNoElementsAtFirst) {
  veskList list;
  EXPECT_EQ(list.tag, 128);
  EXPECT_EQ(list.count, 0u);
}

TEST(ValueList, BecomesNullWhenAssignedZeroAndKeepsItsElements) {
  OwnedList list(numbers({5}));
  EXPECT_EQ(*list == 0, 0);
  *list = 0;
  EXPECT_EQ(*list == 0, 1);
  EXPECT_EQ(list->tag, 0);
  EXPECT_EQ(list->count, 1u);
  EXPECT_THAT(encoded(*list), IsHex("00 43 01 01 03 01 05"));
}

TEST(ValueListDeathTest, AtPastTheEndAborts) {
  OwnedList list(numbers({5}));
  EXPECT_DEATH(list->at(1), "i < count");
  EXPECT_DEATH(list->at<veskInt>(1), "i < count");
}

// Ownership.

// Counts how often a value of its kind is destroyed.
class Counted : public veskInt {
 public:
  explicit Counted(int* destructions) : destructions_(destructions) {}
  ~Counted() override { ++*destructions_; }

 private:
  int* destructions_;
};

TEST(ValueListOwnership, DestructorLeavesTheElements) {
  int destructions = 0;
  Counted element(&destructions);
  {
    veskList list;
    list.append(&element);
  }
  EXPECT_EQ(destructions, 0);
}

TEST(ValueListOwnership, DeleteThroughTheBaseLeavesTheElements) {
  int destructions = 0;
  Counted element(&destructions);
  veskList* list = new veskList;
  list->append(&element);
  veskType* base = list;
  delete base;
  EXPECT_EQ(destructions, 0);
}

TEST(ValueListOwnership, ClearWithZeroLeavesTheElements) {
  int destructions = 0;
  Counted element(&destructions);
  veskList list;
  list.append(&element);
  list.clear(0);
  EXPECT_EQ(destructions, 0);
  EXPECT_EQ(list.count, 0u);
}

TEST(ValueListOwnership, ClearDestroysEachElementThroughItsDestructor) {
  int destructions = 0;
  veskList list;
  list.append(new Counted(&destructions));
  list.append(new Counted(&destructions));
  list.append(nullptr);
  list.clear(1);
  EXPECT_EQ(destructions, 2);
  EXPECT_EQ(list.count, 0u);
}

TEST(ValueListOwnership, ClearFreesNestedListsToAnyDepth) {
  int destructions = 0;
  veskList list;
  list.append(listOf(
      {listOf({new Counted(&destructions)}), new Counted(&destructions)}));
  list.clear(1);
  EXPECT_EQ(destructions, 2);
}

TEST(ValueListOwnership, DestroyFreesOneElementWithItsContents) {
  int destructions = 0;
  veskList list;
  veskType* nested = listOf({new Counted(&destructions)});
  list.destroy(nested);
  EXPECT_EQ(destructions, 1);
  veskType* plain = new Counted(&destructions);
  list.destroy(plain);
  EXPECT_EQ(destructions, 2);
}

TEST(ValueListOwnership, ATagOf128DoesNotMakeAListOfAValue) {
  int destructions = 0;
  veskList list;
  Counted* element = new Counted(&destructions);
  element->tag = 128;
  list.append(element);
  list.append(new veskType(128u));
  list.clear(1);
  EXPECT_EQ(destructions, 1);
}

TEST(ValueListOwnership, AssignmentAndCopiesShareTheElements) {
  OwnedList source(numbers({1, 2}));
  veskList target;
  EXPECT_EQ(&(target = *source), &target);
  EXPECT_EQ(target.count, 2u);
  EXPECT_EQ(target.at(1), source->at(1));
  veskList copy(*source);
  EXPECT_EQ(copy.at(0), source->at(0));
  EXPECT_EQ(copy.tag, 128);
  EXPECT_EQ(target == *source, 1);
  EXPECT_EQ(copy == *source, 1);
}

TEST(ValueListOwnership, AssignmentDropsOldElementsWithoutFreeingThem) {
  int destructions = 0;
  Counted old(&destructions);
  veskList target;
  target.append(&old);
  veskList empty;
  target = empty;
  EXPECT_EQ(target.count, 0u);
  EXPECT_EQ(destructions, 0);
}

TEST(ValueListOwnership, DupCopiesEveryElement) {
  OwnedList source(listOf({new veskInt(1), numbers({2})}));
  const OwnedValue copy(source->dup());
  veskList& list = dynamic_cast<veskList&>(*copy);
  EXPECT_EQ(list.tag, 128);
  EXPECT_EQ(list.compare(*source), 0);
  EXPECT_NE(list.at(0), source->at(0));
  EXPECT_NE(list.at<veskList>(1)->at(0), source->at<veskList>(1)->at(0));
}

TEST(ValueListOwnership, NestedListsThatArrivedAreFreedWithTheirHolder) {
  veskList list;
  EXPECT_EQ(decodeFrom(list, hex("80 43 01 01 80 43 01 01 03 01 07")), 11u);
  list.clear(1);
}

TEST(ValueListOwnership, ArrivedListsLeaveTheirElementsWhenDeleted) {
  veskList list;
  decodeFrom(list, hex("80 43 01 01 80 43 01 01 03 01 07"));
  veskList* nested = list.at<veskList>(0);
  const OwnedValue element(nested->at(0));
  list.clear(0);
  delete nested;
  EXPECT_EQ(textOf(*element), "7");
}

TEST(ValueListOwnership, CopiesOfWhatArrivedBelongToTheCaller) {
  veskList list;
  decodeFrom(list, hex("80 43 01 01 80 43 01 01 03 01 07"));
  veskList shared(*list.at<veskList>(0));
  OwnedList copy(dynamic_cast<veskList*>(list.at(0)->dup()));
  list.clear(1);
  EXPECT_EQ(textOf(*copy), "7");
  shared.clear(0);
}

TEST(ValueListOwnership, PositionZeroIsAPositionAndNotAPointer) {
  OwnedList list(numbers({1, 2}));
  OwnedValue first(list->at(0));
  list->remove(0);
  EXPECT_EQ(textOf(*list), "2");
}

TEST(ValueListOwnership, DestroyTakesThePointerOfAnyValue) {
  veskList list;
  list.destroy(new veskInt(1));
  list.destroy(numbers({1, 2}));
}

TEST(ValueListOwnership, DestroysDecodedElementsWhole) {
  veskList list;
  const Bytes bytes =
      hex("80 43 01 03 1F 03 00 43 00 0A 00 0A 00 80 43 01 01 03 01 07 "
          "17 0B 00 01 80 43 01 01 28 03 00 43 00 0A 00 80 43 01 01 03 01 08 "
          "80 43 01 01 19 0A 00 80 43 01 01 03 01 09");
  ASSERT_EQ(decodeFrom(list, bytes), bytes.size());
  list.append(static_cast<veskType*>(nullptr));
  list.destroyDecodedElements();
  EXPECT_EQ(list.count, 0u);
  list.append(new veskInt(1));
  list.destroyDecodedElements();
}

TEST(ValueListOwnership, LeavesTheListsOfPdusInItToTheirOwner) {
  veskList list;
  ASSERT_EQ(decodeFrom(list, hex("80 43 01 01 1F 03 00 43 00 0A 00 0A 00 "
                                 "80 43 01 01 03 01 07")),
            20u);
  veskList* const inside = list.at<veskGetPDU>(0)->list;
  list.clear(1);
  EXPECT_EQ(textOf(*inside), "7");
  inside->clear(1);
  delete inside;
}

TEST(ValueListOwnership, DecodedValuesAreFreedWholeWhateverTheirTags) {
  for (const char* bytes :
       {"80 43 01 01 03 01 07", "17 0B 00 01 80 43 01 01 03 01 07",
        "1F 03 00 43 00 0A 00 0A 00 80 43 01 01 03 01 07",
        "28 03 00 43 00 0A 00 80 43 01 01 03 01 07",
        "2F 03 00 43 00 0A 00 80 43 01 01 03 01 07 80 43 01 01 03 01 08 "
        "80 43 01 01 03 01 09",
        "12 09 43 00 0B 00 80 43 01 01 10 09 43 00 43 00",
        "11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00"}) {
    SCOPED_TRACE(bytes);
    for (const unsigned tag : {0u, 3u, 9u, 23u, 31u, 128u, 255u}) {
      ExactBuffer buffer(hex(bytes));
      veskType* value = nullptr;
      ASSERT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &value),
                buffer.size());
      value->tag = static_cast<std::uint8_t>(tag);
      veskType::destroyDecoded(value);
    }
  }
}

TEST(ValueListOwnership, WhatArrivedMayBeTakenOut) {
  veskList list;
  decodeFrom(list, hex("80 43 01 01 80 43 01 02 03 01 07 03 01 08"));
  veskList* nested = list.at<veskList>(0);
  OwnedValue first(nested->at(0));
  nested->remove(0u);
  list.clear(1);
  EXPECT_EQ(textOf(*first), "7");
}

TEST(ValueListOwnership, TheDecodedListItselfIsTheCallersToEmpty) {
  ExactBuffer buffer(hex("80 43 01 01 03 01 05"));
  veskType* value = nullptr;
  EXPECT_EQ(veskType::decodeCreate(buffer.data(), buffer.size(), &value), 7u);
  veskList* list = dynamic_cast<veskList*>(value);
  ASSERT_NE(list, nullptr);
  OwnedValue element(list->at(0));
  delete value;
  EXPECT_EQ(textOf(*element), "5");
}

// Bytes.

TEST(ValueListBytes, NeedRoomForTheLongestCount) {
  veskList list;
  EXPECT_EQ(encodeInto(list, 6).used, 0u);
  EXPECT_THAT(encodeInto(list, 7).bytes, IsHex("80 43 00"));
}

TEST(ValueListBytes, FailWithTheFirstElementThatFails) {
  veskAddress* unknown = new veskAddress("10.0.0.1");
  unknown->family = 7;
  OwnedList list(listOf({new veskInt(5), unknown, new veskInt(6)}));
  EXPECT_EQ(encodeInto(*list, 1000).used, 0u);
}

TEST(ValueListBytes, CarryGaugesOutButNotIn) {
  OwnedList list(listOf({new veskGauge(5), new veskCounter(6)}));
  EXPECT_THAT(encoded(*list), IsHex("80 43 01 02 4D 01 05 4E 01 06"));
  OwnedList arrived;
  EXPECT_EQ(decodeFrom(*arrived, hex("80 43 01 02 4D 01 05 4E 01 06")), 0u);
  EXPECT_EQ(arrived->count, 0u);
}

TEST(ValueListBytes, AreAppendedToWhatTheListHolds) {
  OwnedList list(numbers({1}));
  EXPECT_EQ(decodeFrom(*list, hex("80 43 01 02 03 01 02 03 01 03")), 10u);
  EXPECT_EQ(textOf(*list), "1, 2, 3");
}

TEST(ValueListBytes, LeaveTheElementsBeforeAFailureInTheList) {
  OwnedList list;
  EXPECT_EQ(decodeFrom(*list, hex("80 43 01 02 03 01 05 FF")), 0u);
  EXPECT_EQ(list->count, 1u);
  ASSERT_NE(list->at<veskInt>(0), nullptr);
  EXPECT_EQ(list->at<veskInt>(0)->value, 5);
}

TEST(ValueListBytes, LeaveTheElementsBeforeATruncationInTheList) {
  OwnedList list;
  EXPECT_EQ(decodeFrom(*list, hex("80 43 01 09 03 01 05 03 01 06 03")), 0u);
  EXPECT_EQ(textOf(*list), "5, 6");
}

TEST(ValueListBytes, AcceptACountWithAnyTagAndAnyLength) {
  OwnedList list;
  EXPECT_EQ(decodeFrom(*list, hex("80 03 01 01 03 01 05")), 7u);
  EXPECT_EQ(decodeFrom(*list, hex("80 43 05 FF 00 00 00 01 03 01 06")), 11u);
  EXPECT_EQ(textOf(*list), "5, 6");
}

TEST(ValueListBytes, ClaimedCountIsBelievedOnlyAsFarAsTheInput) {
  OwnedList list;
  EXPECT_EQ(decodeFrom(*list, hex("80 43 04 FF FF FF FF")), 0u);
  EXPECT_EQ(list->count, 0u);
  EXPECT_EQ(decodeFrom(*list, hex("80 43 04 FF FF FF FF 03 01 05")), 0u);
  EXPECT_EQ(list->count, 1u);
}

TEST(ValueListBytes, TakeOverAnyTag) {
  OwnedList list;
  EXPECT_EQ(decodeFrom(*list, hex("63 43 01 01 03 01 05")), 7u);
  EXPECT_EQ(list->tag, 0x63);
  OwnedList native(numbers({5}));
  EXPECT_EQ(list->compare(*native), 1);
  const OwnedValue copy(list->dup());
  EXPECT_EQ(copy->tag, 128);
}

// Text.

TEST(ValueListText, JoinsElementsWithACommaAndASpace) {
  OwnedList list(
      listOf({new veskString("a", 0), new veskString, new veskString("b", 0)}));
  EXPECT_EQ(textOf(*list), "a, , b");
}

TEST(ValueListText, IsItsOwnForAClassDerivedFromLists) {
  struct Quoted : veskList {
    char* getString() override { return veskString("quoted", 0).getString(); }
  };
  OwnedList list(listOf({new Quoted, new veskInt(1)}));
  EXPECT_EQ(textOf(*list), "quoted, 1");
}

TEST(ValueListText, MayExceed64KiB) {
  const std::string part(10000, 'x');
  OwnedList list;
  std::string expected;
  for (int i = 0; i < 10; ++i) {
    list->append(new veskString(part.c_str(), 0));
    expected += (i == 0 ? "" : ", ") + part;
  }
  EXPECT_EQ(textOf(*list), expected);
}

// Order and equality.

TEST(ValueListOrder, IsThatOfTheFirstDifferentElement) {
  OwnedList oneTwo(numbers({1, 2}));
  OwnedList oneThree(numbers({1, 3}));
  OwnedList fiveOne(numbers({5, 1}));
  EXPECT_EQ(oneTwo->compare(*oneThree), -1);
  EXPECT_EQ(oneThree->compare(*oneTwo), 1);
  EXPECT_EQ(fiveOne->compare(*oneThree), 4);
  EXPECT_EQ(*oneTwo < *oneThree, 1);
  EXPECT_EQ(*oneTwo > *oneThree, 0);
}

TEST(ValueListOrder, LooksAtTheCountFirst) {
  OwnedList nine(numbers({9}));
  OwnedList oneTwo(numbers({1, 2}));
  OwnedList empty;
  EXPECT_EQ(nine->compare(*oneTwo), -1);
  EXPECT_EQ(oneTwo->compare(*nine), 1);
  EXPECT_EQ(empty->compare(*oneTwo), -2);
  EXPECT_EQ(empty->compare(*empty), 0);
}

TEST(ValueListOrder, DiffersFromEveryOtherClass) {
  OwnedList five(numbers({5}));
  veskInt number(5);
  EXPECT_EQ(five->compare(number), 1);
  EXPECT_EQ(number.compare(*five), 1);
}

TEST(ValueListOrder, DoesNotTakeAPlainValueWithItsTagForAList) {
  OwnedList five(numbers({5}));
  OwnedList empty;
  veskType plain(128u);
  veskInt number(0);
  number.tag = 128;
  EXPECT_EQ(five->compare(plain), 1);
  EXPECT_EQ(empty->compare(plain), 1);
  EXPECT_EQ(empty->compare(number), 1);
  EXPECT_EQ(number.compare(*empty), 1);
  EXPECT_EQ(*empty == static_cast<veskType&>(plain), 0);
  EXPECT_EQ(*empty == static_cast<veskType&>(number), 0);
}

TEST(ValueListEquality, KeepsAskingForTheVerySameElements) {
  OwnedList list(numbers({1, 2}));
  OwnedList copy(dynamic_cast<veskList*>(list->dup()));
  EXPECT_EQ(list->compare(*copy), 0);
  EXPECT_EQ(*list == *copy, 0);
  veskList shared(*list);
  EXPECT_EQ(*list == shared, 1);
  shared.remove(1u);
  EXPECT_EQ(*list == shared, 0);
  veskList empty;
  veskList alsoEmpty;
  EXPECT_EQ(empty == alsoEmpty, 1);
  EXPECT_EQ(*list == *list, 1);
}

TEST(ValueListEquality, ThroughTheBaseComparesValues) {
  OwnedList list(numbers({1, 2}));
  OwnedList copy(dynamic_cast<veskList*>(list->dup()));
  OwnedList other(numbers({1, 3}));
  veskType& base = *copy;
  veskType& otherBase = *other;
  EXPECT_EQ(*list == base, 1);
  EXPECT_EQ(base == static_cast<veskType&>(*list), 1);
  EXPECT_EQ(*list == otherBase, 0);
  veskList empty;
  veskList alsoEmpty;
  EXPECT_EQ(empty == static_cast<veskType&>(alsoEmpty), 1);
}

TEST(ValueList, ToleratesNullElements) {
  OwnedList list(listOf({new veskInt(1), nullptr}));
  OwnedList same(listOf({new veskInt(1), nullptr}));
  OwnedList other(numbers({1, 2}));
  EXPECT_EQ(encodeInto(*list, 1000).used, 0u);
  EXPECT_EQ(textOf(*list), "1, ");
  EXPECT_EQ(list->compare(*same), 0);
  EXPECT_NE(list->compare(*other), 0);
  EXPECT_NE(other->compare(*list), 0);
  EXPECT_EQ(list->at<veskInt>(1), nullptr);
  OwnedList copy(dynamic_cast<veskList*>(list->dup()));
  EXPECT_EQ(copy->count, 2u);
  EXPECT_EQ(copy->at(1), nullptr);
}

// The factory.

// What decodeCreate makes of these bytes, freed with destroyDecoded.
class Created {
 public:
  explicit Created(const Bytes& bytes, veskType* before = nullptr)
      : value_(before) {
    ExactBuffer buffer(bytes);
    used_ = veskType::decodeCreate(buffer.data(), buffer.size(), &value_);
  }
  ~Created() { veskType::destroyDecoded(value_); }
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;

  unsigned used() const { return used_; }
  veskType* value() const { return value_; }

 private:
  veskType* value_;
  unsigned used_;
};

TEST(Factory, LeavesTheResultAloneWithoutInput) {
  Created created(hex(""), new veskInt(5));
  EXPECT_EQ(created.used(), 0u);
  ASSERT_NE(created.value(), nullptr);
  EXPECT_EQ(textOf(*created.value()), "5");
}

TEST(Factory, SetsTheResultToNullForAnUnknownTag) {
  veskInt before(5);
  for (const char* bytes : {"4D", "4E", "4D 01 05", "1B", "24", "0D", "0E",
                            "15", "16", "FF 01 02"}) {
    SCOPED_TRACE(bytes);
    Created created(hex(bytes), &before);
    EXPECT_EQ(created.used(), 0u);
    EXPECT_EQ(created.value(), nullptr);
  }
}

TEST(Factory, KeepsTheObjectOfATruncatedValue) {
  Created created(hex("03"));
  EXPECT_EQ(created.used(), 0u);
  EXPECT_NE(dynamic_cast<veskInt*>(created.value()), nullptr);
}

TEST(Factory, ReadsANullFromItsTagAlone) {
  Created created(hex("00 01 02"));
  EXPECT_EQ(created.used(), 1u);
  ASSERT_NE(created.value(), nullptr);
  EXPECT_EQ(created.value()->tag, 0);
}

TEST(Factory, MakesTheClassOfEachTag) {
  const struct {
    unsigned char tag;
    const std::type_info& type;
  } kClasses[] = {
      {0, typeid(veskType)},          {1, typeid(veskChar)},
      {2, typeid(veskShort)},         {3, typeid(veskInt)},
      {4, typeid(veskLong)},          {5, typeid(veskFloat)},
      {6, typeid(veskDouble)},        {7, typeid(veskBool)},
      {8, typeid(veskOpaque)},        {9, typeid(veskString)},
      {10, typeid(veskOid)},          {11, typeid(veskAid)},
      {12, typeid(veskTime)},         {15, typeid(veskAddress)},
      {65, typeid(veskUnsignedChar)}, {66, typeid(veskUnsignedShort)},
      {67, typeid(veskUnsignedInt)},  {68, typeid(veskUnsignedLong)},
      {128, typeid(veskList)},
  };
  for (const auto& expected : kClasses) {
    Created created(Bytes{expected.tag});
    ASSERT_NE(created.value(), nullptr) << "tag " << unsigned{expected.tag};
    const veskType& value = *created.value();
    EXPECT_STREQ(typeid(value).name(), expected.type.name());
    EXPECT_EQ(value.tag, expected.tag);
    EXPECT_EQ(created.used(), expected.tag == 0 ? 1u : 0u);
  }
}

TEST(Factory, KeepsGaugesCountersAndBarePdusUnknown) {
  for (const unsigned char tag : Bytes{77, 78, 27, 36}) {
    Created created(Bytes{tag, 0x01, 0x05, 0x00, 0x00, 0x00});
    EXPECT_EQ(created.value(), nullptr) << "tag " << unsigned{tag};
    OwnedList list;
    EXPECT_EQ(decodeFrom(*list, Bytes{0x80, 0x43, 0x01, 0x01, tag, 0x01, 0x05}),
              0u);
  }
}

TEST(Factory, KnowsNoClassForUnassignedTags) {
  for (unsigned tag = 0; tag <= 255; ++tag) {
    const bool inUse = tag <= 12 || (tag >= 15 && tag <= 20) ||
                       (tag >= 23 && tag <= 47 && tag != 27 && tag != 36) ||
                       (tag >= 65 && tag <= 68) || tag == 128;
    if (inUse) continue;
    Created created(Bytes{static_cast<unsigned char>(tag), 0, 0, 0});
    EXPECT_EQ(created.value(), nullptr) << "tag " << tag;
    EXPECT_EQ(created.used(), 0u) << "tag " << tag;
  }
}

TEST(Factory, FreesNothingForNull) { veskType::destroyDecoded(nullptr); }

TEST(Factory, FreesAFailedListWithWhatArrived) {
  Created created(hex("80 43 01 03 03 01 05 80 43 01 02 09 43 01 01 61 FF"));
  EXPECT_EQ(created.used(), 0u);
  veskList* list = dynamic_cast<veskList*>(created.value());
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->count, 1u);
}

// Nesting.

const Bytes& openList() {
  static const Bytes bytes = hex("80 43 01 01");
  return bytes;
}

// Lists inside one another around one number.
Bytes nestedLists(std::size_t depth) {
  Bytes bytes = repeated(openList(), depth);
  bytes += hex("03 01 07");
  return bytes;
}

TEST(Nesting, TwoThousandLevelsWorkInEveryWay) {
  const Bytes bytes = nestedLists(1999);
  Created created(bytes);
  ASSERT_EQ(created.used(), bytes.size());
  veskType& value = *created.value();
  EXPECT_EQ(textOf(value), "7");
  EXPECT_EQ(encoded(value), bytes);
  Created other(bytes);
  EXPECT_EQ(value.compare(*other.value()), 0);
  EXPECT_EQ(value == *other.value(), 1);
  const OwnedValue copy(value.dup());
  EXPECT_EQ(value.compare(*copy), 0);
  veskList direct;
  EXPECT_EQ(decodeFrom(direct, bytes), bytes.size());
  EXPECT_EQ(direct.compare(value), 0);
  direct.clear(1);
}

TEST(Nesting, AtTheDeepestThatDecodesEverythingWorks) {
  std::size_t depth = 2000;
  while (Created(nestedLists(depth)).used() != 0) {
    ++depth;
    ASSERT_LT(depth, 100000u) << "nesting has no bound";
  }
  const Bytes bytes = nestedLists(depth - 1);
  Created created(bytes);
  veskType& value = *created.value();
  EXPECT_EQ(textOf(value), "7");
  EXPECT_EQ(encoded(value), bytes);
  const OwnedValue copy(value.dup());
  EXPECT_EQ(value.compare(*copy), 0);
}

TEST(Nesting, PastTheBoundFailsAndLeaksNothing) {
  Created created(nestedLists(3000));
  EXPECT_EQ(created.used(), 0u);
  EXPECT_NE(created.value(), nullptr);
  veskList direct;
  EXPECT_EQ(decodeFrom(direct, nestedLists(3000)), 0u);
  direct.clear(1);
}

TEST(Nesting, AMegabyteOfOpenedListsFailsAndLeaksNothing) {
  const Bytes bytes = repeated(openList(), (std::size_t{1} << 20) / 4);
  Created created(bytes);
  EXPECT_EQ(created.used(), 0u);
  veskList direct;
  EXPECT_EQ(decodeFrom(direct, bytes), 0u);
  direct.clear(1);
}

TEST(Nesting, CountsLevelsAndNotValues) {
  Bytes bytes = hex("80 43 02 13 88");  // 5000 elements
  bytes += repeated(hex("80 43 00"), 5000);
  Created created(bytes);
  EXPECT_EQ(created.used(), bytes.size());
}

TEST(Nesting, IsForgottenAfterAFailure) {
  for (int i = 0; i < 3; ++i) {
    Created tooDeep(nestedLists(3000));
    EXPECT_EQ(tooDeep.used(), 0u);
    const Bytes bytes = nestedLists(1999);
    Created created(bytes);
    EXPECT_EQ(created.used(), bytes.size());
  }
}

TEST(Nesting, WideAndDeepTogetherDecode) {
  // Every level holds a number beside the next list.
  Bytes bytes = repeated(hex("80 43 01 02 03 01 01"), 1999);
  bytes += hex("03 01 07");
  Created created(bytes);
  ASSERT_EQ(created.used(), bytes.size());
  const std::string text = textOf(*created.value());
  EXPECT_EQ(text.size(), 1999u * 3 + 1);
  EXPECT_EQ(text.substr(text.size() - 7), "1, 1, 7");
}

}  // namespace
