#include "value_parts.h"

#include <algorithm>
#include <cmath>

#include "formats.h"
#include "number_text.h"
#include "words.h"

namespace ostrel {
namespace {

DescribedValue wholeOf(Tag type, std::int64_t number) {
  switch (type) {
    case kTagInt:
      return made<veskInt>(static_cast<std::int32_t>(number));
    case kTagUnsignedInt:
      return made<veskUnsignedInt>(static_cast<std::uint32_t>(number));
    case kTagLong:
      return made<veskLong>(static_cast<std::int32_t>(number));
    case kTagUnsignedLong:
      return made<veskUnsignedLong>(static_cast<std::uint32_t>(number));
    case kTagShort:
      return made<veskShort>(static_cast<std::int16_t>(number));
    case kTagUnsignedShort:
      return made<veskUnsignedShort>(static_cast<std::uint16_t>(number));
    case kTagChar:
      return made<veskChar>(static_cast<std::int8_t>(number));
    default:
      return made<veskUnsignedChar>(static_cast<std::uint8_t>(number));
  }
}

std::string rangeMistake(const ValueDescription& description, double number) {
  if (!description.range) return "";
  if (number >= description.range->least && number <= description.range->most)
    return "";
  return numberText(number) + " is outside the range " +
         rangeText(description.range->least, description.range->most);
}

// A NaN is in no range, and nobody means one.
template <class Value, class Number>
DescribedValue fraction(const ValueDescription& description, Number number) {
  if (!std::isfinite(number)) return refused("is not a finite number");
  const std::string outside =
      rangeMistake(description, static_cast<double>(number));
  if (!outside.empty()) return refused(outside);
  return made<Value>(number);
}

// Texts and bytes count their length in 32 bits, and 0 means "up to the NUL".
template <class Value>
ValuePointer counted(std::string_view bytes) {
  auto* value = new Value;
  ValuePointer owner(value);
  if (!bytes.empty())
    value->set(bytes.data(), static_cast<unsigned>(bytes.size()));
  else
    value->set("", 0);
  return owner;
}

// Elements of a list have no length of their own.
std::string bytesMistake(const ValueDescription& description,
                         std::size_t length) {
  if (description.type == kTagList) return "";
  return lengthMistake(description, length, "bytes");
}

}  // namespace

std::optional<std::int64_t> wholeIn(const veskType& value) {
  if (const auto* v = dynamic_cast<const veskInt*>(&value)) return v->value;
  // Also bool, gauge, counter and time.
  if (const auto* v = dynamic_cast<const veskUnsignedInt*>(&value))
    return v->value;
  if (const auto* v = dynamic_cast<const veskLong*>(&value)) return v->value;
  if (const auto* v = dynamic_cast<const veskUnsignedLong*>(&value))
    return v->value;
  if (const auto* v = dynamic_cast<const veskShort*>(&value)) return v->value;
  if (const auto* v = dynamic_cast<const veskUnsignedShort*>(&value))
    return v->value;
  if (const auto* v = dynamic_cast<const veskChar*>(&value)) return v->value;
  if (const auto* v = dynamic_cast<const veskUnsignedChar*>(&value))
    return v->value;
  return std::nullopt;
}

std::string rangeText(double least, double most) {
  return numberText(least) + " to " + numberText(most);
}

std::string namesText(const ValueDescription& description) {
  constexpr std::size_t kMostShown = 12;
  std::vector<std::string_view> names;
  for (const ValueName& name : description.values)
    if (names.size() < kMostShown) names.emplace_back(name.name);
  if (names.size() < description.values.size()) names.emplace_back("others");
  return joined(names);
}

DescribedValue checkedWhole(const ValueDescription& description,
                            const TypeRow& row, std::int64_t number) {
  const auto value = static_cast<double>(number);
  if (value < row.least || value > row.most)
    return refused(std::to_string(number) + " is beyond what the type " +
                   row.name + " can hold, " + rangeText(row.least, row.most));
  const std::string outside = rangeMistake(description, value);
  if (!outside.empty()) return refused(outside);
  const auto& names = description.values;
  const bool isNamed =
      names.empty() ||
      std::any_of(names.begin(), names.end(),
                  [&](const ValueName& name) { return name.value == number; });
  if (!isNamed)
    return refused(std::to_string(number) + " is not among the values; write " +
                   namesText(description));
  return wholeOf(row.tag, number);
}

DescribedValue checkedFraction(const ValueDescription& description,
                               double number) {
  return fraction<veskDouble>(description, number);
}

DescribedValue checkedFraction(const ValueDescription& description,
                               float number) {
  return fraction<veskFloat>(description, number);
}

std::string lengthMistake(const ValueDescription& description,
                          std::size_t length, const char* what) {
  const auto& range = description.length;
  if (!range || (length >= range->least && length <= range->most)) return "";
  return "has " + std::to_string(length) + " " + what + "; " +
         (range->least == range->most ? std::to_string(range->least)
                                      : std::to_string(range->least) + " to " +
                                            std::to_string(range->most)) +
         " are allowed";
}

DescribedValue checkedText(const ValueDescription& description,
                           std::string_view text) {
  const auto canonical = canonicalForm(description.format, text);
  if (!canonical)
    return refused(quoted(text) + " is not " +
                   formatExample(description.format) + ", for instance");
  const std::string wrong = bytesMistake(description, text.size());
  if (!wrong.empty()) return refused(wrong);
  return {counted<veskString>(*canonical), ""};
}

DescribedValue checkedBytes(const ValueDescription& description,
                            std::string_view bytes) {
  if (description.format == ValueFormat::uint64 && bytes.size() != kUint64Bytes)
    return refused("has " + std::to_string(bytes.size()) +
                   " bytes; a uint64 has 8, the most significant first");
  const std::string wrong = bytesMistake(description, bytes.size());
  if (!wrong.empty()) return refused(wrong);
  return {counted<veskOpaque>(bytes), ""};
}

DescribedValue checkedOid(const ValueDescription& description,
                          const veskOid& oid, const Catalogue* catalogue) {
  if (oid.valid == 0) return refused("is no valid identifier");
  const ClassDescription* wanted =
      catalogue == nullptr ? nullptr : catalogue->find(description.reference);
  if (wanted == nullptr) return made<veskOid>(oid);
  const ClassId id{oid.component[0], oid.component[1]};
  const ClassDescription* given = catalogue->find(id);
  const bool fits = id == wanted->id ||
                    (given != nullptr && catalogue->derives(*given, *wanted));
  if (fits) return made<veskOid>(oid);
  return refused("is an object of the class " +
                 (given == nullptr ? id.text() : given->name) +
                 "; one of the class " + wanted->name + " (" +
                 wanted->id.text() + ") is wanted");
}

}  // namespace ostrel
