#include <ostrel/class_description.h>

#include "type_table.h"

namespace ostrel {
namespace {

// What two descriptions are compared by: each member once.
auto members(const ValueName& x) { return std::tie(x.name, x.value, x.text); }
auto members(const ValueDescription& x) {
  return std::tie(x.type, x.element, x.unit, x.values, x.format, x.reference);
}
auto members(const AttributeDescription& x) {
  return std::tie(x.name, x.id, x.text, x.kind, x.defaultText, x.access,
                  x.required, x.formerNames, x.status, x.storage);
}
auto members(const ArgumentDescription& x) { return std::tie(x.name, x.text); }
auto members(const ActionDescription& x) {
  return std::tie(x.name, x.id, x.text, x.arguments, x.formerNames, x.status);
}
auto members(const ClassDescription& x) {
  return std::tie(x.name, x.id, x.revision, x.text, x.derivedFrom, x.key,
                  x.columns, x.reservedIds, x.reservedNames, x.attributes,
                  x.actions, x.events);
}

bool sameValue(const ValueDescription& a, const ValueDescription& b) {
  return members(a) == members(b) && a.range == b.range && a.length == b.length;
}

}  // namespace

bool operator==(const ValueRange& a, const ValueRange& b) {
  return !(a.least < b.least || a.least > b.least || a.most < b.most ||
           a.most > b.most);
}

bool operator==(const LengthRange& a, const LengthRange& b) {
  return a.least == b.least && a.most == b.most;
}

bool operator==(const ValueName& a, const ValueName& b) {
  return members(a) == members(b);
}

bool operator==(const AttributeDescription& a, const AttributeDescription& b) {
  return members(a) == members(b) && sameValue(a, b);
}

bool operator==(const ArgumentDescription& a, const ArgumentDescription& b) {
  return members(a) == members(b) && sameValue(a, b);
}

bool operator==(const ActionDescription& a, const ActionDescription& b) {
  return members(a) == members(b);
}

bool operator==(const ClassDescription& a, const ClassDescription& b) {
  return members(a) == members(b);
}

const char* classTypeName(Tag type) noexcept {
  const TypeRow* row = typeRow(type);
  return row == nullptr ? "unknown" : row->name;
}

std::string ClassId::text() const {
  return std::to_string(group) + "." + std::to_string(number);
}

veskOid ClassId::vesk() const { return veskOid(text().c_str()); }

std::string MemberId::text() const {
  return owner.text() + "." + std::to_string(number);
}

veskAid MemberId::vesk() const { return veskAid(text().c_str()); }

}  // namespace ostrel
