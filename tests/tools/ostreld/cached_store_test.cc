#include "store/cached_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "store/memory_store.h"

namespace ostrel::tools::server {
namespace {

// Counts what reaches it, and fails when told.
class CountingStore : public MemoryStore {
 public:
  std::shared_ptr<const Record> read(const veskOid& oid) override {
    ++reads;
    return MemoryStore::read(oid);
  }
  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override {
    if (full) throw StoreError("full");
    MemoryStore::write(oid, id, value);
  }

  int reads = 0;
  bool full = false;
};

class CachedStoreTest : public testing::Test {
 protected:
  CachedStoreTest() {
    store.insert(lamp);
    store.write(lamp, state, "off");
  }

  // What is read, and how often the store below was asked for it.
  std::string value() {
    const auto record = store.read(lamp);
    if (record == nullptr) return "nothing";
    return std::string(record->find(Record::keyOf(state)).value_or("none"));
  }
  int reads() { return std::exchange(below.reads, 0); }

  const veskOid lamp{"59.200.0.1"};
  const veskAid state{"59.200.1"};
  CountingStore below;
  CachedStore store{&below, 1000};
};

TEST_F(CachedStoreTest, ReadsAnObjectOnce) {
  EXPECT_EQ(value(), "off");
  EXPECT_EQ(value(), "off");
  EXPECT_TRUE(store.has(lamp));
  EXPECT_EQ(reads(), 1);
}

TEST_F(CachedStoreTest, ReadsAgainWhatWasChanged) {
  value();
  store.write(lamp, state, "on");
  EXPECT_EQ(value(), "on");
  store.remove(lamp);
  EXPECT_EQ(value(), "nothing");
  EXPECT_FALSE(store.has(lamp));
  EXPECT_EQ(store.bytes(), 0U);
}

TEST_F(CachedStoreTest, HoldsNothingOfATransactionThatIsUndone) {
  value();
  {
    Transaction transaction(store);
    store.write(lamp, state, "on");
    EXPECT_EQ(value(), "on");
    EXPECT_EQ(value(), "on");
  }
  EXPECT_EQ(value(), "off");
}

TEST_F(CachedStoreTest, HoldsNothingOfASavepointThatIsUndone) {
  Transaction transaction(store);
  {
    Savepoint kept(store);
    store.write(lamp, state, "dim");
    kept.keep();
  }
  {
    Savepoint undone(store);
    store.write(lamp, state, "on");
    EXPECT_EQ(value(), "on");
  }
  EXPECT_EQ(value(), "dim");
  transaction.commit();
  EXPECT_EQ(value(), "dim");
}

TEST_F(CachedStoreTest, HoldsWhatWasCommitted) {
  {
    Transaction transaction(store);
    store.write(lamp, state, "on");
    transaction.commit();
  }
  reads();
  EXPECT_EQ(value(), "on");
  EXPECT_EQ(value(), "on");
  EXPECT_EQ(reads(), 1);
}

TEST_F(CachedStoreTest, IsRightAfterAChangeThatFailed) {
  value();
  below.full = true;
  EXPECT_THROW(store.write(lamp, state, "on"), StoreError);
  EXPECT_EQ(value(), "off");
  EXPECT_THROW(
      {
        Transaction transaction(store);
        store.write(lamp, state, "on");
      },
      StoreError);
  EXPECT_EQ(value(), "off");
}

TEST_F(CachedStoreTest, HoldsNoMoreThanItMay) {
  for (int i = 2; i < 20; ++i) {
    const veskOid other(("59.200.0." + std::to_string(i)).c_str());
    store.insert(other);
    store.write(other, state, std::string(100, 'x'));
    store.read(other);
    EXPECT_GT(store.bytes(), 0U);
    EXPECT_LE(store.bytes(), 1000U);
    value();  // read all the time, so it stays
  }
  reads();
  value();
  EXPECT_EQ(reads(), 0);
}

TEST_F(CachedStoreTest, DoesNotHoldWhatIsLongerThanAllThatItMay) {
  value();
  const veskOid other("59.200.0.2");
  store.insert(other);
  store.write(other, state, std::string(2000, 'x'));
  EXPECT_EQ(store.read(other)->length(), 2000U);
  reads();
  value();
  EXPECT_EQ(reads(), 0);
}

TEST_F(CachedStoreTest, WhatWasReadStaysWhenItIsDropped) {
  const auto record = store.read(lamp);
  store.write(lamp, state, "on");
  EXPECT_EQ(record->value(0), "off");
}

// Changes, transactions and savepoints in any order: what is read is what the
// store below has.
TEST_F(CachedStoreTest, IsNeverWrong) {
  std::uint32_t seed = 1;
  const auto random = [&](std::uint32_t bound) {
    seed = seed * 1664525 + 1013904223;
    return (seed >> 16) % bound;
  };
  const auto oid = [&] {
    return veskOid(("59.200.0." + std::to_string(1 + random(6))).c_str());
  };
  const auto step = [&] {
    const veskOid object = oid();
    switch (random(4)) {
      case 0:
        if (!store.has(object)) store.insert(object);
        break;
      case 1:
        store.remove(object);
        break;
      case 2:
        if (store.has(object))
          store.write(object, state, std::to_string(random(1000)));
        break;
      default:
        store.read(object);
    }
    const veskOid any = oid();
    const auto mine = store.read(any);
    const auto theirs = below.MemoryStore::read(any);
    ASSERT_EQ(mine == nullptr, theirs == nullptr);
    if (mine == nullptr) return;
    ASSERT_EQ(mine->count(), theirs->count());
    if (mine->count() == 0) return;
    ASSERT_EQ(mine->value(0), theirs->value(0));
  };
  for (int i = 0; i < 2000; ++i) {
    step();
    Transaction transaction(store);
    for (std::uint32_t j = random(4); j != 0; --j) {
      step();
      Savepoint savepoint(store);
      for (std::uint32_t k = random(4); k != 0; --k) step();
      if (random(2) == 0) savepoint.keep();
    }
    if (random(2) == 0) transaction.commit();
  }
}

}  // namespace
}  // namespace ostrel::tools::server
