#include <ostrel/described_value.h>
#include <ostrel/elements.h>
#include <ostrel/objectdesc.h>

#include <cstdlib>
#include <vector>

#include "number_text.h"
#include "time_text.h"
#include "value_list_text.h"
#include "value_parts.h"

namespace ostrel {
namespace {

std::string ownText(veskType& value) {
  char* text = value.getString();
  std::string result = text == nullptr ? "" : text;
  std::free(text);
  return result;
}

// A value that is no list, in the declared type.
DescribedValue declaredOne(const ValueDescription& description,
                           const TypeRow& row, veskType& value,
                           const Catalogue* catalogue) {
  const auto copy = [&] {
    return DescribedValue{ValuePointer(value.dup()), ""};
  };
  const bool sameType = value.tag == row.tag;
  unsigned length = 0;
  switch (row.family) {
    case TypeFamily::whole:
      if (const auto number = wholeIn(value))
        if (value.tag != kTagTime)
          return checkedWhole(description, row, *number);
      break;
    case TypeFamily::fraction:
      if (auto* number = as<veskDouble>(value); number && sameType)
        return checkedFraction(description, number->value);
      if (auto* number = as<veskFloat>(value); number && sameType)
        return checkedFraction(description, number->value);
      break;
    case TypeFamily::truth:
      if (as<veskBool>(value) != nullptr) return copy();
      if (const auto number = wholeIn(value))
        if (value.tag != kTagTime && (*number == 0 || *number == 1))
          return made<veskBool>(static_cast<unsigned>(*number));
      break;
    case TypeFamily::text:
      if (auto* text = as<veskString>(value)) {
        const char* bytes = text->get(&length);
        return checkedText(description,
                           {bytes == nullptr ? "" : bytes, length});
      }
      break;
    case TypeFamily::bytes:
      if (auto* opaque = as<veskOpaque>(value)) {
        const char* bytes = opaque->get(&length);
        return checkedBytes(description,
                            {bytes == nullptr ? "" : bytes, length});
      }
      break;
    case TypeFamily::objectId:
      if (auto* oid = as<veskOid>(value))
        return checkedOid(description, *oid, catalogue);
      break;
    case TypeFamily::memberId:
      if (auto* aid = as<veskAid>(value); aid != nullptr)
        return aid->valid != 0 ? copy() : refused("is no valid identifier");
      break;
    case TypeFamily::address:
      if (auto* address = as<veskAddress>(value); address != nullptr)
        return address->family != 0 ? copy() : refused("is no address");
      break;
    case TypeFamily::time:
      if (as<veskTime>(value) != nullptr) return copy();
      break;
    default:
      if (sameType && as<veskObjectDesc>(value) != nullptr) return copy();
      break;
  }
  return refused(std::string("is no value of the type ") + row.name);
}

std::string printOne(const ValueDescription& description, const TypeRow& row,
                     veskType& value) {
  if (value.tag != row.tag) return ownText(value);
  unsigned length = 0;
  switch (row.family) {
    case TypeFamily::whole: {
      const auto number = wholeIn(value);
      if (!number) break;
      for (const ValueName& name : description.values)
        if (name.value == *number) return name.name;
      return std::to_string(*number);
    }
    case TypeFamily::fraction:
      if (auto* number = as<veskDouble>(value))
        return numberText(number->value);
      if (auto* number = as<veskFloat>(value)) return numberText(number->value);
      break;
    case TypeFamily::truth:
      if (auto* truth = as<veskBool>(value))
        return truth->value != 0 ? "true" : "false";
      break;
    case TypeFamily::text:
      if (auto* text = as<veskString>(value)) {
        const char* bytes = text->get(&length);
        return bytes == nullptr ? "" : std::string(bytes, length);
      }
      break;
    case TypeFamily::bytes:
      if (auto* opaque = as<veskOpaque>(value)) {
        const char* bytes = opaque->get(&length);
        const std::string_view held(bytes == nullptr ? "" : bytes, length);
        const bool isNumber = description.format == ValueFormat::uint64 &&
                              held.size() == kUint64Bytes;
        std::uint64_t number = 0;
        std::string digits;
        for (const char c : held) {
          const auto byte = static_cast<unsigned char>(c);
          number = number << 8U | byte;
          digits += "0123456789abcdef"[byte >> 4U];
          digits += "0123456789abcdef"[byte & 15U];
        }
        return isNumber ? std::to_string(number) : digits;
      }
      break;
    case TypeFamily::time:
      if (auto* time = as<veskTime>(value)) return timeText(time->value);
      break;
    default:
      break;
  }
  return ownText(value);
}

}  // namespace

std::string printValue(const ValueDescription& description, veskType& value) {
  const TypeRow* row = elementRow(description);
  if (row == nullptr) return ownText(value);
  auto* list = as<veskList>(value);
  if (description.type != kTagList) return printOne(description, *row, value);
  if (list == nullptr) return ownText(value);
  std::vector<std::string> elements;
  for (veskType* element : Elements<>(*list))
    elements.push_back(printOne(description, *row, *element));
  return joinElements(elements);
}

DescribedValue declaredValue(const ValueDescription& description,
                             veskType& value, const Catalogue* catalogue) {
  const TypeRow* row = elementRow(description);
  if (row == nullptr) return refused("the type is not known");
  if (description.type != kTagList)
    return declaredOne(description, *row, value, catalogue);
  auto* list = as<veskList>(value);
  if (list == nullptr) return refused("is no list");
  std::vector<veskType*> elements;
  for (veskType* element : Elements<>(*list)) elements.push_back(element);
  return listOf(description, elements.size(), [&](std::size_t i) {
    return declaredOne(description, *row, *elements[i], catalogue);
  });
}

}  // namespace ostrel
