// The command line: its options with their help, read into what the two servers
// are given.

#ifndef OSTREL_TOOLS_OSTRELD_OPTIONS_H
#define OSTREL_TOOLS_OSTRELD_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "directory/directory_loop.h"
#include "requests/object_server_loop.h"
#include "support/log.h"

namespace ostrel::tools::server {

// What both commands are told.
struct CommonArguments {
  std::string listen = "127.0.0.1";
  std::string level = "info";

  Level logLevel() const;
};

// "ostreld serve".
struct ServeArguments {
  CommonArguments common;
  ObjectServerOptions options;
  std::string store;
  bool memory = false;
  bool readOnly = false;
  int budget = 10;  // seconds
  std::vector<std::string> writers;
  std::vector<std::string> eventsTo;
  std::vector<std::string> unindexed;
  std::vector<std::string> administrators;
  std::vector<std::string> allowed;  // networks
  std::vector<std::string> allowedToWrite;

  // Throws std::exception with a sentence for the user.
  ObjectServerOptions complete();
};

// Makes the folder of a store, and keeps others from reading what is made in
// it.
void prepareStore(const std::string& store);
CLI::App* addServe(CLI::App* app, ServeArguments* arguments);

// "ostreld directory".
struct DirectoryArguments {
  CommonArguments common;
  DirectoryOptions options;
  std::vector<std::string> interfaces;
  bool noMulticast = false;

  DirectoryOptions complete();
};
CLI::App* addDirectory(CLI::App* app, DirectoryArguments* arguments);

// "ostreld check" and "ostreld backup".
struct StoreArguments {
  std::string store;
  std::string copy;
};
CLI::App* addCheck(CLI::App* app, StoreArguments* arguments);
CLI::App* addBackup(CLI::App* app, StoreArguments* arguments);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OPTIONS_H
