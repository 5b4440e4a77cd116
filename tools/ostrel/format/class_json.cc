#include "format/class_json.h"

#include <cmath>
#include <string>

namespace ostrel::tools::cli {
namespace {

const char* word(ostrel::ValueFormat format) {
  constexpr const char* kWords[] = {nullptr, "mac",  "ipv6",
                                    "cidr",  "uuid", "uint64"};
  return kWords[static_cast<std::size_t>(format)];
}

const char* word(MemberKind kind) {
  constexpr const char* kWords[] = {nullptr, "gauge", "counter",
                                    "id",    "state", "text"};
  return kWords[static_cast<std::size_t>(kind)];
}

const char* word(MemberStatus status) {
  constexpr const char* kWords[] = {"current", "deprecated", "obsolete"};
  return kWords[static_cast<std::size_t>(status)];
}

const char* word(MemberAccess access) {
  constexpr const char* kWords[] = {"", "read-only", "read-write",
                                    "create-only"};
  return kWords[static_cast<std::size_t>(access)];
}

const char* word(MemberStorage storage) {
  constexpr const char* kWords[] = {"", "persistent", "volatile"};
  return kWords[static_cast<std::size_t>(storage)];
}

// Whole numbers without a fraction, as long as they are exact.
Json number(double value) {
  constexpr double kExact = 9007199254740992;
  if (std::fabs(value) <= kExact && !(std::floor(value) < value))
    return static_cast<std::int64_t>(value);
  return value;
}

void addText(Json* json, const char* key, const std::string& text) {
  if (!text.empty()) (*json)[key] = text;
}

void addValue(Json* json, const ValueDescription& value) {
  (*json)["type"] = classTypeName(value.type);
  if (value.element != kTagNull)
    (*json)["element"] = classTypeName(value.element);
  addText(json, "unit", value.unit);
  if (value.range)
    (*json)["range"] =
        Json::array({number(value.range->least), number(value.range->most)});
  if (value.length)
    (*json)["length"] = Json::array({value.length->least, value.length->most});
  for (const ValueName& name : value.values) {
    Json each;
    each["name"] = name.name;
    each["value"] = name.value;
    addText(&each, "text", name.text);
    (*json)["values"].push_back(each);
  }
  if (const char* format = word(value.format)) (*json)["format"] = format;
  addText(json, "class", value.reference);
}

template <class Member>
Json memberJson(const Member& member) {
  Json json;
  json["name"] = member.name;
  json["id"] = member.id.text();
  addText(&json, "text", member.text);
  json["status"] = word(member.status);
  if (!member.formerNames.empty()) json["was"] = member.formerNames;
  return json;
}

Json attributeJson(const AttributeDescription& attribute) {
  Json json = memberJson(attribute);
  addValue(&json, attribute);
  if (const char* kind = word(attribute.kind)) json["kind"] = kind;
  if (attribute.defaultText) json["default"] = *attribute.defaultText;
  json["access"] = word(attribute.access);
  json["required"] = attribute.required;
  json["storage"] = word(attribute.storage);
  return json;
}

Json actionsJson(const std::vector<ActionDescription>& actions) {
  Json all = Json::array();
  for (const ActionDescription& action : actions) {
    Json json = memberJson(action);
    json["arguments"] = Json::array();
    for (const ArgumentDescription& argument : action.arguments) {
      Json each;
      each["name"] = argument.name;
      addText(&each, "text", argument.text);
      addValue(&each, argument);
      json["arguments"].push_back(each);
    }
    all.push_back(json);
  }
  return all;
}

}  // namespace

Json classJson(const Catalogue& catalogue,
               const ClassDescription& description) {
  Json json;
  json["name"] = description.name;
  json["id"] = description.id.text();
  json["revision"] = description.revision;
  addText(&json, "text", description.text);
  addText(&json, "derivedFrom", description.derivedFrom);
  addText(&json, "key", catalogue.key(description));
  json["columns"] = catalogue.columns(description);
  json["reservedIds"] = Json::array();
  for (const MemberId& id : description.reservedIds)
    json["reservedIds"].push_back(id.text());
  json["reservedNames"] = description.reservedNames;
  json["attributes"] = Json::array();
  for (const AttributeDescription& attribute : description.attributes)
    json["attributes"].push_back(attributeJson(attribute));
  json["actions"] = actionsJson(description.actions);
  json["events"] = actionsJson(description.events);
  return json;
}

}  // namespace ostrel::tools::cli
