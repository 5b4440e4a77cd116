// The pool: what it gives out again, how much it keeps, and that all of it goes
// back to the allocator with the thread.

#include "base/pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

namespace {

std::atomic<long> allocated;
std::atomic<long> freed;
std::atomic<std::size_t> lastSize;

}  // namespace

// Counted for the whole program.
void* operator new(std::size_t size) {
  allocated++;
  lastSize = size;
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  if (block != nullptr) freed++;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}

namespace {

using ostrel::Pool;

constexpr std::size_t kSize = 24;

// Runs a test where the pool is as a thread finds it; returns how many blocks
// the thread left behind, itself not counted.
template <class Test>
long leftBehind(Test test) {
  long allocatedBefore = 0;
  long freedBefore = 0;
  long allocatedAfter = 0;
  std::thread thread([&] {
    allocatedBefore = allocated;
    freedBefore = freed;
    test();
    allocatedAfter = allocated;
  });
  thread.join();
  // GCC's std::thread frees a block of its own with the thread.
  const long ofTheThread = 1;
  return (allocatedAfter - allocatedBefore) -
         (freed - freedBefore - ofTheThread);
}

std::vector<void*> blocks(std::size_t count, std::size_t size) {
  std::vector<void*> result(count);
  for (void*& block : result) block = Pool::allocate(size);
  return result;
}

long freedByReleasing(const std::vector<void*>& all, std::size_t size) {
  const long before = freed;
  for (void* block : all) Pool::release(block, size);
  return freed - before;
}

TEST(Pool, FreesBlocksThatAreLargerThanItKeeps) {
  EXPECT_EQ(leftBehind([] {
              const std::size_t size = Pool::kLargest + 1;
              EXPECT_EQ(freedByReleasing(blocks(10, size), size), 10);
            }),
            0);
}

TEST(Pool, FreesEverythingWithTheThread) {
  EXPECT_EQ(leftBehind([] {
              for (std::size_t size = 1; size <= Pool::kLargest; size++)
                freedByReleasing(blocks(3, size), size);
            }),
            0);
}

TEST(Pool, TakesBlocksOfOtherThreads) {
  std::vector<void*> all;
  const long missing = leftBehind([&] { all = blocks(100, kSize); });
  const long given = leftBehind([&] { freedByReleasing(all, kSize); });
  EXPECT_EQ(missing + given, 1) << "but for the vector's own block";
}

// Gives a block back when it is destroyed, which is after the pool's end if it
// was there before the pool's first block.
struct Latecomer {
  ~Latecomer() { Pool::release(block, kSize); }
  void* block = nullptr;
};

TEST(Pool, FreesWhatComesBackAfterTheThreadsEnd) {
  EXPECT_EQ(leftBehind([] {
              static thread_local Latecomer latecomer;
              latecomer.block = Pool::allocate(kSize);
              freedByReleasing(blocks(10, kSize), kSize);
            }),
            0);
}

#if defined(OSTREL_POOL_OFF)

TEST(Pool, HidesNothingFromSanitizers) {
  EXPECT_EQ(leftBehind([] {
              EXPECT_EQ(freedByReleasing(blocks(100, kSize), kSize), 100);
            }),
            0);
}

#else

// The first block that a thread gives back is freed; it opens the lists.
void openLists() { freedByReleasing(blocks(1, kSize), kSize); }

TEST(Pool, GivesOutTheLastBlockThatCameBack) {
  leftBehind([] {
    openLists();
    const std::vector<void*> all = blocks(3, kSize);
    EXPECT_EQ(freedByReleasing(all, kSize), 0);
    EXPECT_EQ(Pool::allocate(kSize), all[2]);
    EXPECT_EQ(Pool::takeKept(kSize), all[1]);
    EXPECT_EQ(Pool::allocate(kSize), all[0]);
    EXPECT_EQ(Pool::takeKept(kSize), nullptr);
    freedByReleasing(all, kSize);
  });
}

TEST(Pool, GivesABlockToEverySizeOfItsList) {
  leftBehind([] {
    openLists();
    void* const block = Pool::allocate(kSize - 4);
    EXPECT_GE(lastSize, kSize);
    Pool::release(block, kSize - 4);
    EXPECT_EQ(Pool::takeKept(kSize + 16), nullptr);
    EXPECT_EQ(Pool::allocate(kSize), block);
    Pool::release(block, kSize);
  });
}

TEST(Pool, HasRoomForItsOwnUseInTheSmallestBlock) {
  leftBehind([] {
    void* const block = Pool::allocate(1);
    EXPECT_GE(lastSize, sizeof(void*));
    Pool::release(block, 1);
  });
}

TEST(Pool, FreesWhatIsBeyondTheBytesThatItKeeps) {
  // With the allocator's word, and rounded up, a block of kSize takes 32 bytes
  // where a word has 4 bytes and where it has 8.
  constexpr std::size_t kMost = Pool::kMostKept / 32;
  EXPECT_EQ(leftBehind([] {
              openLists();
              EXPECT_EQ(freedByReleasing(blocks(kMost, kSize), kSize), 0);
              // Those are taken from the list, and ten come to them.
              EXPECT_EQ(freedByReleasing(blocks(kMost + 10, kSize), kSize), 10);
              EXPECT_EQ(freedByReleasing(blocks(1, kSize + 16), kSize + 16), 1);
            }),
            0);
}

#endif

}  // namespace
