#include "net/rate_limit.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace ostrel::tools::server {
namespace {

using Part =
    std::chrono::duration<std::int64_t, std::ratio<1, RateLimit::kParts>>;
constexpr std::size_t kSlots = std::size_t{1} << RateLimit::kSlotBits;

}  // namespace

void RateLimit::Free::operator()(Slot* slots) const { std::free(slots); }

RateLimit::RateLimit(std::uint32_t perSecond, std::uint64_t seed)
    : perSecond_(perSecond),
      limit_(std::min<std::uint64_t>(std::uint64_t{perSecond} * kKept / kParts,
                                     UINT32_MAX)) {
  constexpr unsigned kHalf = 32;
  // Odd, and so spread that nearby seeds differ.
  factor_ = (seed << kHalf ^ seed * 0x9E3779B97F4A7C15U) | 1U;
  if (limit_ == 0) return;
  slots_.reset(static_cast<Slot*>(std::calloc(kSlots, sizeof(Slot))));
  if (slots_ == nullptr) throw std::bad_alloc();
}

RateLimit::Slot& RateLimit::slotOf(in_addr address, Time now) {
  constexpr unsigned kBits = 64;
  const std::uint64_t hash = address.s_addr * factor_;
  Slot& slot = slots_.get()[hash >> (kBits - kSlotBits)];
  advance(&slot, std::chrono::floor<Part>(now.time_since_epoch()).count());
  return slot;
}

// Forgets what is older than a second, and counts as used what was owed and has
// room now.
void RateLimit::advance(Slot* slot, std::int64_t part) const {
  if (part <= slot->part) return;
  const std::int64_t passed = part - slot->part;
  for (std::int64_t i = 1; i <= std::min<std::int64_t>(passed, kKept); ++i) {
    auto& oldest = slot->used[static_cast<std::size_t>(slot->part + i) % kKept];
    slot->sum -= oldest;
    oldest = 0;
  }
  slot->part = part;
  if (slot->owed == 0) return;
  const std::uint64_t idle =
      passed <= kKept ? 0 : static_cast<std::uint64_t>(passed - kKept);
  const bool paidOff = idle >= slot->owed * kKept / limit_;
  slot->owed = paidOff ? 0 : slot->owed - idle * limit_ / kKept;
  use(slot, std::exchange(slot->owed, 0));
}

// What has no room is owed.
void RateLimit::use(Slot* slot, std::uint64_t cost) const {
  const std::uint64_t paid = std::min(limit_ - slot->sum, cost);
  slot->used[static_cast<std::size_t>(slot->part) % kKept] +=
      static_cast<std::uint32_t>(paid);
  slot->sum += paid;
  slot->owed += cost - paid;
}

bool RateLimit::hasRoom(in_addr address, Time now, std::uint64_t cost) {
  if (limit_ == 0) return true;
  const Slot& slot = slotOf(address, now);
  return slot.owed == 0 && slot.sum + std::min(cost, limit_) <= limit_;
}

void RateLimit::spend(in_addr address, Time now, std::uint64_t cost) {
  if (limit_ == 0 || cost == 0) return;
  use(&slotOf(address, now), cost);
}

bool RateLimit::allows(in_addr address, Time now, std::uint64_t cost) {
  if (!hasRoom(address, now, cost)) return false;
  spend(address, now, cost);
  return true;
}

}  // namespace ostrel::tools::server
