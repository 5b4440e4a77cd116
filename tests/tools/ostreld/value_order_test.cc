#include "support/value_order.h"

#include <gtest/gtest.h>
#include <ostrel/veskAttr.h>

#include <ctime>
#include <limits>
#include <memory>
#include <string>

#include "common/owned.h"

namespace ostrel::tools::server {
namespace {

template <class Left, class Right>
Order order(Left left, Right right) {
  return compareValues(left, right);
}

TEST(CompareValues, NumbersCompareByValueWhateverTheirClasses) {
  EXPECT_EQ(order(veskInt(5), veskUnsignedInt(5)), Order::kEqual);
  EXPECT_EQ(order(veskShort(-1), veskUnsignedLong(1)), Order::kLess);
  EXPECT_EQ(order(veskTime(8), veskDouble(7.5)), Order::kGreater);
  EXPECT_EQ(order(veskBool(1), veskChar(1)), Order::kEqual);
}

TEST(CompareValues, DistantNumbersDoNotWrapAround) {
  EXPECT_EQ(order(veskInt(std::numeric_limits<int>::max()), veskInt(-1)),
            Order::kGreater);
  EXPECT_EQ(order(veskUnsignedInt(0), veskUnsignedInt(0xFFFFFFFF)),
            Order::kLess);
}

TEST(CompareValues, FractionsCount) {
  EXPECT_EQ(order(veskFloat(1.25F), veskFloat(1.5F)), Order::kLess);
}

TEST(CompareValues, NotANumberIsDifferentFromAll) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(order(veskDouble(nan), veskDouble(nan)), Order::kDifferent);
}

TEST(CompareValues, TextsCompareByteByByteWithNulsInside) {
  EXPECT_EQ(order(veskString("ab"), veskString("abc")), Order::kLess);
  EXPECT_EQ(order(veskString("a\0b", 3), veskString("a\0c", 3)), Order::kLess);
  EXPECT_EQ(order(veskString("\xFF"), veskString("a")), Order::kGreater);
  EXPECT_EQ(order(veskString(), veskString("")), Order::kEqual);
}

TEST(CompareValues, EqualBytesAreEqual) {
  EXPECT_EQ(order(veskOpaque("ab", 2), veskOpaque("ab", 2)), Order::kEqual);
  EXPECT_EQ(order(veskOpaque("ab", 2), veskOpaque("ac", 2)), Order::kLess);
}

TEST(CompareValues, TextsAndBytesAndNumbersAreDifferent) {
  EXPECT_EQ(order(veskString("5"), veskInt(5)), Order::kDifferent);
  EXPECT_EQ(order(veskString("a"), veskOpaque("a", 1)), Order::kDifferent);
}

TEST(CompareValues, IdentifiersCompareComponentByComponent) {
  EXPECT_EQ(order(veskOid("59.6.0.9"), veskOid("59.6.1.0")), Order::kLess);
  EXPECT_EQ(order(veskOid("59.4294967295"), veskOid("59.1")), Order::kGreater);
  EXPECT_EQ(order(veskAid("59.6.1"), veskAid("59.6.1")), Order::kEqual);
  EXPECT_EQ(order(veskOid(), veskOid("0.0")), Order::kLess);
}

TEST(CompareValues, AddressesCompareAsNumbers) {
  EXPECT_EQ(order(veskAddress("10.0.0.2"), veskAddress("10.0.1.1")),
            Order::kLess);
  EXPECT_EQ(order(veskAddress("200.0.0.1"), veskAddress("10.0.0.1")),
            Order::kGreater);
  EXPECT_EQ(order(veskAddress(), veskAddress("10.0.0.1")), Order::kDifferent);
}

TEST(CompareValues, ListsAreEqualElementByElement) {
  OwnedList left;
  OwnedList right;
  left.append(new veskInt(1));
  right.append(new veskUnsignedInt(1));
  EXPECT_EQ(compareValues(left, right), Order::kEqual);
  right.append(new veskInt(2));
  EXPECT_EQ(compareValues(left, right), Order::kDifferent);
}

TEST(ContainsValue, FindsPartsOfTextsAndBytesAndElementsOfLists) {
  veskString whole("hello world");
  veskString part("lo w");
  veskString other("low");
  EXPECT_TRUE(containsValue(whole, part));
  EXPECT_FALSE(containsValue(whole, other));
  OwnedList list;
  list.append(new veskInt(7));
  veskUnsignedInt seven(7);
  veskInt eight(8);
  EXPECT_TRUE(containsValue(list, seven));
  EXPECT_FALSE(containsValue(list, eight));
  EXPECT_FALSE(containsValue(seven, seven));
}

TEST(ContainsValue, FindsAnEmptyPartInEveryText) {
  veskString whole("abc");
  veskString empty;
  veskString alsoEmpty;
  EXPECT_TRUE(containsValue(whole, empty));
  EXPECT_TRUE(containsValue(alsoEmpty, empty));
  EXPECT_FALSE(containsValue(empty, whole));
}

// Seconds of this thread's work that finding the part takes.
double secondsFor(veskType& whole, veskType& part, bool expected) {
  const std::clock_t begin = std::clock();
  EXPECT_EQ(containsValue(whole, part), expected);
  return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

// Comparing the part at each place would take 100,000,000,000 steps.
TEST(ContainsValue, TakesTimeInProportionToTheLengths) {
  constexpr std::size_t kText = 1000000;
  constexpr std::size_t kPart = 200000;
  std::string part(kPart, 'a');
  for (const std::size_t odd : {std::size_t{0}, kPart / 2, kPart - 1}) {
    part[odd] = 'b';
    veskString whole(std::string(kText, 'a').c_str());
    veskString wanted(part.c_str());
    EXPECT_LT(secondsFor(whole, wanted, false), 0.2);
    part[odd] = 'a';
  }
}

// What a search of 14 KB does with ten objects that have a text of 1 MB each;
// comparing at each place would take 100,000,000,000 steps here, too.
TEST(ContainsValue, TenLongTextsAreSearchedForALongPartInHalfASecond) {
  std::string half(7000, 'a');
  veskString part((half + 'b' + half).c_str());
  veskString whole(std::string(1000000, 'a').c_str());
  double seconds = 0;
  for (int i = 0; i < 10; ++i) seconds += secondsFor(whole, part, false);
  EXPECT_LT(seconds, 0.5);
}

// Each element is an object, and they are compared by their encodings.
TEST(ContainsValue, DoesNotEncodeALongPartForEachElement) {
  OwnedList list;
  for (int i = 0; i < 20000; ++i) {
    veskAid id("59.200.1");
    list.append(new veskAttribute(&id, std::make_unique<veskInt>(i).get()));
  }
  veskAid id("59.200.1");
  veskString text(std::string(1000000, 'a').c_str());
  veskAttribute part(&id, &text);
  EXPECT_LT(secondsFor(list, part, false), 1);
  list.append(new veskAttribute(&part));
  EXPECT_LT(secondsFor(list, part, true), 1);
}

}  // namespace
}  // namespace ostrel::tools::server
