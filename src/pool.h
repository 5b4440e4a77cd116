// Memory for values, list nodes and short texts: for each thread one list of
// free blocks for each size, so that decoding an answer and freeing it again
// hardly ever reaches the allocator.
//
// Each block is allocated by itself with plain operator new, so whoever frees
// one with plain operator delete is right as well. Sanitizers see every
// allocation: under them nothing is kept.

#ifndef OSTREL_SRC_POOL_H
#define OSTREL_SRC_POOL_H

#include <cstddef>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define OSTREL_POOL_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define OSTREL_POOL_OFF 1
#endif
#endif

namespace ostrel {

class Pool {
  // An allocator keeps a word with each block and rounds the sum: these are the
  // sizes that waste nothing then. Sizes that round up to the same one share a
  // list.
  static constexpr std::size_t kWord = sizeof(std::size_t);
  static constexpr std::size_t kGrain = 16;
  static constexpr std::size_t kSlots = 17;
  static constexpr std::size_t kKept = 1024;  // blocks kept on one list

 public:
  // Larger blocks are never kept.
  static constexpr std::size_t kLargest = kSlots * kGrain - kWord;

  // A block of at least `size` bytes.
  static void* allocate(std::size_t size) {
    void* block = size <= kLargest ? takeKept(size) : nullptr;
    return block != nullptr ? block : refill(size);
  }

  // The same for sizes up to kLargest, but null when no block is kept.
  static void* takeKept(std::size_t size) noexcept {
    Block*& top = free_.top[slotOf(size)];
    Block* block = top;
    if (block->next == nullptr) return nullptr;
    top = block->next;
    return block;
  }

  // Takes back a block that allocate() gave for the same size, by any thread.
  static void release(void* memory, std::size_t size) noexcept {
    if (size > kLargest) return overflow(memory, size);
    const std::size_t slot = slotOf(size);
    Block* top = free_.top[slot];
    std::size_t room;
    if (__builtin_sub_overflow(top->room, 1, &room))
      return overflow(memory, size);
    free_.top[slot] = new (memory) Block{top, room};
  }

 private:
  struct Block {
    Block* next;       // null: no block but the end of a list
    std::size_t room;  // how many more blocks the list takes on top of this one
  };

  struct Free {
    Block* top[kSlots];
  };

  static std::size_t slotOf(std::size_t size) {
    return (size + kWord - 1) / kGrain;
  }

  // The ways to and from the allocator, kept out of line for the others' sake.
  [[gnu::noinline, gnu::cold]] static void* refill(std::size_t size);
  [[gnu::noinline, gnu::cold]] static void overflow(void* memory,
                                                    std::size_t size) noexcept;
  static void openLists() noexcept;

  struct Closer {
    ~Closer();
  };

  // What a list ends in: one that takes blocks, and one that is full from the
  // first, before a thread's first block and after its end.
  static Block open_;
  static Block closed_;
  static thread_local Free free_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_POOL_H
