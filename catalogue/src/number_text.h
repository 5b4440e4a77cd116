// Numbers as text: the shortest that makes the same number again, and whole
// ones without an exponent.

#ifndef OSTREL_CATALOGUE_NUMBER_TEXT_H
#define OSTREL_CATALOGUE_NUMBER_TEXT_H

#include <optional>
#include <string>
#include <string_view>

namespace ostrel {

std::string numberText(double number);
std::string numberText(float number);

// All of the text, as a decimal number with or without fraction and exponent;
// nothing for anything else and for what is too large.
std::optional<double> numberFrom(std::string_view text);
std::optional<float> shortNumberFrom(std::string_view text);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_NUMBER_TEXT_H
