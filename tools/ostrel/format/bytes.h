// Bytes in text: escapes that keep a terminal safe, and hexadecimal digits.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_BYTES_H
#define OSTREL_TOOLS_OSTREL_FORMAT_BYTES_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "common/utf8.h"

namespace ostrel::tools::cli {

// Text that cannot be read; what() says what was expected instead.
class TextError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Bytes with everything that a terminal could act on, the backslash and the
// characters of `also` written as an escape: \n, \t, \r, \\ or \xNN. All other
// well-formed UTF-8 stays as it is.
std::string escaped(std::string_view bytes, std::string_view also = "");

// The bytes that a text with such escapes stands for. A backslash before a
// character that is neither letter nor digit stands for that character. Throws
// TextError.
std::string unescaped(std::string_view text);

// Two lower-case digits for each byte.
std::string hexText(std::string_view bytes);

// The bytes that hexadecimal digits stand for; white space, colons and "0x"
// before a group of digits do not count. Throws TextError.
std::string parseHex(std::string_view text);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_BYTES_H
