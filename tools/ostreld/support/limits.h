// Bounds that hold for both servers, in bytes.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H

#include <cstddef>

namespace ostrel::tools::server {

// No value is stored or copied that is longer.
constexpr std::size_t kLongestValue = 16 << 20;

// Longer than any answer that has nothing but a code.
constexpr std::size_t kLongestRefusal = 256;

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H
