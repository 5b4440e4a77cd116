// What the tool says: results to standard output, failures, progress and
// explanations to standard error. With --json all results and failures go to
// standard output, one JSON object to a line.

#ifndef OSTREL_TOOLS_OSTREL_TERMINAL_OUTPUT_H
#define OSTREL_TOOLS_OSTREL_TERMINAL_OUTPUT_H

#include <string>
#include <string_view>
#include <utility>

#include "format/json.h"
#include "terminal/failure.h"
#include "terminal/settings.h"

namespace ostrel::tools::cli {

class Output {
 public:
  explicit Output(const Settings& settings);

  // A result: the text, which ends with a newline or is empty, or the JSON
  // form. Reaches the reader at once.
  void result(const std::string& text, const Json& json);

  // What has no JSON form: help and scripts.
  void write(std::string_view text);

  // What lines of results and failures begin with from now on, "10.0.0.7: " for
  // instance, where several servers answer. Not in the JSON form.
  void setPrefix(std::string prefix) { prefix_ = std::move(prefix); }

  // A failure, as "ostrel: MESSAGE" with the hint on the next line. `about`
  // holds what the command knows: "command", "server", "oid".
  void failure(const Failure& failure, const Json& about);

  // A line about an item that failed, next to a result that tells the same in
  // its JSON form.
  void itemFailure(const std::string& text);

  // What to do about a failure, for people. Nothing when the text is empty.
  void hint(const std::string& text);

  // A line for people: neither result nor failure. Not with --quiet or --json.
  void note(const std::string& text);

  // The same about what takes time or changes the request, which programs are
  // told too, on standard error.
  void announce(const std::string& text);

  // A line of --trace: an object with --json, else the text.
  void trace(const std::string& text, const Json& json);

  // A line that the next one replaces, when standard error is a terminal.
  void progress(const std::string& text);
  void endProgress();

  // Whether results cannot be written any more.
  bool broken() const { return writeError_ != 0; }

  // The last that is said: reports results that could not be written. Returns
  // the exit code of the program, `exit` when there are none.
  Exit finish(Exit exit);

  const Settings& settings() const { return settings_; }

 private:
  void error(const std::string& text);

  std::string prefixed(const std::string& text) const;

  const Settings& settings_;
  std::string prefix_;
  bool terminal_;
  bool inProgress_ = false;
  int writeError_ = 0;  // the errno of the write that failed
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_TERMINAL_OUTPUT_H
