#include "configuration.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "common/toml_file.h"
#include "directory/server_addresses.h"

namespace ostrel::tools::server {
namespace {

constexpr std::size_t kHelpColumn = 30;

// What a running server takes over; all else needs a restart.
constexpr const char* kReloadable[] = {"log-level",
                                       "read-only",
                                       "writer",
                                       "allow",
                                       "allow-write",
                                       "administrator",
                                       "rate",
                                       "answer-bytes",
                                       "event-bytes",
                                       "events-to",
                                       "max-registrations",
                                       "max-registrations-per-address",
                                       "budget",
                                       "server",
                                       "servers",
                                       "timeout",
                                       "retries"};

// The directory sizes its buffers by it when it begins.
constexpr const char* kReloadableByServe = "max-answer";

bool isReloadable(const CLI::App& command, const std::string& name) {
  if (name == kReloadableByServe) return command.get_name() == "serve";
  return std::find(std::begin(kReloadable), std::end(kReloadable), name) !=
         std::end(kReloadable);
}

// The options of a command that a file may give, but for those that are not
// shown to people where `shown`.
std::vector<CLI::Option*> configurable(const CLI::App& command, bool shown) {
  auto options =
      const_cast<CLI::App&>(command).get_options([&](CLI::Option* option) {
        return option->get_configurable() && !option->get_lnames().empty() &&
               !(shown && option->get_group().empty());
      });
  return options;
}

std::vector<std::string> namesOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : configurable(command, true))
    names.push_back(option->get_lnames()[0]);
  return names;
}

[[noreturn]] void throwMistake(const TomlEntry& entry,
                               const std::string& text) {
  throw ConfigurationError(entry.place + ": " + text);
}

// Gives the options of the commands what a file says, unless the command line
// has given it.
class TomlConfig : public CLI::Config {
 public:
  // The file has a table for each of the commands.
  TomlConfig(CLI::App* app, std::vector<CLI::App*> commands)
      : app_(app), commands_(std::move(commands)) {}

  std::string to_config(const CLI::App*, bool, bool,
                        std::string) const override {
    return "";
  }

  // Gives the values out itself, since it knows their places: nothing is left.
  std::vector<CLI::ConfigItem> from_config(std::istream& file) const override {
    const std::string name = app_->get_config_ptr()->as<std::string>();
    std::set<const CLI::Option*> onCommandLine;
    for (const CLI::App* command : commands_)
      for (const CLI::Option* option : configurable(*command, false))
        if (option->count() != 0) onCommandLine.insert(option);
    for (const TomlEntry& entry : readToml(file, name))
      take(entry, onCommandLine);
    return {};
  }

 private:
  CLI::App& commandOf(const TomlEntry& entry) const {
    std::vector<std::string> known;
    for (CLI::App* command : commands_) {
      if (command->get_name() == entry.path[0]) return *command;
      known.push_back(command->get_name());
    }
    throwMistake(entry, "there is no table '" + entry.path[0] + "'" +
                            suggestion(entry.path[0], known));
  }

  void take(const TomlEntry& entry,
            const std::set<const CLI::Option*>& onCommandLine) const {
    if (entry.path.size() == 1 && !entry.isTable)
      throwMistake(entry, "'" + entry.name() +
                              "' stands outside of [serve] and [directory]");
    CLI::App& command = commandOf(entry);
    if (entry.path.size() == 1) return;
    const auto options = configurable(command, false);
    const auto found = std::find_if(
        options.begin(), options.end(), [&](const CLI::Option* option) {
          return option->get_lnames()[0] == entry.path[1];
        });
    if (found == options.end())
      throwMistake(entry, "[" + command.get_name() + "] has no option '" +
                              entry.path[1] + "'" +
                              suggestion(entry.path[1], namesOf(command)));
    if (entry.isTable)
      throwMistake(entry, "'" + entry.name() + "' has to be a value");
    give(entry, **found, onCommandLine);
  }

  static void give(const TomlEntry& entry, CLI::Option& option,
                   const std::set<const CLI::Option*>& onCommandLine) {
    if (onCommandLine.count(&option) != 0) return;
    for (CLI::Option* other : option.get_excludes()) {
      // What the command line says rules out what contradicts it.
      if (onCommandLine.count(other) != 0) return;
      if (other->count() != 0 && entry.values != kFalse)
        throwMistake(entry, "'" + entry.name() + "' and '" +
                                other->get_lnames()[0] +
                                "' exclude each other");
    }
    const bool isFlag = option.get_items_expected_max() == 0;
    if (isFlag && entry.values != kTrue && entry.values != kFalse)
      throwMistake(entry, "'" + entry.name() + "' has to be true or false");
    if (entry.values.empty() || (isFlag && entry.values == kFalse)) return;
    try {
      option.add_result(entry.values);
      option.run_callback();
    } catch (const CLI::ParseError& error) {
      throwMistake(entry, error.what());
    }
  }

  inline static const std::vector<std::string> kTrue = {"true"};
  inline static const std::vector<std::string> kFalse = {"false"};

  CLI::App* app_;
  std::vector<CLI::App*> commands_;
};

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names)
    text += (text.empty() ? "" : ", ") + name;
  return text;
}

}  // namespace

Configuration::Configuration()
    : app_("Servers for objects of system administration.", "ostreld") {
  app_.set_version_flag("--version", std::string("ostreld " OSTREL_VERSION));
  app_.require_subcommand(0, 1);
  app_.get_formatter()->column_width(kHelpColumn);
  app_.footer("ostreld COMMAND --help says more about each.");
  app_.set_config("--config", "",
                  "TOML file with options, in the tables [serve] and "
                  "[directory]; the command line wins over it")
      ->type_name("FILE");
  app_.add_flag("--check-config", check_,
                "Say what is wrong with the options and the file, and end");
  serveCommand_ = addServe(&app_, &serve);
  directoryCommand_ = addDirectory(&app_, &directory);
  const std::vector<CLI::App*> servers = {serveCommand_, directoryCommand_};
  for (CLI::App* command : servers) command->fallthrough();
  app_.config_formatter(std::make_shared<TomlConfig>(&app_, servers));
  checkCommand_ = addCheck(&app_, &store);
  backupCommand_ = addBackup(&app_, &store);
}

void Configuration::parse(const std::vector<std::string>& arguments) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  app_.parse(reversed);
  // Without a command both tables of the file are checked.
  if (app_.get_subcommands().empty() && !check_)
    throw CLI::RequiredError::Subcommand(1);
}

const CLI::App* Configuration::command() const {
  if (serveCommand_->parsed()) return serveCommand_;
  return directoryCommand_->parsed() ? directoryCommand_ : nullptr;
}

Level Configuration::logLevel() const {
  return (serves() ? serve.common : directory.common).logLevel();
}

void Configuration::check() {
  const bool both = command() == nullptr;
  if (both || serves()) serve.complete();
  if (!both && serves()) return;
  const DirectoryOptions options = directory.complete();
  allServers(options.servers, options.serverFile);
}

Changes changesBetween(const Configuration& begun,
                       const Configuration& inEffect,
                       const Configuration& now) {
  Changes changes;
  const auto before = configurable(*begun.command(), false);
  const auto current = configurable(*inEffect.command(), false);
  const auto after = configurable(*now.command(), false);
  for (std::size_t i = 0; i < after.size(); ++i) {
    const std::string& name = after[i]->get_lnames()[0];
    const bool taken = isReloadable(*now.command(), name);
    if (after[i]->results() != (taken ? current : before)[i]->results())
      (taken ? changes.taken : changes.needARestart).push_back(name);
  }
  return changes;
}

void Reload::read(const std::function<void(Configuration& now)>& take) {
  const auto now = std::make_shared<Configuration>();
  now->parse(arguments_);
  take(*now);
  setLogLevel(now->logLevel());
  const Changes changes = changesBetween(*begun_, *inEffect_, *now);
  inEffect_ = now;
  log(Level::kInfo, "the configuration was read again; changed: " +
                        (changes.taken.empty() ? std::string("nothing")
                                               : joined(changes.taken)));
  if (!changes.needARestart.empty())
    log(Level::kWarning, "needs a restart: " + joined(changes.needARestart));
}

}  // namespace ostrel::tools::server
