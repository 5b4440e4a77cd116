// The numbers in the text of identifiers: what is one, and which.

#include "value/component.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "support/bytes.h"

namespace {

using ostrel::parseComponent;
using ostrel::test::Bytes;
using ostrel::test::ExactBuffer;

// The number, parsed from a heap block that ends where the text ends.
std::optional<std::uint32_t> parsed(std::string_view text) {
  ExactBuffer buffer(Bytes(text.begin(), text.end()));
  std::uint32_t number = 0;
  if (!parseComponent(buffer.data(), text.size(), &number)) return {};
  return number;
}

TEST(Component, DecimalNumbersMayHaveUpToTenDigits) {
  EXPECT_EQ(parsed("0"), 0U);
  EXPECT_EQ(parsed("59"), 59U);
  EXPECT_EQ(parsed("999999999"), 999999999U);
  EXPECT_EQ(parsed("1000000000"), 1000000000U);
  EXPECT_EQ(parsed("4294967295"), 4294967295U);
}

TEST(Component, ALeadingZeroMeansOctal) {
  EXPECT_EQ(parsed("00"), 0U);
  EXPECT_EQ(parsed("017"), 15U);
  EXPECT_EQ(parsed("0000000000017"), 15U);
  EXPECT_EQ(parsed("037777777777"), 4294967295U);
}

TEST(Component, ALeading0xMeansHexadecimal) {
  EXPECT_EQ(parsed("0x0"), 0U);
  EXPECT_EQ(parsed("0x1f"), 31U);
  EXPECT_EQ(parsed("0X1F"), 31U);
  EXPECT_EQ(parsed("0xABCDEF"), 0xABCDEFU);
  EXPECT_EQ(parsed("0xffffffff"), 4294967295U);
}

TEST(Component, AMinusGivesTheComplement) {
  EXPECT_EQ(parsed("+5"), 5U);
  EXPECT_EQ(parsed("-0"), 0U);
  EXPECT_EQ(parsed("-1"), 4294967295U);
  EXPECT_EQ(parsed("-4294967295"), 1U);
  EXPECT_EQ(parsed("-017"), 4294967281U);
  EXPECT_EQ(parsed("-0x10"), 0xFFFFFFF0U);
}

TEST(Component, WhiteSpaceMayComeFirst) {
  EXPECT_EQ(parsed(" 5"), 5U);
  EXPECT_EQ(parsed("\t\n\v\f\r 5"), 5U);
  EXPECT_EQ(parsed(" -0x1"), 4294967295U);
}

TEST(Component, ANumberOutOfRangeIsTheLargest) {
  for (const char* text :
       {"4294967296", "-4294967296", "-42949672950", "+4294967296",
        "0x100000000", "040000000000", "18446744073709551616",
        "-18446744073709551617", "0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF",
        "99999999999999999999999999999999999999999"}) {
    EXPECT_EQ(parsed(text), 4294967295U) << text;
  }
}

TEST(Component, WhatIsNoNumberIsRefused) {
  for (const char* text : {"a", "x", " ", "\t ", "+", "-", "--5", "+-5", "- 5",
                           "0x", "0X", "0xg", "-0x", "0x 5", "0x-5"}) {
    EXPECT_EQ(parsed(text), std::nullopt) << '"' << text << '"';
  }
}

TEST(Component, WhatHasMoreThanANumberIsRefused) {
  for (const char* text :
       {"5a", "1F", "5 ", "5-", "1.5", "08", "019", "0x1g", "0x1 ", "00x1",
        "1000000000a", "5\xC2\xA0", "\xB2"}) {
    EXPECT_EQ(parsed(text), std::nullopt) << '"' << text << '"';
  }
  EXPECT_EQ(parsed(std::string_view("5\0", 2)), std::nullopt);
  EXPECT_EQ(parsed(std::string_view("\0", 1)), std::nullopt);
}

// Out of range is no reason to stop looking at the characters.
TEST(Component, JunkBehindANumberOutOfRangeIsRefused) {
  EXPECT_EQ(parsed("99999999999999999999x"), std::nullopt);
  EXPECT_EQ(parsed("0777777777777777777778"), std::nullopt);
}

TEST(Component, ReadsNoCharacterBehindTheToken) {
  std::uint32_t number = 0;
  EXPECT_TRUE(parseComponent("59.6", 2, &number));
  EXPECT_EQ(number, 59U);
  EXPECT_TRUE(parseComponent("0x5", 1, &number));
  EXPECT_EQ(number, 0U);
}

}  // namespace
