#include "pool.h"

#include <algorithm>

namespace ostrel {

Pool::Block Pool::open_ = {nullptr, kKept};
Pool::Block Pool::closed_ = {nullptr, 0};

thread_local Pool::Free Pool::free_ = {
    {&closed_, &closed_, &closed_, &closed_, &closed_, &closed_, &closed_,
     &closed_, &closed_, &closed_, &closed_, &closed_, &closed_, &closed_,
     &closed_, &closed_, &closed_}};

void* Pool::refill(std::size_t size) {
#if !defined(OSTREL_POOL_OFF)
  // A block that will serve every size of its list.
  if (size <= kLargest)
    size = std::max(sizeof(Block), (slotOf(size) + 1) * kGrain - kWord);
#endif
  return ::operator new(size);
}

void Pool::overflow(void* memory, std::size_t size) noexcept {
  static_cast<void>(size);
#if !defined(OSTREL_POOL_OFF)
  openLists();
#endif
  ::operator delete(memory);
}

// The first block that a thread gives back opens its lists. The closer empties
// them at the thread's end; what comes later goes to the allocator.
void Pool::openLists() noexcept {
  static thread_local bool opened = false;
  if (opened) return;
  opened = true;
  static thread_local Closer closer;
  static_cast<void>(closer);
  for (Block*& top : free_.top) top = &open_;
}

Pool::Closer::~Closer() {
  for (Block*& top : free_.top) {
    while (top->next != nullptr) {
      Block* block = top;
      top = block->next;
      ::operator delete(block);
    }
    top = &closed_;
  }
}

}  // namespace ostrel
