// The numbers that identify requests and messages on the wire. Whoever forges
// an answer has to know them, so nobody must be able to tell the next from
// those before, a server that sees its own share of them included.
//
// Call ids are a keyed permutation of all 32-bit numbers, taken in turn from
// a random one on: none comes twice before all have come.

#ifndef OSTREL_SRC_REQUEST_IDS_H
#define OSTREL_SRC_REQUEST_IDS_H

#include <cstddef>
#include <cstdint>

namespace ostrel {

// What the numbers depend on: 24 random bytes.
struct IdKey {
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  std::uint32_t start = 0;
  std::uint32_t spare = 0;
};

// A keyed hash of one number. Without the key, outputs tell nothing about one
// another (SipHash, with one round for the number and three to finish).
class KeyedHash {
 public:
  KeyedHash(std::uint64_t first, std::uint64_t second);
  std::uint64_t operator()(std::uint64_t number) const;

 private:
  std::uint64_t v0_, v1_, v2_, v3_;
};

class RequestIds {
 public:
  explicit RequestIds(const IdKey& key);

  // The next request id.
  std::uint32_t next() { return permuted(counter_++); }

  // The id that stands at a place of the permutation.
  std::uint32_t permuted(std::uint32_t number) const;

  // The message id of a first transmission.
  std::uint16_t nextMessage();

 private:
  KeyedHash hash_;
  std::uint32_t counter_;
  std::uint64_t messages_ = 0;  // how many 64-bit numbers were drawn
  std::uint64_t drawn_ = 0;     // what is left of the last of them
  unsigned left_ = 0;           // message ids in it
};

}  // namespace ostrel

#endif  // OSTREL_SRC_REQUEST_IDS_H
