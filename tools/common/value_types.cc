#include "common/value_types.h"

#include <type_traits>

namespace ostrel::tools {
namespace {

// Number, truth value or time: a class with one number in it.
template <class Class, class = void>
struct IsNumber : std::false_type {};
template <class Class>
struct IsNumber<Class, std::void_t<decltype(Class::value)>>
    : std::is_arithmetic<decltype(Class::value)> {};

template <class Class>
std::optional<double> numberOf(veskType& value) {
  if constexpr (IsNumber<Class>::value)
    return static_cast<double>(dynamic_cast<Class&>(value).value);
  else
    return std::nullopt;
}

struct Row {
  std::uint8_t tag;
  bool (*is)(veskType&);
  std::optional<double> (*number)(veskType&);
};

template <class Class>
constexpr Row rowOf(ValueType<Class> type) {
  return {
      type.tag,
      [](veskType& value) { return dynamic_cast<Class*>(&value) != nullptr; },
      numberOf<Class>};
}

constexpr auto kRows =
    valueTypeTable([](auto type) constexpr { return rowOf(type); });

}  // namespace

std::optional<std::size_t> valueTypeRow(veskType& value) {
  if (value.tag == kTagNull) return std::nullopt;
  // The tag mostly tells, but it is only a claim.
  for (std::size_t i = 0; i < kRows.size(); ++i)
    if (kRows[i].tag == value.tag && kRows[i].is(value)) return i;
  for (std::size_t i = kRows.size(); i-- > 0;)
    if (kRows[i].is(value)) return i;
  return std::nullopt;
}

std::optional<double> numberIn(veskType& value) {
  const auto row = valueTypeRow(value);
  return row ? kRows[*row].number(value) : std::nullopt;
}

}  // namespace ostrel::tools
