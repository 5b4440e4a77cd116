#include "common/utf8.h"

#include <gtest/gtest.h>

namespace ostrel::tools {
namespace {

TEST(Utf8, TellsWellFormedCharacters) {
  EXPECT_EQ(utf8Length("a"), 1U);
  EXPECT_EQ(utf8Length("\xc3\xbc"), 2U);
  EXPECT_EQ(utf8Length("\xe2\x82\xac"), 3U);
  EXPECT_EQ(utf8Length("\xf0\x9f\x98\x80"), 4U);
  // Cut, too long a form, a surrogate, beyond the last, no first byte.
  for (const char* bytes : {"", "\xc3", "\xc0\x80", "\xe0\x80\x80",
                            "\xed\xa0\x80", "\xf4\x90\x80\x80", "\x80"})
    EXPECT_EQ(utf8Length(bytes), 0U) << bytes;
}

TEST(Utf8, ControlsAreWhatTerminalsActOn) {
  for (const char* character :
       {"\x1b", "\x7f", "\xc2\x80", "\xc2\x9f", "\xe2\x80\xa8", "\xe2\x80\xae",
        "\xe2\x81\xa6", "\xe2\x80\x8f", "\xd8\x9c"})
    EXPECT_TRUE(isControl(character)) << character;
  for (const char* character :
       {" ", "~", "\xc2\xa0", "\xe2\x80\x8d", "\xe2\x82\xac"})
    EXPECT_FALSE(isControl(character)) << character;
}

TEST(Utf8, HiddenIsWhatLeavesNoTraceToo) {
  for (const char* character :
       {"\x1b", "\xc2\xad", "\xe2\x80\x8b", "\xef\xbb\xbf", "\xf3\xa0\x80\x81"})
    EXPECT_TRUE(isHidden(character)) << character;
  for (const char* character : {"a", "\xc3\xbc", "\xf0\x9f\x98\x80"})
    EXPECT_FALSE(isHidden(character)) << character;
}

}  // namespace
}  // namespace ostrel::tools
