// The tree of commands and options, with their help. Shell completion is made
// from it as well.

#ifndef OSTREL_TOOLS_OSTREL_COMMAND_LINE_H
#define OSTREL_TOOLS_OSTREL_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "configuration.h"
#include "terminal/settings.h"

namespace ostrel::tools::cli {

class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  // Reads the arguments, without the program's name. Throws CLI::ParseError,
  // which stands for --help and --version too.
  void parse(std::vector<std::string> arguments);

  // Fills in what the environment and the configuration file say. Throws
  // Failure.
  void configure();

  // The text of a help or version request, or what to say about a mistake.
  std::string textFor(const CLI::ParseError& error);

  // Does what was asked for. Throws Failure and TextError.
  Exit run(Output& output);

  // The name of the command, or "" while there is none.
  std::string command() const;

  // The object, class or action that it is about, as typed in; may be "".
  const std::string& subject() const { return arguments_.id; }

  const Settings& settings() const { return settings_; }
  CLI::App& app() { return app_; }

 private:
  using Run = std::function<Exit(Output&)>;

  CLI::App& add(const char* name, const char* description,
                const std::string& help, Run run);
  void add(const Command& command);
  void addOptions();
  void addCompletion();
  void addConfig();
  Exit showConfiguration(Output& output) const;

  CLI::App app_;
  Settings settings_;
  std::string profile_;
  std::string serversFile_;
  std::string what_;  // of "config"
  Configuration configuration_;
  Run run_;
  Arguments arguments_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMAND_LINE_H
