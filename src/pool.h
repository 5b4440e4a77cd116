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
 public:
  // A block of at least `size` bytes.
  static void* allocate(std::size_t size) {
    const std::size_t slot = slotOf(size);
    if (slot >= kSlots || free_.blocks[slot] == nullptr) return refill(size);
    Block* block = free_.blocks[slot];
    free_.blocks[slot] = block->next;
    free_.room[slot]++;
    return block;
  }

  // Takes back a block that allocate() gave for the same size, by any thread.
  static void release(void* memory, std::size_t size) noexcept {
    const std::size_t slot = slotOf(size);
    if (slot >= kSlots || free_.room[slot] == 0 || memory == nullptr) {
      overflow(memory, size);
      return;
    }
    keep(memory, slot);
  }

 private:
  struct Block {
    Block* next;
  };

  // Sizes that differ by less than this share a list.
  static constexpr std::size_t kGrain = 16;
  static constexpr std::size_t kSlots = 17;  // blocks of up to 256 bytes
  static constexpr unsigned kKept = 2048;    // free blocks of one size

  struct Free {
    Block* blocks[kSlots];
    unsigned room[kSlots];  // how many more may be kept
    bool open;              // false before the first use and after the last
  };

  static std::size_t slotOf(std::size_t size) {
    return (size + kGrain - 1) / kGrain;
  }
  static void keep(void* memory, std::size_t slot) noexcept {
    Block* block = static_cast<Block*>(memory);
    block->next = free_.blocks[slot];
    free_.blocks[slot] = block;
    free_.room[slot]--;
  }
  static void* refill(std::size_t size);
  static void overflow(void* memory, std::size_t size) noexcept;
  static void open() noexcept;

  struct Closer {
    ~Closer();
  };

  static thread_local Free free_
#if defined(__ELF__)
      __attribute__((tls_model("initial-exec")))
#endif
      ;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_POOL_H
