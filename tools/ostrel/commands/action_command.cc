// "ostrel action".

#include <ctime>

#include "commands/command_support.h"

namespace ostrel::tools::cli {
namespace {

Value argument(const std::string& word, std::time_t now) {
  // "59.6.1=5" is an attribute, everything else a value.
  if (word.find_first_not_of("0123456789.") == word.find('=') &&
      word.find('=') != word.npos)
    return Value(parseAttribute(word, now).release());
  return parseValue(word, now);
}

Exit runAction(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskActionPDU request;
  const Owned<veskList> list(request.list);
  request.aid = parseAid(arguments.id);
  const std::time_t now = std::time(nullptr);
  for (const std::string& word : arguments.words)
    list->append(argument(word, now).release());
  // Answers to actions arrive as answers to a set.
  const auto response = session.ask<veskSetRespPDU>(request);
  if (response == nullptr) return kDone;
  Json json = resultJson(session, "action", *response);
  json["aid"] = aidJson(request.aid);
  json["errors"] = errorsJson(response->errors);
  const bool all = response->status.value == 0 && response->errors->count == 0;
  output.result(
      all && !output.settings().quiet ? aidText(request.aid) + ": done\n" : "",
      json);
  return reportErrors(output, aidText(request.aid), *response, list.get());
}

}  // namespace

std::vector<Command> actionCommands() {
  return {
      {"action", "Have an action done",
       "The target of an action does not travel: the server tells it from\n"
       "the action and its arguments. 59.200.1=5 is an attribute, other\n"
       "words are values; -- goes before words that begin with a dash.\n\n" +
           examples("  ostrel action 59.200.20 oid:59.200.0.1 int:3\n"
                    "  ostrel action 59.200.21 59.200.1=lamp\n\n") +
           kValueHelp,
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "ACTION", "The action");
         addWords(command, arguments, "ARGUMENT", "Its arguments");
       },
       inSession<runAction>},
  };
}

}  // namespace ostrel::tools::cli
