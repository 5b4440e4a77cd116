#include "terminal/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <ostrel/codes.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace ostrel::tools::cli {
namespace {

struct Said {
  std::string out;
  std::string err;
};

// What an Output with these settings writes.
Said said(const Settings& settings, const std::function<void(Output&)>& speak) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Output output(settings);
  speak(output);
  return {testing::internal::GetCapturedStdout(),
          testing::internal::GetCapturedStderr()};
}

Settings plain() { return {}; }
Settings json() {
  Settings settings;
  settings.json = true;
  return settings;
}
Settings quiet() {
  Settings settings;
  settings.quiet = true;
  return settings;
}

Json about() { return Json{{"command", "get"}}; }

// Runs with standard output put somewhere else.
template <class Work>
auto withOutputTo(int descriptor, Work work) {
  const int before = dup(STDOUT_FILENO);
  dup2(descriptor, STDOUT_FILENO);
  close(descriptor);
  const auto result = work();
  dup2(before, STDOUT_FILENO);
  close(before);
  return result;
}

TEST(Output, WritesAResultAsText) {
  const Said all = said(
      plain(), [](Output& output) { output.result("59.200.0.1\n", about()); });
  EXPECT_EQ(all.out, "59.200.0.1\n");
  EXPECT_EQ(all.err, "");
}

TEST(Output, WritesAResultAsOneLineOfJson) {
  const Said all = said(
      json(), [](Output& output) { output.result("59.200.0.1\n", about()); });
  EXPECT_EQ(all.out, "{\"command\":\"get\"}\n");
  EXPECT_EQ(all.err, "");
}

TEST(Output, WritesAFailureWithWhatToDo) {
  const Said all = said(plain(), [](Output& output) {
    output.failure(Failure(kRefused, "it failed", "Do this."), about());
  });
  EXPECT_EQ(all.out, "");
  EXPECT_EQ(all.err, "ostrel: it failed\n        Do this.\n");
}

TEST(Output, WritesAFailureAsJsonAmongTheResults) {
  const Said all = said(json(), [](Output& output) {
    output.failure(
        Failure(kRefused, "it failed", "Do this.", kPermissionDenied), about());
    output.failure(Failure(kNoAnswer, "nobody"), about());
  });
  EXPECT_EQ(
      all.out,
      "{\"command\":\"get\",\"failure\":\"refused\",\"status\":{\"code\":5,"
      "\"text\":\"Permission Denied\"},\"message\":\"it failed\","
      "\"hint\":\"Do this.\"}\n"
      "{\"command\":\"get\",\"failure\":\"noAnswer\",\"status\":null,"
      "\"message\":\"nobody\",\"hint\":null}\n");
  EXPECT_EQ(all.err, "");
}

TEST(Output, KeepsHintsAndNotesToItselfWhenQuiet) {
  const Said all = said(quiet(), [](Output& output) {
    output.hint("Do this.");
    output.note("a note");
    output.announce("a wait");
    output.failure(Failure(kRefused, "it failed", "Do this."), about());
  });
  EXPECT_EQ(all.err, "ostrel: it failed\n");
}

TEST(Output, AnnouncesToProgramsAsWell) {
  const auto announce = [](Output& output) { output.announce("a wait"); };
  EXPECT_EQ(said(plain(), announce).err, "ostrel: a wait\n");
  EXPECT_EQ(said(json(), announce).err, "{\"note\":\"a wait\"}\n");
}

TEST(Output, TellsAnItemsFailureToPeopleAlone) {
  const auto fail = [](Output& output) { output.itemFailure("59.200.1: 1"); };
  EXPECT_EQ(said(plain(), fail).err, "ostrel: 59.200.1: 1\n");
  EXPECT_EQ(said(json(), fail).err, "");
}

TEST(Output, ShowsProgressOnATerminalAlone) {
  const Said all = said(plain(), [](Output& output) {
    output.progress("waiting");
    output.endProgress();
  });
  EXPECT_EQ(all.err, "");
}

TEST(Output, EndsWithSetupWhenResultsCannotBeWritten) {
  Exit exit = kDone;
  const Said all = said(plain(), [&](Output& output) {
    exit = withOutputTo(open("/dev/full", O_WRONLY), [&] {
      output.write("lost");
      return output.finish(kDone);
    });
  });
  EXPECT_EQ(exit, kSetup);
  EXPECT_EQ(all.err,
            "ostrel: the results cannot be written: No space left on device\n"
            "        What was asked for may have been carried out.\n");
}

TEST(Output, EndsQuietlyWhenTheReaderHasGone) {
  std::signal(SIGPIPE, SIG_IGN);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  Exit exit = kSetup;
  const Said all = said(plain(), [&](Output& output) {
    exit = withOutputTo(ends[1], [&] {
      output.write("unread");
      return output.finish(kDone);
    });
  });
  EXPECT_EQ(exit, kDone);
  EXPECT_EQ(all.err, "");
}

}  // namespace
}  // namespace ostrel::tools::cli
