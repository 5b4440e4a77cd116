// "ostrel class": class files and descriptions, without any server.

#include <ostrel/catalogue.h>

#include <algorithm>

#include "commands/command_support.h"
#include "common/printed.h"
#include "format/class_json.h"

namespace ostrel::tools::cli {

namespace {

// The files, behind the classes that are compiled in but for those that they
// describe themselves. A collision is told of the later one.
ClassFiles withShipped(const ClassFiles& given) {
  ClassFiles all;
  for (const ClassFile* shipped : shippedClasses().files()) {
    const auto& own = shipped->description;
    const bool isGiven = std::any_of(given.files.begin(), given.files.end(),
                                     [&](const ClassFile& file) {
                                       return file.description.id == own.id &&
                                              file.description.name == own.name;
                                     });
    if (!isGiven) all.files.push_back(*shipped);
  }
  all.files.insert(all.files.end(), given.files.begin(), given.files.end());
  all.mistakes = given.mistakes;
  return all;
}

Json placeJson(const ClassMistake& mistake) {
  Json json;
  json["command"] = "class";
  json["file"] = mistake.place.file;
  json["line"] = mistake.place.line;
  json["column"] = mistake.place.column;
  json[mistake.isNote ? "note" : "mistake"] = mistake.text;
  return json;
}

void show(Output& output, const ClassMistakes& mistakes) {
  for (const ClassMistake& mistake : mistakes) {
    output.result("", placeJson(mistake));
    if (mistake.isNote)
      output.note(mistake.line());
    else
      output.itemFailure(mistake.line());
  }
}

void append(ClassMistakes* all, ClassMistakes more) {
  for (ClassMistake& mistake : more) all->push_back(std::move(mistake));
}

// By number or by name: compareClasses() says that neither may change.
bool isSameClass(const ClassDescription& a, const ClassDescription& b) {
  return a.id == b.id || a.name == b.name;
}

// Each class of the old files has to be among the new, changed by the rules.
ClassMistakes against(const std::string& path, const ClassFiles& files) {
  const ClassFiles old = readClassFiles({path});
  ClassMistakes mistakes = old.mistakes;
  mistakes.erase(std::remove_if(mistakes.begin(), mistakes.end(),
                                [](const ClassMistake& mistake) {
                                  return mistake.isNote;
                                }),
                 mistakes.end());
  for (const ClassFile& before : old.files) {
    const auto now = std::find_if(
        files.files.begin(), files.files.end(), [&](const ClassFile& file) {
          return isSameClass(before.description, file.description);
        });
    if (now == files.files.end())
      mistakes.push_back({before.place("name"),
                          "no file describes the class " +
                              before.description.name + " any more; give it",
                          false});
    else
      append(&mistakes, compareClasses(before, *now));
  }
  return mistakes;
}

Exit check(Output& output, const Arguments& arguments) {
  const ClassFiles given = readClassFiles(arguments.words);
  Catalogue catalogue;
  ClassMistakes mistakes = catalogue.add(withShipped(given));
  // What is mistaken anyway would only be said again.
  if (!arguments.against.empty() && !hasMistake(mistakes))
    append(&mistakes, against(arguments.against, given));
  show(output, mistakes);
  if (hasMistake(mistakes)) return kDecode;
  if (given.files.empty())
    throw Failure(kUsage, "there is no class file in what was given",
                  "Class files end in .toml where they lie in a folder.");
  for (const ClassFile& file : given.files) {
    const ClassDescription& own = file.description;
    Json json;
    json["command"] = "class";
    json["file"] = file.file;
    json["name"] = own.name;
    json["id"] = own.id.text();
    json["revision"] = own.revision;
    output.result(escaped(file.file) + ": " + own.name + ", " + own.id.text() +
                      ", revision " + std::to_string(own.revision) + ": good\n",
                  json);
  }
  return kDone;
}

std::string shown(const std::string& form, const Catalogue& catalogue,
                  const ClassDescription& description) {
  if (form == "toml") return canonicalText(description);
  if (form == "json") return line(classJson(catalogue, description)) + "\n";
  return printed(*objectDesc(catalogue, description));
}

// A name or a number is that of a class; whatever is neither is a file.
const ClassDescription* findClass(const std::string& word) {
  if (word.find_first_of("./") == word.npos)
    return shippedClasses().find(std::string_view(word));
  const veskOid oid(word.c_str());
  if (oid.valid == 0 || oid.component[2] != 0 || oid.component[3] != 0)
    return nullptr;
  return shippedClasses().find(ClassId{oid.component[0], oid.component[1]});
}

bool isFile(const std::string& word) {
  const veskOid oid(word.c_str());
  return word.find_first_of("./") != word.npos && oid.valid == 0;
}

void showClass(Output& output, const std::string& form,
               const Catalogue& catalogue,
               const ClassDescription& description) {
  Json json;
  json["command"] = "class";
  json["class"] = classJson(catalogue, description);
  output.result(shown(form, catalogue, description), json);
}

Exit showAll(Output& output, const Arguments& arguments) {
  for (const std::string& word : arguments.words) {
    if (!isFile(word)) {
      const ClassDescription* found = findClass(word);
      if (found == nullptr)
        throw Failure(kUsage,
                      "there is no class " + escaped(word) +
                          " among host, registration, class and principal, "
                          "and no file is called so",
                      "ostrel class --help shows how.");
      showClass(output, arguments.form, shippedClasses(), *found);
      continue;
    }
    const ClassFiles given = readClassFiles({word});
    // A base or a class that is referred to may be described elsewhere.
    Catalogue catalogue;
    const ClassMistakes mistakes =
        catalogue.add(withShipped(given), ClassSource::server);
    show(output, mistakes);
    if (hasMistake(mistakes)) return kDecode;
    for (const ClassFile& file : given.files)
      showClass(output, arguments.form, catalogue, file.description);
  }
  return kDone;
}

Exit runClass(Output& output, Arguments& arguments) {
  if (arguments.verb == "check") return check(output, arguments);
  return showAll(output, arguments);
}

}  // namespace

std::vector<Command> classCommands() {
  return {
      {"class", "Check and show descriptions of classes",
       "check reads class files, or folders of them, and reports all "
       "mistakes;\n"
       "with --against also what the rules of change forbid. show prints what\n"
       "a file or a class says: host, registration, class and principal are\n"
       "known without a file. Sends nothing.\n\n" +
           examples("  ostrel class check lamp.toml room.toml\n"
                    "  ostrel class check --against old/lamp.toml lamp.toml\n"
                    "  ostrel class show host\n"
                    "  ostrel class show -o toml lamp.toml"),
       [](CLI::App& command, Arguments& arguments) {
         command.add_option("VERB", arguments.verb, "check or show")
             ->required()
             ->check(CLI::IsMember({"check", "show"}).description(""));
         addWords(command, arguments, "FILE|CLASS",
                  "Files or folders; to show also classes")
             ->required();
         command
             .add_option("--against", arguments.against,
                         "The former file, or a folder of them")
             ->type_name("FILE");
         command
             .add_option("-o,--output", arguments.form,
                         "How to show it: text, toml or json (text)")
             ->type_name("FORM")
             ->check(CLI::IsMember({"text", "toml", "json"}).description(""));
       },
       runClass},
  };
}

}  // namespace ostrel::tools::cli
