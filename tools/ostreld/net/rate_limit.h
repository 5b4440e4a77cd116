// How much an address may cost in a second: requests, datagrams or bytes. A
// sender's address may be forged, and whoever it belongs to is to be spared.
//
// Addresses are counted in a fixed number of slots, chosen by a hash that
// nobody outside can foresee. So memory is bounded, each question costs the
// same, and there is nothing that other senders could push out: however many
// addresses are forged, what one address has used stays counted. The price is
// that a few addresses share a slot, and share what it allows; that shows only
// when they use it up together.

#ifndef OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H
#define OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H

#include <netinet/in.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>

namespace ostrel::tools::server {

class RateLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr unsigned kSlotBits = 14;

  // A second is counted in parts. One more is kept, since the first and the
  // last are seldom whole; the limit grows by its share, so that whoever sends
  // evenly gets all of the rate. In no second is it exceeded by more than that.
  static constexpr unsigned kParts = 16;

  // So much in a second, and as much at once; 0 is no limit.
  explicit RateLimit(std::uint32_t perSecond,
                     std::uint64_t seed = std::random_device()());

  std::uint32_t perSecond() const { return perSecond_; }

  // Whether there is room for so much. What is more than the whole limit has
  // room where nothing else was used, and is paid off later.
  bool hasRoom(in_addr address, Time now, std::uint64_t cost);

  // Counts it, room or not: what is beyond the limit is owed.
  void spend(in_addr address, Time now, std::uint64_t cost);

  // Both: spends it if there is room, and returns whether there was.
  bool allows(in_addr address, Time now, std::uint64_t cost = 1);

 private:
  static constexpr unsigned kKept = kParts + 1;

  // One that is all zeros has not been used.
  struct Slot {
    std::int64_t part;  // the last that was counted in
    std::uint64_t owed;
    std::uint64_t sum;  // of what was used
    std::array<std::uint32_t, kKept> used;
  };

  // Only slots that are used take memory.
  struct Free {
    void operator()(Slot* slots) const;
  };

  Slot& slotOf(in_addr address, Time now);
  void advance(Slot* slot, std::int64_t part) const;
  void use(Slot* slot, std::uint64_t cost) const;

  std::uint32_t perSecond_;
  std::uint64_t limit_;  // in kKept parts
  std::uint64_t factor_;
  std::unique_ptr<Slot, Free> slots_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_RATE_LIMIT_H
