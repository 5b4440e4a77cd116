// The commands on objects: get, set, create, clone, remove, verify.

#include "commands/command_support.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

Exit runGet(Session& session, const Arguments& arguments) {
  const auto wanted = make<veskList>();
  for (const std::string& word : arguments.words) {
    veskAid aid = parseAid(word);
    wanted->append(new veskAttribute(&aid));
  }
  return showObject(session, "get", parseOid(arguments.id), *wanted, false);
}

Exit runSet(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> list = attributesFrom(arguments.words);
  veskSetPDU request(oid, list.get());
  const auto response = session.ask<veskSetRespPDU>(request);
  if (response == nullptr) return kDone;
  Json json = resultJson(session, "set", *response);
  json["oid"] = oidJson(oid);
  json["errors"] = errorsJson(response->errors);
  const bool all = response->status.value == 0 && response->errors->count == 0;
  output.result(all && !output.settings().quiet ? oidText(oid) + ": set\n" : "",
                json);
  return reportErrors(output, oidText(oid), *response, list.get());
}

// Create and clone differ in their PDUs alone.
template <class Request, class Response>
Exit makeObject(Session& session, const char* command,
                const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> attributes = attributesFrom(arguments.words);
  Request request(oid, attributes.get());
  const auto response = session.ask<Response>(request);
  if (response == nullptr) return kDone;
  const bool made = response->errors->count == 0;
  if (made) checkMade(*response);
  Json json = resultJson(session, command, *response);
  json["oid"] = made ? oidJson(response->oid) : Json(nullptr);
  json["errors"] = errorsJson(response->errors);
  output.result(made ? oidText(response->oid) + "\n" : "", json);
  const Exit exit =
      reportErrors(output, oidText(oid), *response, attributes.get());
  // With errors there is no new object.
  return made ? exit : kRefused;
}

// Remove and verify answer with a status alone.
template <class Request, class Response>
Exit forEachObject(Session& session, const char* command, const char* done,
                   const Words& oids) {
  Output& output = session.output();
  // Before anything is sent, every word has to be an identifier.
  std::vector<veskOid> parsed;
  for (const std::string& word : oids) parsed.push_back(parseOid(word));
  return forEachOf(output, command, oids, [&](std::size_t i) {
    veskOid& oid = parsed[i];
    Request request(oid);
    const auto response = session.ask<Response>(request);
    if (response == nullptr) return;
    Json json = resultJson(session, command, *response);
    json["oid"] = oidJson(oid);
    output.result(
        output.settings().quiet ? "" : oidText(oid) + ": " + done + "\n", json);
  });
}

Exit runCreate(Session& session, const Arguments& arguments) {
  return makeObject<veskCreatePDU, veskCreateRespPDU>(session, "create",
                                                      arguments);
}

Exit runClone(Session& session, const Arguments& arguments) {
  // A server may answer with either, which differ in their tag alone.
  return makeObject<veskClonePDU, veskCreateRespPDU>(session, "clone",
                                                     arguments);
}

Exit runRemove(Session& session, const Arguments& arguments) {
  return forEachObject<veskRemovePDU, veskRemoveRespPDU>(
      session, "remove", "removed", arguments.words);
}

Exit runVerify(Session& session, const Arguments& arguments) {
  return forEachObject<veskVerifyPDU, veskVerifyRespPDU>(
      session, "verify", "there", arguments.words);
}

}  // namespace

std::vector<Command> objectCommands() {
  return {
      {"get", "Read attributes of an object",
       examples("  ostrel get 59.200.0.1\n"
                "  ostrel get 59.200.0.1 59.200.1 59.200.2\n"
                "  name=$(ostrel -q get 59.200.0.1 59.200.1)"),
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "OBJECT", "The object");
         addWords(command, arguments, "ATTRIBUTE",
                  "Attributes; all of them without any");
       },
       inSession<runGet>},
      {"set", "Write attributes of an object",
       examples("  ostrel set 59.200.0.1 59.200.1=lamp 59.200.2=int:7\n"
                "  ostrel set 59.200.0.1 59.200.3=time:now+1h\n\n") +
           kValueHelp,
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "OBJECT", "The object");
         addWords(command, arguments, "ATTRIBUTE=VALUE", "What to write")
             ->required();
       },
       inSession<runSet>},
      {"create", "Create an object and print its identifier",
       examples("  ostrel create 59.200\n"
                "  ostrel create 59.200 59.200.1=lamp 59.200.2=int:7\n\n") +
           kValueHelp,
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "CLASS", "The class of the new object");
         addWords(command, arguments, "ATTRIBUTE=VALUE", "Its attributes");
       },
       inSession<runCreate>},
      {"clone", "Copy an object and print the copy's identifier",
       examples("  ostrel clone 59.200.0.1\n"
                "  ostrel clone 59.200.0.1 59.200.1='second lamp'\n\n") +
           kValueHelp,
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "OBJECT", "The object to copy");
         addWords(command, arguments, "ATTRIBUTE=VALUE",
                  "Attributes that the copy has instead");
       },
       inSession<runClone>},
      {"remove", "Remove objects",
       examples("  ostrel remove 59.200.0.1\n"
                "  ostrel remove $(ostrel search 59.200)"),
       [](CLI::App& command, Arguments& arguments) {
         addWords(command, arguments, "OBJECT", "The objects")->required();
       },
       inSession<runRemove>},
      {"verify", "Ask whether objects are there",
       examples("  ostrel verify 59.200.0.1\n"
                "  ostrel -q verify 59.200.0.1 && echo there"),
       [](CLI::App& command, Arguments& arguments) {
         addWords(command, arguments, "OBJECT", "The objects")->required();
       },
       inSession<runVerify>},
  };
}

}  // namespace ostrel::tools::cli
