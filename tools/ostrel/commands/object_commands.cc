// The commands on objects: get, set, create, clone, remove, verify.

#include "commands/every_server.h"
#include "commands/results.h"

namespace ostrel::tools::cli {
namespace {

using Each = EveryServer::Failures;

Exit runGet(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  const Oid oid(parseOid(arguments.id));
  const Aids wanted = aidsFrom(arguments.words);
  EveryServer servers(session, "get", Each::kOfTheCommand);
  servers.ask<Attributes>(
      arguments.id,
      [&](const Endpoint& server, Handler<Attributes> handler,
          const RequestOptions& options) {
        return session.client().get(server, oid, wanted, std::move(handler),
                                    options);
      },
      [&](const Target& server, const Attributes& attributes,
          const ItemErrors& errors) {
        const auto value = printable(ostrel::Value(attributes));
        auto& list = dynamic_cast<veskList&>(*value);
        Json json = resultJson(server, "get", errors);
        json["oid"] = oid.text();
        json["attributes"] = attributesJson(&list);
        json["errors"] = errorsJson(errors);
        output.result(attributeLines(output, list, ""), json);
        return reportErrors(output, oid.text(), errors, wanted);
      });
  return servers.finish();
}

Exit runSet(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  const Oid oid(parseOid(arguments.id));
  const Attributes attributes = attributeValuesFrom(arguments.words);
  EveryServer servers(session, "set", Each::kOfTheCommand);
  servers.ask<Done>(
      arguments.id,
      [&](const Endpoint& server, Handler<Done> handler,
          const RequestOptions& options) {
        return session.client().set(server, oid, attributes, std::move(handler),
                                    options);
      },
      [&](const Target& server, Done, const ItemErrors& errors) {
        Json json = resultJson(server, "set", errors);
        json["oid"] = oid.text();
        return reportDone(output, oid.text() + ": set", std::move(json),
                          oid.text(), errors, idsOf(attributes));
      });
  return servers.finish();
}

// Create and clone differ in their requests alone.
using Make = Request<Oid> (Client::*)(const Endpoint&, Oid, Attributes,
                                      Handler<Oid>, RequestOptions);

Exit makeObject(Session& session, const char* command, Make make,
                const Arguments& arguments) {
  Output& output = session.output();
  const Oid oid(parseOid(arguments.id));
  const Attributes attributes = attributeValuesFrom(arguments.words);
  EveryServer servers(session, command, Each::kOfTheCommand);
  servers.ask<Oid>(
      arguments.id,
      [&](const Endpoint& server, Handler<Oid> handler,
          const RequestOptions& options) {
        return (session.client().*make)(server, oid, attributes,
                                        std::move(handler), options);
      },
      [&](const Target& server, const Oid& made, const ItemErrors& errors) {
        Json json = resultJson(server, command, errors);
        json["oid"] = made.valid() ? Json(made.text()) : Json(nullptr);
        json["errors"] = errorsJson(errors);
        if (!made.valid() && errorsJson(errors).empty()) throwNotMade(errors);
        output.result(made.valid() ? made.text() + "\n" : "", json);
        const Exit exit =
            reportErrors(output, oid.text(), errors, idsOf(attributes));
        return made.valid() ? exit : kRefused;
      });
  return servers.finish();
}

// Remove and verify answer with a status alone.
using Treat = Request<Done> (Client::*)(const Endpoint&, Oid, Handler<Done>,
                                        RequestOptions);

Exit forEachObject(Session& session, const char* command, Treat treat,
                   const char* done, const Words& words) {
  Output& output = session.output();
  // Before anything is sent, every word has to be an identifier.
  std::vector<Oid> oids;
  for (const std::string& word : words) oids.emplace_back(parseOid(word));
  EveryServer servers(session, command, Each::kForEachObject);
  for (std::size_t i = 0; i < oids.size(); ++i) {
    const Oid oid = oids[i];
    servers.ask<Done>(
        words[i],
        [&](const Endpoint& server, Handler<Done> handler,
            const RequestOptions& options) {
          return (session.client().*treat)(server, oid, std::move(handler),
                                           options);
        },
        [&output, oid, command, done](const Target& server, Done,
                                      const ItemErrors& errors) {
          Json json = resultJson(server, command, errors);
          json["oid"] = oid.text();
          output.result(
              output.settings().quiet ? "" : oid.text() + ": " + done + "\n",
              json);
          return kDone;
        });
  }
  return servers.finish();
}

Exit runCreate(Session& session, const Arguments& arguments) {
  return makeObject(session, "create", &Client::create, arguments);
}

Exit runClone(Session& session, const Arguments& arguments) {
  return makeObject(session, "clone", &Client::clone, arguments);
}

Exit runRemove(Session& session, const Arguments& arguments) {
  return forEachObject(session, "remove", &Client::remove, "removed",
                       arguments.words);
}

Exit runVerify(Session& session, const Arguments& arguments) {
  return forEachObject(session, "verify", &Client::verify, "there",
                       arguments.words);
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
