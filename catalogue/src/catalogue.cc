#include <ostrel/catalogue.h>

#include <algorithm>

#include "agreement.h"

namespace ostrel {
namespace {

constexpr std::size_t kDeepest = 8;

template <class Member>
const Member* named(const std::vector<Member>& members, std::string_view name) {
  for (const Member& member : members)
    if (member.name == name) return &member;
  for (const Member& member : members) {
    const auto& former = member.formerNames;
    if (std::find(former.begin(), former.end(), name) != former.end())
      return &member;
  }
  return nullptr;
}

// The first of a class and its bases that has one of this name.
template <class Member>
const Member* named(const std::vector<const ClassDescription*>& lineage,
                    std::vector<Member> ClassDescription::*members,
                    std::string_view name) {
  for (const ClassDescription* each : lineage)
    if (const Member* member = named(each->*members, name)) return member;
  return nullptr;
}

template <class Member>
const Member* numbered(const ClassDescription* of,
                       std::vector<Member> ClassDescription::*members,
                       const MemberId& id) {
  if (of == nullptr) return nullptr;
  for (const Member& member : of->*members)
    if (member.id == id) return &member;
  return nullptr;
}

}  // namespace

ClassMistakes Catalogue::add(const ClassFiles& files, ClassSource source) {
  ClassMistakes mistakes = files.mistakes;
  std::vector<const ClassFile*> all = this->files();
  for (const ClassFile& file : files.files) all.push_back(&file);
  for (ClassMistake& each : disagreements(all, source))
    mistakes.push_back(std::move(each));
  if (hasMistake(mistakes)) return mistakes;
  for (const ClassFile& file : files.files) {
    classes_[file.description.id] = std::make_shared<const ClassFile>(file);
    ids_[file.description.name] = file.description.id;
  }
  return mistakes;
}

std::vector<const ClassFile*> Catalogue::files() const {
  std::vector<const ClassFile*> files;
  for (const auto& [id, file] : classes_) files.push_back(file.get());
  return files;
}

std::vector<const ClassDescription*> Catalogue::classes() const {
  std::vector<const ClassDescription*> classes;
  for (const auto& [id, file] : classes_) classes.push_back(&file->description);
  return classes;
}

const ClassDescription* Catalogue::find(ClassId id) const {
  const auto found = classes_.find(id);
  return found == classes_.end() ? nullptr : &found->second->description;
}

const ClassDescription* Catalogue::find(std::string_view name) const {
  const auto found = ids_.find(name);
  return found == ids_.end() ? nullptr : find(found->second);
}

std::vector<const ClassDescription*> Catalogue::lineage(
    const ClassDescription& of) const {
  std::vector<const ClassDescription*> lineage{&of};
  while (lineage.size() <= kDeepest) {
    const ClassDescription* base = find(lineage.back()->derivedFrom);
    if (base == nullptr) break;
    lineage.push_back(base);
  }
  return lineage;
}

bool Catalogue::derives(const ClassDescription& of,
                        const ClassDescription& base) const {
  const auto all = lineage(of);
  return std::any_of(
      all.begin() + 1, all.end(),
      [&](const ClassDescription* each) { return each->id == base.id; });
}

std::vector<const AttributeDescription*> Catalogue::attributes(
    const ClassDescription& of) const {
  std::vector<const AttributeDescription*> all;
  for (const ClassDescription* each : lineage(of))
    for (const AttributeDescription& attribute : each->attributes)
      all.push_back(&attribute);
  std::sort(all.begin(), all.end(),
            [](const AttributeDescription* a, const AttributeDescription* b) {
              return a->id < b->id;
            });
  return all;
}

const AttributeDescription* Catalogue::attribute(const ClassDescription& of,
                                                 std::string_view name) const {
  return named(lineage(of), &ClassDescription::attributes, name);
}

const ActionDescription* Catalogue::action(const ClassDescription& of,
                                           std::string_view name) const {
  return named(lineage(of), &ClassDescription::actions, name);
}

const EventDescription* Catalogue::event(const ClassDescription& of,
                                         std::string_view name) const {
  return named(lineage(of), &ClassDescription::events, name);
}

const AttributeDescription* Catalogue::attribute(const MemberId& id) const {
  return numbered(find(id.owner), &ClassDescription::attributes, id);
}

const ActionDescription* Catalogue::action(const MemberId& id) const {
  return numbered(find(id.owner), &ClassDescription::actions, id);
}

const EventDescription* Catalogue::event(const MemberId& id) const {
  return numbered(find(id.owner), &ClassDescription::events, id);
}

std::string Catalogue::name(const veskOid& classOid) const {
  const auto& numbers = classOid.component;
  if (classOid.valid == 0 || numbers[2] != 0 || numbers[3] != 0) return "";
  const ClassDescription* found = find(ClassId{numbers[0], numbers[1]});
  return found == nullptr ? "" : found->name;
}

std::string Catalogue::name(const veskAid& member) const {
  if (member.valid == 0) return "";
  const auto& numbers = member.component;
  const MemberId id{{numbers[0], numbers[1]}, numbers[2]};
  const ClassDescription* owner = find(id.owner);
  if (owner == nullptr) return "";
  const std::string start = owner->name + ".";
  if (const auto* attribute = this->attribute(id))
    return start + attribute->name;
  if (const auto* action = this->action(id)) return start + action->name;
  if (const auto* event = this->event(id)) return start + event->name;
  return "";
}

std::string Catalogue::key(const ClassDescription& of) const {
  for (const ClassDescription* each : lineage(of))
    if (!each->key.empty()) return each->key;
  return "";
}

std::vector<std::string> Catalogue::columns(const ClassDescription& of) const {
  for (const ClassDescription* each : lineage(of))
    if (!each->columns.empty()) return each->columns;
  return {};
}

ObjectDescPointer objectDesc(const Catalogue& catalogue,
                             const ClassDescription& description) {
  ObjectDescPointer result(new veskObjectDesc);
  result->name = description.name.c_str();
  result->id = description.id.vesk();
  if (const auto* base = catalogue.find(description.derivedFrom))
    result->derivedFrom = base->id.vesk();
  for (const AttributeDescription& attribute : description.attributes) {
    veskAid id = attribute.id.vesk();
    result->attributes.append(new veskAttributeDesc(
        attribute.name.c_str(), id, attribute.type, nullptr,
        static_cast<unsigned>(attribute.access),
        static_cast<unsigned>(attribute.storage), attribute.required ? 1 : 0));
  }
  const auto append = [](veskList* list, const ArgumentDescription& argument) {
    list->append(new veskArgumentDesc(argument.name.c_str(), argument.type));
  };
  for (const ActionDescription& action : description.actions) {
    auto* each = new veskActionDesc;
    result->actions.append(each);
    each->name = action.name.c_str();
    each->id = action.id.vesk();
    for (const auto& argument : action.arguments)
      append(&each->arguments, argument);
  }
  for (const EventDescription& event : description.events) {
    auto* each = new veskEventDesc;
    result->events.append(each);
    each->name = event.name.c_str();
    each->id = event.id.vesk();
    for (const auto& argument : event.arguments)
      append(&each->arguments, argument);
  }
  return result;
}

}  // namespace ostrel
