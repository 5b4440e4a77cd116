// Arithmetic on seconds that a program or a peer may have made very large.
// Sums and differences stay at the ends of the range instead of overflowing.

#ifndef OSTREL_SRC_SECONDS_H
#define OSTREL_SRC_SECONDS_H

#include <limits>

namespace ostrel {

inline long addSeconds(long a, long b) {
  using Limits = std::numeric_limits<long>;
  if (b > 0 && a > Limits::max() - b) return Limits::max();
  if (b < 0 && a < Limits::min() - b) return Limits::min();
  return a + b;
}

inline long subtractSeconds(long a, long b) {
  using Limits = std::numeric_limits<long>;
  if (b < 0 && a > Limits::max() + b) return Limits::max();
  if (b > 0 && a < Limits::min() + b) return Limits::min();
  return a - b;
}

// From one reading of the clock to a later one, also where a 32-bit clock has
// wrapped around in between.
inline long secondsBetween(long earlier, long later) {
  return static_cast<long>(static_cast<unsigned long>(later) -
                           static_cast<unsigned long>(earlier));
}

}  // namespace ostrel

#endif  // OSTREL_SRC_SECONDS_H
