#include "client/engine/timer_wheel.h"

#include <algorithm>

namespace ostrel {
namespace {

std::int64_t tickOf(Moment due) {
  if (due <= 0) return 0;
  return due / kMillisecond + (due % kMillisecond != 0 ? 1 : 0);
}

// How far from one bit to the next one that is set, all the way round.
unsigned distance(std::uint64_t bits, unsigned from) {
  const std::uint64_t turned =
      from == 0 ? bits : bits >> from | bits << (64 - from);
  return static_cast<unsigned>(__builtin_ctzll(turned));
}

}  // namespace

TimerWheel::TimerWheel(Moment now) : tick_(now / kMillisecond) {}

void TimerWheel::set(Timer* timer, Moment due) {
  clear(timer);
  constexpr std::int64_t kFarthest = std::int64_t{1} << (kBits * kWheels - 1);
  timer->tick = std::min(std::max(tickOf(due), tick_), tick_ + kFarthest);
  place(timer);
}

void TimerWheel::place(Timer* timer) {
  // The highest digit in which the two times differ names the wheel: what is in
  // a wheel is in the same turn of the next one as the present.
  const auto different = static_cast<std::uint64_t>(timer->tick ^ tick_);
  unsigned wheel = 0;
  if (different >= kSlots)
    wheel = (63 - static_cast<unsigned>(__builtin_clzll(different))) / kBits;
  wheel = std::min(wheel, kWheels - 1);
  const auto slot =
      static_cast<unsigned>(timer->tick >> (kBits * wheel)) & (kSlots - 1);
  timer->slot = static_cast<std::int16_t>(wheel * kSlots + slot);
  slots_[timer->slot].append(timer);
  used_[wheel] |= std::uint64_t{1} << slot;
}

void TimerWheel::clear(Timer* timer) {
  if (!timer->isSet()) return;
  Slot& slot = slots_[timer->slot];
  slot.remove(timer);
  if (slot.empty()) {
    const auto at = static_cast<unsigned>(timer->slot);
    used_[at / kSlots] &= ~(std::uint64_t{1} << at % kSlots);
  }
  timer->slot = -1;
}

// The millisecond in which a slot comes up next that has timers: those in
// higher wheels may be due later.
std::int64_t TimerWheel::nextTick() const {
  std::int64_t first = INT64_MAX;
  for (unsigned wheel = 0; wheel < kWheels; ++wheel) {
    if (used_[wheel] == 0) continue;
    const unsigned shift = kBits * wheel;
    const std::int64_t turn = tick_ >> shift;
    const auto at = static_cast<unsigned>(turn) & (kSlots - 1);
    const std::int64_t up = (turn + distance(used_[wheel], at)) << shift;
    first = std::min(first, std::max(up, tick_));
  }
  return first;
}

Moment TimerWheel::next() const {
  const std::int64_t tick = nextTick();
  return tick == INT64_MAX ? kNever : tick * kMillisecond;
}

// Spreads the timers of the higher slots that the present is in. They have
// those digits of the time in common with it, so they land in lower wheels.
void TimerWheel::moveDown() {
  for (unsigned wheel = kWheels - 1; wheel > 0; --wheel) {
    const auto at =
        static_cast<unsigned>(tick_ >> (kBits * wheel)) & (kSlots - 1);
    if ((used_[wheel] >> at & 1) == 0) continue;
    Slot& slot = slots_[wheel * kSlots + at];
    while (Timer* timer = slot.first()) {
      clear(timer);
      place(timer);
    }
  }
}

Timer* TimerWheel::takeDue(Moment now) {
  const std::int64_t until = now / kMillisecond;
  for (;;) {
    if (tick_ > until) return nullptr;
    moveDown();
    Timer* timer = slots_[static_cast<unsigned>(tick_) & (kSlots - 1)].first();
    if (timer != nullptr) {
      clear(timer);
      return timer;
    }
    const std::int64_t next = nextTick();
    if (next > until) {
      tick_ = until;
      return nullptr;
    }
    tick_ = next;
  }
}

}  // namespace ostrel
