#include "pool.h"

namespace ostrel {

thread_local Pool::Free Pool::free_ = {};

void* Pool::refill(std::size_t size) {
#if !defined(OSTREL_POOL_OFF)
  // A block that will serve every size of its list.
  if (slotOf(size) < kSlots) size = (slotOf(size) + 1) * kGrain;
#endif
  return ::operator new(size);
}

void Pool::overflow(void* memory, std::size_t size) noexcept {
  const std::size_t slot = slotOf(size);
#if !defined(OSTREL_POOL_OFF)
  if (!free_.open) open();
#endif
  if (memory == nullptr) return;
  const bool first =
      free_.open && slot < kSlots && free_.blocks[slot] == nullptr;
  if (!first) {
    ::operator delete(memory);
    return;
  }
  free_.blocks[slot] = new (memory) Block{nullptr, 1};
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
}

Pool::Closer::~Closer() {
  free_.open = false;
  for (std::size_t slot = 0; slot < kSlots; slot++) {
    while (Block* block = free_.blocks[slot]) {
      free_.blocks[slot] = block->next;
      ::operator delete(block);
    }
  }
}

}  // namespace ostrel
