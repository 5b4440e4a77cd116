#include "agreement.h"

#include <algorithm>
#include <map>

#include "type_table.h"
#include "words.h"

namespace ostrel {
namespace {

constexpr std::size_t kDeepest = 8;  // bases above a class

std::string at(const ClassFile& file, const std::string& path) {
  const FilePlace place = file.place(path);
  return place.line == 0 ? place.file
                         : place.file + ":" + std::to_string(place.line);
}

class Agreement {
 public:
  Agreement(const std::vector<const ClassFile*>& files, ClassSource source)
      : files_(files), source_(source) {}

  ClassMistakes run() {
    for (const ClassFile* file : files_) {
      file_ = file;
      checkName();
      collide();
    }
    for (const ClassFile* file : files_) {
      file_ = file;
      const std::vector<const ClassFile*> bases = findBases();
      checkInherited(bases);
      // Of a newer server's class parts may have been left out.
      if (source_ == ClassSource::server) continue;
      checkKey(bases);
      checkColumns(bases);
      checkReferences();
    }
    return std::move(mistakes_);
  }

 private:
  const ClassDescription& self() const { return file_->description; }

  void mistake(const std::string& path, const std::string& text) {
    mistakes_.push_back({file_->place(path), path + ": " + text, false});
  }

  // Of a class that is named and not there.
  void absent(const std::string& path, const std::string& name) {
    if (source_ == ClassSource::server) return;
    std::vector<std::string_view> known;
    for (const auto& [word, file] : byName_) known.emplace_back(word);
    mistake(path, "there is no class " + quoted(name) +
                      suggestion(name, known) + "; give its file as well");
  }

  void checkName() {
    if (isTypeWord(self().name))
      mistake("name",
              quoted(self().name) + " is the name of a type; take another");
  }

  void collide() {
    const auto [byId, isNewId] = byId_.emplace(self().id, file_);
    if (!isNewId)
      mistake("id", self().id.text() + " is the number of " +
                        quoted(byId->second->description.name) + " in " +
                        at(*byId->second, "id") +
                        "; one of the two needs another");
    const auto [byName, isNewName] = byName_.emplace(self().name, file_);
    if (!isNewName)
      mistake("name", quoted(self().name) + " is the name of " +
                          byName->second->description.id.text() + " in " +
                          at(*byName->second, "name") +
                          "; one of the two needs another");
  }

  // The bases, the nearest first. A chain that is too long or leads back is
  // reported and cut.
  std::vector<const ClassFile*> findBases() {
    std::vector<const ClassFile*> bases;
    const ClassFile* last = file_;
    while (!last->description.derivedFrom.empty()) {
      const std::string& name = last->description.derivedFrom;
      const auto found = byName_.find(name);
      if (found == byName_.end()) {
        if (last == file_) absent("derived-from", name);
        break;
      }
      last = found->second;
      if (last == file_) {
        mistake("derived-from", "leads back to " + quoted(self().name) +
                                    "; a class cannot be its own base");
        return {};
      }
      // Classes further up that lead back report it themselves.
      if (std::find(bases.begin(), bases.end(), last) != bases.end()) break;
      if (bases.size() == kDeepest) {
        mistake("derived-from",
                "there are more than 8 classes above this one; "
                "derive from a higher one");
        break;
      }
      bases.push_back(last);
    }
    return bases;
  }

  // A name of a base means the same thing in every class below it.
  template <class Member>
  void checkInherited(const std::vector<const ClassFile*>& bases,
                      const char* key,
                      std::vector<Member> ClassDescription::*members) {
    using Taken = std::pair<const ClassFile*, std::string>;  // and where in it
    std::map<std::string, Taken> taken;
    for (const ClassFile* base : bases) {
      for (const Member& member : base->description.*members) {
        const Taken place{base, std::string(key) + "." + member.name};
        taken.emplace(member.name, place);
        for (const std::string& name : member.formerNames)
          taken.emplace(name, place);
      }
      for (const std::string& name : base->description.reservedNames)
        taken.emplace(name, Taken{base, "reserved"});
    }
    for (const Member& member : self().*members) {
      std::vector<std::string> names = member.formerNames;
      names.push_back(member.name);
      for (const std::string& name : names) {
        const auto found = taken.find(name);
        if (found == taken.end()) continue;
        const ClassFile& base = *found->second.first;
        const std::string path = std::string(key) + "." + member.name;
        mistake(path, quoted(name) + " belongs to the base " +
                          quoted(base.description.name) + " (" +
                          at(base, found->second.second) +
                          "), and nothing is described twice; one of the two "
                          "needs another name");
      }
    }
  }

  void checkInherited(const std::vector<const ClassFile*>& bases) {
    checkInherited(bases, "attribute", &ClassDescription::attributes);
    checkInherited(bases, "action", &ClassDescription::actions);
    checkInherited(bases, "event", &ClassDescription::events);
  }

  const AttributeDescription* attribute(
      const std::vector<const ClassFile*>& bases, const std::string& name,
      std::vector<std::string_view>* known) const {
    std::vector<const ClassFile*> all{file_};
    all.insert(all.end(), bases.begin(), bases.end());
    for (const ClassFile* each : all)
      for (const AttributeDescription& attribute :
           each->description.attributes) {
        if (attribute.name == name) return &attribute;
        known->emplace_back(attribute.name);
      }
    return nullptr;
  }

  void checkKey(const std::vector<const ClassFile*>& bases) {
    if (self().key.empty()) return;
    std::vector<std::string_view> known;
    const auto* key = attribute(bases, self().key, &known);
    if (key == nullptr)
      return mistake("key", "there is no attribute " + quoted(self().key) +
                                suggestion(self().key, known));
    const TypeRow* row = typeRow(key->type);
    if (row == nullptr) return;
    if (row->family == TypeFamily::list ||
        row->family == TypeFamily::fraction ||
        row->family == TypeFamily::description)
      mistake("key", std::string("the type ") + row->name +
                         " names no object; take a string or a whole number");
  }

  void checkColumns(const std::vector<const ClassFile*>& bases) {
    for (const std::string& column : self().columns) {
      std::vector<std::string_view> known;
      if (attribute(bases, column, &known) == nullptr)
        mistake("columns", "there is no attribute " + quoted(column) +
                               suggestion(column, known));
    }
  }

  void checkReference(const std::string& path, const ValueDescription& value) {
    if (!value.reference.empty() && byName_.count(value.reference) == 0)
      absent(path + ".class", value.reference);
  }

  void checkArguments(const char* key,
                      const std::vector<ActionDescription>& actions) {
    for (const ActionDescription& action : actions)
      for (std::size_t i = 0; i < action.arguments.size(); ++i)
        checkReference(std::string(key) + "." + action.name + ".arguments." +
                           std::to_string(i + 1),
                       action.arguments[i]);
  }

  void checkReferences() {
    for (const AttributeDescription& attribute : self().attributes)
      checkReference("attribute." + attribute.name, attribute);
    checkArguments("action", self().actions);
    checkArguments("event", self().events);
  }

  const std::vector<const ClassFile*>& files_;
  ClassSource source_;
  const ClassFile* file_ = nullptr;
  std::map<ClassId, const ClassFile*> byId_;
  std::map<std::string, const ClassFile*> byName_;
  ClassMistakes mistakes_;
};

}  // namespace

ClassMistakes disagreements(const std::vector<const ClassFile*>& files,
                            ClassSource source) {
  return Agreement(files, source).run();
}

}  // namespace ostrel
