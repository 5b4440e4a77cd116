// The check for leaks sees what an owner forgets.

#include "common/owned.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/elements.h>
#include <ostrel/veskPDU.h>

#include "common/encoding.h"

namespace ostrel::tools {
namespace {

using testing::ElementsAre;

std::vector<int> numbers(const veskList& list) {
  std::vector<int> result;
  for (auto* number : Elements<veskInt>(list)) result.push_back(number->value);
  return result;
}

TEST(Owned, FreesAPduWithItsListsAndTheirElements) {
  veskOid oid("59.200.0.1");
  auto* list = new veskList;
  veskAtAppendAttr(list, "59.200.1", new veskString("lamp"));
  const Owned<veskPDU> pdu = make<veskSetPDU>(oid, list);
  EXPECT_NE(pdu, nullptr);
}

TEST(Owned, FreesListsInsideLists) {
  const auto outer = make<veskList>();
  auto* inner = new veskList;
  inner->append(new veskString("lamp"));
  outer->append(inner);
  EXPECT_EQ(outer->count, 1U);
}

TEST(Owned, FreesWhatCameInsideOtherValues) {
  // A list with a set in it, whose list has a set in it.
  const Owned<veskType> value =
      decoded(std::string("\x80\x43\x01\x01"
                          "\x20\x03\x00\x43\x00\x0a\x00\x0a\x00\x80\x43\x01\x01"
                          "\x20\x03\x00\x43\x00\x0a\x00\x0a\x00\x80\x43\x00",
                          29));
  EXPECT_NE(value, nullptr);
}

TEST(TakeAs, TakesAValueOfThatClass) {
  Owned<veskType> value = make<veskInt>(5);
  const Owned<veskInt> number = takeAs<veskInt>(value);
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(number->value, 5);
  EXPECT_EQ(value, nullptr);
}

TEST(TakeAs, LeavesAValueOfAnotherClass) {
  Owned<veskType> value = make<veskInt>(5);
  EXPECT_EQ(takeAs<veskString>(value), nullptr);
  EXPECT_NE(value, nullptr);
}

TEST(OwnedList, FreesItsElements) {
  OwnedList list;
  list.append(new veskString("lamp"));
  EXPECT_EQ(list.count, 1U);
}

TEST(OwnedList, HandsItsElementsOver) {
  OwnedList from;
  OwnedList to;
  to.append(new veskInt(1));
  from.append(new veskInt(2));
  from.append(new veskInt(3));
  from.moveTo(&to);
  EXPECT_EQ(from.count, 0U);
  EXPECT_THAT(numbers(to), ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace ostrel::tools
