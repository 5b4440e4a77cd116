#include <ostrel/class_file.h>

#include <dirent.h>
#include <algorithm>
#include <fstream>
#include <limits>
#include <map>
#include <tuple>

#include "enum_words.h"
#include "table_reader.h"
#include "value_reader.h"
#include "words.h"

namespace ostrel {
namespace {

// More would make reading slow and mean nothing.
constexpr std::size_t kMostNames = 32;
constexpr std::size_t kMostReserved = 1000;
constexpr std::size_t kMostArguments = 32;

std::vector<std::string> readNames(TableReader& table, const char* key,
                                   std::size_t most = kMostNames) {
  std::vector<std::string> names;
  for (const std::string& name : table.texts(key, most)) {
    if (!isName(name))
      table.mistake(key, quoted(name) + " is no name: " + kNameRule);
    else if (std::find(names.begin(), names.end(), name) != names.end())
      table.mistake(key, quoted(name) + " stands here twice");
    else
      names.push_back(name);
  }
  return names;
}

// The text of an identifier. A number is what people write first.
std::optional<std::string> readId(TableReader& table, const char* example) {
  const toml::node* node = table.find("id");
  if (node == nullptr) {
    table.mistake("id", std::string("is missing; write id = \"") + example +
                            "\", for instance");
    return std::nullopt;
  }
  if (const auto* text = node->as_string()) return text->get();
  if (!node->is_floating_point()) {
    table.mistake("id", std::string("has to be a text in quotes, \"") +
                            example + "\" for instance, not " + kindOf(*node));
    return std::nullopt;
  }
  // As it was written: 59.240 and 59.24 are the same number.
  const std::string word = table.report()->word(node->source());
  const bool isClass = table.path().empty();
  table.mistake(
      "id",
      printable(word) +
          " without quotes is a number, which loses zeros; write id = \"" +
          (isClass && classIdFrom(word) ? word : example) + "\"");
  return std::nullopt;
}

std::optional<MemberId> checkedMember(TableReader& table, const char* key,
                                      const ClassDescription& of,
                                      const std::string& text) {
  const auto id = memberIdFrom(text);
  const std::string start = of.id.text() + ".";
  if (!id) {
    table.mistake(key, quoted(text) +
                           " is no number of this class's; write three "
                           "decimal numbers with dots between, \"" +
                           start + "1\"");
    return std::nullopt;
  }
  // Without a number of the class nothing can be said about its own.
  if (of.id != ClassId() && id->owner != of.id) {
    table.mistake(key, text + " belongs to the class " + id->owner.text() +
                           "; numbers of this class begin with " + start);
    return std::nullopt;
  }
  if (id->number == 0) {
    table.mistake(
        key, text + " stands for all of a class; begin with " + start + "1");
    return std::nullopt;
  }
  return id;
}

// One attribute, action or event, before its own keys.
template <class Member>
void readMember(TableReader& table, const ClassDescription& of,
                Member* member) {
  const ClassId owner = of.id == ClassId() ? ClassId{59, 240} : of.id;
  if (const auto text = readId(table, (owner.text() + ".1").c_str()))
    if (const auto id = checkedMember(table, "id", of, *text)) member->id = *id;
  member->text = readText(table);
  member->formerNames = readNames(table, "was");
  if (const auto status = table.choice("status", kStatusWords))
    member->status = enumAt<MemberStatus>(*status);
}

void readKeys(TableReader& table, const ClassDescription& of,
              AttributeDescription* attribute) {
  readMember(table, of, attribute);
  readValueKeys(table, attribute);
  const auto kind =
      table.choice("kind", {kKindWords.begin() + 1, kKindWords.end()});
  if (kind) attribute->kind = enumAt<MemberKind>(*kind, 1);
  const auto access = table.choice("access", kAccessWords);
  if (access) attribute->access = enumAt<MemberAccess>(*access, 1);
  const auto storage = table.choice("storage", kStorageWords);
  if (storage) attribute->storage = enumAt<MemberStorage>(*storage, 1);
  attribute->required = table.truth("required").value_or(false);
  attribute->defaultText = readDefault(table, *attribute);
  if (attribute->required && attribute->access == MemberAccess::readOnly)
    table.mistake("required",
                  "nobody can give what is read-only; remove it, or write "
                  "access = \"create-only\"");
  if (attribute->type == kTagObjectDesc &&
      attribute->access != MemberAccess::readOnly)
    table.mistake("type",
                  "a description is made by the server; write access = "
                  "\"read-only\"");
}

void readArguments(TableReader& table, ActionDescription* action) {
  const toml::array* arguments = table.array("arguments");
  if (arguments == nullptr) return;
  if (arguments->size() > kMostArguments)
    return table.mistake("arguments", "has " +
                                          std::to_string(arguments->size()) +
                                          " entries; 32 are allowed");
  for (const toml::node& node : *arguments) {
    const toml::table* each = node.as_table();
    if (each == nullptr) {
      table.report()->mistake(
          table.place(node), table.pathOf("arguments"),
          "each argument is a table, { name = \"seconds\", type = \"int\" }");
      continue;
    }
    const std::string position = std::to_string(action->arguments.size() + 1);
    TableReader reader(*each, table.pathOf("arguments") + "." + position,
                       table.report(), table.places());
    (*table.places())[reader.path()] = table.place(node);
    ArgumentDescription argument;
    const auto name = reader.text("name");
    argument.name = name.value_or("");
    if (each->get("name") == nullptr)
      reader.mistake("name",
                     "is missing; write name = \"seconds\", for "
                     "instance");
    else if (name && !isName(*name))
      reader.mistake("name", quoted(*name) + " is no name: " + kNameRule);
    for (const ArgumentDescription& other : action->arguments)
      if (name && other.name == *name)
        reader.mistake("name", quoted(*name) + " is an argument already");
    argument.text = readText(reader);
    readValueKeys(reader, &argument);
    reader.finish();
    action->arguments.push_back(std::move(argument));
  }
}

void readKeys(TableReader& table, const ClassDescription& of,
              ActionDescription* action) {
  readMember(table, of, action);
  readArguments(table, action);
}

// Whether a part that a newer server described cannot be used here.
bool isStrange(const AttributeDescription& attribute) {
  return attribute.type == kTagNull ||
         (attribute.type == kTagList && attribute.element == kTagNull);
}
bool isStrange(const ActionDescription&) { return false; }

// All the tables below "attribute", "action" or "event".
template <class Member>
void readMembers(TableReader& top, const char* key, const ClassDescription& of,
                 std::vector<Member>* members) {
  const toml::table* tables = top.table(key);
  if (tables == nullptr) return;
  for (const auto& [name, node] : *tables) {
    const std::string word(name.str());
    const FilePlace place = top.report()->place(name.source());
    if (!isName(word)) {
      top.report()->mistake(place, key,
                            quoted(word) + " is no name: " + kNameRule);
      continue;
    }
    const std::string path = top.pathOf(key) + "." + word;
    (*top.places())[path] = place;
    const toml::table* table = node.as_table();
    if (table == nullptr) {
      top.report()->mistake(top.place(node), path,
                            std::string("has to be a table, [") + path +
                                "], not " + kindOf(node));
      continue;
    }
    TableReader reader(*table, path, top.report(), top.places());
    Member member;
    member.name = word;
    readKeys(reader, of, &member);
    reader.finish();
    if (top.report()->source() == ClassSource::server && isStrange(member))
      continue;
    members->push_back(std::move(member));
  }
  std::stable_sort(
      members->begin(), members->end(),
      [](const Member& a, const Member& b) { return a.id < b.id; });
}

void readReserved(TableReader& top, ClassDescription* description) {
  const toml::table* reserved = top.table("reserved");
  if (reserved == nullptr) return;
  TableReader table(*reserved, "reserved", top.report(), top.places());
  for (const std::string& text : table.texts("ids", kMostReserved)) {
    const auto id = checkedMember(table, "ids", *description, text);
    if (id) description->reservedIds.push_back(*id);
  }
  description->reservedNames = readNames(table, "names", kMostReserved);
  table.finish();
  auto& ids = description->reservedIds;
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  std::sort(description->reservedNames.begin(),
            description->reservedNames.end());
}

// What all parts of a class share: each number stands for one of them, and no
// name stands for two of a kind.
class Uniqueness {
 public:
  Uniqueness(const ClassFile& file, FileReport* report)
      : file_(file), report_(report) {}

  template <class Member>
  void check(const char* key, const std::vector<Member>& members) {
    std::map<std::string, std::string> names;
    for (const Member& member : members) {
      const std::string path = std::string(key) + "." + member.name;
      checkId(path, member.id);
      checkName(path, "", member.name, &names);
    }
    for (const Member& member : members)
      for (const std::string& name : member.formerNames)
        checkName(std::string(key) + "." + member.name, ".was", name, &names);
  }

 private:
  void checkId(const std::string& path, const MemberId& id) {
    if (id == MemberId()) return;  // reported as missing
    const auto& reserved = file_.description.reservedIds;
    if (std::binary_search(reserved.begin(), reserved.end(), id))
      report_->mistake(file_.place(path + ".id"), path + ".id",
                       id.text() +
                           " is reserved; take a number that was "
                           "never used");
    const auto [other, isNew] = ids_.emplace(id, path);
    if (!isNew)
      report_->mistake(file_.place(path + ".id"), path + ".id",
                       id.text() + " is the number of " + other->second +
                           " already (line " +
                           std::to_string(file_.place(other->second).line) +
                           "); take another");
  }

  void checkName(const std::string& path, const char* key,
                 const std::string& name,
                 std::map<std::string, std::string>* names) {
    const auto& reserved = file_.description.reservedNames;
    if (std::binary_search(reserved.begin(), reserved.end(), name))
      report_->mistake(file_.place(path + key), path + key,
                       quoted(name) +
                           " is reserved; take a name that was "
                           "never used");
    const auto [other, isNew] = names->emplace(name, path);
    if (!isNew)
      report_->mistake(file_.place(path + key), path + key,
                       quoted(name) + " stands for " + other->second +
                           " already (line " +
                           std::to_string(file_.place(other->second).line) +
                           "); take another name");
  }

  const ClassFile& file_;
  FileReport* report_;
  std::map<MemberId, std::string> ids_;
};

void readHead(TableReader& top, ClassDescription* description) {
  const auto name = top.text("name");
  if (name && !isName(*name))
    top.mistake("name", quoted(*name) + " is no name: " + kNameRule);
  else if (name)
    description->name = *name;
  else if (top.places()->count("name") == 0)
    top.mistake("name", "is missing; write name = \"lamp\", for instance");
  if (const auto text = readId(top, "59.240")) {
    if (const auto id = classIdFrom(*text))
      description->id = *id;
    else
      top.mistake("id", quoted(*text) +
                            " is no number of a class; write two decimal "
                            "numbers with a dot between, \"59.240\"");
  }
  const auto revision = top.whole("revision");
  if (revision &&
      (*revision < 1 || *revision > std::numeric_limits<std::int32_t>::max()))
    top.mistake("revision", "has to be from 1 to 2147483647, not " +
                                std::to_string(*revision));
  else if (revision)
    description->revision = static_cast<std::uint32_t>(*revision);
  else if (top.places()->count("revision") == 0)
    top.mistake("revision", "is missing; write revision = 1");
  description->text = readText(top);
  description->derivedFrom = top.text("derived-from").value_or("");
  description->key = top.text("key").value_or("");
  description->columns = readNames(top, "columns");
}

void readTop(const toml::table& table, FileReport* report, ClassFile* file) {
  TableReader top(table, "", report, &file->places);
  ClassDescription& description = file->description;
  readHead(top, &description);
  readReserved(top, &description);
  readMembers(top, "attribute", description, &description.attributes);
  readMembers(top, "action", description, &description.actions);
  readMembers(top, "event", description, &description.events);
  top.finish();
  Uniqueness uniqueness(*file, report);
  uniqueness.check("attribute", description.attributes);
  uniqueness.check("action", description.actions);
  uniqueness.check("event", description.events);
}

// What stands in a file, or why it cannot be read.
std::string contents(const std::string& path, std::string* mistake) {
  std::ifstream file(path, std::ios::binary);
  std::string text(kLongestClassFile + 1, '\0');
  if (file) file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.is_open() || file.bad() || (file.gcount() == 0 && !file.eof()))
    *mistake = "cannot be read (is it there, and may you read it?)";
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

bool isClassFile(const std::string& name) {
  constexpr std::string_view kEnd = ".toml";
  return name.size() > kEnd.size() && name[0] != '.' &&
         name.compare(name.size() - kEnd.size(), kEnd.npos, kEnd) == 0;
}

// The class files of a folder; nothing when it is no folder.
std::optional<std::vector<std::string>> folderFiles(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) return std::nullopt;
  std::vector<std::string> files;
  while (const dirent* entry = readdir(folder))
    if (isClassFile(entry->d_name))
      files.push_back((path.back() == '/' ? path : path + "/") + entry->d_name);
  closedir(folder);
  std::sort(files.begin(), files.end());
  return files;
}

void readFile(const std::string& path, ClassFiles* all) {
  ClassMistake mistake;
  const std::string text = contents(path, &mistake.text);
  if (!mistake.text.empty()) {
    mistake.place.file = path;
    all->mistakes.push_back(std::move(mistake));
    return;
  }
  ClassFiles read = parseClass(text, path);
  for (ClassFile& file : read.files) all->files.push_back(std::move(file));
  for (ClassMistake& each : read.mistakes)
    all->mistakes.push_back(std::move(each));
}

}  // namespace

std::string ClassMistake::line() const {
  std::string line = printable(place.file);
  if (place.line != 0)
    line +=
        ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  return line + ": " + (isNote ? "note: " : "") + printable(text);
}

bool hasMistake(const ClassMistakes& mistakes) {
  return std::any_of(mistakes.begin(), mistakes.end(),
                     [](const ClassMistake& each) { return !each.isNote; });
}

FilePlace ClassFile::place(std::string_view path) const {
  while (!path.empty()) {
    const auto found = places.find(path);
    if (found != places.end()) return found->second;
    const std::size_t dot = path.rfind('.');
    path = path.substr(0, dot == path.npos ? 0 : dot);
  }
  return {file, places.empty() ? 0U : 1U, places.empty() ? 0U : 1U};
}

ClassFiles parseClass(std::string_view text, const std::string& file,
                      ClassSource source) {
  ClassFiles result;
  FileReport report(&result, file, text, source);
  if (text.size() > kLongestClassFile) {
    report.mistake({file, 0, 0}, "",
                   "is longer than 256 KiB; describe several classes in a file "
                   "each");
    return result;
  }
  const toml::parse_result parsed = toml::parse(text);
  if (!parsed) {
    const toml::parse_error& error = parsed.error();
    report.mistake(report.place(error.source()), "",
                   "this is no TOML: " + std::string(error.description()));
    return result;
  }
  ClassFile read;
  read.file = file;
  readTop(parsed.table(), &report, &read);
  if (!report.isFull())
    std::stable_sort(result.mistakes.begin(), result.mistakes.end(),
                     [](const ClassMistake& a, const ClassMistake& b) {
                       return std::tie(a.place.line, a.place.column) <
                              std::tie(b.place.line, b.place.column);
                     });
  if (!read.description.name.empty() && read.description.id != ClassId())
    result.files.push_back(std::move(read));
  return result;
}

ClassFiles readClassFiles(const std::vector<std::string>& paths) {
  ClassFiles all;
  for (const std::string& path : paths) {
    const auto files = folderFiles(path);
    if (!files) {
      readFile(path, &all);
      continue;
    }
    for (const std::string& file : *files) readFile(file, &all);
  }
  return all;
}

}  // namespace ostrel
