// What the fuzzers of values share: whatever the bytes, decodeCreate consumes
// no more than it was given, and what decodes encodes again, prints, compares,
// copies and is freed. The invariants and their exceptions stand in
// support/value_invariants.h.

#ifndef OSTREL_FUZZ_ANY_VALUE_H
#define OSTREL_FUZZ_ANY_VALUE_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bounds.h"
#include "support/own_value_invariants.h"
#include "support/value_invariants.h"

namespace ostrel::fuzz {

// Aborts when reading these bytes takes more memory than such an input may.
inline void checkMemory(const std::string& bytes) {
  {
    const ::fuzz::MemoryBound bound(bytes.size());
    const ostrel::test::Arrival value(bytes);
  }
  const ::fuzz::MemoryBound nothing(0, 0);
  ostrel::walkValue(bytes.data(), static_cast<unsigned>(bytes.size()));
}

inline void failIf(const char* broken) {
  if (broken == nullptr) return;
  std::fprintf(stderr, "broken: %s\n", broken);
  std::abort();
}

// Aborts when an invariant of these bytes is broken.
inline void checkValue(const std::string& bytes) {
  const ::fuzz::TimeBound time(bytes.size());
  checkMemory(bytes);
  failIf(ostrel::test::brokenInvariant(bytes));
}

// The same for the values that own themselves.
inline void checkOwnValue(const std::string& bytes) {
  const ::fuzz::TimeBound time(bytes.size());
  {
    const ::fuzz::MemoryBound bound(bytes.size());
    static_cast<void>(ostrel::Value::decode(bytes));
    static_cast<void>(ostrel::Attributes::decode(bytes));
    static_cast<void>(ostrel::Object::decode(bytes));
  }
  failIf(ostrel::test::brokenOwnInvariant(bytes));
}

// Gives bytes that do not begin with a tag from `first` to `last` one of them,
// so that no input is spent on another class.
inline std::string withTagBetween(unsigned first, unsigned last,
                                  std::string bytes) {
  if (bytes.empty()) return bytes;
  const unsigned tag = static_cast<unsigned char>(bytes[0]);
  if (tag < first || tag > last)
    bytes[0] = static_cast<char>(first + tag % (last - first + 1));
  return bytes;
}

}  // namespace ostrel::fuzz

#endif  // OSTREL_FUZZ_ANY_VALUE_H
