// What values that own themselves do when memory runs out, wherever it does:
// each walk repeats an operation with a later allocation failing each time,
// until there is none left to fail. std::bad_alloc comes out, nothing leaks,
// and what was there before is as it was.

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "ostrel/attributes.h"
#include "ostrel/codes.h"
#include "ostrel/function.h"
#include "ostrel/result.h"
#include "ostrel/value.h"

namespace {

struct Shortage {
  bool armed = false;
  unsigned long skip = 0;  // allocations that succeed first
  bool failed = false;
  long held = 0;  // blocks taken and not freed
};
Shortage shortage;

}  // namespace

void* operator new(std::size_t size) {
  if (shortage.armed && shortage.skip-- == 0) {
    shortage.failed = true;
    shortage.armed = false;
    throw std::bad_alloc();
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  shortage.held++;
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  shortage.held--;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}

namespace {

using namespace ostrel;

// Runs `operation` with an allocation failing after `skip`. Returns whether one
// did.
bool runShort(const std::function<void()>& operation, unsigned long skip) {
  bool thrown = false;
  shortage.failed = false;
  shortage.skip = skip;
  shortage.armed = true;
  try {
    operation();
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  shortage.armed = false;
  EXPECT_TRUE(shortage.failed || !thrown);
  return shortage.failed;
}

// Repeats `operation` until no allocation fails. Returns how often one did.
// Each run has a thread of its own, whose end empties the pool of the stated
// classes, so that every block is accounted for.
unsigned long walk(const std::function<void()>& operation) {
  for (unsigned long failures = 0;; failures++) {
    const long before = shortage.held;
    bool failed = false;
    std::thread([&] { failed = runShort(operation, failures); }).join();
    EXPECT_EQ(shortage.held, before) << "failure " << failures;
    if (!failed) return failures;
  }
}

const std::string kLong(40, 'x');

Value richValue() {
  return Values{1, kLong,
                Values{kLong, Object("59.7.0.1", {{"59.7.1", kLong}})},
                Oid("59.6.0.1")};
}

TEST(WithoutMemory, DecodingThrowsAndLeaksNothing) {
  const std::string bytes = richValue().encode();
  EXPECT_GT(walk([&] { static_cast<void>(Value::decode(bytes)); }), 4u);
  const Attributes attributes{{"59.7.1", richValue()}, {"59.7.2", kLong}};
  const std::string list = attributes.encode();
  EXPECT_GT(walk([&] { static_cast<void>(Attributes::decode(list)); }), 4u);
}

TEST(WithoutMemory, CopyingLeavesBothAsTheyWere) {
  const Value source = richValue();
  Value target = kLong;
  EXPECT_GT(walk([&] {
              try {
                target = source;
              } catch (const std::bad_alloc&) {
                EXPECT_EQ(target, Value(kLong));
                throw;
              }
              target = Value();
              shortage.armed = false;
              target = kLong;
            }),
            3u);
  EXPECT_EQ(source, richValue());
}

TEST(WithoutMemory, EncodingPrintingAndConvertingLeakNothing) {
  const Value source = richValue();
  EXPECT_GT(walk([&] { static_cast<void>(source.encode()); }), 0u);
  EXPECT_GT(walk([&] { static_cast<void>(source.text()); }), 0u);
  EXPECT_GT(walk([&] { static_cast<void>(source.to<Values>()); }), 0u);
  EXPECT_GT(walk([&] { static_cast<void>(source.toVesk()); }), 0u);
  EXPECT_GT(walk([&] { static_cast<void>(source.to<int>()); }), 0u);
  const Value::VeskPointer stated = source.toVesk();
  EXPECT_GT(walk([&] { static_cast<void>(Value::from(stated.get())); }), 0u);
}

TEST(WithoutMemory, AnErrorSaysThatThereIsNone) {
  unsigned seen = 0;
  const unsigned long failures = walk([&] {
    const Error error(Failure::refused, 5);
    const Error copy = error;
    if (error.systemError() == ENOMEM || copy.systemError() == ENOMEM) {
      seen++;
      EXPECT_EQ(copy.kind(), Failure::unsendable);
      EXPECT_EQ(copy.code(), kNetworkError);
    }
  });
  EXPECT_EQ(failures, 2u);
  EXPECT_EQ(seen, 2u);
}

TEST(WithoutMemory, AFunctionThatTakesMemoryIsNotMade) {
  std::array<char, 200> bulk{};
  EXPECT_EQ(walk([&] {
              UniqueFunction<void()> function = [bulk] {
                static_cast<void>(bulk);
              };
              UniqueFunction<void()> moved = std::move(function);
            }),
            1u);
}

}  // namespace
