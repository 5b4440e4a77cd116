#include "type_table.h"

#include <limits>

namespace ostrel {
namespace {

template <class Number>
constexpr TypeRow whole(const char* name, Tag tag) {
  return {name, tag, TypeFamily::whole,
          static_cast<double>(std::numeric_limits<Number>::min()),
          static_cast<double>(std::numeric_limits<Number>::max())};
}

template <class Number>
constexpr TypeRow fraction(const char* name, Tag tag) {
  return {name, tag, TypeFamily::fraction,
          static_cast<double>(std::numeric_limits<Number>::lowest()),
          static_cast<double>(std::numeric_limits<Number>::max())};
}

constexpr TypeRow other(const char* name, Tag tag, TypeFamily family) {
  return {name, tag, family, 0, 0};
}

constexpr TypeRow kTypes[] = {
    whole<std::int32_t>("int", kTagInt),
    whole<std::uint32_t>("uint", kTagUnsignedInt),
    whole<std::int16_t>("short", kTagShort),
    whole<std::uint16_t>("ushort", kTagUnsignedShort),
    whole<std::int32_t>("long", kTagLong),
    whole<std::uint32_t>("ulong", kTagUnsignedLong),
    whole<std::int8_t>("char", kTagChar),
    whole<std::uint8_t>("uchar", kTagUnsignedChar),
    fraction<float>("float", kTagFloat),
    fraction<double>("double", kTagDouble),
    other("bool", kTagBool, TypeFamily::truth),
    other("string", kTagString, TypeFamily::text),
    other("opaque", kTagOpaque, TypeFamily::bytes),
    other("oid", kTagOid, TypeFamily::objectId),
    other("aid", kTagAid, TypeFamily::memberId),
    other("time", kTagTime, TypeFamily::time),
    other("addr", kTagAddress, TypeFamily::address),
    other("list", kTagList, TypeFamily::list),
    other("description", kTagObjectDesc, TypeFamily::description),
};

// Types of values on the command line that no class file can give.
constexpr std::string_view kOtherWords[] = {"gauge", "counter", "attr", "null"};

}  // namespace

const TypeRow* typeRow(std::string_view name) {
  for (const TypeRow& row : kTypes)
    if (name == row.name) return &row;
  return nullptr;
}

const TypeRow* typeRow(Tag tag) {
  for (const TypeRow& row : kTypes)
    if (tag == row.tag) return &row;
  return nullptr;
}

const TypeRow* elementRow(const ValueDescription& description) {
  return typeRow(description.type == kTagList ? description.element
                                              : description.type);
}

std::vector<std::string_view> typeNames() {
  std::vector<std::string_view> names;
  for (const TypeRow& row : kTypes) names.emplace_back(row.name);
  return names;
}

bool isTypeWord(std::string_view word) {
  if (typeRow(word) != nullptr) return true;
  for (const std::string_view other : kOtherWords)
    if (word == other) return true;
  return false;
}

}  // namespace ostrel
