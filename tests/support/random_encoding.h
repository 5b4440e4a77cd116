// Encodings of every class that the factory makes, one inside another, written
// byte by byte: what a peer may send, which is more than the library's own
// encoders write.

#ifndef OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H
#define OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H

#include "bytes.h"
#include "random_values.h"

namespace ostrel::test {

// Which liberties an encoding takes.
enum class Spelling {
  kOwn,   // none: the library writes the same bytes when it encodes the value
  kLoose  // members with any tag, numbers of any length, flags other than 1
};

struct Encoding {
  Bytes bytes;

  // What a copy of the value encodes to, if the spelling is the library's own:
  // the same, but the copy of an action's response has the tag of a set's. The
  // copies of objects and PDUs share their lists, where nothing is copied.
  Bytes copy;
};

// A value that decodes, with at most `depth` values inside one another.
Encoding randomEncoding(Random& random, unsigned depth, Spelling spelling);

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H
