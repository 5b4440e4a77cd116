// "ostrel action".

#include <ctime>

#include "commands/every_server.h"
#include "commands/results.h"

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
  const Aid aid(parseAid(arguments.id));
  const std::time_t now = std::time(nullptr);
  Values values;
  Aids items;
  for (const std::string& word : arguments.words) {
    const Value value = argument(word, now);
    auto* attribute = dynamic_cast<veskAttribute*>(value.get());
    items.push_back(attribute != nullptr ? Aid(attribute->id) : Aid());
    values.push_back(ostrel::Value::from(value.get()));
  }
  EveryServer servers(session, "action", EveryServer::Failures::kOfTheCommand);
  servers.ask<Done>(
      arguments.id,
      [&](const Endpoint& server, Handler<Done> handler,
          const RequestOptions& options) {
        return session.client().action(server, Oid(), aid, values,
                                       std::move(handler), options);
      },
      [&](const Target& server, Done, const ItemErrors& errors) {
        Json json = resultJson(server, "action", errors);
        json["aid"] = aid.text();
        return reportDone(output, aid.text() + ": done", std::move(json),
                          aid.text(), errors, items);
      });
  return servers.finish();
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
