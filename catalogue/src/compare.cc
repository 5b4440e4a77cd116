#include <ostrel/class_file.h>

#include <algorithm>

#include "enum_words.h"
#include "number_text.h"
#include "words.h"

namespace ostrel {
namespace {

constexpr const char* kNewClass =
    "; describe a new class with a new number instead";

bool holds(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string orNone(std::string_view word) {
  return word.empty() || word == "none" ? "none" : quoted(word);
}

template <class Member>
const Member* withId(const std::vector<Member>& members, const MemberId& id) {
  for (const Member& member : members)
    if (member.id == id) return &member;
  return nullptr;
}

// How much each access allows a writer.
int freedom(MemberAccess access) {
  if (access == MemberAccess::readOnly) return 0;
  return access == MemberAccess::createOnly ? 1 : 2;
}

class Comparison {
 public:
  Comparison(const ClassFile& before, const ClassFile& now)
      : before_(before.description), now_(now.description), file_(now) {}

  ClassMistakes run() {
    compareHead();
    compareReserved();
    compareMembers("attribute", before_.attributes, now_.attributes);
    compareMembers("action", before_.actions, now_.actions);
    compareMembers("event", before_.events, now_.events);
    return std::move(mistakes_);
  }

 private:
  void forbid(const std::string& path, const std::string& text) {
    mistakes_.push_back({file_.place(path), path + ": " + text, false});
  }

  // What stays as it is for ever.
  void keep(const std::string& path, std::string_view before,
            std::string_view now, const char* instead = kNewClass) {
    if (before == now) return;
    forbid(path, "was " + orNone(before) + " and stays so, not " + orNone(now) +
                     instead);
  }

  void compareHead() {
    keep("name", before_.name, now_.name);
    keep("id", before_.id.text(), now_.id.text());
    keep("derived-from", before_.derivedFrom, now_.derivedFrom);
    keep("key", before_.key, now_.key);
    if (now_.revision < before_.revision ||
        (now_.revision == before_.revision && now_ != before_))
      forbid("revision",
             "has to be raised with each change; write revision = " +
                 std::to_string(before_.revision + 1U));
  }

  void compareReserved() {
    for (const MemberId& id : before_.reservedIds)
      if (!std::binary_search(now_.reservedIds.begin(), now_.reservedIds.end(),
                              id))
        forbid("reserved", id.text() +
                               " was reserved, which is for ever; "
                               "write it into ids again");
    for (const std::string& name : before_.reservedNames)
      if (!holds(now_.reservedNames, name))
        forbid("reserved", quoted(name) +
                               " was reserved, which is for ever; "
                               "write it into names again");
  }

  template <class Member>
  void compareMembers(const char* key, const std::vector<Member>& before,
                      const std::vector<Member>& now) {
    for (const Member& old : before) {
      const Member* member = withId(now, old.id);
      if (member == nullptr) {
        checkGone(key, old);
        continue;
      }
      const std::string path = std::string(key) + "." + member->name;
      compareNames(path, old, *member);
      compare(path, old, *member);
      if (member->status < old.status)
        forbid(path + ".status", "was " +
                                     quoted(wordOf(kStatusWords, old.status)) +
                                     " and never goes back");
    }
    for (const Member& member : now)
      if (withId(before, member.id) == nullptr)
        checkNew(std::string(key) + "." + member.name, before, member);
  }

  // What goes leaves its number and its names behind, so that nobody takes them
  // for something else.
  template <class Member>
  void checkGone(const char* key, const Member& old) {
    const std::string path = std::string(key) + "." + old.name;
    if (!std::binary_search(now_.reservedIds.begin(), now_.reservedIds.end(),
                            old.id))
      forbid(path,
             "is gone; write " + old.id.text() + " into the ids of reserved");
    std::vector<std::string> names = old.formerNames;
    names.push_back(old.name);
    for (const std::string& name : names)
      if (!holds(now_.reservedNames, name))
        forbid(path, "is gone; write " + quoted(name) +
                         " into the names of reserved");
  }

  template <class Member>
  void checkNew(const std::string& path, const std::vector<Member>& before,
                const Member& member) {
    for (const Member& old : before) {
      if (old.name != member.name && !holds(old.formerNames, member.name))
        continue;
      forbid(path, "was the name of " + old.id.text() + " and cannot become " +
                       member.id.text() + "; take another name");
    }
    checkRequired(path, member);
  }
  void checkRequired(const std::string& path,
                     const AttributeDescription& member) {
    if (member.required && !member.defaultText)
      forbid(path + ".required",
             "requests that were right would fail; give it a default, or "
             "leave it optional");
  }
  void checkRequired(const std::string&, const ActionDescription&) {}

  template <class Member>
  void compareNames(const std::string& path, const Member& old,
                    const Member& now) {
    std::vector<std::string> names = old.formerNames;
    names.push_back(old.name);
    for (const std::string& name : names)
      if (name != now.name && !holds(now.formerNames, name))
        forbid(path, "was called " + quoted(name) + "; write " + quoted(name) +
                         " into was, so that it is still understood");
  }

  // Limits may go or become wider.
  template <class Range>
  void compareRange(const std::string& path, const std::optional<Range>& old,
                    const std::optional<Range>& now) {
    if (!now) return;
    if (!old)
      forbid(path,
             "there was none, and values that were right would be "
             "refused; remove it");
    else if (now->least > old->least || now->most < old->most)
      forbid(path, "is narrower than [" + numberText(double(old->least)) +
                       ", " + numberText(double(old->most)) +
                       "]; it may only become wider");
  }

  void compareValues(const std::string& path, const ValueDescription& old,
                     const ValueDescription& now) {
    if (old.values.empty() && !now.values.empty())
      forbid(path,
             "no value had a name, and those without one would be "
             "refused; remove them");
    for (const ValueName& name : old.values) {
      const auto same = std::find_if(
          now.values.begin(), now.values.end(),
          [&](const ValueName& each) { return each.name == name.name; });
      if (same == now.values.end())
        forbid(path, quoted(name.name) + " is gone; write " + name.name +
                         " = " + std::to_string(name.value) + " again");
      else if (same->value != name.value)
        forbid(path + "." + name.name, "was " + std::to_string(name.value) +
                                           " and stays so, not " +
                                           std::to_string(same->value));
    }
  }

  void compareValue(const std::string& path, const ValueDescription& old,
                    const ValueDescription& now) {
    constexpr const char* kNewAttribute =
        "; describe a new one with a new number and name instead";
    keep(path + ".type", classTypeName(old.type), classTypeName(now.type),
         kNewAttribute);
    if (old.type == now.type)
      keep(path + ".element", classTypeName(old.element),
           classTypeName(now.element), kNewAttribute);
    if (!old.unit.empty())
      keep(path + ".unit", old.unit, now.unit, kNewAttribute);
    keep(path + ".format", wordOf(kFormatWords, old.format),
         wordOf(kFormatWords, now.format), kNewAttribute);
    keep(path + ".class", old.reference, now.reference, kNewAttribute);
    compareRange(path + ".range", old.range, now.range);
    compareRange(path + ".length", old.length, now.length);
    compareValues(path + ".values", old, now);
  }

  void compare(const std::string& path, const AttributeDescription& old,
               const AttributeDescription& now) {
    compareValue(path, old, now);
    if (old.kind != MemberKind::none)
      keep(path + ".kind", wordOf(kKindWords, old.kind),
           wordOf(kKindWords, now.kind), "");
    keep(path + ".storage", wordOf(kStorageWords, old.storage, 1),
         wordOf(kStorageWords, now.storage, 1), "");
    if (old.defaultText)
      keep(path + ".default", *old.defaultText, now.defaultText.value_or(""),
           "");
    if (freedom(now.access) < freedom(old.access))
      forbid(path + ".access",
             "was " + quoted(wordOf(kAccessWords, old.access, 1)) +
                 ", and programs that write it would be refused; leave it so");
    if (!old.required) checkRequired(path, now);
  }

  void compare(const std::string& path, const ActionDescription& old,
               const ActionDescription& now) {
    const std::string arguments = path + ".arguments";
    if (old.arguments.size() != now.arguments.size())
      forbid(arguments,
             "there were " + std::to_string(old.arguments.size()) + ", not " +
                 std::to_string(now.arguments.size()) +
                 ", and they are told apart by their positions; describe a "
                 "new one with a new number and name instead");
    const std::size_t both =
        std::min(old.arguments.size(), now.arguments.size());
    for (std::size_t i = 0; i < both; ++i) {
      const std::string each = arguments + "." + std::to_string(i + 1);
      keep(each + ".name", old.arguments[i].name, now.arguments[i].name, "");
      compareValue(each, old.arguments[i], now.arguments[i]);
    }
  }

  const ClassDescription& before_;
  const ClassDescription& now_;
  const ClassFile& file_;
  ClassMistakes mistakes_;
};

}  // namespace

ClassMistakes compareClasses(const ClassFile& before, const ClassFile& now) {
  return Comparison(before, now).run();
}

}  // namespace ostrel
