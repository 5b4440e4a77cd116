#include "support/keyed_hash.h"

#include <cstddef>
#include <random>

namespace ostrel::tools::server {
namespace {

constexpr std::size_t kWordBytes = 8;
constexpr unsigned kBitsInByte = 8;

constexpr std::uint64_t rotated(std::uint64_t word, unsigned bits) {
  return word << bits | word >> (64 - bits);
}

struct State {
  // The numbers of the algorithm's definition.
  explicit State(const HashKey& key)
      : a(key[0] ^ 0x736f6d6570736575U),
        b(key[1] ^ 0x646f72616e646f6dU),
        c(key[0] ^ 0x6c7967656e657261U),
        d(key[1] ^ 0x7465646279746573U) {}

  void round() {
    a += b;
    b = rotated(b, 13) ^ a;
    a = rotated(a, 32);
    c += d;
    d = rotated(d, 16) ^ c;
    a += d;
    d = rotated(d, 21) ^ a;
    c += b;
    b = rotated(b, 17) ^ c;
    c = rotated(c, 32);
  }

  void take(std::uint64_t word) {
    d ^= word;
    round();
    round();
    a ^= word;
  }

  std::uint64_t finish() {
    c ^= 0xFF;
    for (int i = 0; i < 4; ++i) round();
    return a ^ b ^ c ^ d;
  }

  std::uint64_t a, b, c, d;
};

// Bytes as a number, the first the least.
std::uint64_t wordOf(std::string_view bytes) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    word |= std::uint64_t{static_cast<unsigned char>(bytes[i])}
            << (i * kBitsInByte);
  return word;
}

}  // namespace

HashKey randomHashKey() {
  std::random_device random;
  const auto word = [&] {
    const std::uint64_t high = random();
    return high << 32 | random();
  };
  return {word(), word()};
}

std::uint64_t keyedHash(const HashKey& key, std::string_view bytes) {
  State state(key);
  const std::uint64_t length = bytes.size();
  for (; bytes.size() >= kWordBytes; bytes.remove_prefix(kWordBytes))
    state.take(wordOf(bytes.substr(0, kWordBytes)));
  state.take(length << 56 | wordOf(bytes));
  return state.finish();
}

}  // namespace ostrel::tools::server
