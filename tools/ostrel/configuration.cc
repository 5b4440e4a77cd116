#include "configuration.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "common/environment.h"
#include "format/bytes.h"
#include "terminal/failure.h"

namespace ostrel::tools::cli {
namespace {

// The options that can be configured; what is about one request is not.
struct Setting {
  const char* name;
  const char* variable;  // null: none
  const char* standard;  // what holds without a value, for people
};
constexpr Setting kSettings[] = {
    {"server", "OSTREL_SERVER", "this host"},
    {"directory", "OSTREL_DIRECTORY", "found by multicast"},
    {"principal", "OSTREL_PRINCIPAL", "looked up"},
    {"timeout", "OSTREL_TIMEOUT", "3"},
    {"retries", "OSTREL_RETRIES", "2"},
    {"json", nullptr, "false"},
    {"quiet", nullptr, "false"},
};

constexpr const char* kProfileVariable = "OSTREL_PROFILE";

// The table that holds the profiles.
constexpr const char* kProfiles = "profile";

constexpr const char* kHint = "ostrel config --help shows an example.";

[[noreturn]] void throwMistake(const std::string& place,
                               const std::string& text) {
  throw Failure(kUsage, place + ": " + text, kHint);
}

std::vector<std::string> settingNames() {
  std::vector<std::string> names;
  for (const Setting& each : kSettings) names.emplace_back(each.name);
  return names;
}

bool isSetting(const std::string& name) {
  return std::any_of(std::begin(kSettings), std::end(kSettings),
                     [&](const Setting& each) { return name == each.name; });
}

// Gives an option a value, as if it stood on the command line.
void give(CLI::Option& option, const std::string& value,
          const std::string& place) {
  const bool isFlag = option.get_items_expected_max() == 0;
  if (isFlag && value != "true" && value != "false")
    throwMistake(place,
                 "'" + option.get_lnames()[0] + "' has to be true or false");
  if (isFlag && value == "false") return;
  try {
    option.add_result(value);
    option.run_callback();
  } catch (const CLI::ParseError& error) {
    throwMistake(place, error.what());
  }
}

}  // namespace

void Configuration::apply(CLI::App& app, const std::string& profileOption) {
  read();
  chooseProfile(profileOption);
  for (const Setting& setting : kSettings) {
    CLI::Option& option = *app.get_option(std::string("--") + setting.name);
    const std::string inEnvironment =
        setting.variable != nullptr ? environment(setting.variable) : "";
    Effective effective = {setting.name, setting.standard, "default"};
    if (option.count() != 0) {
      effective.value = option.results().back();
      effective.source = "command line";
    } else if (!inEnvironment.empty()) {
      effective.value = inEnvironment;
      effective.source = setting.variable;
      give(option, effective.value, effective.source);
    } else if (const TomlEntry* entry = find(setting.name)) {
      effective.value = entry->values[0];
      effective.source = entry->place;
      give(option, effective.value, effective.source);
    }
    effective_.push_back(std::move(effective));
  }
}

// No file is as good as an empty one.
void Configuration::read() {
  const std::string folder = userFolder("XDG_CONFIG_HOME", ".config");
  if (folder.empty()) return;
  file_ = folder + "/ostrel/config.toml";
  there_ = access(file_.c_str(), F_OK) == 0;
  if (!there_) return;
  errno = 0;
  std::ifstream file(file_);
  // A folder opens like a file.
  if (!file || file.peek() == std::ifstream::traits_type::eof()) {
    if (errno == 0) return;  // it is empty
    throw Failure(kUsage, "the configuration file " + escaped(file_) +
                              " cannot be read: " + std::strerror(errno));
  }
  try {
    entries_ = readToml(file, file_);
  } catch (const ConfigurationError& error) {
    throw Failure(kUsage, error.what(), kHint);
  }
  for (const TomlEntry& entry : entries_) check(entry);
}

// Profiles that are not chosen may hold no mistakes either.
void Configuration::check(const TomlEntry& entry) const {
  const std::string name = "'" + escaped(entry.name()) + "'";
  const std::size_t depth = entry.path.size();
  const bool inProfiles = entry.path[0] == kProfiles;
  if (inProfiles && depth < 3) {
    if (!entry.isTable)
      throwMistake(entry.place, name + " has to be a table, [profile.NAME]");
    return;
  }
  if (entry.isTable)
    throwMistake(entry.place, "there is no table " + name +
                                  "; profiles are tables [profile.NAME]");
  // What lies in an unknown table was told with that.
  if (!isSetting(entry.name()))
    throwMistake(entry.place, "there is no setting " + name +
                                  suggestion(entry.name(), settingNames()));
  if (entry.isArray) throwMistake(entry.place, name + " has to be one value");
}

void Configuration::chooseProfile(const std::string& option) {
  profile_ = option.empty() ? environment(kProfileVariable) : option;
  if (profile_.empty()) return;
  std::vector<std::string> known;
  for (const TomlEntry& entry : entries_)
    if (entry.path.size() == 2 && entry.path[0] == kProfiles)
      known.push_back(entry.name());
  if (std::find(known.begin(), known.end(), profile_) != known.end()) return;
  const std::string name = "there is no profile '" + escaped(profile_) + "'";
  if (!there_)
    throw Failure(kUsage, name + ": there is no file " + escaped(file_), kHint);
  throw Failure(kUsage,
                name + " in " + escaped(file_) + suggestion(profile_, known),
                kHint);
}

// What the profile says, else what the file says outside of all profiles.
const TomlEntry* Configuration::find(const std::string& name) const {
  const auto at = [&](const std::vector<std::string>& path) {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(),
                     [&](const TomlEntry& each) { return each.path == path; });
    return found != entries_.end() ? &*found : nullptr;
  };
  const TomlEntry* chosen =
      profile_.empty() ? nullptr : at({kProfiles, profile_, name});
  return chosen != nullptr ? chosen : at({name});
}

}  // namespace ostrel::tools::cli
