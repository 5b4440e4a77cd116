#include "command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  EXPECT_THAT(names,
              ElementsAre("get", "set", "create", "clone", "remove", "verify",
                          "search", "walk", "find", "discover", "action",
                          "watch", "decode", "class", "config", "completion"));
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
  line.parse({"--server", "one", "verify", "59.200.0.1", "--server", "two"});
  EXPECT_EQ(line.settings().server, "two");
}

}  // namespace
}  // namespace ostrel::tools::cli
