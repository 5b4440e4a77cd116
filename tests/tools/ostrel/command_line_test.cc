#include "command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "format/value_types.h"

namespace ostrel::tools::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<CLI::App*> commandsOf(CommandLine& line) {
  return line.app().get_subcommands([](CLI::App*) { return true; });
}

// What is said about a command line that is refused.
std::string complaint(const std::vector<std::string>& arguments) {
  CommandLine line;
  try {
    line.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return line.textFor(error);
  }
  return "";
}

TEST(CommandLine, HasTheCommandsInTheOrderOfTheHelp) {
  CommandLine line;
  std::vector<std::string> names;
  for (CLI::App* command : commandsOf(line))
    names.push_back(command->get_name());
  EXPECT_THAT(
      names,
      ElementsAre("get", "set", "create", "clone", "remove", "verify", "search",
                  "walk", "find", "discover", "action", "watch", "poll", "dump",
                  "load", "batch", "decode", "class", "config", "completion"));
}

TEST(CommandLine, ShowsAnExampleOfEveryCommand) {
  CommandLine line;
  for (CLI::App* command : commandsOf(line)) {
    const std::string help = command->help();
    EXPECT_THAT(help, HasSubstr("Examples:\n")) << command->get_name();
    EXPECT_THAT(help, HasSubstr(" " + command->get_name() + " "));
  }
}

TEST(CommandLine, ExplainsEveryTypeOfValue) {
  std::istringstream names(typeNames());
  for (std::string name; names >> name;) {
    // These are what others are made of.
    if (name == "attr" || name == "null") continue;
    EXPECT_THAT(kValueHelp, HasSubstr(name + ":"));
  }
}

TEST(CommandLine, KnowsTheCommandAndItsSubject) {
  CommandLine line;
  line.parse({"--json", "get", "59.200.0.1", "59.200.1"});
  EXPECT_EQ(line.command(), "get");
  EXPECT_EQ(line.subject(), "59.200.0.1");
  EXPECT_TRUE(line.settings().json);
}

TEST(CommandLine, NamesWhatItDoesNotKnow) {
  EXPECT_EQ(complaint({"frob"}), "there is no command 'frob'");
  EXPECT_EQ(complaint({"--frob"}), "there is no option '--frob'");
}

TEST(CommandLine, LetsALaterOptionOfTheProgramWin) {
  CommandLine line;
  line.parse({"--timeout", "1", "verify", "59.200.0.1", "--timeout", "2"});
  EXPECT_EQ(line.settings().timeout, 2);
}

TEST(CommandLine, TakesSeveralServers) {
  CommandLine line;
  line.parse({"-s", "one,two:7", "verify", "59.200.0.1", "--server", "three"});
  EXPECT_EQ(line.settings().server, "one,two:7,three");
}

TEST(CommandLine, RefusesWhatIsNoServerAmongThem) {
  EXPECT_THAT(complaint({"-s", "one,two:x", "verify", "59.200.0.1"}),
              testing::HasSubstr("'two:x' is no HOST or HOST:PORT"));
}

class ServersFile : public testing::Test {
 protected:
  ServersFile() { setenv("XDG_CONFIG_HOME", "/nonexistent", 1); }

  // What the servers are with this file and these arguments.
  std::string servers(const std::string& text,
                      std::vector<std::string> arguments = {}) {
    std::ofstream(path_) << text;
    for (const char* word : {"--servers", path_.c_str(), "verify", "59.6.0.1"})
      arguments.emplace_back(word);
    CommandLine line;
    line.parse(arguments);
    line.configure();
    return line.settings().server;
  }
  std::string mistake(const std::string& text) {
    try {
      return "no mistake: " + servers(text);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit, kUsage);
      return failure.what();
    }
  }

  std::string path_ =
      testing::TempDir() + "servers_of_" + std::to_string(getpid());
};

TEST_F(ServersFile, HasAServerOnEachLine) {
  EXPECT_EQ(servers("one\n# two\n\n  three:7  # the third\n"), "one,three:7");
}

TEST_F(ServersFile, StandsBesideServersOfTheCommandLine) {
  EXPECT_EQ(servers("one", {"-s", "two"}), "two,one");
}

TEST_F(ServersFile, NamesTheLineOfAMistake) {
  EXPECT_THAT(mistake("one\ntwo:x\n"), testing::HasSubstr("line 2"));
  EXPECT_THAT(mistake("one two\n"), testing::HasSubstr("line 1"));
  EXPECT_THAT(mistake("one,two\n"), testing::HasSubstr("line 1"));
}

TEST_F(ServersFile, MayNotBeEmptyOrMissing) {
  EXPECT_THAT(mistake("# nobody\n"), testing::HasSubstr("names no servers"));
  path_ = testing::TempDir();
  EXPECT_THAT(mistake(""), testing::HasSubstr("cannot be read"));
}

}  // namespace
}  // namespace ostrel::tools::cli
