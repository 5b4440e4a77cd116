#include "pool.h"

namespace ostrel {

thread_local Pool::Free Pool::free_ = {};

void* Pool::refill(std::size_t size) {
  const std::size_t slot = slotOf(size);
  // Full blocks of a list's size, so that any size of that list fits.
  return ::operator new(slot < kSlots ? slot * kGrain : size);
}

void Pool::overflow(void* memory, std::size_t size) noexcept {
  const std::size_t slot = slotOf(size);
#if !defined(OSTREL_POOL_OFF)
  if (!free_.open) open();
#endif
  if (memory == nullptr) return;
  if (slot >= kSlots || free_.room[slot] == 0) {
    ::operator delete(memory);
    return;
  }
  keep(memory, slot);
}

// The first block that a thread gives back opens its lists. The closer frees
// them at the thread's end; what comes later still goes to the allocator.
void Pool::open() noexcept {
  static thread_local bool opened = false;
  if (opened) return;
  opened = true;
  static thread_local Closer closer;
  static_cast<void>(closer);
  free_.open = true;
  for (std::size_t slot = 1; slot < kSlots; slot++) free_.room[slot] = kKept;
}

Pool::Closer::~Closer() {
  free_.open = false;
  for (std::size_t slot = 0; slot < kSlots; slot++) {
    free_.room[slot] = 0;
    while (Block* block = free_.blocks[slot]) {
      free_.blocks[slot] = block->next;
      ::operator delete(block);
    }
  }
}

}  // namespace ostrel
