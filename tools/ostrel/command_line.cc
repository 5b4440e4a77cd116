#include "command_line.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "common/addresses.h"
#include "completion.h"
#include "format/value_types.h"
#include "version.h"

namespace ostrel::tools::cli {
namespace {

constexpr const char* kAbout =
    "Reads, writes, creates, removes, searches and watches objects on an "
    "object "
    "server.";

constexpr const char* kTop = R"(Examples:
  ostrel create 59.200 59.200.1=printer 59.200.2=int:5
  ostrel get 59.200.0.1
  ostrel set 59.200.0.1 59.200.1='colour printer'
  ostrel search 59.200 '59.200.2>3'
  ostrel watch 59.200
  ostrel --server printers.example.org --json walk 59.110

Help on one command:  ostrel COMMAND --help

Exit codes: 0 done, 1 refused by the server, 2 usage, 3 no answer, 4 some or
all attributes or some objects failed, 5 cannot be decoded, 6 set-up, network or
output, 130 interrupted.)";

// Completion is made from the tree of commands, this one among them.
constexpr const char* kCompletion = "completion";
constexpr const char* kCompletionHelp =
    "Examples:\n"
    "  eval \"$(ostrel completion bash)\"\n"
    "  ostrel completion zsh > ~/.zfunc/_ostrel";

constexpr const char* kConfig = "config";
constexpr const char* kConfigHelp =
    "An option that is not given has the value of its variable "
    "(OSTREL_SERVER,\n"
    "OSTREL_DIRECTORY, OSTREL_PRINCIPAL, OSTREL_TIMEOUT, OSTREL_RETRIES), else "
    "of\nthe profile (--profile, OSTREL_PROFILE), else of the file, "
    "ostrel/config.toml\nin $XDG_CONFIG_HOME or ~/.config:\n\n"
    "  timeout = 2\n"
    "  [profile.site-a]\n"
    "  server = \"objects.site-a.example.org:5235\"\n"
    "  principal = \"59.110.1.1000\"\n\n"
    "Keys are server, directory, principal, timeout, retries, json and quiet."
    "\n\n"
    "Examples:\n"
    "  ostrel config show\n"
    "  ostrel --profile site-a config show";

const CLI::Validator kServers(
    [](const std::string& text) -> std::string {
      for (const std::string& name : serverNames(text))
        if (!parseServerName(name))
          return "'" + escaped(name) + "' is no HOST or HOST:PORT";
      return "";
    },
    "");

const CLI::Validator kPrincipal(
    [](const std::string& text) -> std::string {
      if (text.empty() || text == "none") return "";
      try {
        parseOid(text);
        return "";
      } catch (const TextError& error) {
        return error.what();
      }
    },
    "");

// The servers of a file, one on a line, with commas between. A # and what
// stands behind it is a comment.
std::string serversIn(const std::string& path) {
  errno = 0;
  std::ifstream file(path);
  // A folder opens like a file.
  if (!file || (file.peek() == std::ifstream::traits_type::eof() && errno != 0))
    throw Failure(kUsage, "the file of servers '" + escaped(path) +
                              "' cannot be read: " + std::strerror(errno));
  std::string servers;
  unsigned number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    line.erase(std::min(line.find('#'), line.size()));
    std::istringstream words(line);
    std::string name;
    std::string more;
    if (!(words >> name)) continue;
    if (words >> more || !parseServerName(name) || name.find(',') != name.npos)
      throw Failure(kUsage, escaped(path) + ", line " + std::to_string(number) +
                                ": a line is HOST or HOST:PORT");
    servers += (servers.empty() ? "" : ",") + name;
  }
  if (servers.empty())
    throw Failure(kUsage, "the file '" + escaped(path) + "' names no servers");
  return servers;
}

std::vector<Command> allCommands() {
  std::vector<Command> all;
  for (const auto part :
       {objectCommands, searchCommands, directoryCommands, actionCommands,
        watchCommands, pollCommands, dumpCommands, loadCommands, batchCommands,
        decodeCommands, classCommands})
    for (Command& command : part()) all.push_back(std::move(command));
  return all;
}

}  // namespace

CommandLine::CommandLine() : app_(kAbout, "ostrel") {
  app_.require_subcommand(1);
  app_.footer(kTop);
  app_.set_version_flag("--version", "ostrel " OSTREL_VERSION);
  const auto formatter = app_.get_formatter();
  formatter->column_width(26);
  formatter->label("TEXT", "");
  formatter->label("UINT", "");
  formatter->label("REQUIRED", "");
  formatter->label("SUBCOMMAND", "COMMAND");
  // So that an alias may give options which the command line overrides.
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  addOptions();
  for (const Command& command : allCommands()) add(command);
  addConfig();
  addCompletion();
}

void CommandLine::addOptions() {
  app_.add_option("-s,--server", settings_.server,
                  "Object servers, by name or address; else this host")
      ->type_name("HOST[:PORT],...")
      ->join(',')
      ->check(kServers);
  app_.add_option("--servers", serversFile_,
                  "Ask those in this file as well, one on a line")
      ->type_name("FILE");
  app_.add_option("--directory", settings_.directory,
                  "Directory servers for find; else --server, or a multicast")
      ->type_name("HOST[:PORT],...")
      ->check(kServers);
  app_.add_option("-t,--timeout", settings_.timeout,
                  "Wait so long before sending again, then twice as long (3)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 3600).description(""));
  app_.add_option("-r,--retries", settings_.retries,
                  "Send again so many times (2)")
      ->type_name("COUNT")
      ->check(CLI::Range(0, 20).description(""));
  app_.add_option("-p,--principal", settings_.principal,
                  "On whose behalf; else this host's server is asked")
      ->type_name("OID|none")
      ->check(kPrincipal);
  app_.add_option("--profile", profile_,
                  "Take what is not given from this part of the configuration")
      ->type_name("NAME");
  app_.add_flag("-n,--dry-run", settings_.dryRun,
                "Show what would be sent, and send nothing");
  app_.add_flag("-j,--json", settings_.json,
                "Print JSON, one object on each line");
  app_.add_flag("-q,--quiet", settings_.quiet,
                "Print only values and identifiers");
  app_.add_flag("--trace", settings_.trace,
                "Show all that is sent and received, in text and hex");
}

CLI::App& CommandLine::add(const char* name, const char* description,
                           const std::string& help, Run run) {
  CLI::App* command = app_.add_subcommand(name, description);
  command->option_defaults()->multi_option_policy(
      CLI::MultiOptionPolicy::Throw);
  command->fallthrough();
  command->group("Commands");
  command->footer(help);
  command->callback([this, run] { run_ = run; });
  return *command;
}

void CommandLine::add(const Command& command) {
  const auto run = command.run;
  command.addArguments(
      add(command.name, command.description, command.help,
          [this, run](Output& output) { return run(output, arguments_); }),
      arguments_);
}

void CommandLine::addCompletion() {
  const auto run = [this](Output& output) {
    output.write(arguments_.shell == "bash" ? bashCompletion(app_)
                                            : zshCompletion(app_));
    return kDone;
  };
  add(kCompletion, "Print a completion script for a shell", kCompletionHelp,
      run)
      .add_option("SHELL", arguments_.shell, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}).description(""));
}

void CommandLine::addConfig() {
  CLI::App& command =
      add(kConfig, "Show what is configured, and where", kConfigHelp,
          [this](Output& output) { return showConfiguration(output); });
  command.add_option("WHAT", what_, "show")
      ->required()
      ->check(CLI::IsMember({"show"}).description(""));
}

Exit CommandLine::showConfiguration(Output& output) const {
  constexpr std::size_t kNameWidth = 11;
  constexpr std::size_t kValueWidth = 30;
  const auto padded = [](std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text + " ";
  };
  const std::string& file = configuration_.file();
  Json json;
  json["command"] = kConfig;
  json["file"] = file.empty() ? Json(nullptr) : Json(file);
  json["fileIsThere"] = configuration_.fileIsThere();
  const std::string& profile = configuration_.profile();
  json["profile"] = profile.empty() ? Json(nullptr) : Json(profile);
  json["settings"] = Json::array();
  std::string text = padded("file", kNameWidth) +
                     padded(escaped(file), kValueWidth) +
                     (configuration_.fileIsThere() ? "there" : "not there") +
                     "\n" + padded("profile", kNameWidth) +
                     (profile.empty() ? "none" : escaped(profile)) + "\n";
  for (const Effective& each : configuration_.effective()) {
    text += padded(each.name, kNameWidth) +
            padded(escaped(each.value), kValueWidth) + escaped(each.source) +
            "\n";
    json["settings"].push_back(
        {{"name", each.name}, {"value", each.value}, {"source", each.source}});
  }
  output.result(text, json);
  return kDone;
}

void CommandLine::parse(std::vector<std::string> arguments) {
  // The library takes them from the end.
  std::reverse(arguments.begin(), arguments.end());
  app_.parse(arguments);
}

void CommandLine::configure() {
  // Scripts are made where packages are built, whoever's configuration is
  // there.
  if (command() == kCompletion) return;
  if (!serversFile_.empty()) {
    if (!settings_.server.empty()) settings_.server += ',';
    settings_.server += serversIn(serversFile_);
  }
  const std::string server = settings_.server;
  const std::string directory = settings_.directory;
  configuration_.apply(app_, profile_);
  // The file names the servers, whatever is configured.
  if (!serversFile_.empty()) settings_.server = server;
  // Whoever names one server for this command means it, whatever is configured.
  if (!server.empty() && directory.empty()) settings_.directory = server;
}

std::string CommandLine::command() const {
  const auto chosen = app_.get_subcommands();
  return chosen.empty() ? "" : chosen[0]->get_name();
}

std::string CommandLine::textFor(const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr)
    return std::string(error.what()) + "\n";
  if (dynamic_cast<const CLI::CallForHelp*>(&error) != nullptr)
    return app_.help();  // of the command, when there is one
  if (!app_.get_subcommands().empty()) return error.what();
  const std::vector<std::string> unknown = app_.remaining();
  if (!unknown.empty())
    return "there is no " +
           std::string(unknown[0].substr(0, 1) == "-" ? "option" : "command") +
           " '" + escaped(unknown[0]) + "'";
  return error.what();
}

Exit CommandLine::run(Output& output) { return run_(output); }

}  // namespace ostrel::tools::cli
