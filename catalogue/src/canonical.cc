#include <ostrel/class_file.h>

#include <cstdio>

#include "enum_words.h"
#include "number_text.h"
#include "type_table.h"
#include "value_list_text.h"

namespace ostrel {
namespace {

std::string quotedToml(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte == 0x7f) {
      char escape[7];
      std::snprintf(escape, sizeof escape, "\\u%04X", byte);
      result += escape;
    } else {
      result += c;
    }
  }
  return result + "\"";
}

template <class Elements, class Text>
std::string arrayToml(const Elements& elements, Text text) {
  std::string result = "[";
  for (const auto& element : elements) {
    if (&element != &*elements.begin()) result += ", ";
    result += text(element);
  }
  return result + "]";
}

std::string namesToml(const std::vector<std::string>& names) {
  return arrayToml(names, quotedToml);
}

// A number that TOML reads as the same: whole ones that do not fit its integers
// need a point.
std::string numberToml(double number) {
  constexpr std::size_t kFitsAnyway = 18;
  std::string text = numberText(number);
  if (text == "-0" ||
      (text.find_first_of(".e") == text.npos && text.size() > kFitsAnyway))
    text += ".0";
  return text;
}

// Pairs of a key and what stands behind its "=", in the order of the file.
using Keys = std::vector<std::pair<std::string, std::string>>;

std::string inlineTable(const Keys& keys) {
  std::string result = "{ ";
  for (const auto& [key, value] : keys) {
    if (result.size() > 2) result += ", ";
    result += key + " = " + value;
  }
  return result + " }";
}

std::string lines(const Keys& keys) {
  std::string result;
  for (const auto& [key, value] : keys) result += key + " = " + value + "\n";
  return result;
}

void addText(Keys* keys, const char* key, const std::string& text) {
  if (!text.empty()) keys->emplace_back(key, quotedToml(text));
}

std::string elementToml(const TypeRow& row, const std::string& text) {
  if (row.family == TypeFamily::truth) return text;
  if (row.family == TypeFamily::fraction)
    return numberToml(numberFrom(text).value_or(0));
  const bool isNumber = row.family == TypeFamily::whole &&
                        text.find_first_not_of("-0123456789") == text.npos &&
                        !text.empty();
  return isNumber ? text : quotedToml(text);
}

std::string defaultToml(const AttributeDescription& attribute) {
  const TypeRow* row = elementRow(attribute);
  const std::string& text = *attribute.defaultText;
  if (row == nullptr) return quotedToml(text);
  if (attribute.type != kTagList) return elementToml(*row, text);
  return arrayToml(
      splitElements(text).value_or(std::vector<std::string>()),
      [&](const std::string& each) { return elementToml(*row, each); });
}

Keys valueKeys(const ValueDescription& value) {
  Keys keys{{"type", quotedToml(classTypeName(value.type))}};
  if (value.element != kTagNull)
    keys.emplace_back("element", quotedToml(classTypeName(value.element)));
  addText(&keys, "unit", value.unit);
  if (value.range)
    keys.emplace_back("range", "[" + numberToml(value.range->least) + ", " +
                                   numberToml(value.range->most) + "]");
  if (value.length)
    keys.emplace_back("length", "[" + std::to_string(value.length->least) +
                                    ", " + std::to_string(value.length->most) +
                                    "]");
  if (value.format != ValueFormat::none)
    keys.emplace_back("format", quotedToml(wordOf(kFormatWords, value.format)));
  addText(&keys, "class", value.reference);
  return keys;
}

Keys valueNames(const ValueDescription& value) {
  Keys names;
  for (const ValueName& name : value.values) {
    const std::string number = std::to_string(name.value);
    names.emplace_back(name.name,
                       name.text.empty()
                           ? number
                           : inlineTable({{"value", number},
                                          {"text", quotedToml(name.text)}}));
  }
  return names;
}

template <class Member>
void addMemberKeys(const Member& member, Keys* keys) {
  if (!member.formerNames.empty())
    keys->emplace_back("was", namesToml(member.formerNames));
  if (member.status != MemberStatus::current)
    keys->emplace_back("status",
                       quotedToml(wordOf(kStatusWords, member.status)));
  addText(keys, "text", member.text);
}

std::string attributeToml(const AttributeDescription& attribute) {
  Keys keys{{"id", quotedToml(attribute.id.text())}};
  for (auto& key : valueKeys(attribute)) keys.push_back(std::move(key));
  if (attribute.kind != MemberKind::none)
    keys.emplace_back("kind", quotedToml(wordOf(kKindWords, attribute.kind)));
  if (attribute.defaultText)
    keys.emplace_back("default", defaultToml(attribute));
  if (attribute.access != MemberAccess::readWrite)
    keys.emplace_back("access",
                      quotedToml(wordOf(kAccessWords, attribute.access, 1)));
  if (attribute.required) keys.emplace_back("required", "true");
  if (attribute.storage != MemberStorage::persistent)
    keys.emplace_back("storage",
                      quotedToml(wordOf(kStorageWords, attribute.storage, 1)));
  addMemberKeys(attribute, &keys);
  std::string text = "\n[attribute." + attribute.name + "]\n" + lines(keys);
  const Keys names = valueNames(attribute);
  if (!names.empty())
    text += "[attribute." + attribute.name + ".values]\n" + lines(names);
  return text;
}

std::string argumentToml(const ArgumentDescription& argument) {
  Keys keys{{"name", quotedToml(argument.name)}};
  for (auto& key : valueKeys(argument)) keys.push_back(std::move(key));
  const Keys names = valueNames(argument);
  if (!names.empty()) keys.emplace_back("values", inlineTable(names));
  addText(&keys, "text", argument.text);
  return inlineTable(keys);
}

std::string actionToml(const char* kind, const ActionDescription& action) {
  Keys keys{{"id", quotedToml(action.id.text())}};
  addMemberKeys(action, &keys);
  std::string text =
      std::string("\n[") + kind + "." + action.name + "]\n" + lines(keys);
  if (action.arguments.empty()) return text;
  text += "arguments = [\n";
  for (const ArgumentDescription& argument : action.arguments)
    text += "  " + argumentToml(argument) + ",\n";
  return text + "]\n";
}

}  // namespace

std::string canonicalText(const ClassDescription& description) {
  Keys keys{{"name", quotedToml(description.name)},
            {"id", quotedToml(description.id.text())},
            {"revision", std::to_string(description.revision)}};
  addText(&keys, "text", description.text);
  addText(&keys, "derived-from", description.derivedFrom);
  addText(&keys, "key", description.key);
  if (!description.columns.empty())
    keys.emplace_back("columns", namesToml(description.columns));
  Keys reserved;
  if (!description.reservedIds.empty())
    reserved.emplace_back(
        "ids", arrayToml(description.reservedIds, [](const MemberId& id) {
          return quotedToml(id.text());
        }));
  if (!description.reservedNames.empty())
    reserved.emplace_back("names", namesToml(description.reservedNames));
  if (!reserved.empty()) keys.emplace_back("reserved", inlineTable(reserved));
  std::string text = lines(keys);
  for (const AttributeDescription& attribute : description.attributes)
    text += attributeToml(attribute);
  for (const ActionDescription& action : description.actions)
    text += actionToml("action", action);
  for (const EventDescription& event : description.events)
    text += actionToml("event", event);
  return text;
}

std::uint64_t classHash(std::string_view canonicalText) noexcept {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : canonicalText) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3U;
  }
  return hash;
}

}  // namespace ostrel
