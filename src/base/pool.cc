#include "base/pool.h"

namespace ostrel {

Pool::Lists Pool::unopened_ = {};
Pool::Lists Pool::ended_ = {};

__thread Pool::Lists* Pool::mine_ = &Pool::unopened_;

void* Pool::refill(std::size_t size) {
#if !defined(OSTREL_POOL_OFF)
  // Large enough for every size of its list.
  if (size <= kLargest) size = bytesOf(slotOf(size)) - kWord;
#endif
  return ::operator new(size);
}

void Pool::overflow(void* memory) noexcept {
#if !defined(OSTREL_POOL_OFF)
  if (mine_ == &unopened_) openLists();
#endif
  ::operator delete(memory);
}

// The first block that a thread gives back opens its lists. The closer empties
// them at the thread's end. Blocks that are released later go to the allocator.
void Pool::openLists() noexcept {
  auto* lists = new (std::nothrow) Lists();
  if (lists == nullptr) return;
  static thread_local Closer closer;
  static_cast<void>(closer);
  lists->room_ = kMostKept;
  mine_ = lists;
}

Pool::Closer::~Closer() {
  Lists* const lists = mine_;
  mine_ = &ended_;
  for (Lists::Block* block : lists->top_) {
    while (block != nullptr) {
      Lists::Block* const next = block->next;
      ::operator delete(block);
      block = next;
    }
  }
  delete lists;
}

}  // namespace ostrel
