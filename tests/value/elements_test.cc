// The range over the elements of a list.

#include "ostrel/elements.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/veskAttr.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

using ostrel::Elements;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;

// An int, a text, an unsigned number and a null pointer.
class ElementsTest : public testing::Test {
 protected:
  ElementsTest() {
    list.append(&number);
    list.append(&text);
    list.append(&truth);
    list.append(static_cast<veskType*>(nullptr));
  }

  veskInt number{5};
  veskString text{"lamp"};
  veskBool truth{1};
  veskList list;
};

template <class Value>
std::vector<Value*> walk(const veskList& list) {
  std::vector<Value*> result;
  for (Value* element : Elements<Value>(list)) result.push_back(element);
  return result;
}

TEST_F(ElementsTest, GivesTheElementsInTheirOrder) {
  EXPECT_THAT(walk<veskType>(list),
              ElementsAre(&number, &text, &truth, nullptr));
}

TEST_F(ElementsTest, GivesNullInThePlaceOfAnotherClass) {
  EXPECT_THAT(walk<veskString>(list),
              ElementsAre(nullptr, &text, nullptr, nullptr));
}

TEST_F(ElementsTest, GivesDerivedClassesAsTheirBase) {
  EXPECT_THAT(walk<veskUnsignedInt>(list),
              ElementsAre(nullptr, nullptr, &truth, nullptr));
}

TEST_F(ElementsTest, GivesListsThatAreElements) {
  veskList outer;
  outer.append(&list);
  EXPECT_THAT(walk<veskList>(outer), ElementsAre(&list));
}

TEST_F(ElementsTest, IsEmptyForAnEmptyList) {
  EXPECT_THAT(walk<veskType>(veskList()), IsEmpty());
}

TEST_F(ElementsTest, IsEmptyWithoutAList) {
  const Elements<veskAttribute> none(static_cast<veskList*>(nullptr));
  EXPECT_EQ(none.begin(), none.end());
}

TEST_F(ElementsTest, WorksWithStandardAlgorithms) {
  const Elements all(list);
  EXPECT_EQ(std::distance(all.begin(), all.end()), 4);
  EXPECT_EQ(std::find(all.begin(), all.end(), &truth),
            std::next(all.begin(), 2));
  const Elements<veskInt> numbers(list);
  EXPECT_TRUE(std::any_of(numbers.begin(), numbers.end(), [](veskInt* each) {
    return each != nullptr && each->value == 5;
  }));
  EXPECT_EQ(std::count(numbers.begin(), numbers.end(), nullptr), 3);
}

TEST_F(ElementsTest, MayBeWalkedAgainFromAnyPlace) {
  const Elements all(list);
  auto place = all.begin();
  const auto first = place++;
  EXPECT_EQ(*first, &number);
  EXPECT_EQ(*place, &text);
  EXPECT_EQ(first, all.begin());
  EXPECT_NE(first, place);
}

TEST_F(ElementsTest, LeavesTheCursorOfTheListAlone) {
  list.index(2);
  const listPointer* const before = list.cursorNode;
  walk<veskType>(list);
  EXPECT_EQ(list.cursorNode, before);
  EXPECT_EQ(list.cursorIndex, 2U);
}

TEST_F(ElementsTest, LetsAnElementGoOnceTheWalkHasPassedIt) {
  unsigned seen = 0;
  veskType* previous = nullptr;
  for (veskType* element : Elements(list)) {
    if (previous != nullptr) list.remove(previous);
    previous = element;
    ++seen;
  }
  EXPECT_EQ(seen, 4U);
  EXPECT_THAT(walk<veskType>(list), ElementsAre(IsNull()));
}

}  // namespace
