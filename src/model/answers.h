// Which kinds of PDUs answer which request.

#ifndef OSTREL_SRC_ANSWERS_H
#define OSTREL_SRC_ANSWERS_H

#include <cstdint>

namespace ostrel {

// A set of kinds of PDUs: a bit for each tag.
using Kinds = std::uint64_t;
constexpr Kinds kAnyKind = ~Kinds{0};
constexpr Kinds kindOf(unsigned tag) { return tag < 64 ? Kinds{1} << tag : 0; }

// The kinds that may answer a request with this tag: any, where it is none of
// the library's own.
Kinds answersTo(unsigned requestTag);

}  // namespace ostrel

#endif  // OSTREL_SRC_ANSWERS_H
