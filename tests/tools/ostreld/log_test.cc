#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/addresses.h"
#include "support/log_lines.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using namespace std::chrono_literals;

Refusal refusal(const char* sender, std::uint16_t port) {
  return {endpoint(*parseAddress(sender), port), "59.110.1.7",
          "a registration for 192.0.2.8", "the address is not its own"};
}

// What is written for a line, with its newline.
template <class Work>
std::string written(Work work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

TEST(Log, WritesTheTimeInUtcToTheMillisecond) {
  EXPECT_EQ(timeText({1795774272, 45999999}), "2026-11-27T10:11:12.045Z");
  EXPECT_THAT(
      written([] { log(Level::kWarning, "a line"); }),
      MatchesRegex("....-..-..T..:..:..\\....Z ostreld: warning: a line\n"));
}

TEST(Log, WritesNothingLessImportantThanItsLevel) {
  EXPECT_EQ(written([] { log(Level::kDebug, "detail"); }), "");
}

TEST(Log, SaysWhoWasRefusedWhatAndWhy) {
  EXPECT_THAT(written([] { logRefusal(refusal("192.0.2.7", 4000)); }),
              MatchesRegex(".* ostreld: info: refused 192.0.2.7:4000 as "
                           "59.110.1.7: a registration for 192.0.2.8: the "
                           "address is not its own\n"));
}

TEST(Log, WritesARefusalOnceForEachAddress) {
  const std::string lines = written([] {
    logRefusal(refusal("192.0.2.21", 4000));
    logRefusal(refusal("192.0.2.21", 4001));
    logRefusal(refusal("192.0.2.22", 4000));
    logRepeats();
  });
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
  EXPECT_NE(lines.find("not its own (1 more times)\n"), std::string::npos);
}

TEST(Refusal, HasItsPartsAsFields) {
  const LogLine line = lineOf(refusal("192.0.2.7", 4000));
  std::vector<std::string> fields;
  for (const auto& [name, value] : line.fields)
    fields.push_back(name + ("=" + value));
  EXPECT_THAT(fields,
              ElementsAre("OSTREL_ADDRESS=192.0.2.7", "OSTREL_PORT=4000",
                          "OSTREL_REFUSED=a registration for 192.0.2.8",
                          "OSTREL_REASON=the address is not its own",
                          "OSTREL_PRINCIPAL=59.110.1.7"));
}

struct Escape {
  const char* text;
  const char* expected;
};

TEST(Harmless, LeavesNothingThatATerminalActsOnOrHides) {
  const Escape kEscapes[] = {
      {"plain", "plain"},
      {"gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f"},
      {"\x1b[2J\n", "\\x1b[2J\\x0a"},
      {"\x7f", "\\x7f"},
      {"\x9b"
       "2J",
       "\\x9b"
       "2J"},
      {"\xc2\x9b"
       "2J",
       "\\xc2\\x9b"
       "2J"},
      {"\xe2\x80\xae", "\\xe2\\x80\\xae"},
      {"\xe2\x80\xa8", "\\xe2\\x80\\xa8"},
      {"\xe2\x80\x8b", "\\xe2\\x80\\x8b"},
      {"\xef\xbb\xbf", "\\xef\\xbb\\xbf"},
      {"\xd8\x9c", "\\xd8\\x9c"},
      {"\xf3\xa0\x81\x81", "\\xf3\\xa0\\x81\\x81"},
      {"\xc0\x9b", "\\xc0\\x9b"},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
      {"\xe2\x80", "\\xe2\\x80"},
      {"\xff", "\\xff"},
  };
  for (const Escape& escape : kEscapes)
    EXPECT_EQ(harmless(escape.text), escape.expected);
}

class LogFilterTest : public testing::Test {
 protected:
  void take(const std::string& text, Level level = Level::kInfo) {
    filter.take({level, text, {}}, text, now);
  }

  std::vector<std::string> lines;
  LogFilter filter{[this](const LogLine& line) { lines.push_back(line.text); }};
  LogFilter::Time now{};
};

TEST_F(LogFilterTest, ALineThatRepeatsIsCountedForTenSeconds) {
  take("a");
  take("b");
  now += 9999ms;
  take("a");
  take("a");
  EXPECT_THAT(lines, ElementsAre("a", "b"));
  now += 1ms;
  take("a");
  EXPECT_THAT(lines, ElementsAre("a", "b", "a (2 more times)", "a"));
}

TEST_F(LogFilterTest, TheSameTextOfAnotherLevelIsAnotherLine) {
  take("a");
  take("a", Level::kError);
  EXPECT_THAT(lines, SizeIs(2));
}

TEST_F(LogFilterTest, FlushWritesTheCounts) {
  take("a");
  take("a");
  filter.flush();
  EXPECT_THAT(lines, ElementsAre("a", "a (1 more times)"));
  filter.flush();
  EXPECT_THAT(lines, SizeIs(2));
}

TEST_F(LogFilterTest, StrangersCannotFillTheDiskWithLinesThatDiffer) {
  for (int i = 0; i < 10000; ++i) take(std::to_string(i));
  EXPECT_THAT(lines, SizeIs(LogFilter::kMost));
  take("an error", Level::kError);
  EXPECT_EQ(lines.back(), "an error");
  now += 10s;
  lines.clear();
  take("later");
  EXPECT_THAT(lines,
              ElementsAre("9744 more lines were left out: too many in ten "
                          "seconds",
                          "later"));
}

}  // namespace
}  // namespace ostrel::tools::server
