// Values and bytes made from a seed, the same on every machine.

#ifndef OSTREL_TESTS_SUPPORT_RANDOM_VALUES_H
#define OSTREL_TESTS_SUPPORT_RANDOM_VALUES_H

#include <cstdint>
#include <string>

#include "bytes.h"
#include "ostrel/type.h"

namespace ostrel::test {

// Numbers from a seed (splitmix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t bits();

  // From 0 to below `bound`.
  unsigned below(unsigned bound);

  // 32 bits. Numbers of every width, and the limits of each, are as likely as
  // large ones.
  std::uint32_t number();

  // Up to `most` bytes; NULs and high bytes among them.
  std::string text(unsigned most);

 private:
  std::uint64_t state_;
};

// The dotted text of an identifier with so many numbers; sometimes malformed
// text.
std::string randomIdentifier(Random& random, unsigned components);

// A value of any class that the factory makes, with lists nested up to `depth`
// levels. Released with releaseValue.
veskType* randomValue(Random& random, unsigned depth);

// Bytes of which many look like tags, lengths and counts.
Bytes randomBytes(Random& random, unsigned most);

// These bytes with a few changed, taken out or put in.
Bytes mutated(Random& random, Bytes bytes);

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_RANDOM_VALUES_H
