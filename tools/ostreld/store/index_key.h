// Keys by which a store finds values: bytes whose order is that of the values,
// whatever their classes.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_INDEX_KEY_H
#define OSTREL_TOOLS_OSTRELD_STORE_INDEX_KEY_H

#include <ostrel/type.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel::tools::server {

// A key has at most so many bytes of a value. Longer values that begin alike
// have the same key: who finds a value by its key has to look at it as well.
constexpr std::size_t kLongestKey = 64;

// The key of a value. As compareValues() has it, equal values have equal keys,
// and a lesser value has no greater key. Nothing for what is equal to no value,
// not even to itself.
std::optional<std::string> indexKey(veskType& value);

// The same for the value whose encoding this is; nothing when it is none.
std::optional<std::string> indexKeyOf(std::string_view encoding);

// The keys of the values that an operation of a search asks for are among
// these, from the first to the last.
struct KeyRange {
  std::string first;
  std::string last;
};

// Nothing when the operation asks for more than a range of keys.
std::optional<KeyRange> keysFor(unsigned operation, veskType& given);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_INDEX_KEY_H
