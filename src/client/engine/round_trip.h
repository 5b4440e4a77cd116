// What is known about how long a server takes to answer, by the formulas of RFC
// 6298. Only answers that can belong to one transmission alone are measured
// (Karn's rule).

#ifndef OSTREL_SRC_ROUND_TRIP_H
#define OSTREL_SRC_ROUND_TRIP_H

#include <algorithm>
#include <cstdint>

#include "client/engine/timer_wheel.h"

namespace ostrel {

class RoundTrip {
 public:
  bool isKnown() const { return smoothed_ >= 0; }

  // An answer came so long after the only transmission of its request. Ends the
  // back-off.
  void measured(Moment time) {
    if (!isKnown()) {
      smoothed_ = time;
      variation_ = time / 2;
    } else {
      const Moment off = time > smoothed_ ? time - smoothed_ : smoothed_ - time;
      variation_ += (off - variation_) / 4;
      smoothed_ += (time - smoothed_) / 8;
    }
    backOff_ = 0;
  }

  // When an answer has to be expected at the latest.
  Moment expected() const {
    return smoothed_ + std::max(4 * variation_, kMillisecond);
  }

  // The first wait of a request: the time-out, doubled for each time that a
  // request waited in vain since the last measurement.
  Moment firstWait(Moment floor, Moment most) const {
    Moment wait = std::max(expected(), floor);
    for (unsigned i = 0; i < backOff_ && wait < most; ++i) wait *= 2;
    return std::min(wait, std::max(most, expected()));
  }

  // A request has waited in vain so many times, counted from an estimate
  // without back-off.
  void backedOff(unsigned times) {
    backOff_ = std::max(backOff_, std::min(times, kMostBackOff));
  }
  unsigned backOff() const { return backOff_; }

 private:
  static constexpr unsigned kMostBackOff = 16;

  Moment smoothed_ = -1;
  Moment variation_ = 0;
  unsigned backOff_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_ROUND_TRIP_H
