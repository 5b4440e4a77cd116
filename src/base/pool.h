// Memory for values, list nodes and short texts: for each thread one list of
// free blocks for each size, so that decoding an answer and freeing it again
// hardly ever reaches the allocator.
//
// Each block is allocated by itself with plain operator new, so plain operator
// delete may free one too. Sanitizers see every allocation: under them nothing
// is kept.

#ifndef OSTREL_SRC_POOL_H
#define OSTREL_SRC_POOL_H

#include <cstddef>
#include <cstdint>
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
  // An allocator adds a word to each block and rounds the sum up. These sizes
  // waste nothing then. Sizes that round up to the same one share a list.
  static constexpr std::size_t kWord = sizeof(std::size_t);
  static constexpr std::size_t kGrain = 16;
  static constexpr std::size_t kSlots = 17;
  static constexpr std::size_t slotOf(std::size_t size) {
    return (size + kWord - 1) / kGrain;
  }
  static constexpr std::size_t bytesOf(std::size_t slot) {
    return (slot + 1) * kGrain;
  }

 public:
  // Larger blocks are never kept.
  static constexpr std::size_t kLargest = kSlots * kGrain - kWord;

  // How much a thread keeps at most: enough for an answer of some 3000
  // attributes.
  static constexpr std::size_t kMostKept = 512 * 1024;

  // Which list has the blocks for a size, and what each of them takes.
  struct Place {
    constexpr Place() = default;
    constexpr explicit Place(std::size_t size)
        : slot(static_cast<std::uint16_t>(slotOf(size))),
          bytes(static_cast<std::uint16_t>(bytesOf(slotOf(size)))) {}
    std::uint16_t slot = 0;
    std::uint16_t bytes = 0;
  };

  // The free blocks of one thread. Code that allocates and frees many blocks in
  // a row asks for this once.
  class Lists {
   public:
    // A block of at least `size` bytes.
    [[gnu::always_inline]] void* allocate(std::size_t size) {
      void* block = size <= kLargest ? takeKept(size) : nullptr;
      return block != nullptr ? block : refill(size);
    }

    // The same for sizes up to kLargest, but null when no block is kept.
    [[gnu::always_inline]] void* takeKept(std::size_t size) noexcept {
      const std::size_t slot = slotOf(size);
      Block* block = top_[slot];
      if (block == nullptr) return nullptr;
      top_[slot] = block->next;
      room_ += bytesOf(slot);
      return block;
    }

    // Takes back a block that allocate() gave for the same size, by any thread.
    [[gnu::always_inline]] void release(void* memory,
                                        std::size_t size) noexcept {
      if (size > kLargest) return overflow(memory);
      put(memory, slotOf(size), bytesOf(slotOf(size)));
    }

    // The same for a size up to kLargest whose place is known.
    [[gnu::always_inline]] void releaseTo(Place place, void* memory) noexcept {
      put(memory, place.slot, place.bytes);
    }

   private:
    friend class Pool;
    struct Block {
      Block* next;
    };
    [[gnu::always_inline]] void put(void* memory, std::size_t slot,
                                    std::size_t bytes) noexcept {
      std::size_t room;
      if (__builtin_sub_overflow(room_, bytes, &room)) return overflow(memory);
      room_ = room;
      top_[slot] = new (memory) Block{top_[slot]};
    }

    Block* top_[kSlots];
    std::size_t room_;  // bytes that may still be kept
  };

  // The calling thread's.
  static Lists& mine() noexcept { return *mine_; }

  static void* allocate(std::size_t size) { return mine().allocate(size); }
  static void* takeKept(std::size_t size) noexcept {
    return mine().takeKept(size);
  }
  static void release(void* memory, std::size_t size) noexcept {
    mine().release(memory, size);
  }

 private:
  // Calls of the allocator. They are out of line, so that the common path stays
  // short.
  [[gnu::noinline, gnu::cold]] static void* refill(std::size_t size);
  [[gnu::noinline, gnu::cold]] static void overflow(void* memory) noexcept;
  static void openLists() noexcept;

  struct Closer {
    ~Closer();
  };

  // A thread's lists, or one of two that keep nothing: before the first block
  // that the thread gives back, and after its end.
  //
  // One word for each thread, which is read without a call. (`__thread`:
  // reading a thread_local of another file calls a function, because it may
  // have to be constructed first.)
  [[gnu::tls_model("initial-exec")]] static __thread Lists* mine_;
  static Lists unopened_;
  static Lists ended_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_POOL_H
