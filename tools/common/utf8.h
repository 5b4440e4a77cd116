// UTF-8, as far as it has to be understood to keep terminals and logs safe.

#ifndef OSTREL_TOOLS_COMMON_UTF8_H
#define OSTREL_TOOLS_COMMON_UTF8_H

#include <cstddef>
#include <string_view>

namespace ostrel::tools {

// How many of the first bytes make one well-formed UTF-8 character; 0: none.
std::size_t utf8Length(std::string_view bytes);

bool isUtf8(std::string_view bytes);

// Whether a well-formed character is one that terminals act on: a control
// character, a separator of lines, or a mark that turns the direction of
// writing.
bool isControl(std::string_view character);

// Whether one of these or a character that leaves no trace on a terminal.
bool isHidden(std::string_view character);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_UTF8_H
