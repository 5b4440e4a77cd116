// The command line together with the configuration file: what it all says, and
// what of it changed when it was read again.

#ifndef OSTREL_TOOLS_OSTRELD_CONFIGURATION_H
#define OSTREL_TOOLS_OSTRELD_CONFIGURATION_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "options.h"

namespace ostrel::tools::server {

// What the program was told. Each option may also stand in the file of
// --config, in the table [serve] or [directory], under its long name.
class Configuration {
 public:
  Configuration();
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;

  // Reads the arguments, without the program's name, and the file. Throws
  // CLI::ParseError, which stands for --help as well, and ConfigurationError
  // with the place of a mistake in the file.
  void parse(const std::vector<std::string>& arguments);

  // Prints help, or what is wrong with the arguments. Returns 0 for help.
  int explain(const CLI::ParseError& error) { return app_.exit(error); }

  // The server that was chosen; null with --check-config alone, and for
  // commands that run none.
  const CLI::App* command() const;
  bool serves() const { return serveCommand_->parsed(); }
  bool checksOnly() const { return check_; }
  bool checksStore() const { return checkCommand_->parsed(); }
  bool backsUp() const { return backupCommand_->parsed(); }
  Level logLevel() const;

  // Throws std::exception when the server could not begin with this.
  void check();

  ServeArguments serve;
  DirectoryArguments directory;
  StoreArguments store;

 private:
  CLI::App app_;
  CLI::App* serveCommand_;
  CLI::App* directoryCommand_;
  CLI::App* checkCommand_;
  CLI::App* backupCommand_;
  bool check_ = false;
};

// The names of options.
struct Changes {
  std::vector<std::string> taken;         // can change while a server runs
  std::vector<std::string> needARestart;  // cannot
};

// What is different `now`: from what a server began with where it needs a
// restart, else from what is in effect.
Changes changesBetween(const Configuration& begun,
                       const Configuration& inEffect, const Configuration& now);

// Reads the configuration again while a server runs.
class Reload {
 public:
  // Both are what the server began with.
  Reload(std::vector<std::string> arguments,
         std::shared_ptr<Configuration> begun)
      : arguments_(std::move(arguments)),
        begun_(std::move(begun)),
        inEffect_(begun_) {}

  // Hands over what is configured now, and logs what changed. When `take`
  // throws, or the configuration cannot be read, everything stays as it was.
  void read(const std::function<void(Configuration& now)>& take);

 private:
  std::vector<std::string> arguments_;
  std::shared_ptr<Configuration> begun_;
  std::shared_ptr<Configuration> inEffect_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_CONFIGURATION_H
