// Timers by the thousand: setting one, moving one and taking one out cost the
// same however many there are. Times are kept to the millisecond, rounded up.
//
// Six wheels of 64 slots. A slot of the first is one millisecond; a slot of
// each other is one turn of the wheel before. When a slot of a higher wheel
// comes up, its timers move down. So each timer moves at most five times.

#ifndef OSTREL_SRC_TIMER_WHEEL_H
#define OSTREL_SRC_TIMER_WHEEL_H

#include <cstdint>

#include "client/engine/linked_list.h"

namespace ostrel {

// Microseconds of a clock that is never set.
using Moment = std::int64_t;
constexpr Moment kMillisecond = 1000;
constexpr Moment kSecond = 1000 * kMillisecond;
constexpr Moment kNever = INT64_MAX;

struct Timer {
  Links<Timer> links;
  std::int64_t tick = 0;   // millisecond in which it is due
  std::int16_t slot = -1;  // -1: not set
  bool isSet() const { return slot >= 0; }
};

class TimerWheel {
 public:
  explicit TimerWheel(Moment now);
  TimerWheel(const TimerWheel&) = delete;
  TimerWheel& operator=(const TimerWheel&) = delete;

  // Sets a timer, or sets it anew.
  void set(Timer* timer, Moment due);
  void clear(Timer* timer);

  // The next timer that is due by `now`, taken out; null when there is none.
  // Not in order within a millisecond.
  Timer* takeDue(Moment now);

  // A moment that is not later than when the next timer is due, and later than
  // the time up to which takeDue() found none. kNever when none is set.
  Moment next() const;

 private:
  static constexpr unsigned kBits = 6;
  static constexpr unsigned kSlots = 1U << kBits;
  static constexpr unsigned kWheels = 6;
  using Slot = LinkedList<Timer, &Timer::links>;

  void place(Timer* timer);
  void moveDown();
  std::int64_t nextTick() const;

  std::int64_t tick_;  // all timers due before this have been taken
  std::uint64_t used_[kWheels] = {};  // a bit for each slot that has timers
  Slot slots_[kWheels * kSlots];
};

}  // namespace ostrel

#endif  // OSTREL_SRC_TIMER_WHEEL_H
