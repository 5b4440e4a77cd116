// The commands on the objects of a class: search, walk.

#include <ctime>
#include <map>
#include <utility>

#include "commands/paged_search.h"
#include "format/object_json.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

// The beginning of a line, where several servers answer.
std::string prefixOf(const Target& server, const PagedSearch& search) {
  return search.severalServers() ? server.name + ": " : "";
}

Exit runSearch(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  const bool asJson = output.settings().json;
  const Oid classOid(parseOid(arguments.id));
  // The JSON form is one object, so that it has to wait for the last page.
  std::map<Endpoint, std::vector<Oid>> found;
  PagedSearch search(session, "search", std::nullopt);
  search.ask(
      arguments.id, classOid, termsFrom(arguments.words),
      [&](const Target& server, const std::vector<Object>& page) {
        const std::string prefix = prefixOf(server, search);
        std::string text;
        for (const Object& object : page) {
          if (asJson)
            found[server.at].push_back(object.oid);
          else
            text += prefix + object.oid.text() + "\n";
        }
        output.write(text);
      },
      [&](const Target& server, const ItemErrors& errors) {
        Json json = resultJson(server, "search", errors);
        json["oid"] = classOid.text();
        json["found"] = Json::array();
        for (const Oid& oid : found[server.at])
          json["found"].push_back(oid.text());
        json["errors"] = errorsJson(errors);
        output.result("", json);
      });
  return search.finish();
}

// An object with its attributes, for people.
void appendLines(std::string* text, const Object& object,
                 const std::string& prefix, bool quiet) {
  *text += prefix + object.oid.text() + "\n";
  for (const Attribute& attribute : object.attributes) {
    const auto shown = printable(ostrel::Value(attribute));
    auto& copy = dynamic_cast<veskAttribute&>(*shown);
    *text += prefix;
    *text += quiet ? plainText(copy.value) + "\n" : valueLines(&copy, "  ");
  }
}

Exit runWalk(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  const Settings& settings = output.settings();
  const Oid classOid(parseOid(arguments.id));
  PagedSearch search(session, "walk", Aids());
  search.ask(
      arguments.id, classOid, termsFrom(arguments.words),
      [&](const Target& server, const std::vector<Object>& page) {
        std::string text;
        // Of a line only the identifier and the attributes differ.
        std::string head = line(resultJson(server, "walk", {}));
        head.back() = ',';
        for (const Object& object : page) {
          if (!settings.json) {
            appendLines(&text, object, prefixOf(server, search),
                        settings.quiet);
            continue;
          }
          text +=
              head + "\"oid\":\"" + object.oid.text() + "\",\"attributes\":";
          appendJson(&text, object.attributes, Form::kShown);
          text += ",\"errors\":[]}\n";
        }
        output.write(text);
      },
      [&](const Target& server, const ItemErrors& errors) {
        if (errors.empty()) return;
        Json json = resultJson(server, "walk", errors);
        json["oid"] = classOid.text();
        json["attributes"] = Json::array();
        json["errors"] = errorsJson(errors);
        output.result("", json);
      });
  return search.finish();
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
