// The generic list: order, the cursor that makes walking cheap, and what is
// freed when.

#include "ostrel/list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Lists of pointers into this array read as lists of small numbers.
int elements[32];

void* element(int number) { return &elements[number]; }

int numberOf(void* data) {
  return static_cast<int>(static_cast<int*>(data) - elements);
}

// The list read along its `next` links, which leaves the cursor alone.
std::vector<int> forward(const genericList& list) {
  std::vector<int> result;
  for (listPointer* node = list.head.next; node != &list.head;
       node = node->next) {
    result.push_back(numberOf(node->data));
  }
  return result;
}

std::vector<int> backward(const genericList& list) {
  std::vector<int> result;
  for (listPointer* node = list.head.prev; node != &list.head;
       node = node->prev) {
    result.push_back(numberOf(node->data));
  }
  return result;
}

void fill(genericList& list, int count) {
  for (int i = 0; i < count; ++i) list.append(element(i));
}

// The node at a position, reached without index().
listPointer* nodeAt(genericList& list, int position) {
  listPointer* node = list.head.next;
  for (int i = 0; i < position; ++i) node = node->next;
  return node;
}

// Hands elements back in place of freeing them.
class RecordingList : public genericList {
 public:
  void destroy(void* element) override { destroyed.push_back(element); }

  std::vector<void*> destroyed;
};

// Three nodes that belong to no list. With the cursor set to the middle one,
// only a walk that starts at the cursor can come upon the others.
struct Decoys {
  Decoys() {
    before.next = &middle;
    middle.prev = &before;
    middle.next = &after;
    after.prev = &middle;
    before.prev = after.next = nullptr;
    before.data = middle.data = after.data = nullptr;
  }

  void becomeCursor(genericList& list, unsigned position) {
    list.cursorNode = &middle;
    list.cursorIndex = position;
  }

  listPointer before;
  listPointer middle;
  listPointer after;
};

TEST(GenericList, StartsEmptyWithItsHeadPointingAtItself) {
  genericList list;
  EXPECT_EQ(list.count, 0u);
  EXPECT_EQ(list.head.next, &list.head);
  EXPECT_EQ(list.head.prev, &list.head);
  EXPECT_EQ(list.head.data, nullptr);
  EXPECT_EQ(list.cursorNode, nullptr);
}

TEST(GenericList, AppendPutsElementsAtTheEnd) {
  genericList list;
  fill(list, 3);
  EXPECT_EQ(list.count, 3u);
  EXPECT_THAT(forward(list), ElementsAre(0, 1, 2));
  EXPECT_THAT(backward(list), ElementsAre(2, 1, 0));
  EXPECT_EQ(list.head.data, nullptr);
}

TEST(GenericList, AppendAcceptsNullElements) {
  genericList list;
  list.append(nullptr);
  EXPECT_EQ(list.count, 1u);
  EXPECT_EQ(list.index(0)->data, nullptr);
}

TEST(GenericList, InsertPutsTheElementBeforeThePosition) {
  genericList list;
  fill(list, 4);
  list.insert(2, element(9));
  EXPECT_EQ(list.count, 5u);
  EXPECT_THAT(forward(list), ElementsAre(0, 1, 9, 2, 3));
  EXPECT_THAT(backward(list), ElementsAre(3, 2, 9, 1, 0));
}

TEST(GenericList, InsertAtZeroMakesTheElementTheFirst) {
  genericList list;
  fill(list, 2);
  list.insert(0, element(9));
  EXPECT_THAT(forward(list), ElementsAre(9, 0, 1));
  EXPECT_THAT(backward(list), ElementsAre(1, 0, 9));
}

TEST(GenericList, InsertAtOrPastTheEndAppends) {
  genericList list;
  list.insert(0, element(0));
  list.insert(1, element(1));
  list.insert(7, element(2));
  list.insert(0xFFFFFFFFu, element(3));
  EXPECT_THAT(forward(list), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(list.count, 4u);
}

TEST(GenericList, IndexFindsEveryPositionFromEveryCursor) {
  constexpr unsigned kCount = 10;
  for (unsigned from = 0; from < kCount; ++from) {
    for (unsigned to = 0; to < kCount; ++to) {
      genericList list;
      fill(list, kCount);
      list.index(from);
      EXPECT_EQ(numberOf(list.index(to)->data), static_cast<int>(to))
          << "from " << from;
      EXPECT_EQ(list.cursorIndex, to);
      EXPECT_EQ(list.cursorNode, nodeAt(list, static_cast<int>(to)));
    }
  }
}

TEST(GenericList, IndexRemembersTheNodeThatItReturned) {
  genericList list;
  fill(list, 5);
  listPointer* node = list.index(3);
  EXPECT_EQ(list.cursorNode, node);
  EXPECT_EQ(list.cursorIndex, 3u);
}

TEST(GenericList, IndexOfTheSamePositionReturnsTheCursor) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 5);
  EXPECT_EQ(list.index(5), &decoys.middle);
}

TEST(GenericList, IndexOfTheNextPositionTakesOneStepFromTheCursor) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 5);
  EXPECT_EQ(list.index(6), &decoys.after);
  EXPECT_EQ(list.cursorNode, &decoys.after);
  EXPECT_EQ(list.cursorIndex, 6u);
}

TEST(GenericList, IndexStepsFromTheCursorEvenToTheLastPosition) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 8);
  EXPECT_EQ(list.index(9), &decoys.after);
}

TEST(GenericList, IndexOfAnEarlierPositionNearTheCursorWalksBack) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 5);
  EXPECT_EQ(list.index(4), &decoys.before);
}

TEST(GenericList, IndexHalfwayBetweenFrontAndCursorWalksBack) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 2);
  EXPECT_EQ(list.index(1), &decoys.before);
}

TEST(GenericList, IndexOfAPositionNearTheFrontWalksFromTheFront) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 8);
  EXPECT_EQ(list.index(1), nodeAt(list, 1));
}

TEST(GenericList, IndexOfTheFirstPositionIsTheFrontWhateverTheCursor) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 1);
  EXPECT_EQ(list.index(0), list.head.next);
}

TEST(GenericList, IndexOfTheLastPositionIsTheBackWhateverTheCursor) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  decoys.becomeCursor(list, 7);
  EXPECT_EQ(list.index(9), list.head.prev);
}

TEST(GenericList, IndexOfALaterPositionWalksForwardFromTheCursor) {
  genericList list;
  fill(list, 10);
  Decoys decoys;
  listPointer further = {nullptr, &decoys.after, nullptr};
  decoys.after.next = &further;
  decoys.becomeCursor(list, 5);
  EXPECT_EQ(list.index(7), &further);
}

TEST(GenericList, IndexNearTheEndWithoutCursorWalksFromTheFront) {
  genericList list;
  fill(list, 10);
  listPointer decoy = {nullptr, nullptr, nullptr};
  listPointer* last = list.head.prev;
  listPointer* beforeLast = last->prev;
  last->prev = &decoy;
  EXPECT_EQ(list.index(8), beforeLast);
  last->prev = beforeLast;
}

TEST(GenericList, ChangesForgetTheCursor) {
  genericList list;
  fill(list, 5);
  list.index(2);
  list.append(element(5));
  EXPECT_EQ(list.cursorNode, nullptr);
  list.index(2);
  list.insert(1, element(6));
  EXPECT_EQ(list.cursorNode, nullptr);
  list.index(2);
  list.insert(100, element(7));
  EXPECT_EQ(list.cursorNode, nullptr);
  list.index(2);
  list.remove(3u);
  EXPECT_EQ(list.cursorNode, nullptr);
  list.index(2);
  list.remove(element(7));
  EXPECT_EQ(list.cursorNode, nullptr);
}

TEST(GenericList, SearchLeavesTheCursorAlone) {
  genericList list;
  fill(list, 5);
  listPointer* node = list.index(2);
  list.search(element(4));
  EXPECT_EQ(list.cursorNode, node);
  EXPECT_EQ(list.cursorIndex, 2u);
}

TEST(GenericList, RemovingAnAbsentElementLeavesListAndCursorAlone) {
  genericList list;
  fill(list, 3);
  listPointer* node = list.index(1);
  list.remove(element(9));
  EXPECT_THAT(forward(list), ElementsAre(0, 1, 2));
  EXPECT_EQ(list.count, 3u);
  EXPECT_EQ(list.cursorNode, node);
}

TEST(GenericList, KeepsTheCursorWhenCleared) {
  genericList list;
  fill(list, 5);
  const auto cursor = reinterpret_cast<std::uintptr_t>(list.index(2));
  list.clear(0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(list.cursorNode), cursor);
  list.append(element(1));
  EXPECT_EQ(list.cursorNode, nullptr);
  EXPECT_EQ(numberOf(list.index(0)->data), 1);
}

TEST(GenericList, SearchFindsTheFirstNodeWithThatPointer) {
  genericList list;
  fill(list, 3);
  list.append(element(1));
  EXPECT_EQ(list.search(element(1)), nodeAt(list, 1));
  EXPECT_EQ(list.search(element(9)), nullptr);
}

TEST(GenericList, SearchAsksForIdentityNotForValue) {
  int one = 5;
  int other = 5;
  genericList list;
  list.append(&one);
  EXPECT_EQ(list.search(&other), nullptr);
  EXPECT_NE(list.search(&one), nullptr);
}

TEST(GenericList, SearchFindsANullElement) {
  genericList list;
  EXPECT_EQ(list.search(nullptr), nullptr);
  list.append(element(0));
  list.append(nullptr);
  EXPECT_EQ(list.search(nullptr), nodeAt(list, 1));
}

TEST(GenericList, RemoveByPositionTakesThatNodeOut) {
  genericList list;
  fill(list, 4);
  list.remove(1u);
  EXPECT_THAT(forward(list), ElementsAre(0, 2, 3));
  EXPECT_THAT(backward(list), ElementsAre(3, 2, 0));
  list.remove(0);
  list.remove(1u);
  EXPECT_THAT(forward(list), ElementsAre(2));
  EXPECT_EQ(list.count, 1u);
}

TEST(GenericList, RemoveByPointerTakesOnlyTheFirstMatchOut) {
  genericList list;
  fill(list, 3);
  list.append(element(1));
  list.remove(element(1));
  EXPECT_THAT(forward(list), ElementsAre(0, 2, 1));
  EXPECT_EQ(list.count, 3u);
}

TEST(GenericList, RemovingFromAnEmptyListByPointerDoesNothing) {
  genericList list;
  list.remove(element(0));
  EXPECT_EQ(list.count, 0u);
}

TEST(GenericList, ClearWithZeroDestroysNoElement) {
  RecordingList list;
  fill(list, 3);
  list.clear(0);
  EXPECT_EQ(list.count, 0u);
  EXPECT_EQ(list.head.next, &list.head);
  EXPECT_EQ(list.head.prev, &list.head);
  EXPECT_THAT(list.destroyed, IsEmpty());
}

TEST(GenericList, ClearDestroysEachElementOnceInOrder) {
  RecordingList list;
  fill(list, 3);
  list.clear(1);
  EXPECT_EQ(list.count, 0u);
  EXPECT_THAT(list.destroyed, ElementsAre(element(0), element(1), element(2)));
}

TEST(GenericList, ClearTakesAnyArgumentButZeroForYes) {
  RecordingList list;
  fill(list, 1);
  list.clear(0x80000000u);
  EXPECT_THAT(list.destroyed, ElementsAre(element(0)));
}

TEST(GenericList, ClearSkipsNullElements) {
  RecordingList list;
  list.append(nullptr);
  list.append(element(1));
  list.append(nullptr);
  list.clear(1);
  EXPECT_EQ(list.count, 0u);
  EXPECT_THAT(list.destroyed, ElementsAre(element(1)));
}

TEST(GenericList, DestructorLeavesTheElements) {
  auto owned = std::make_unique<int>(7);
  {
    genericList list;
    list.append(owned.get());
  }
  EXPECT_EQ(*owned, 7);
}

struct CountsDestruction {
  explicit CountsDestruction(int* counter) : destructions(counter) {}
  ~CountsDestruction() { ++*destructions; }
  int* destructions;
};

TEST(GenericList, KeepsDestroyFromRunningDestructors) {
  int destructions = 0;
  genericList list;
  list.append(new CountsDestruction(&destructions));
  list.clear(1);
  EXPECT_EQ(destructions, 0);
}

TEST(GenericList, DestroyReleasesStorageOfPlainOperatorNew) {
  genericList list;
  list.append(::operator new(100));
  list.clear(1);
  EXPECT_EQ(list.count, 0u);
}

TEST(GenericList, AssignmentSharesTheElementsInOrder) {
  genericList source;
  fill(source, 3);
  genericList target;
  target.append(element(9));
  genericList& result = (target = source);
  EXPECT_EQ(&result, &target);
  EXPECT_THAT(forward(target), ElementsAre(0, 1, 2));
  EXPECT_THAT(backward(target), ElementsAre(2, 1, 0));
  EXPECT_THAT(forward(source), ElementsAre(0, 1, 2));
  EXPECT_EQ(target.count, 3u);
  EXPECT_NE(target.head.next, source.head.next);
}

TEST(GenericList, AssignmentDestroysNeitherOldNorNewElements) {
  RecordingList source;
  fill(source, 2);
  RecordingList target;
  target.append(element(9));
  target.genericList::operator=(source);
  EXPECT_THAT(target.destroyed, IsEmpty());
  EXPECT_THAT(source.destroyed, IsEmpty());
}

TEST(GenericList, AssigningAnEmptyListEmpties) {
  genericList source;
  genericList target;
  fill(target, 2);
  target = source;
  EXPECT_EQ(target.count, 0u);
  EXPECT_EQ(target.head.next, &target.head);
}

TEST(GenericList, CopySharesTheElementsAndHasNodesOfItsOwn) {
  genericList source;
  fill(source, 3);
  genericList copy(source);
  EXPECT_THAT(forward(copy), ElementsAre(0, 1, 2));
  EXPECT_THAT(backward(copy), ElementsAre(2, 1, 0));
  copy.remove(1u);
  EXPECT_THAT(forward(source), ElementsAre(0, 1, 2));
}

TEST(GenericList, AssigningAListToItselfIsSafe) {
  genericList list;
  fill(list, 3);
  genericList& alias = list;
  list = alias;
  EXPECT_EQ(list.count, forward(list).size());
  EXPECT_EQ(list.count, backward(list).size());
}

TEST(GenericList, CanBeFilledAgainAfterClear) {
  genericList list;
  fill(list, 3);
  list.index(1);
  list.clear(0);
  fill(list, 2);
  EXPECT_EQ(numberOf(list.index(1)->data), 1);
  EXPECT_THAT(forward(list), ElementsAre(0, 1));
}

TEST(GenericList, WalksALongListByIndexInBothDirections) {
  constexpr unsigned kCount = 100000;
  genericList list;
  for (unsigned i = 0; i < kCount; ++i) list.append(element(i % 32));
  for (unsigned i = 0; i < kCount; ++i) {
    ASSERT_EQ(list.index(i)->data, element(i % 32));
  }
  for (unsigned i = kCount; i-- > 0;) {
    ASSERT_EQ(list.index(i)->data, element(i % 32));
  }
}

TEST(GenericListDeathTest, IndexPastTheEndAborts) {
  genericList list;
  EXPECT_DEATH(list.index(0), "i < count");
  fill(list, 3);
  EXPECT_DEATH(list.index(3), "i < count");
  EXPECT_DEATH(list.index(0xFFFFFFFFu), "i < count");
}

TEST(GenericListDeathTest, AssertionNamesItsSourceAndLine) {
  genericList list;
  EXPECT_DEATH(list.index(0), "list.*127");
}

TEST(GenericListDeathTest, IndexPastTheEndAbortsEvenWithACursorThere) {
  genericList list;
  fill(list, 3);
  list.index(2);
  EXPECT_DEATH(list.index(3), "i < count");
}

TEST(GenericListDeathTest, IndexOfAClearedListAborts) {
  genericList list;
  fill(list, 3);
  list.index(0);
  list.clear(0);
  EXPECT_DEATH(list.index(0), "i < count");
  EXPECT_DEATH(list.index(1), "i < count");
}

TEST(GenericListDeathTest, RemovePastTheEndAborts) {
  genericList list;
  EXPECT_DEATH(list.remove(0u), "i < count");
  fill(list, 2);
  EXPECT_DEATH(list.remove(2u), "i < count");
}

TEST(GenericListDeathTest, AssertionEndsTheProcessWithAbort) {
  genericList list;
  EXPECT_EXIT(list.index(0), testing::KilledBySignal(SIGABRT), "i < count");
}

}  // namespace
