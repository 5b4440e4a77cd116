// Encoded values as bytes: what decoding them would cost, and the one form in
// which every peer can read them. Neither makes the value, so bytes of a
// stranger can be judged before anything is allocated for them.

#ifndef OSTREL_ENCODING_H
#define OSTREL_ENCODING_H

#include <ostrel/export.h>

#include <optional>

namespace ostrel {

// What an encoded value consists of.
struct Measured {
  unsigned used;    // bytes; those behind it belong to something else
  unsigned values;  // objects that decoding makes: the value, and every value
                    // inside it that stands in a list or an attribute
};

// Walks over the value at `bytes` as veskType::decodeCreate() does: the same
// bytes are accepted, nested as deep. Takes time in proportion to the length,
// and allocates nothing.
//   bytes   may be null when there are none.
//   length  how many bytes there are.
// Returns nothing where decoding would fail. A decoded value takes up to 600
// bytes of memory for each of `values`, and the bytes of its texts.
OSTREL_API std::optional<Measured> measureValue(const void* bytes,
                                                unsigned length);

// Rewrites the value at `bytes`, in place, as encoding writes it: numbers
// without leading zeros, flags 0 or 1, and members with the tags of their
// classes. Decoding ignores all of these, but a stricter peer may not; encoding
// a decoded value gives the tags back as they arrived. Only what can be read
// from the bytes stays: the default value in an attribute's description becomes
// null, since decoding reads no more than its tag.
//   length  how many bytes there are; those behind the value stay.
// Returns the value's new length, which is never more than the old one. The
// bytes between the two are undefined. Returns 0, and has changed nothing,
// where decoding would fail.
OSTREL_API unsigned canonicalizeValue(void* bytes, unsigned length);

}  // namespace ostrel

#endif  // OSTREL_ENCODING_H
