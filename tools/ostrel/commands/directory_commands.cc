// The commands that ask the directory service.

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/veskError.h>

#include "commands/every_server.h"
#include "commands/results.h"
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

// The first directory server that answers. In a dry run nobody does: 0.0.0.0
// stands for whoever would.
Target discovered(Session& session) {
  sockaddr_in directory = endpoint({}, kDirectoryPort);
  if (!discover(session, kDiscoveryAttempts[3].ttl,
                [&](in_addr from, veskPDU&) {
                  directory.sin_addr = from;
                  return true;
                }))
    throwNobody();
  return {Endpoint(directory), serverText(directory, kDirectoryPort)};
}

// Prints what a directory found: the object at each position of the one list is
// at the server in the other.
Exit report(Output& output, const Target& directory, veskOid oid,
            const Found& found, const ItemErrors& errors) {
  std::string text;
  Json entries = Json::array();
  for (std::size_t i = 0; i < found.objects.size(); ++i) {
    const auto object = printable(found.objects[i]);
    auto* id = dynamic_cast<veskOid*>(object.get());
    const auto server = i < found.second.size() ? printable(found.second[i])
                                                : ostrel::Value::VeskPointer();
    const bool isAddress = dynamic_cast<veskAddress*>(server.get()) != nullptr;
    text += foundText(object.get());
    if (isAddress && !output.settings().quiet)
      text += "  " + plainText(server.get());
    text += "\n";
    Json entry;
    entry["oid"] = id != nullptr ? oidJson(*id) : toJson(object.get());
    entry["server"] = isAddress ? toJson(server.get())["value"] : Json(nullptr);
    entries.push_back(std::move(entry));
  }
  Json json = resultJson(directory, "find", errors);
  json.erase("server");
  json["directory"] = directory.name;
  json["oid"] = oidJson(oid);
  json["found"] = std::move(entries);
  json["errors"] = errorsJson(errors);
  output.result(text, json);
  // Each error is about one of the servers that the directory asked.
  for (const ItemError& error : errors)
    output.itemFailure("object server " + std::to_string(error.position) +
                       ": " + codeText(error.code));
  if (found.objects.empty() && errors.empty())
    output.note("ostrel: nothing found");
  if (found.objects.empty() && !errors.empty())
    output.hint(
        "Do the object servers run (ostreld serve) that the directory "
        "server was given?");
  return errors.empty() ? kDone : kPartial;
}

Exit runFind(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  veskOid oid = parseOid(arguments.id);
  const Owned<veskList> conditions = conditionsFrom(arguments.words);
  std::vector<Term> terms;
  for (veskType* condition : Elements(*conditions))
    terms.push_back(ostrel::Value::from(condition).as<Term>().value_or(Term()));
  if (output.settings().directory.empty())
    session.useDirectory(discovered(session));
  EveryServer servers(session, "find", EveryServer::Failures::kOfTheCommand,
                      Asked::kDirectory);
  servers.ask<Found>(
      arguments.id,
      [&](const Endpoint& directory, Handler<Found> handler,
          const RequestOptions& options) {
        return session.client().searchDirectory(directory, Oid(oid), terms, {},
                                                std::move(handler), options);
      },
      [&](const Target& directory, const Found& found,
          const ItemErrors& errors) {
        return report(output, directory, oid, found, errors);
      });
  return servers.finish();
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
