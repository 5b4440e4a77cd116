// What the commands share: lists from words, results and the errors of items.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_COMMAND_SUPPORT_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_COMMAND_SUPPORT_H

#include <ostrel/veskPDU.h>

#include <string>

#include "commands/commands.h"
#include "format/value_text.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

// Below the options of a command's help.
std::string examples(const std::string& lines);

// How conditions are written, for people.
extern const char* const kConditionHelp;

// The first argument, which is needed, and the others.
void addId(CLI::App& command, Arguments& arguments, const char* name,
           const char* help);
CLI::Option* addWords(CLI::App& command, Arguments& arguments, const char* name,
                      const char* help);

// What a command does that asks servers.
template <Exit (*kRun)(Session&, const Arguments&)>
Exit inSession(Output& output, Arguments& arguments) {
  Session session(output);
  return kRun(session, arguments);
}

Owned<veskList> attributesFrom(const Words& words);
Owned<veskList> conditionsFrom(const Words& words);

// The beginning of a command's JSON form: "command", "server", "status".
Json resultJson(Session& session, const char* command, veskPDU& response);

// Prints the errors that came with an answer about `subject`, each with the
// attribute of `items` that it is about, or with its number where there is
// none, and what to do about them. Without `items` it is the subjects that are
// numbered, and the caller says what to do. Returns kPartial when there are any
// or the status says so, else kDone.
Exit reportErrors(Output& output, const std::string& subject,
                  veskRespPDU& response, veskList* items);

// Throws Failure when an answer without errors says that no object was made.
void checkMade(veskCreateRespPDU& response);

// What one line of a search says: the identifier of an object, or whatever a
// server put there instead.
std::string foundText(veskType* value);

// A line for each attribute, or with --quiet for its value.
std::string attributeLines(Output& output, veskList& list,
                           const std::string& indent);

// Reads attributes of an object, all of them when `wanted` is empty, and prints
// them, below the object's identifier where `headed`.
Exit showObject(Session& session, const char* command, veskOid oid,
                veskList& wanted, bool headed);

// Runs `work` for the position of each word; a refusal of one does not keep it
// from the next. Returns kDone, the exit of the failures when all failed, else
// kPartial.
template <class Work>
Exit forEachOf(Output& output, const char* command, const Words& words,
               Work work) {
  std::size_t failures = 0;
  Exit exit = kDone;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    try {
      work(i);
    } catch (const Failure& failure) {
      // A server that does not answer will not do so for the next one.
      if (failure.exit != kRefused && failure.exit != kDecode) throw;
      Json about;
      about["command"] = command;
      about["oid"] = word;
      const Failure named(failure.exit, escaped(word) + ": " + failure.what(),
                          failure.hint, failure.code);
      output.failure(named, about);
      exit = failure.exit;
      ++failures;
    }
  }
  return failures == 0 || failures == words.size() ? exit : kPartial;
}

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_COMMAND_SUPPORT_H
