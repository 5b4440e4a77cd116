// Text that grows. What it leaves unfreed, the leak check finds.

#include "base/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/bytes.h"

namespace {

using ostrel::copyText;
using ostrel::Text;
using ostrel::test::OwnedText;

// The text so far, NULs in it included. Leaves it empty.
std::string released(Text& text) {
  const std::size_t length = text.length();
  const OwnedText owned(text.release());
  EXPECT_EQ(owned.get()[length], '\0');
  return {owned.get(), length};
}

TEST(Text, WithoutAnythingInItIsTheEmptyText) {
  Text text;
  EXPECT_EQ(text.length(), 0U);
  EXPECT_EQ(released(text), "");
}

TEST(Text, HoldsWhatWasAddedInItsOrder) {
  Text text;
  text.add("a").add("bcd", 2).add("").add(nullptr, 0).add(7U).add(-7).add("e");
  EXPECT_EQ(text.length(), 7U);
  EXPECT_EQ(released(text), "abc7-7e");
}

TEST(Text, BytesMayBeNul) {
  Text text;
  text.add("a\0b", 3).add("c");
  EXPECT_EQ(released(text), std::string("a\0bc", 4));
}

TEST(Text, NumbersAreDecimalWithoutLeadingZeros) {
  Text text;
  text.add(std::uint32_t{0}).add(" ");
  text.add(std::uint32_t{10}).add(" ");
  text.add(std::uint32_t{4294967295}).add(" ");
  text.add(std::int32_t{0}).add(" ");
  text.add(std::int32_t{2147483647}).add(" ");
  text.add(std::int32_t{-1}).add(" ");
  text.add(std::int32_t{-2147483647 - 1});
  EXPECT_EQ(released(text), "0 10 4294967295 0 2147483647 -1 -2147483648");
}

// Every length around those at which more memory is needed.
TEST(Text, GrowsByOneCharacterAfterAnother) {
  for (std::size_t length = 1; length <= 130; ++length) {
    Text text;
    for (std::size_t i = 0; i < length; ++i) text.add("x");
    EXPECT_EQ(released(text), std::string(length, 'x'));
  }
}

TEST(Text, GrowsByMoreThanItHolds) {
  for (const std::size_t more : {31U, 32U, 33U, 63U, 64U, 1000U, 100000U}) {
    const std::string many(more, 'y');
    Text text;
    text.add(many.c_str()).add("a").add(many.data(), more);
    EXPECT_EQ(released(text), many + "a" + many);
  }
}

TEST(Text, TakesATextAndFreesIt) {
  Text text;
  text.add("a").take(copyText("bc", 2)).add("d");
  EXPECT_EQ(released(text), "abcd");
}

TEST(Text, TakesNothingFromNull) {
  Text text;
  text.add("a").take(nullptr).add("d");
  EXPECT_EQ(released(text), "ad");
}

TEST(Text, CutsWhatIsBehindALength) {
  Text text;
  text.add("abcdef").cutTo(2);
  EXPECT_EQ(text.length(), 2U);
  text.add("X");
  EXPECT_EQ(released(text), "abX");

  text.add("abc").cutTo(0);
  EXPECT_EQ(released(text), "");
}

TEST(Text, CutsNothingFromAShorterText) {
  Text text;
  EXPECT_EQ(text.cutTo(5).length(), 0U);
  text.add("abc").cutTo(3).cutTo(4);
  EXPECT_EQ(released(text), "abc");
}

TEST(Text, IsEmptyAfterItWasReleasedAndMayBeFilledAgain) {
  Text text;
  text.add("a text of more than thirty-two characters");
  EXPECT_EQ(released(text), "a text of more than thirty-two characters");
  EXPECT_EQ(text.length(), 0U);
  EXPECT_EQ(released(text), "");
  text.add("b");
  EXPECT_EQ(released(text), "b");
}

TEST(Text, ThatNobodyReleasesIsFreed) {
  Text text;
  text.add("freed with it");
}

TEST(CopyText, CopiesSoManyBytesAndEndsThemWithANul) {
  const OwnedText copy(copyText("a\0bc", 3));
  EXPECT_EQ(std::string(copy.get(), 4), std::string("a\0b\0", 4));
}

TEST(CopyText, OfNoBytesIsTheEmptyText) {
  const OwnedText copy(copyText(nullptr, 0));
  EXPECT_STREQ(copy.get(), "");
}

}  // namespace
