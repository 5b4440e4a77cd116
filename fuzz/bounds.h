// What an input may cost: memory and time in proportion to its bytes. A fuzzer
// ends with a message when one costs more.
//
// Memory is counted where a checker sees every allocation, that is in the
// builds with address checks; elsewhere only time is bounded.

#ifndef OSTREL_FUZZ_BOUNDS_H
#define OSTREL_FUZZ_BOUNDS_H

#include <ostrel/datagram.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#if defined(__SANITIZE_ADDRESS__)
#define OSTREL_FUZZ_COUNTS_MEMORY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OSTREL_FUZZ_COUNTS_MEMORY 1
#endif
#endif
#ifdef OSTREL_FUZZ_COUNTS_MEMORY
// The address checker's own, of which not every compiler has the header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*allocated)(const volatile void*, std::size_t),
    void (*freed)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(
    const volatile void* block);
#endif

namespace fuzz {

// Bytes held at a time for each byte of input, and whatever the input is.
constexpr std::size_t kMemoryForEach = 64;
constexpr std::size_t kMemoryForAny = 4096;

// Where the input is a script: the bytes are those that its datagrams have, the
// script itself has a few of its own, and one fragment takes the room of its
// message, within the bounds on those.
constexpr std::size_t kMemoryForScript =
    veskDatagramHandler::kMaxPartialBytes + (1 << 20);

// Processor time for each byte of input, and whatever the input is, in
// microseconds. All checks of the fuzzer and of its build are included.
constexpr double kTimeForEach = 64;
constexpr double kTimeForAny = 1000000;

// What the program has allocated since a MemoryBound began.
struct Memory {
  static inline thread_local bool counted = false;
  static inline thread_local std::ptrdiff_t held = 0;
  static inline thread_local std::ptrdiff_t most = 0;

  static void allocated(const volatile void*, std::size_t size) {
    if (!counted) return;
    held += static_cast<std::ptrdiff_t>(size);
    most = std::max(most, held);
  }
#ifdef OSTREL_FUZZ_COUNTS_MEMORY
  static void freed(const volatile void* block) {
    if (!counted || block == nullptr) return;
    held -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(block));
  }
  static void watch() {
    static const int installed =
        __sanitizer_install_malloc_and_free_hooks(allocated, freed);
    if (installed != 0) return;
    std::fprintf(stderr, "broken: allocations cannot be counted\n");
    std::abort();
  }
#else
  static void watch() {}
#endif
};

// From here to the end of the scope no more memory is held than an input of so
// many bytes may take, and `more` for what does not depend on it.
class MemoryBound {
 public:
  explicit MemoryBound(std::size_t bytes, std::size_t more = kMemoryForAny)
      : bytes_(bytes), more_(more) {
    Memory::watch();
    Memory::held = Memory::most = 0;
    Memory::counted = true;
  }
  ~MemoryBound() {
    Memory::counted = false;
    const auto most = static_cast<std::size_t>(Memory::most);
    if (most <= kMemoryForEach * bytes_ + more_) return;
    std::fprintf(stderr, "broken: %zu bytes of input take %zu of memory\n",
                 bytes_, most);
    std::abort();
  }
  MemoryBound(const MemoryBound&) = delete;
  MemoryBound& operator=(const MemoryBound&) = delete;

  // So many bytes more have come in.
  void arrived(std::size_t bytes) { bytes_ += bytes; }

 private:
  std::size_t bytes_;
  std::size_t more_;
};

// The same for processor time.
class TimeBound {
 public:
  explicit TimeBound(std::size_t bytes) : bytes_(bytes), begin_(now()) {}
  ~TimeBound() {
    const double took = now() - begin_;
    if (took <= kTimeForEach * static_cast<double>(bytes_) + kTimeForAny)
      return;
    std::fprintf(stderr, "broken: %zu bytes of input take %.0f ms\n", bytes_,
                 took / 1000);
    std::abort();
  }
  TimeBound(const TimeBound&) = delete;
  TimeBound& operator=(const TimeBound&) = delete;

 private:
  static double now() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e6 * static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_nsec) / 1e3;
  }

  std::size_t bytes_;
  double begin_;
};

}  // namespace fuzz

#endif  // OSTREL_FUZZ_BOUNDS_H
