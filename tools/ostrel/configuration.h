// What the command line leaves out, from the environment and from the user's
// configuration file.

#ifndef OSTREL_TOOLS_OSTREL_CONFIGURATION_H
#define OSTREL_TOOLS_OSTREL_CONFIGURATION_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "common/toml_file.h"

namespace ostrel::tools::cli {

// An option that can be configured, and what is in effect.
struct Effective {
  std::string name;  // the long name of the option, and the key in the file
  std::string value;
  std::string source;  // "command line", a variable, a place, or "default"
};

class Configuration {
 public:
  // Gives each option of `app` that the command line left out the value of its
  // variable, of the profile or of the file, whichever comes first. Throws
  // Failure, which names the place of a mistake.
  void apply(CLI::App& app, const std::string& profileOption);

  // The file, "" where the user has no folder for it; whether it is there.
  const std::string& file() const { return file_; }
  bool fileIsThere() const { return there_; }

  // The profile's name, or "".
  const std::string& profile() const { return profile_; }

  const std::vector<Effective>& effective() const { return effective_; }

 private:
  void read();
  void check(const TomlEntry& entry) const;
  void chooseProfile(const std::string& option);
  const TomlEntry* find(const std::string& name) const;

  std::string file_;
  bool there_ = false;
  std::string profile_;
  std::vector<TomlEntry> entries_;
  std::vector<Effective> effective_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_CONFIGURATION_H
