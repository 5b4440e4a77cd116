// Finds the length of an encoded value, and the number of values in it, without
// making it. This serves answers of which only the result of decoding matters;
// the public form of it, for callers that check what a value would cost before
// they decode it, is <ostrel/encoding.h>.

#ifndef OSTREL_SRC_WALK_H
#define OSTREL_SRC_WALK_H

namespace ostrel {

// How many levels of values may be nested.
constexpr unsigned kMaxNesting = 2048;

struct Walked {
  unsigned used;    // bytes, or 0 where decoding fails
  unsigned values;  // what the factory makes of them, those inside included
};

// Walks over the value at `bytes` as veskType::decodeCreate() does, with at
// most `nesting` values inside one another, and allocates nothing. After a
// failure `values` counts those that had begun.
Walked walkValues(const char* bytes, unsigned length,
                  unsigned nesting = kMaxNesting);

// Returns the bytes that veskType::decodeCreate() would consume of these, or 0
// where it would fail. Allocates nothing.
unsigned walkValue(const char* bytes, unsigned length);

}  // namespace ostrel

#endif  // OSTREL_SRC_WALK_H
