// The numbers in the text of identifiers.

#ifndef OSTREL_SRC_COMPONENT_H
#define OSTREL_SRC_COMPONENT_H

#include <cstddef>
#include <cstdint>

namespace ostrel {

// Converts all of the `length` characters (1 or more) at `token`. The result is
// that of the C library's strtoul in base 0 on a machine whose long has 32
// bits: white space and a sign may come first, 0x means hexadecimal and a
// leading 0 octal, and a number out of range is 4294967295. Returns false when
// the characters are no number or more than one.
bool parseComponent(const char* token, std::size_t length,
                    std::uint32_t* number);

}  // namespace ostrel

#endif  // OSTREL_SRC_COMPONENT_H
