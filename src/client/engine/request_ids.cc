#include "client/engine/request_ids.h"

namespace ostrel {
namespace {

constexpr unsigned kRounds = 4;  // of the permutation
constexpr unsigned kHalf = 16;   // bits
constexpr std::uint64_t kLengthMark = std::uint64_t{8} << 56;

// Numbers for message ids are hashes of these and a count, which no half of a
// request id can be.
constexpr std::uint64_t kMessages = std::uint64_t{1} << 63;
constexpr unsigned kMessagesInHash = 4;

std::uint64_t rotated(std::uint64_t word, unsigned bits) {
  return word << bits | word >> (64 - bits);
}

void mix(std::uint64_t& v0, std::uint64_t& v1, std::uint64_t& v2,
         std::uint64_t& v3) {
  v0 += v1;
  v1 = rotated(v1, 13) ^ v0;
  v0 = rotated(v0, 32);
  v2 += v3;
  v3 = rotated(v3, 16) ^ v2;
  v0 += v3;
  v3 = rotated(v3, 21) ^ v0;
  v2 += v1;
  v1 = rotated(v1, 17) ^ v2;
  v2 = rotated(v2, 32);
}

}  // namespace

KeyedHash::KeyedHash(std::uint64_t first, std::uint64_t second)
    : v0_(first ^ 0x736f6d6570736575),
      v1_(second ^ 0x646f72616e646f6d),
      v2_(first ^ 0x6c7967656e657261),
      v3_(second ^ 0x7465646279746573) {}

std::uint64_t KeyedHash::operator()(std::uint64_t number) const {
  std::uint64_t v0 = v0_;
  std::uint64_t v1 = v1_;
  std::uint64_t v2 = v2_;
  std::uint64_t v3 = v3_ ^ number;
  mix(v0, v1, v2, v3);
  v0 ^= number;
  v3 ^= kLengthMark;
  mix(v0, v1, v2, v3);
  v0 ^= kLengthMark;
  v2 ^= 0xff;
  mix(v0, v1, v2, v3);
  mix(v0, v1, v2, v3);
  mix(v0, v1, v2, v3);
  return v0 ^ v1 ^ v2 ^ v3;
}

RequestIds::RequestIds(const IdKey& key)
    : hash_(key.first, key.second), counter_(key.start) {}

std::uint32_t RequestIds::permuted(std::uint32_t number) const {
  std::uint32_t left = number >> kHalf;
  std::uint32_t right = number & 0xffff;
  for (std::uint64_t round = 0; round < kRounds; ++round) {
    const auto mixed =
        static_cast<std::uint32_t>(hash_(round << kHalf | right) & 0xffff);
    const std::uint32_t former = left;
    left = right;
    right = former ^ mixed;
  }
  return left << kHalf | right;
}

std::uint16_t RequestIds::nextMessage() {
  if (left_ == 0) {
    drawn_ = hash_(kMessages | messages_++);
    left_ = kMessagesInHash;
  }
  left_--;
  const auto id = static_cast<std::uint16_t>(drawn_ & 0xffff);
  drawn_ >>= kHalf;
  return id;
}

}  // namespace ostrel
