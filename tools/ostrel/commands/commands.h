// The commands: a table with the name, the help and the arguments of each, and
// what it does. A new command is a row in the list of one of the files of this
// folder, next to the function that does it.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "session/session.h"

namespace ostrel::tools::cli {

using Words = std::vector<std::string>;

// What the words and options of a command line are put into.
struct Arguments {
  std::string id;         // the object, class or action, as typed in
  Words words;            // what else there is
  int hops = 8;           // networks that a discovery crosses
  std::string deliverTo;  // the address that events go to; empty: found out
  unsigned count = 0;     // ends after so many events; 0: never
  unsigned seconds = 0;   // ends after so long; 0: never

  // Seconds until it is verified again what was registered: at least every
  // minute, though an answer may take some seconds.
  unsigned verifyEvery = 45;
  bool update = false;  // load: sets objects instead of making them
  std::string state;    // where load notes what is done; empty: nowhere
  std::string every;    // of poll, with its unit
  std::string shell;
  std::string verb;     // of class
  std::string against;  // the former class files
  std::string form;     // that a class is shown in
};

struct Command {
  const char* name;
  const char* description;
  std::string help;  // below the options

  void (*addArguments)(CLI::App& command, Arguments& arguments);

  // Returns the exit code, or throws Failure or TextError.
  Exit (*run)(Output& output, Arguments& arguments);
};

// Each file's part of the table, in the order of the help.
std::vector<Command> objectCommands();     // get, set, create, clone, remove...
std::vector<Command> searchCommands();     // search, walk
std::vector<Command> directoryCommands();  // find, discover
std::vector<Command> dumpCommands();
std::vector<Command> loadCommands();
std::vector<Command> batchCommands();
std::vector<Command> pollCommands();
std::vector<Command> actionCommands();
std::vector<Command> watchCommands();
std::vector<Command> decodeCommands();
std::vector<Command> classCommands();

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_COMMANDS_H
