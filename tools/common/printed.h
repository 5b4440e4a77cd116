// The library's own texts as strings.

#ifndef OSTREL_TOOLS_COMMON_PRINTED_H
#define OSTREL_TOOLS_COMMON_PRINTED_H

#include <ostrel/type.h>

#include <string>

namespace ostrel::tools {

// The text that a call of the library handed over, which is freed; "" for null.
std::string takeText(char* text);

// The value's printed form; "" when it has none.
std::string printed(veskType& value);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_PRINTED_H
