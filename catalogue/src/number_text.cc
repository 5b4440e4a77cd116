#include "number_text.h"

#include <charconv>
#include <cmath>

namespace ostrel {
namespace {

// Whole numbers below it are written in full.
constexpr double kLongestWhole = 1e21;

template <class Number>
std::string textOf(Number number) {
  char buffer[64];
  const bool isWhole = std::isfinite(number) &&
                       std::fabs(number) < Number(kLongestWhole) &&
                       !(std::floor(number) < number);
  const auto end = isWhole
                       ? std::to_chars(buffer, buffer + sizeof buffer, number,
                                       std::chars_format::fixed)
                       : std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, end.ptr);
}

template <class Number>
std::optional<Number> fromText(std::string_view text) {
  // No "inf", no "nan".
  if (text.find_first_not_of("0123456789.eE+-") != text.npos)
    return std::nullopt;
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return number;
}

}  // namespace

std::string numberText(double number) { return textOf(number); }
std::string numberText(float number) { return textOf(number); }

std::optional<double> numberFrom(std::string_view text) {
  return fromText<double>(text);
}

std::optional<float> shortNumberFrom(std::string_view text) {
  return fromText<float>(text);
}

}  // namespace ostrel
