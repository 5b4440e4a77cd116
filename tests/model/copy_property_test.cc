// Copies of what arrived, of every class and nested, encode to the same bytes,
// share what copies share, and are freed without what they share.

#include <gtest/gtest.h>

#include <cstdint>

#include "base/pool.h"
#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/random_encoding.h"
#include "support/random_values.h"
#include "support/value_invariants.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::encoded;
using ostrel::test::Encoding;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::Random;
using ostrel::test::randomEncoding;
using ostrel::test::releaseCopy;
using ostrel::test::Spelling;
using ostrel::test::toHex;

// The address checks, under which the pool is off, take most of a minute for as
// many as the optimised library is asked.
#if defined(OSTREL_POOL_OFF)
constexpr std::uint64_t kValues = 20000;
#else
constexpr std::uint64_t kValues = 100000;
#endif
constexpr unsigned kDepth = 5;

// Decodes a value, copies it, and frees both.
class Copied {
 public:
  explicit Copied(const Bytes& bytes) {
    ExactBuffer buffer(bytes);
    used_ = veskType::decodeCreate(buffer.data(), buffer.size(), &original_);
    if (used_ != 0) copy_ = original_->dup();
  }
  ~Copied() {
    releaseCopy(copy_);
    veskType::destroyDecoded(original_);
  }
  Copied(const Copied&) = delete;
  Copied& operator=(const Copied&) = delete;

  std::size_t used() const { return used_; }
  Bytes original() const { return encoded(*original_); }
  Bytes copy() const { return encoded(*copy_); }

 private:
  veskType* original_ = nullptr;
  veskType* copy_ = nullptr;
  std::size_t used_ = 0;
};

void expectCopy(const char* bytes, const char* copy) {
  const Copied value(hex(bytes));
  ASSERT_EQ(value.used(), hex(bytes).size());
  EXPECT_THAT(value.original(), IsHex(bytes));
  EXPECT_THAT(value.copy(), IsHex(copy));
}

TEST(CopyOfADescription, KeepsTheTagOfItsDefaultWhereverItStands) {
  const char* const places[] = {
      "11 09 43 00 0B 00 43 00 02 43 00 43 00 07 00",
      "80 43 01 01 11 09 43 00 0B 00 43 00 02 43 00 43 00 07 00",
      "17 0B 00 01 11 09 43 00 0B 00 43 00 02 43 00 43 00 07 00",
      "14 09 43 00 0A 00 0A 00 "
      "80 43 01 01 11 09 43 00 0B 00 43 00 02 43 00 43 00 07 00 "
      "80 43 00 80 43 00"};
  for (const char* place : places) expectCopy(place, place);
}

TEST(CopyOfAnActionResponse, KeepsToHaveTheTagOfASetResponse) {
  expectCopy("2A 03 00 43 00 0A 00 80 43 00", "28 03 00 43 00 0A 00 80 43 00");
  expectCopy("80 43 01 01 2A 03 00 43 00 0A 00 80 43 00",
             "80 43 01 01 28 03 00 43 00 0A 00 80 43 00");
  expectCopy("17 0B 00 01 2A 03 00 43 00 0A 00 80 43 00",
             "17 0B 00 01 28 03 00 43 00 0A 00 80 43 00");
}

TEST(CopyOfWhatHoldsAnActionResponse, SharesItWithItsTag) {
  const char* const object =
      "19 0A 00 80 43 01 01 2A 03 00 43 00 0A 00 80 43 00";
  expectCopy(object, object);
  const char* const get =
      "1F 03 00 43 00 0A 00 0A 00 80 43 01 01 2A 03 00 43 00 0A 00 80 43 00";
  expectCopy(get, get);
  const char* const listed =
      "80 43 01 01 19 0A 00 80 43 01 01 2A 03 00 43 00 0A 00 80 43 00";
  expectCopy(listed, listed);
}

TEST(AnyCopy, EncodesAsTheValueThatArrived) {
  for (std::uint64_t seed = 0; seed < kValues; ++seed) {
    Random random(seed);
    const Encoding encoding = randomEncoding(random, kDepth, Spelling::kOwn);
    const Copied value(encoding.bytes);
    ASSERT_EQ(value.used(), encoding.bytes.size()) << toHex(encoding.bytes);
    ASSERT_EQ(toHex(value.original()), toHex(encoding.bytes));
    ASSERT_EQ(toHex(value.copy()), toHex(encoding.copy)) << "seed " << seed;
    ASSERT_EQ(toHex(value.original()), toHex(encoding.bytes));
  }
}

}  // namespace
