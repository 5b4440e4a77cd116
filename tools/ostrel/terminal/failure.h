// How the tool ends: its exit codes, and what it says when something failed.

#ifndef OSTREL_TOOLS_OSTREL_TERMINAL_FAILURE_H
#define OSTREL_TOOLS_OSTREL_TERMINAL_FAILURE_H

#include <stdexcept>
#include <string>

namespace ostrel::tools::cli {

// Documented in docs/command-line.md and in the manual page; they stay.
enum Exit : int {
  kDone = 0,
  kRefused = 1,        // a server answered with an error
  kUsage = 2,          // the command line cannot be understood
  kNoAnswer = 3,       // nobody answered in time
  kPartial = 4,        // items failed, one or all, or some of several objects
  kDecode = 5,         // an answer, or the input, cannot be decoded
  kSetup = 6,          // no such name, no network, results cannot be written
  kInterrupted = 130,  // by a signal, before the answer came or was read
};

// "noAnswer" and so on, as it stands in the JSON form.
const char* exitName(Exit exit);

// What to do about a server's return code, in a sentence; may be empty.
std::string hintFor(int code);

// What ends a command, or its work on one object.
class Failure : public std::runtime_error {
 public:
  // `next` says what to do now; it may be empty. `returned` is the library's
  // return code, 0 where there is none.
  Failure(Exit how, const std::string& message, const std::string& next = "",
          int returned = 0)
      : std::runtime_error(message), exit(how), hint(next), code(returned) {}

  Exit exit;
  std::string hint;
  int code;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_TERMINAL_FAILURE_H
