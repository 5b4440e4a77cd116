// What reading a value from text and taking one from a peer have in common: a
// value is made when the description allows it.

#ifndef OSTREL_CATALOGUE_VALUE_PARTS_H
#define OSTREL_CATALOGUE_VALUE_PARTS_H

#include <ostrel/described_value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "type_table.h"

namespace ostrel {

using ValuePointer = std::unique_ptr<veskType, FreeValue>;

constexpr std::size_t kUint64Bytes = 8;

template <class Value, class... Arguments>
DescribedValue made(Arguments... arguments) {
  return {ValuePointer(new Value(arguments...)), ""};
}

inline DescribedValue refused(std::string mistake) {
  return {nullptr, std::move(mistake)};
}

template <class Value>
Value* as(veskType& value) {
  return dynamic_cast<Value*>(&value);
}

// What a value of the integer family, a bool or a time holds.
std::optional<std::int64_t> wholeIn(const veskType& value);

// "0 to 255", and the names of the values: "off, on or broken".
std::string rangeText(double least, double most);
std::string namesText(const ValueDescription& description);

// The value, or what the description has against it.
DescribedValue checkedWhole(const ValueDescription& description,
                            const TypeRow& row, std::int64_t number);
DescribedValue checkedFraction(const ValueDescription& description,
                               double number);
DescribedValue checkedFraction(const ValueDescription& description,
                               float number);
DescribedValue checkedText(const ValueDescription& description,
                           std::string_view text);
DescribedValue checkedBytes(const ValueDescription& description,
                            std::string_view bytes);
DescribedValue checkedOid(const ValueDescription& description,
                          const veskOid& oid, const Catalogue* catalogue);
std::string lengthMistake(const ValueDescription& description,
                          std::size_t length, const char* what);

// Each element through `make`, with its position in front of a mistake.
template <class Make>
DescribedValue listOf(const ValueDescription& description, std::size_t count,
                      Make make) {
  const std::string wrong = lengthMistake(description, count, "elements");
  if (!wrong.empty()) return refused(wrong);
  auto* list = new veskList;
  DescribedValue result{ValuePointer(list), ""};
  for (std::size_t i = 0; i < count; ++i) {
    DescribedValue element = make(i);
    if (!element)
      return refused("element " + std::to_string(i + 1) + ": " +
                     element.mistake);
    list->append(element.value.get());
    element.value.release();
  }
  return result;
}

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_VALUE_PARTS_H
