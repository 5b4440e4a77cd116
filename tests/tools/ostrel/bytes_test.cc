#include "format/bytes.h"

#include <gtest/gtest.h>

namespace ostrel::tools::cli {
namespace {

TEST(Bytes, EscapesWhatATerminalWouldActOn) {
  EXPECT_EQ(escaped("\x1b[2J\a\x7f"), "\\x1b[2J\\x07\\x7f");
  EXPECT_EQ(escaped("a\nb\tc\rd"), "a\\nb\\tc\\rd");
  EXPECT_EQ(escaped(std::string_view("\0x", 2)), "\\x00x");
}

TEST(Bytes, EscapesControlCharactersBeyondAscii) {
  EXPECT_EQ(escaped("\xc2\x9b"), "\\xc2\\x9b");
  EXPECT_EQ(escaped("\xe2\x80\xae"), "\\xe2\\x80\\xae");
}

TEST(Bytes, LeavesOtherCharactersAsTheyAre) {
  EXPECT_EQ(escaped("Zürich € \xf0\x9f\x98\x80"), "Zürich € \xf0\x9f\x98\x80");
}

TEST(Bytes, EscapesBytesThatAreNoUtf8) {
  EXPECT_EQ(escaped("\xff"), "\\xff");
  EXPECT_EQ(escaped("\xc0\xaf"), "\\xc0\\xaf");           // too long a form
  EXPECT_EQ(escaped("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");  // the same
  EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // half of a pair
  EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
  EXPECT_EQ(escaped("\xe2\x82"), "\\xe2\\x82");  // cut off
}

TEST(Bytes, ReadsItsOwnEscapes) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(unescaped(escaped(all)), all);
  EXPECT_EQ(unescaped(escaped(all, ",[]")), all);
}

TEST(Bytes, EscapesFurtherCharactersOnRequest) {
  EXPECT_EQ(escaped("a,b[c]", ",[]"), "a\\,b\\[c\\]");
}

TEST(Bytes, RefusesEscapesThatItDoesNotKnow) {
  EXPECT_THROW(unescaped("a\\"), TextError);
  EXPECT_THROW(unescaped("\\q"), TextError);
  EXPECT_THROW(unescaped("\\x4"), TextError);
  EXPECT_THROW(unescaped("\\x4g"), TextError);
}

TEST(Bytes, ReadsHexadecimalDigitsInEveryUsualForm) {
  EXPECT_EQ(parseHex("0a1B"), "\x0a\x1b");
  EXPECT_EQ(parseHex("0x0a1b"), "\x0a\x1b");
  EXPECT_EQ(parseHex("0a:1b 20\n21"), "\x0a\x1b !");
  EXPECT_EQ(parseHex("0x0a 0X1b:0x20"), "\x0a\x1b ");
  EXPECT_EQ(parseHex(""), "");
}

TEST(Bytes, RefusesWhatIsNoHexadecimal) {
  EXPECT_THROW(parseHex("0"), TextError);
  EXPECT_THROW(parseHex("0g"), TextError);
  EXPECT_THROW(parseHex("0a0x1b"), TextError);
  EXPECT_THROW(parseHex("0 0x1"), TextError);
}

TEST(Bytes, PrintsTwoDigitsForEachByte) {
  EXPECT_EQ(hexText(std::string_view("\0\xff", 2)), "00ff");
}

}  // namespace
}  // namespace ostrel::tools::cli
