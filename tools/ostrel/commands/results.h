// What the answers of servers are printed from: the client's values and errors
// as text and as JSON.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_RESULTS_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_RESULTS_H

#include <ostrel/client.h>

#include <string>
#include <vector>

#include "commands/command_support.h"
#include "session/session.h"

namespace ostrel::tools::cli {

using ItemErrors = std::vector<ItemError>;

// Identifiers and attributes as they are typed in.
using Aids = std::vector<Aid>;
Aids aidsFrom(const Words& words);
Attributes attributeValuesFrom(const Words& words);

Aids idsOf(const Attributes& attributes);

// A value as the functions that print take it. Throws Failure for one that they
// cannot print.
ostrel::Value::VeskPointer printable(const ostrel::Value& value);

// The beginning of a command's JSON form: "command", "server", "status".
Json resultJson(const Target& server, const char* command,
                const ItemErrors& errors);
Json errorsJson(const ItemErrors& errors);

// Prints the errors that came with an answer about `subject`, each with what it
// is about: the one of `items` at its position, or its number, and what to do
// about them. Returns kPartial when there are any, else kDone.
Exit reportErrors(Output& output, const std::string& subject,
                  const ItemErrors& errors, const Aids& items);

// Throws that an answer says that no object was made.
[[noreturn]] void throwNotMade(const ItemErrors& errors);

// A result that is a line at most: all went well, or errors follow.
Exit reportDone(Output& output, const std::string& line, Json json,
                const std::string& subject, const ItemErrors& errors,
                const Aids& items);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_RESULTS_H
