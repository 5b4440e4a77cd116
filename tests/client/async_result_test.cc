// Results and errors of asynchronous requests.

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "ostrel/codes.h"
#include "ostrel/result.h"

namespace {

using ostrel::Done;
using ostrel::Error;
using ostrel::Failure;
using ostrel::ItemError;
using ostrel::Result;

TEST(Result, IsTrueAndGivesItsValue) {
  Result<std::string> result("abc");
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, "abc");
  EXPECT_EQ(result->size(), 3u);
  EXPECT_TRUE(result.itemErrors().empty());
  EXPECT_EQ(*std::move(result), "abc");
}

TEST(Result, IsFalseAndGivesItsError) {
  const Result<int> result = Error(Failure::noAnswer, ostrel::kNetworkError,
                                   ETIMEDOUT, true, "set of 59.6.0.1");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().kind(), Failure::noAnswer);
  EXPECT_EQ(result.error().code(), 10);
  EXPECT_EQ(result.error().systemError(), ETIMEDOUT);
  EXPECT_TRUE(result.error().mayHaveHappened());
  EXPECT_EQ(result.value_or(7), 7);
}

TEST(Result, OfASuccessInPartIsTrueAndListsWhatFailed) {
  const Result<int> result(5, {ItemError{2, "59.6.1", 5}});
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, 5);
  ASSERT_EQ(result.itemErrors().size(), 1u);
  EXPECT_EQ(result.itemErrors()[0], (ItemError{2, "59.6.1", 5}));
  EXPECT_EQ(result.itemErrors()[0].text(),
            "item 2 (59.6.1): 5(Permission Denied)");
  EXPECT_EQ((ItemError{3, {}, 1}).text(), "item 3: 1(No Such Name)");
}

TEST(Result, HoldsWhatCannotBeCopied) {
  Result<std::unique_ptr<int>> result(std::make_unique<int>(4));
  const std::unique_ptr<int> taken = *std::move(result);
  EXPECT_EQ(*taken, 4);
}

TEST(Result, OfNothingIsDone) { EXPECT_TRUE(Result<Done>(Done())); }

TEST(ResultDeathTest, StopsTheProcessWhenAnErrorIsAskedForItsValue) {
  const Result<int> result =
      Error(Failure::refused, 5, 0, false, "get of 59.6.0.1");
  EXPECT_DEATH(static_cast<void>(*result),
               "Assertion failed: a result has a value, not an error: get of "
               "59.6.0.1: the server refused it: 5.Permission Denied");
  Result<std::string> text = Error(Failure::cancelled, 10);
  EXPECT_DEATH(static_cast<void>(text->size()), "not an error: cancelled");
  EXPECT_DEATH(static_cast<void>(*std::move(text)), "Assertion failed");
}

TEST(ResultDeathTest, StopsTheProcessWhenAValueIsAskedForItsError) {
  const Result<int> result(5);
  EXPECT_DEATH(static_cast<void>(result.error()),
               "Assertion failed: a result has an error, not a value");
}

TEST(Error, IsOnePointerWide) {
  EXPECT_EQ(sizeof(Error), sizeof(void*));
  static_assert(std::is_nothrow_move_constructible_v<Error>);
}

TEST(Error, CopiesAndMovesWhole) {
  const Error first(Failure::refused, 5, 0, true, "set");
  Error copy = first;
  EXPECT_EQ(copy.text(), first.text());
  const Error moved = std::move(copy);
  EXPECT_EQ(moved.code(), 5);
  EXPECT_TRUE(moved.mayHaveHappened());
  copy = moved;
  EXPECT_EQ(copy.kind(), Failure::refused);
  copy = Error(Failure::cancelled, 10);
  EXPECT_EQ(copy.kind(), Failure::cancelled);
}

TEST(ErrorText, SaysWhatFailedAndWhyAndWhatToDo) {
  EXPECT_EQ(Error(Failure::refused, 5, 0, false, "get of 59.1.0.1").text(),
            "get of 59.1.0.1: the server refused it: 5(Permission Denied)");
  EXPECT_EQ(Error(Failure::noAnswer, 10, ETIMEDOUT, false, "get").text(),
            "get: no answer: Connection timed out (is a server running "
            "there?)");
  EXPECT_EQ(Error(Failure::noAnswer, 10, 0, true, "set").text(),
            "set: no answer; the change may have been made, so look before "
            "asking again (is a server running there?)");
  EXPECT_EQ(Error(Failure::cancelled, 10).text(), "cancelled");
  EXPECT_EQ(Error(Failure::refused, 77).text(),
            "the server refused it: illegal return code: 77");
}

TEST(ErrorText, KeepsToTheTextsOfItsOwnCodeWhateverErrnoIs) {
  errno = ETIMEDOUT;
  EXPECT_EQ(Error(Failure::refused, 10).text(),
            "the server refused it: 10(Network Error)");
}

TEST(ErrorText, IsOneLineWhateverItIsMadeOf) {
  const std::string hostile("a\nb\r\x1b[2J\0\x7f\\", 11);
  EXPECT_EQ(Error(Failure::cancelled, 10, 0, false, hostile).text(),
            "a\\x0ab\\x0d\\x1b[2J\\x00\\x7f\\x5c: cancelled");
}

TEST(ErrorText, HasWordsForEveryKind) {
  for (const Failure kind :
       {Failure::refused, Failure::noAnswer, Failure::portClosed,
        Failure::undecodable, Failure::unsendable, Failure::cancelled,
        Failure::misuse, Failure::wrongValue}) {
    std::ostringstream out;
    out << Error(kind, 10);
    EXPECT_FALSE(out.str().empty());
  }
}

}  // namespace
