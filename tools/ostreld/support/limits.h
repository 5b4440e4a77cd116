// Bounds that hold for both servers, in bytes unless they say otherwise.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H

#include <cstddef>

namespace ostrel::tools::server {

// No value is stored or copied that is longer, and no object has more in all
// its values: reading one takes no more memory than this, and what its values
// are bounded by in number.
constexpr std::size_t kLongestValue = 16 << 20;
constexpr std::size_t kLongestObject = kLongestValue;

// How many values a request or an object may have, those inside others
// included, unless the command line says otherwise.
constexpr std::size_t kMostValues = 65536;

// The memory that each of them takes at the most.
constexpr std::size_t kValueMemory = 600;

// Longer than any answer that has nothing but a code.
constexpr std::size_t kLongestRefusal = 256;

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_LIMITS_H
