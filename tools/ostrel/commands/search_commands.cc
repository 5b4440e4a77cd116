// The commands on the objects of a class: search, walk.

#include <ostrel/elements.h>
#include <ostrel/names.h>

#include "commands/command_support.h"

namespace ostrel::tools::cli {
namespace {

Owned<veskSearchRespPDU> search(Session& session, veskOid& oid,
                                veskList& conditions) {
  veskSearchPDU request(oid, &conditions, kSearchFlag);
  return session.ask<veskSearchRespPDU>(request);
}

Exit runSearch(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> conditions = conditionsFrom(arguments.words);
  const auto response = search(session, oid, *conditions);
  if (response == nullptr) return kDone;
  std::string text;
  Json found = Json::array();
  for (veskType* value : Elements(response->list)) {
    text += foundText(value) + "\n";
    auto* object = dynamic_cast<veskOid*>(value);
    found.push_back(object != nullptr ? oidJson(*object) : toJson(value));
  }
  Json json = resultJson(session, "search", *response);
  json["oid"] = oidJson(oid);
  json["found"] = std::move(found);
  json["errors"] = errorsJson(response->errors);
  output.result(text, json);
  const Exit exit =
      reportErrors(output, oidText(oid), *response, conditions.get());
  if (exit == kDone && response->list->count == 0)
    output.note("ostrel: nothing found");
  return exit;
}

Exit runWalk(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> conditions = conditionsFrom(arguments.words);
  const auto response = search(session, oid, *conditions);
  if (response == nullptr) return kDone;
  const Exit searched =
      reportErrors(output, oidText(oid), *response, conditions.get());
  if (searched != kDone) {
    Json json = resultJson(session, "walk", *response);
    json["oid"] = oidJson(oid);
    json["attributes"] = Json::array();
    json["errors"] = errorsJson(response->errors);
    output.result("", json);
  }
  Words found;
  for (veskType* value : Elements(response->list))
    found.push_back(foundText(value));
  if (searched == kDone && found.empty()) output.note("ostrel: nothing found");
  Exit partly = searched;
  auto at = Elements<veskOid>(response->list).begin();
  const Exit walked = forEachOf(output, "walk", found, [&](std::size_t) {
    veskOid* object = *at++;
    if (object == nullptr || object->valid == 0)
      throw Failure(kDecode, "the server found what is no object",
                    "--trace shows what was received.");
    veskList everything;
    if (showObject(session, "walk", *object, everything, true) != kDone)
      partly = kPartial;
  });
  return walked != kDone ? walked : partly;
}

}  // namespace

std::vector<Command> searchCommands() {
  const auto addArguments = [](CLI::App& command, Arguments& arguments) {
    addId(command, arguments, "CLASS", "The class");
    addWords(command, arguments, "CONDITION", "What the objects have to meet");
  };
  return {
      {"search", "List the objects of a class that meet conditions",
       examples("  ostrel search 59.200\n"
                "  ostrel search 59.200 '59.200.2>3' 59.200.1~lamp\n\n") +
           kConditionHelp,
       addArguments, inSession<runSearch>},
      {"walk", "Print the objects of a class with attributes",
       examples("  ostrel walk 59.110\n"
                "  ostrel walk 59.200 '59.200.2>3'\n\n") +
           kConditionHelp,
       addArguments, inSession<runWalk>},
  };
}

}  // namespace ostrel::tools::cli
