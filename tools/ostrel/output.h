// What the tool says: results to standard output, failures, progress and
// explanations to standard error. With --json all results and failures go to
// standard output, one JSON object to a line.

#ifndef OSTREL_TOOLS_OSTREL_OUTPUT_H
#define OSTREL_TOOLS_OSTREL_OUTPUT_H

#include <string>

#include "failure.h"
#include "json.h"
#include "settings.h"

namespace cli {

class Output {
 public:
  explicit Output(const Settings& settings);

  // A result: the text, which ends with a newline or is empty, or the JSON
  // form. Reaches the reader at once.
  void result(const std::string& text, const Json& json);

  // A failure, as "ostrel: MESSAGE" with the hint on the next line. `about`
  // holds what the command knows: "command", "server", "oid".
  void failure(const Failure& failure, const Json& about);

  // A line about an item that failed, next to a result that tells the same in
  // its JSON form.
  void itemFailure(const std::string& text);

  // A line for people: neither result nor failure. Not with --quiet or --json.
  void note(const std::string& text);

  // A line of --trace: an object with --json, else the text.
  void trace(const std::string& text, const Json& json);

  // A line that the next one replaces, when standard error is a terminal.
  void progress(const std::string& text);
  void endProgress();

  // Whether nobody reads the results any more.
  bool broken() const;

  const Settings& settings() const { return settings_; }

 private:
  void error(const std::string& text);

  const Settings& settings_;
  bool terminal_;
  bool inProgress_ = false;
};

}  // namespace cli

#endif  // OSTREL_TOOLS_OSTREL_OUTPUT_H
