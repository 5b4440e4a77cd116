// A fuzzer's input as a script: numbers and byte strings are read off its
// front, and what is missing at its end reads as zeros.

#ifndef OSTREL_FUZZ_SCRIPT_H
#define OSTREL_FUZZ_SCRIPT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

class Script {
 public:
  Script(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  bool done() const { return left_ == 0; }

  // A number of so many bytes, the most significant first.
  std::uint32_t number(int width) {
    std::uint32_t value = 0;
    for (; width > 0; --width) value = value << 8 | byte();
    return value;
  }

  // So many bytes, or those that are left.
  std::string bytes(std::size_t count) {
    count = std::min(count, left_);
    const std::string result(at_, at_ + count);
    at_ += count;
    left_ -= count;
    return result;
  }

 private:
  std::uint8_t byte() {
    if (left_ == 0) return 0;
    left_--;
    return *at_++;
  }

  const std::uint8_t* at_;
  std::size_t left_;
};

// Ends the run when an invariant does not hold.
inline void require(bool holds, const char* invariant) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", invariant);
  std::abort();
}

}  // namespace fuzz

#endif  // OSTREL_FUZZ_SCRIPT_H
