// Values to bytes and back.

#ifndef OSTREL_TOOLS_COMMON_ENCODING_H
#define OSTREL_TOOLS_COMMON_ENCODING_H

#include <ostrel/codes.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "common/owned.h"

namespace ostrel::tools {

// The value's encoding, or nothing when it has none or is longer than `limit`
// bytes.
std::optional<std::string> encoded(veskType& value,
                                   std::size_t limit = kLongestMessage);

// What decoding gave.
struct Decoding {
  Owned<veskType> value;  // as far as it got; null: no class has this tag
  std::size_t used = 0;   // bytes consumed; 0: they are no such value
};
Decoding decode(std::string_view bytes);

// The value whose encoding the bytes are, all of them; null when they are none.
Owned<veskType> decoded(std::string_view bytes);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_ENCODING_H
