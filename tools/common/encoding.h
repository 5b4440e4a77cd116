// Values to bytes and back, and bytes judged before they become values.

#ifndef OSTREL_TOOLS_COMMON_ENCODING_H
#define OSTREL_TOOLS_COMMON_ENCODING_H

#include <ostrel/codes.h>
#include <ostrel/veskPDU.h>

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

// The same in the canonical form, which every peer can read. A value that was
// decoded has its members' tags as they arrived, and encoded() gives them back.
std::optional<std::string> canonical(veskType& value,
                                     std::size_t limit = kLongestMessage);

// How many values decoding all these bytes would make; nothing when they are no
// value. Allocates nothing, so that bytes of a stranger cost nothing yet.
std::optional<std::size_t> valuesIn(std::string_view bytes);

// What decoding gave.
struct Decoding {
  Owned<veskType> value;  // as far as it got; null: no class has this tag
  std::size_t used = 0;   // bytes consumed; 0: they are no such value
};
Decoding decode(std::string_view bytes);

// The value whose encoding the bytes are, all of them; null when they are none.
Owned<veskType> decoded(std::string_view bytes);

// The same with every member's tag as it belongs there, whatever arrived.
// valuesIn() has to have accepted the bytes.
Owned<veskType> decodedCanonically(std::string_view bytes);

// A PDU of the class whose encoding the bytes are, with the header that stands
// in them and nothing else: however much is in the request, its id can be told.
// Null when they begin with no such header.
Owned<veskPDU> headerIn(std::string_view bytes);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_ENCODING_H
