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

// A value that decodes, with at most `depth` values inside one another. In the
// library's own spelling every default value is a null one.
Bytes randomEncoding(Random& random, unsigned depth, Spelling spelling);

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_RANDOM_ENCODING_H
