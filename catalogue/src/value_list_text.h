// A list as one text: elements with commas between, a backslash before a comma,
// backslash or quote that belongs to one, "" for an element without a
// character.

#ifndef OSTREL_CATALOGUE_VALUE_LIST_TEXT_H
#define OSTREL_CATALOGUE_VALUE_LIST_TEXT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel {

std::string joinElements(const std::vector<std::string>& elements);

// Nothing when a backslash ends the text, or an element has neither a character
// nor "".
std::optional<std::vector<std::string>> splitElements(std::string_view text);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_VALUE_LIST_TEXT_H
