// The commands that ask the directory service.

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/veskError.h>

#include "commands/command_support.h"
#include "common/addresses.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

// Asks for directory servers until `take` returns true or somebody answered.
// Returns whether somebody did.
bool discover(Session& session, int hops, const Session::Take& take) {
  bool answered = false;
  for (const DiscoveryAttempt& attempt : kDiscoveryAttempts) {
    if (attempt.ttl > hops) break;
    veskDSsearchPDU request;
    const Owned<veskList> list(request.list), list2(request.list2);
    const bool ended = session.gather(request, attempt.ttl, attempt.seconds,
                                      [&](in_addr from, veskPDU& answer) {
                                        answered = true;
                                        return take(from, answer);
                                      });
    if (ended || answered) return true;
  }
  return false;
}

[[noreturn]] void throwNobody() {
  throw Failure(kNoAnswer, "no directory server answered the multicast",
                "Is one running (ostreld directory)? --directory names its "
                "host.",
                kNetworkError);
}

Exit runDiscover(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  const bool answered =
      discover(session, arguments.hops, [&](in_addr from, veskPDU& answer) {
        Json json;
        json["command"] = "discover";
        json["directory"] = addressText(from);
        json["status"] = codeJson(answer.status.value);
        output.result(addressText(from) + "\n", json);
        return false;
      });
  if (!answered) throwNobody();
  return kDone;
}

Exit runFind(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> conditions = conditionsFrom(arguments.words);
  const Owned<veskList> noServers(new veskList);
  veskDSsearchPDU request(oid, conditions.get(), noServers.get());

  // In a dry run nobody answers the discovery: 0.0.0.0 stands for whoever
  // would.
  sockaddr_in directory = endpoint({}, kDirectoryPort);
  if (const auto named = session.directory())
    directory = *named;
  else if (!discover(session, kDiscoveryAttempts[3].ttl,
                     [&](in_addr from, veskPDU&) {
                       directory.sin_addr = from;
                       return true;
                     }))
    throwNobody();
  const auto response = session.askAt<veskDSsearchRespPDU>(directory, request);
  if (response == nullptr) return kDone;

  // The object at each position of the one list is at the server in the other.
  std::string text;
  Json found = Json::array();
  const Elements<veskAddress> servers(response->list2);
  auto at = servers.begin();
  for (veskType* object : Elements(response->list)) {
    auto* id = dynamic_cast<veskOid*>(object);
    veskAddress* server = at != servers.end() ? *at++ : nullptr;
    text += foundText(object);
    if (server != nullptr && !output.settings().quiet)
      text += "  " + plainText(server);
    text += "\n";
    Json entry;
    entry["oid"] = id != nullptr ? oidJson(*id) : toJson(object);
    entry["server"] =
        server != nullptr ? toJson(server)["value"] : Json(nullptr);
    found.push_back(std::move(entry));
  }
  Json json;
  json["command"] = "find";
  json["directory"] = serverText(directory, kDirectoryPort);
  json["status"] = codeJson(response->status.value);
  json["oid"] = oidJson(oid);
  json["found"] = std::move(found);
  json["errors"] = errorsJson(response->errors);
  output.result(text, json);
  // Each error is about one of the servers that the directory asked.
  const Exit exit = reportErrors(output, "object server", *response, nullptr);
  if (response->list->count != 0) return exit;
  if (exit == kDone)
    output.note("ostrel: nothing found");
  else
    output.hint(
        "Do the object servers run (ostreld serve) that the directory "
        "server was given?");
  return exit;
}

}  // namespace

std::vector<Command> directoryCommands() {
  return {
      {"find", "Search through the directory service",
       "Prints each object with the address of the server that holds it.\n"
       "Without --directory the directory is looked for by multicast.\n\n" +
           examples("  ostrel find 59.200\n"
                    "  ostrel --directory 10.0.0.1 find 59.200 59.200.1=lamp"
                    "\n\n") +
           kConditionHelp,
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "CLASS", "The class");
         addWords(command, arguments, "CONDITION",
                  "What the objects have to meet");
       },
       inSession<runFind>},
      {"discover", "List the directory servers that answer a multicast",
       "Asks further away until somebody answers, 16 seconds at most.\n\n" +
           examples("  ostrel discover\n"
                    "  ostrel discover --hops 1"),
       [](CLI::App& command, Arguments& arguments) {
         command
             .add_option("--hops", arguments.hops,
                         "Across 1, 2, 4 or 8 networks (8)")
             ->type_name("COUNT")
             ->check(CLI::IsMember({1, 2, 4, 8}).description(""));
       },
       inSession<runDiscover>},
  };
}

}  // namespace ostrel::tools::cli
