// Functions that are moved and not copied.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "ostrel/function.h"
#include "ostrel/result.h"

namespace {

using ostrel::UniqueFunction;

// Counts how many of it there are.
struct Counted {
  explicit Counted(int* counter) : alive(counter) { ++*alive; }
  Counted(Counted&& other) noexcept : alive(other.alive) { ++*alive; }
  ~Counted() { --*alive; }
  int* alive;
};

TEST(UniqueFunction, CallsWhatItHolds) {
  UniqueFunction<int(int)> twice = [](int n) { return 2 * n; };
  ASSERT_TRUE(twice);
  EXPECT_EQ(twice(4), 8);
  EXPECT_EQ(twice(5), 10);
}

TEST(UniqueFunction, HoldsWhatCannotBeCopied) {
  UniqueFunction<int()> read = [n = std::make_unique<int>(7)] { return *n; };
  UniqueFunction<int()> moved = std::move(read);
  EXPECT_FALSE(read);
  EXPECT_EQ(moved(), 7);
}

TEST(UniqueFunction, HoldsMoreThanFitsInside) {
  std::array<int, 100> many{};
  many[99] = 42;
  UniqueFunction<int()> last = [many] { return many[99]; };
  UniqueFunction<int()> moved;
  moved = std::move(last);
  EXPECT_FALSE(last);
  EXPECT_EQ(moved(), 42);
}

TEST(UniqueFunction, KeepsApartWhatMayThrowWhenMoved) {
  struct Throwing {
    Throwing() = default;
    Throwing(Throwing&&) {}
    int operator()() { return ++calls; }
    int calls = 0;
  };
  static_assert(!std::is_nothrow_move_constructible_v<Throwing>);
  UniqueFunction<int()> function{Throwing()};
  EXPECT_EQ(function(), 1);
  UniqueFunction<int()> moved = std::move(function);
  EXPECT_EQ(moved(), 2);
}

TEST(UniqueFunction, DestroysWhatItHoldsOnce) {
  int alive = 0;
  std::array<char, 200> bulk{};
  {
    UniqueFunction<void()> small = [held = Counted(&alive)] { (void)held; };
    UniqueFunction<void()> large = [held = Counted(&alive), bulk] {
      (void)held;
      (void)bulk;
    };
    EXPECT_EQ(alive, 2);
    UniqueFunction<void()> moved = std::move(small);
    EXPECT_EQ(alive, 2);
    moved = std::move(large);
    EXPECT_EQ(alive, 1);
    moved = nullptr;
    EXPECT_EQ(alive, 0);
    EXPECT_FALSE(moved);
  }
  EXPECT_EQ(alive, 0);
}

TEST(UniqueFunction, KeepsWhatItHoldsWhenMovedToItself) {
  UniqueFunction<int()> function = [] { return 3; };
  UniqueFunction<int()>& same = function;
  function = std::move(same);
  EXPECT_EQ(function(), 3);
}

TEST(UniqueFunction, IsEmptyWithoutAFunction) {
  int (*none)() = nullptr;
  EXPECT_FALSE(UniqueFunction<int()>());
  EXPECT_FALSE(UniqueFunction<int()>(nullptr));
  EXPECT_FALSE(UniqueFunction<int()>(none));
  EXPECT_FALSE(UniqueFunction<int()>(std::function<int()>()));
  EXPECT_FALSE(UniqueFunction<long()>(UniqueFunction<int()>()));
  const UniqueFunction<int()> defaulted = {};
  EXPECT_FALSE(defaulted);
}

TEST(UniqueFunction, PassesOnWhatItsFunctionThrows) {
  UniqueFunction<void()> fails = [] { throw std::runtime_error("gone"); };
  EXPECT_THROW(fails(), std::runtime_error);
  EXPECT_TRUE(fails);
}

TEST(UniqueFunction, TakesFunctionsOfAConstantReferenceForAnRvalue) {
  using Text = ostrel::Result<std::string>;
  std::string seen;
  UniqueFunction<void(Text &&)> looks = [&](const Text& text) { seen = *text; };
  looks(Text("abc"));
  EXPECT_EQ(seen, "abc");
  UniqueFunction<void(Text &&)> takes = [&](Text&& text) {
    seen = *std::move(text);
  };
  takes(Text("def"));
  EXPECT_EQ(seen, "def");
  UniqueFunction<void(Text &&)> owns = [&](Text text) { seen = *text; };
  owns(Text("ghi"));
  EXPECT_EQ(seen, "ghi");
}

TEST(UniqueFunction, PassesArgumentsThatCannotBeCopied) {
  UniqueFunction<int(std::unique_ptr<int>)> reads =
      [](std::unique_ptr<int> number) { return *number; };
  EXPECT_EQ(reads(std::make_unique<int>(9)), 9);
}

TEST(UniqueFunction, DropsAResultThatNobodyAskedFor) {
  int calls = 0;
  UniqueFunction<void()> counts = [&] { return ++calls; };
  counts();
  EXPECT_EQ(calls, 1);
}

TEST(UniqueFunction, CallsMembers) {
  UniqueFunction<std::size_t(const std::string&)> size = &std::string::size;
  EXPECT_EQ(size("four"), 4u);
}

TEST(UniqueFunction, HoldsSixtyFourBytesInside) {
  EXPECT_EQ(UniqueFunction<void()>::kInside, 64u);
  EXPECT_LE(sizeof(UniqueFunction<void()>), 64 + alignof(std::max_align_t));
}

TEST(UniqueFunctionDeathTest, StopsTheProcessWhenCalledEmpty) {
  UniqueFunction<void()> empty;
  EXPECT_DEATH(empty(), "Assertion failed: a function that is called");
}

TEST(UniqueFunction, IsNoCopyAndNoMatchForOtherSignatures) {
  using Function = UniqueFunction<int(int)>;
  static_assert(!std::is_copy_constructible_v<Function>);
  static_assert(std::is_nothrow_move_constructible_v<Function>);
  static_assert(!std::is_constructible_v<Function, int (*)(std::string)>);
  static_assert(!std::is_constructible_v<Function, std::string (*)(int)>);
}

}  // namespace
