// Encodings of every class that the factory makes, one inside another, written
// byte by byte. A peer may send them, although the library's own encoders write
// only some of them.

#ifndef OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H
#define OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H

#include "bytes.h"
#include "random_values.h"

namespace ostrel::test {

// In which ways an encoding may differ from the library's.
enum class Spelling {
  kCanonical,  // none: as it is written by whoever made the value
  kOwn,   // the library writes the same bytes when it encodes the value again:
          // the tag of a description's default value may be any
  kLoose  // members with any tag, numbers of any length, flags other than 1
};

struct Encoding {
  Bytes bytes;

  // What a copy of the value encodes to, if the spelling is the library's own:
  // the same, but the copy of an action's response has the tag of a set's. The
  // copies of objects and PDUs share their lists, where nothing is copied.
  Bytes copy;
};

// A value that decodes, with at most `depth` levels of nesting.
Encoding randomEncoding(Random& random, unsigned depth, Spelling spelling);

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H
