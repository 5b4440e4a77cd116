// What every operation does when memory runs out, wherever it does: each walk
// repeats an operation with a later allocation failing each time, until there
// is none left to fail. Nothing may be thrown, leaked or freed twice, and a
// caller's lists stay as they were unless the operation succeeded.
//
// Each run has a thread of its own, whose end empties the pool, so that every
// block that the library took is accounted for.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include "support/operations.h"

// The linker sends the library's calls here: --wrap, see CMakeLists.txt.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
}

namespace {

// Which allocations of the library fail.
struct Shortage {
  bool armed = false;
  unsigned long skip = 0;  // allocations that succeed first
  bool lasting = false;    // whether all others fail, or only the next
  unsigned long failed = 0;
};
Shortage shortage;

// Blocks from operator new that the library took and nobody freed yet.
class Blocks {
 public:
  void add(void* block) {
    if (count_ == kMost) std::abort();
    blocks_[count_++] = block;
  }
  void remove(void* block) {
    for (std::size_t i = count_; i > 0; --i) {
      if (blocks_[i - 1] != block) continue;
      blocks_[i - 1] = blocks_[--count_];
      return;
    }
  }
  std::size_t count() const { return count_; }
  void forget() { count_ = 0; }

 private:
  static constexpr std::size_t kMost = 10000;
  void* blocks_[kMost] = {};
  std::size_t count_ = 0;
};
Blocks blocks;

bool fails() {
  if (!shortage.armed) return false;
  if (shortage.skip > 0) {
    shortage.skip--;
    return false;
  }
  if (!shortage.lasting && shortage.failed > 0) return false;
  shortage.failed++;
  errno = ENOMEM;
  return true;
}

// Whether an allocation is the library's and not that of a scripted server.
bool isTheLibrarys() { return shortage.armed && !fake::inside(); }

void* take(std::size_t size) noexcept {
  const bool counts = isTheLibrarys();
  if (counts && fails()) return nullptr;
  void* block = __real_malloc(size == 0 ? 1 : size);
  if (counts && block != nullptr) blocks.add(block);
  return block;
}

void* takeOrThrow(std::size_t size) {
  void* block = take(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) noexcept {
  if (block == nullptr) return;
  blocks.remove(block);
  std::free(block);
}

}  // namespace

void* __wrap_malloc(std::size_t size) {
  return isTheLibrarys() && fails() ? nullptr : __real_malloc(size);
}
void* __wrap_realloc(void* block, std::size_t size) {
  return isTheLibrarys() && fails() ? nullptr : __real_realloc(block, size);
}

void* operator new(std::size_t size) { return takeOrThrow(size); }
void* operator new[](std::size_t size) { return takeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void operator delete(void* block) noexcept { giveBack(block); }
void operator delete[](void* block) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
void operator delete[](void* block, std::size_t) noexcept { giveBack(block); }

namespace {

using fake::Call;
using fake::Operation;
using fake::Scene;

constexpr int kNoError = 0;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;

class OutOfMemory : public ::testing::TestWithParam<Operation> {
 protected:
  // Runs the operation with the shortage that `lasting` and `skip` say. Returns
  // whether an allocation has failed.
  bool run(unsigned long skip, bool lasting) {
    fake::platform().reset();
    std::thread([&] { runHere(skip, lasting); }).join();
    EXPECT_EQ(blocks.count(), 0U) << "allocation " << skip;
    blocks.forget();
    return shortage.failed > 0;
  }

  void runHere(unsigned long skip, bool lasting) {
    Scene scene;
    fake::platform().atCall = [](Call call) {
      // The one call of the system that gives memory.
      if (call == Call::kAllocate && fails())
        fake::platform().failNext(Call::kAllocate, ENOMEM);
    };
    GetParam().prepare(scene);
    const std::string before = scene.caller.text();
    shortage = {true, skip, lasting, 0};
    int code = -99;
    int cause = 0;
    try {
      code = GetParam().call(scene);
      cause = errno;
    } catch (...) {
      ADD_FAILURE() << "allocation " << skip << " was thrown";
    }
    shortage.armed = false;
    if (code == kNoError) return;
    EXPECT_GT(shortage.failed, 0U) << code;
    EXPECT_TRUE(code == kNetworkError || code == kCodingError)
        << "allocation " << skip << ": " << code;
    EXPECT_TRUE(cause == ENOMEM || (lasting && cause == ETIMEDOUT))
        << "allocation " << skip << ": " << cause;
    EXPECT_EQ(scene.caller.text(), before) << "allocation " << skip;
  }
};

INSTANTIATE_TEST_SUITE_P(Operations, OutOfMemory,
                         ::testing::ValuesIn(fake::kOperations),
                         [](const auto& row) { return row.param.name; });

TEST_P(OutOfMemory, OnceEndsEveryOperationCleanly) {
  unsigned long n = 0;
  while (run(n, false)) n++;
  EXPECT_GT(n, 0U);
}

TEST_P(OutOfMemory, ForGoodEndsEveryOperationCleanly) {
  unsigned long n = 0;
  while (run(n, true)) n++;
  EXPECT_GT(n, 0U);
}

// Runs something in a thread of its own with a later allocation failing each
// time, until there is none left to fail.
void failEach(void (*work)()) {
  unsigned long n = 0;
  do {
    fake::platform().reset();
    std::thread([&] {
      shortage = {true, n++, false, 0};
      work();
      shortage.armed = false;
    }).join();
    EXPECT_EQ(blocks.count(), 0U) << "allocation " << n - 1;
    blocks.forget();
  } while (shortage.failed > 0);
  EXPECT_GT(n, 1U);
}

TEST(HandlersWithoutMemory, AreMadeAndDoWhatTheyCan) {
  ::testing::internal::CaptureStderr();
  failEach([] {
    veskQueryHandler query;
    veskEventHandler event;
    veskOid object;
    EXPECT_EQ(query.verify(nullptr, object), query.socket == 0 ? 10 : 12);
    if (event.open() < 0) {
      EXPECT_EQ(errno, ENOMEM);
      EXPECT_GE(event.open(), 0);  // tries again
    }
    if (event.requestSocket < 0) {
      EXPECT_EQ(event.comminit(), kNoError);
    }
    EXPECT_EQ(event.close(), 1);
  });
  ::testing::internal::GetCapturedStderr();
}

TEST(HandlersWithoutMemory, TransactionHandlersAreNotMadeAndLeaveNothing) {
  failEach([] {
    try {
      veskTransactionHandler handler;
      EXPECT_EQ(shortage.failed, 0U);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(shortage.failed, 1U);
    }
  });
}

// A response whose list of attributes holds so many null values.
std::string answerOfNulls(const char* tag, const char* id, unsigned count) {
  std::string bytes = fake::raw(tag) + fake::raw("03 00") + fake::raw(id) +
                      fake::raw("0A 00 80 43 00 80 43 02");
  fake::appendNumber(bytes, count, 2);
  return bytes + std::string(count, '\0');
}

// The library's allocations in some work.
template <class Work>
unsigned long allocationsOf(Work work) {
  constexpr unsigned long kAll = 1000000;
  shortage = {true, kAll, false, 0};
  work();
  shortage.armed = false;
  blocks.forget();
  return kAll - shortage.skip;
}

TEST(UnwantedAnswers, TakeNoMemoryWhenNobodyWaitsForThem) {
  fake::platform().reset();
  veskTransactionHandler handler;
  const int socket = handler.open();
  const std::string answer = answerOfNulls("27", "43 01 07", 1000);
  fake::platform().deliver(fake::endpoint("192.0.2.1", 5135), socket,
                           fake::fragments(1, answer)[0]);
  EXPECT_EQ(allocationsOf([&] {
              veskPDU* pdu = nullptr;
              EXPECT_EQ(handler.recv(nullptr, &pdu), kNoError);
              EXPECT_EQ(pdu, nullptr);
            }),
            0U);
}

TEST(UnwantedAnswers, OfAnotherKindTakeAHeaderWhateverTheyHold) {
  const auto ask = [](unsigned count) {
    fake::platform().reset();
    fake::Server server("192.0.2.1", fake::kObjectPort);
    server.then(
        fake::answer(fake::digits(answerOfNulls("29", "43 00", count))));
    veskQueryHandler handler;
    handler.currentAccess = "59.110.1.1";
    handler.currentAccess.id = 1000;
    veskAddress address("192.0.2.1");
    veskOid object("59.6.0.1");
    veskList attributes;
    return allocationsOf([&] {
      EXPECT_EQ(handler.get(&address, object, attributes, nullptr),
                kCodingError);
      EXPECT_EQ(errno, EBADMSG);
    });
  };
  const unsigned long ofOne = ask(1);
  EXPECT_LE(ask(1000), ofOne);
}

}  // namespace
