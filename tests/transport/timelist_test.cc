#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/timelist.h>

#include <climits>
#include <list>
#include <random>
#include <vector>

#include "support/fake_platform.h"

namespace {

using ::testing::ElementsAre;

class TimeList : public ::testing::Test {
 protected:
  TimeList() : system((fake::platform().reset(), fake::platform())) {}
  ~TimeList() override { list.clear(0); }

  // Deltas in order; the walk back must find the same entries.
  std::vector<long> deltas() {
    std::vector<long> result;
    timeoutEntry* previous = &list.anchor;
    for (timeoutEntry* entry = list.anchor.next; entry != &list.anchor;
         entry = entry->next) {
      EXPECT_EQ(entry->previous, previous);
      previous = entry;
      result.push_back(entry->delta);
    }
    EXPECT_EQ(list.anchor.previous, previous);
    EXPECT_EQ(list.count, result.size());
    return result;
  }

  std::vector<void*> items() {
    std::vector<void*> result;
    for (unsigned i = 0; i < list.count; ++i) {
      result.push_back(list.index(i)->data);
    }
    return result;
  }

  fake::Platform& system;
  timeoutList list;
  int a = 0, b = 0, c = 0, d = 0;
};

TEST_F(TimeList, StartsEmptyWithAnAnchorThatPointsAtItself) {
  EXPECT_EQ(list.anchor.next, &list.anchor);
  EXPECT_EQ(list.anchor.previous, &list.anchor);
  EXPECT_EQ(list.anchor.delta, 0);
  EXPECT_EQ(list.anchor.data, nullptr);
  EXPECT_EQ(list.lastTickTime, system.seconds());
  EXPECT_EQ(list.count, 0U);
  EXPECT_EQ(list.cachedEntry, nullptr);
}

TEST_F(TimeList, InsertKeepsItemsInOrderOfDueTime) {
  list.insert(10, &a);
  list.insert(4, &b);
  EXPECT_THAT(deltas(), ElementsAre(4, 6));
  EXPECT_THAT(items(), ElementsAre(&b, &a));
  list.insert(7, &c);
  EXPECT_THAT(deltas(), ElementsAre(4, 3, 3));
  EXPECT_THAT(items(), ElementsAre(&b, &c, &a));
  list.insert(30, &d);
  EXPECT_THAT(deltas(), ElementsAre(4, 3, 3, 20));
}

TEST_F(TimeList, InsertReturnsTheNewEntry) {
  timeoutEntry* entry = list.insert(10, &a);
  EXPECT_EQ(entry, list.index(0));
  EXPECT_EQ(entry->data, &a);
  EXPECT_EQ(entry->delta, 10);
}

TEST_F(TimeList, ItemsThatFallDueTogetherLeaveInOrderOfArrival) {
  list.insert(5, &a);
  list.insert(5, &b);
  list.insert(9, &d);
  list.insert(5, &c);
  EXPECT_THAT(deltas(), ElementsAre(5, 0, 0, 4));
  EXPECT_EQ(list.pop(), &a);
  EXPECT_EQ(list.pop(), &b);
  EXPECT_EQ(list.pop(), &c);
  EXPECT_EQ(list.pop(), &d);
  EXPECT_EQ(list.pop(), nullptr);
}

TEST_F(TimeList, InsertCountsFromNow) {
  list.insert(10, &a);
  system.advance(3);
  list.insert(10, &b);
  EXPECT_THAT(deltas(), ElementsAre(7, 3));
  EXPECT_EQ(list.lastTickTime, system.seconds());
}

TEST_F(TimeList, InsertOfNoOrNegativeTimeFallsDueAtOnce) {
  list.insert(3, &a);
  list.insert(0, &b);
  list.insert(-5, &c);
  EXPECT_THAT(items(), ElementsAre(&c, &b, &a));
  EXPECT_THAT(deltas(), ElementsAre(-5, 5, 3));
  EXPECT_EQ(list.tick(nullptr), 1);
}

TEST_F(TimeList, InsertGoesBehindOverdueEntries) {
  list.insert(1, &a);
  list.insert(3, &b);
  system.advance(10);
  list.insert(0, &c);
  EXPECT_THAT(items(), ElementsAre(&a, &b, &c));
  EXPECT_THAT(deltas(), ElementsAre(-9, 2, 7));
}

TEST_F(TimeList, TickTellsTheSecondsUntilTheFirstIsDue) {
  list.insert(3, &a);
  long next = 99;
  EXPECT_EQ(list.tick(&next), 0);
  EXPECT_EQ(next, 3);
  system.advance(2);
  EXPECT_EQ(list.tick(&next), 0);
  EXPECT_EQ(next, 1);
  system.advance(1);
  EXPECT_EQ(list.tick(&next), 1);
  EXPECT_EQ(next, 0);
  system.advance(4);
  EXPECT_EQ(list.tick(&next), 1);
  EXPECT_EQ(next, -4);
  EXPECT_EQ(list.tick(nullptr), 1);
}

TEST_F(TimeList, TickKnowsWholeSecondsOnly) {
  list.insert(1, &a);
  system.advance(0.99);
  EXPECT_EQ(list.tick(nullptr), 0);
  system.advance(0.01);
  EXPECT_EQ(list.tick(nullptr), 1);
}

TEST_F(TimeList, TickOnAnEmptyListLeavesNextUntouched) {
  system.advance(7);
  long next = 99;
  EXPECT_EQ(list.tick(&next), 0);
  EXPECT_EQ(next, 99);
  EXPECT_EQ(list.lastTickTime, system.seconds());
}

TEST_F(TimeList, TickFollowsAClockThatGoesBack) {
  list.insert(3, &a);
  system.advance(-5);
  long next = 0;
  EXPECT_EQ(list.tick(&next), 0);
  EXPECT_EQ(next, 8);
}

TEST_F(TimeList, PopTakesTheFirstWhetherDueOrNot) {
  list.insert(3, &a);
  EXPECT_EQ(list.pop(), &a);
  EXPECT_EQ(list.count, 0U);
  EXPECT_EQ(list.anchor.next, &list.anchor);
  EXPECT_EQ(list.anchor.previous, &list.anchor);
}

TEST_F(TimeList, PopKeepsTheDueTimesOfTheOthers) {
  list.insert(3, &a);
  list.insert(9, &b);
  EXPECT_EQ(list.pop(), &a);
  EXPECT_THAT(deltas(), ElementsAre(9));
}

TEST_F(TimeList, PopGivesLatenessToTheNextOfTheSameDueTime) {
  list.insert(3, &a);
  list.insert(3, &b);
  list.insert(3, &c);
  list.insert(8, &d);
  system.advance(5);
  EXPECT_EQ(list.tick(nullptr), 1);
  EXPECT_EQ(list.pop(), &a);
  EXPECT_THAT(deltas(), ElementsAre(-2, 0, 5));
  list.insert(1, &a);
  EXPECT_THAT(items(), ElementsAre(&b, &c, &a, &d));
  EXPECT_THAT(deltas(), ElementsAre(-2, 0, 3, 2));
}

TEST_F(TimeList, KeepsRemoveMakingLaterEntriesDueEarlier) {
  list.insert(3, &a);
  list.insert(9, &b);
  list.insert(9, &c);
  list.remove(0U);
  EXPECT_THAT(deltas(), ElementsAre(6, 0));
  list.insert(20, &d);
  list.remove(&b);
  EXPECT_THAT(deltas(), ElementsAre(0, 14));
}

TEST_F(TimeList, KeepsTheLatenessOfALoneEntryForTheNextInsert) {
  list.insert(3, &a);
  system.advance(5);
  EXPECT_EQ(list.tick(nullptr), 1);
  EXPECT_EQ(list.pop(), &a);
  EXPECT_EQ(list.anchor.delta, -2);
  list.insert(6, &b);
  EXPECT_THAT(deltas(), ElementsAre(4));
  EXPECT_EQ(list.anchor.delta, -2);
  EXPECT_EQ(list.tick(nullptr), 0);
  EXPECT_EQ(list.anchor.delta, 0);
}

TEST_F(TimeList, CarriesNoLatenessWhenAnEntryRemains) {
  list.insert(3, &a);
  list.insert(30, &b);
  system.advance(5);
  EXPECT_EQ(list.tick(nullptr), 1);
  EXPECT_EQ(list.pop(), &a);
  list.insert(6, &c);
  EXPECT_THAT(items(), ElementsAre(&c, &b));
  EXPECT_THAT(deltas(), ElementsAre(6, 19));
}

TEST_F(TimeList, KeepsAddingUpLatenessWhilePopsEmptyTheList) {
  list.insert(3, &a);
  system.advance(5);
  list.tick(nullptr);
  list.pop();
  list.insert(6, &b);  // due in 4
  list.pop();          // not due, and no tick in between
  EXPECT_EQ(list.anchor.delta, 2);
  list.insert(1, &c);
  EXPECT_THAT(deltas(), ElementsAre(3));
}

TEST_F(TimeList, KeepsTheAnchorsLatenessOverTicksOfAnEmptyList) {
  list.insert(3, &a);
  system.advance(5);
  list.tick(nullptr);
  list.pop();
  list.tick(nullptr);
  EXPECT_EQ(list.anchor.delta, -2);
}

TEST_F(TimeList, KeepsTheAnchorsLatenessOverClearAndRemove) {
  list.insert(3, &a);
  system.advance(5);
  list.tick(nullptr);
  list.pop();
  list.insert(6, &a);
  list.insert(6, &b);
  EXPECT_EQ(list.anchor.delta, 0);  // the second insert found an entry
  list.clear(0);
  list.insert(6, &a);
  list.pop();
  EXPECT_EQ(list.anchor.delta, 6);
  list.clear(0);
  EXPECT_EQ(list.anchor.delta, 6);
  list.insert(1, &a);
  list.remove(&a);
  EXPECT_EQ(list.anchor.delta, 6);
}

TEST_F(TimeList, RemoveTakesOutEveryEntryOfAnItem) {
  list.insert(1, &a);
  list.insert(2, &b);
  list.insert(3, &a);
  list.insert(3, &c);
  list.insert(3, &a);
  list.remove(&a);
  EXPECT_THAT(items(), ElementsAre(&b, &c));
  EXPECT_THAT(deltas(), ElementsAre(1, 0));
  list.remove(&d);
  EXPECT_EQ(list.count, 2U);
}

TEST_F(TimeList, RemoveByPositionTakesAnyIntegerType) {
  for (int* item : {&a, &b, &c, &d}) list.insert(1, item);
  list.remove(0);
  list.remove(2UL);
  list.remove(1U);
  EXPECT_THAT(items(), ElementsAre(&b));
}

TEST_F(TimeList, RemoveEntryTakesOutJustThatEntry) {
  list.insert(1, &a);
  timeoutEntry* entry = list.insert(1, &a);
  list.insert(4, &b);
  list.removeEntry(entry);
  EXPECT_THAT(deltas(), ElementsAre(1, 3));
}

TEST_F(TimeList, IndexFindsEveryPositionInAnyOrder) {
  std::vector<int> values(10);
  for (int& value : values) list.insert(1, &value);
  std::mt19937 random(1);
  for (int i = 0; i < 1000; ++i) {
    const unsigned at = static_cast<unsigned>(random() % values.size());
    ASSERT_EQ(list.index(at)->data, &values[at]);
    ASSERT_EQ(list.cachedIndex, at);
    ASSERT_EQ(list.cachedEntry->data, &values[at]);
  }
}

TEST_F(TimeList, IndexCostsOneStepForTheNextPosition) {
  std::vector<int> values(10);
  for (int& value : values) list.insert(1, &value);
  auto cost = [this](unsigned i) {
    const unsigned long before = list.steps();
    list.index(i);
    return list.steps() - before;
  };
  EXPECT_EQ(cost(5), 5U);
  EXPECT_EQ(cost(6), 1U);
  EXPECT_EQ(cost(6), 0U);
  EXPECT_EQ(cost(4), 2U);  // back from the cache
  EXPECT_EQ(cost(8), 4U);
  EXPECT_EQ(cost(1), 1U);  // nearer from the front
  EXPECT_EQ(cost(9), 0U);
  EXPECT_EQ(cost(0), 0U);
}

TEST_F(TimeList, EveryChangeOfMembershipForgetsTheCache) {
  list.insert(1, &a);
  list.insert(2, &b);
  list.insert(3, &c);
  list.index(1);
  list.insert(4, &d);
  EXPECT_EQ(list.cachedEntry, nullptr);
  list.index(1);
  list.remove(&b);
  EXPECT_EQ(list.cachedEntry, nullptr);
  list.index(1);
  list.remove(0U);
  EXPECT_EQ(list.cachedEntry, nullptr);
  list.index(0);
  list.pop();
  EXPECT_EQ(list.cachedEntry, nullptr);
  list.index(0);
  list.clear(0);
  EXPECT_EQ(list.cachedEntry, nullptr);
}

using TimeListDeathTest = TimeList;

TEST_F(TimeListDeathTest, IndexPastTheEndStopsTheProcess) {
  EXPECT_DEATH(list.index(0), "i < count.*timelist.*141");
  list.insert(1, &a);
  EXPECT_DEATH(list.index(1), "i < count.*timelist.*141");
  EXPECT_DEATH(list.remove(1U), "i < count.*timelist.*141");
}

TEST_F(TimeList, ClearFreesItemsOnlyWhenTold) {
  list.insert(1, &a);  // were it freed, the checkers would object
  list.clear(0);
  EXPECT_EQ(list.count, 0U);
  list.insert(1, ::operator new(8));
  list.insert(2, ::operator new(8));
  list.insert(2, nullptr);
  list.clear(1);
  EXPECT_EQ(list.count, 0U);
  EXPECT_EQ(list.anchor.next, &list.anchor);
}

TEST_F(TimeList, KeepsEntriesAliveWhenDestroyed) {
  auto* other = new timeoutList;
  timeoutEntry* entry = other->insert(7, &a);
  delete other;
  EXPECT_EQ(entry->data, &a);
  EXPECT_EQ(entry->delta, 7);
  delete entry;
}

TEST_F(TimeList, StaysInRangeWithEndlessTimes) {
  list.insert(LONG_MAX, &a);
  list.insert(LONG_MIN, &b);
  list.insert(LONG_MAX, &c);
  EXPECT_EQ(list.index(0)->data, &b);
  system.advance(5);
  EXPECT_EQ(list.tick(nullptr), 1);
  EXPECT_EQ(list.pop(), &b);
  EXPECT_EQ(list.count, 2U);
}

TEST_F(TimeList, FollowsAFirstDeltaThatItsOwnerChanges) {
  list.insert(5, &a);
  list.insert(5, &b);
  list.insert(9, &c);
  list.index(0)->delta = -2;
  list.insert(1, &d);
  EXPECT_THAT(items(), ElementsAre(&a, &b, &d, &c));
  EXPECT_THAT(deltas(), ElementsAre(-2, 0, 3, 1));
}

TEST_F(TimeList, CountsChanges) {
  const std::uint64_t before = list.changes();
  list.insert(1, &a);
  list.index(0);
  list.tick(nullptr);
  EXPECT_EQ(list.changes(), before + 1);
  list.pop();
  EXPECT_EQ(list.changes(), before + 2);
}

TEST_F(TimeList, InsertTakesAsManyStepsForTenAsForTenThousand) {
  auto stepsFor = [this](int outstanding) {
    list.clear(0);
    for (int i = 0; i < outstanding; ++i) {
      list.insert(i % 3 == 0 ? 12 : i % 3 == 1 ? 6 : 3, &a);
    }
    const unsigned long before = list.steps();
    for (int i = 0; i < 100; ++i) list.insert(6, &b);
    return list.steps() - before;
  };
  EXPECT_EQ(stepsFor(10), 300U);
  EXPECT_EQ(stepsFor(10000), 300U);
}

// The same queue written the plain way: a list of deltas, every walk from the
// front, nothing remembered.
struct PlainQueue {
  struct Entry {
    long delta;
    void* data;
  };

  void tick(long now) {
    if (!entries.empty()) {
      entries.front().delta -= now - last;
      anchor = 0;
    }
    last = now;
  }
  void insert(long now, long t, void* item) {
    tick(now);
    long total = 0;
    auto e = entries.begin();
    for (; e != entries.end(); ++e) {
      total += e->delta;
      if (t < total) break;
    }
    const bool atEnd = e == entries.end();
    const long before = total - (atEnd ? anchor : e->delta);
    const long delta = t - before;
    if (!atEnd) e->delta -= delta;
    entries.insert(e, {delta, item});
  }
  void* pop() {
    if (entries.empty()) return nullptr;
    const Entry first = entries.front();
    entries.pop_front();
    (entries.empty() ? anchor : entries.front().delta) += first.delta;
    return first.data;
  }

  std::list<Entry> entries;
  long anchor = 0;
  long last = 0;
};

TEST_F(TimeList, AgreesWithThePlainQueueOverRandomHistories) {
  std::vector<int> values(8);
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    auto below = [&random](unsigned n) {
      return static_cast<unsigned>(random() % n);
    };
    timeoutList queue;
    PlainQueue plain;
    plain.last = system.seconds();
    for (int step = 0; step < 300; ++step) {
      int* item = &values[below(8)];
      switch (below(8)) {
        case 0:
        case 1:
        case 2: {
          const long t = static_cast<long>(below(6)) - 1;
          queue.insert(t, item);
          plain.insert(system.seconds(), t, item);
          break;
        }
        case 3:
          system.advance(below(3));
          break;
        case 4:
          queue.tick(nullptr);
          plain.tick(system.seconds());
          break;
        case 5:
          ASSERT_EQ(queue.pop(), plain.pop());
          break;
        case 6:
          if (below(4) != 0) break;
          queue.remove(item);
          plain.entries.remove_if(
              [item](const PlainQueue::Entry& e) { return e.data == item; });
          break;
        case 7: {
          if (queue.count == 0) break;
          const unsigned at = below(queue.count);
          queue.remove(at);
          plain.entries.erase(
              std::next(plain.entries.begin(), static_cast<int>(at)));
          break;
        }
      }
      ASSERT_EQ(queue.count, plain.entries.size());
      ASSERT_EQ(queue.anchor.delta, plain.anchor);
      timeoutEntry* entry = queue.anchor.next;
      for (const PlainQueue::Entry& expected : plain.entries) {
        ASSERT_EQ(entry->delta, expected.delta) << "seed " << seed;
        ASSERT_EQ(entry->data, expected.data) << "seed " << seed;
        entry = entry->next;
      }
    }
    queue.clear(0);
  }
}

}  // namespace
