#include "common/toml_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace ostrel::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<TomlEntry> read(const std::string& text) {
  std::istringstream file(text);
  return readToml(file, "c.toml");
}

std::string problemWith(const std::string& text) {
  try {
    read(text);
  } catch (const ConfigurationError& error) {
    return error.what();
  }
  return "";
}

TEST(TomlFile, ReadsEveryKindOfValueAsText) {
  std::vector<std::string> values;
  for (const TomlEntry& entry :
       read("text = 'a b'\nwhole = 0x10\nreal = 1.5\ntruth = true\n"))
    values.insert(values.end(), entry.values.begin(), entry.values.end());
  EXPECT_THAT(values, ElementsAre("a b", "16", "1.5", "true"));
}

TEST(TomlFile, ReadsArrays) {
  const auto entries = read("list = ['a', 2]\nnone = []\n");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_TRUE(entries[0].isArray);
  EXPECT_THAT(entries[0].values, ElementsAre("a", "2"));
  EXPECT_TRUE(entries[1].isArray);
  EXPECT_THAT(entries[1].values, IsEmpty());
}

TEST(TomlFile, TellsTablesAndPlacesInTheOrderOfTheFile) {
  const auto entries = read("z = 1\n[serve]\n  b = 2\n  a = 3\n[empty.one]\n");
  ASSERT_EQ(entries.size(), 6U);
  EXPECT_EQ(entries[0].place, "c.toml:1:1");
  EXPECT_TRUE(entries[1].isTable);
  EXPECT_THAT(entries[1].path, ElementsAre("serve"));
  EXPECT_THAT(entries[2].path, ElementsAre("serve", "b"));
  EXPECT_EQ(entries[2].place, "c.toml:3:3");
  EXPECT_EQ(entries[3].name(), "a");
  EXPECT_THAT(entries[5].path, ElementsAre("empty", "one"));
}

TEST(TomlFile, SaysWhereAMistakeIs) {
  EXPECT_THAT(problemWith("a = 1\nb = \n"), StartsWith("c.toml:2:"));
  EXPECT_THAT(problemWith("a = 1\na = 2\n"), StartsWith("c.toml:2:"));
  EXPECT_THAT(problemWith("[a\n"), StartsWith("c.toml:1:"));
}

TEST(TomlFile, RefusesValuesThatNoOptionHas) {
  EXPECT_EQ(problemWith("\nday = 2026-11-22\n"),
            "c.toml:2:7: 'day' has to be a text, a number, true or false, or "
            "an array of these");
  EXPECT_THAT(problemWith("a = [[1]]\n"), HasSubstr("'a' has to be"));
  EXPECT_THAT(problemWith("[[a]]\nb = 1\n"), HasSubstr("'a' has to be"));
}

TEST(TomlFile, IsNotConfusedByBytesThatAreNoText) {
  EXPECT_THAT(problemWith("a = '\xff'\n"), StartsWith("c.toml:1:"));
  EXPECT_THAT(problemWith("a = " + std::string(100000, '[')),
              StartsWith("c.toml:1:"));
  for (const char* text :
       {"[", "[[", "[[[", "[ ]", "=", ".", "a.", "a..b = 1", "a = {", "a = '",
        "a = \"\\", "[a", "[[a]", "a = [1"})
    EXPECT_THAT(problemWith(text), StartsWith("c.toml:1:")) << text;
}

TEST(TomlFile, ReadsAndRefusesLettersOutsideOfAscii) {
  EXPECT_EQ(read("a = 'é €'\n")[0].values[0], "é €");
  for (const char* text : {"é = 1", "a = é", "é", "a.é = 1", "[é]", "a = [é]",
                           "a = 1 é", "\xc2\xa0"})
    EXPECT_THAT(problemWith(text), StartsWith("c.toml:1:")) << text;
}

TEST(Suggestion, NamesTheNearestWord) {
  const std::vector<std::string> known = {"server", "servers", "timeout"};
  EXPECT_EQ(suggestion("timout", known), " (is 'timeout' meant?)");
  EXPECT_EQ(suggestion("sever", known), " (is 'server' meant?)");
}

TEST(Suggestion, NamesAllWhenNoneIsNear) {
  EXPECT_EQ(suggestion("colour", {"a", "b"}), " (known are: a, b)");
  EXPECT_EQ(suggestion(std::string(100000, 'a'), {"a"}), " (known are: a)");
  EXPECT_EQ(suggestion("colour", {}), "");
}

}  // namespace
}  // namespace ostrel::tools
