// dump: the objects of classes as lines of JSON that load reads.

#include "commands/paged_search.h"
#include "format/object_json.h"

namespace ostrel::tools::cli {
namespace {

Exit runDump(Session& session, const Arguments& arguments) {
  Output& output = session.output();
  session.server();  // there is one, or the lines would not say whose they are
  PagedSearch search(session, "dump", Aids());
  std::vector<Oid> classes;
  for (const std::string& word : arguments.words)
    classes.emplace_back(parseOid(word));
  for (std::size_t i = 0; i < classes.size(); ++i)
    search.ask(
        arguments.words[i], classes[i], {},
        [&](const Target&, const std::vector<Object>& page) {
          std::string text;
          for (const Object& object : page) {
            text += "{\"object\":\"" + object.oid.text() + "\",\"attributes\":";
            appendJson(&text, object.attributes, Form::kWhole);
            text += "}\n";
          }
          output.write(text);
          output.progress(std::to_string(search.found()) + " objects");
        },
        [](const Target&, const ItemErrors&) {});
  const Exit exit = search.finish();
  output.endProgress();
  return exit;
}

}  // namespace

std::vector<Command> dumpCommands() {
  return {
      {"dump", "Print the objects of classes as JSON lines for load",
       "Each line is an object: {\"object\": \"59.200.0.1\", \"attributes\": "
       "[...]}.\nNo value is changed: ostrel load reads any again.\n\n" +
           examples("  ostrel dump 59.200 59.201 >all.jsonl"),
       [](CLI::App& command, Arguments& arguments) {
         addWords(command, arguments, "CLASS", "Classes; 0.0 for all")
             ->required();
       },
       inSession<runDump>},
  };
}

}  // namespace ostrel::tools::cli
