// Values judged and rewritten as bytes, without being made.

#include "ostrel/encoding.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/random_encoding.h"
#include "support/random_values.h"

namespace {

using ostrel::canonicalizeValue;
using ostrel::Measured;
using ostrel::measureValue;
using ostrel::test::Bytes;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::mutated;
using ostrel::test::prefix;
using ostrel::test::Random;
using ostrel::test::randomEncoding;
using ostrel::test::repeated;
using ostrel::test::Spelling;
using ostrel::test::toHex;

constexpr unsigned kDepth = 4;
constexpr unsigned kDeepest = 2048;
constexpr std::uint64_t kInputs = 10000;

std::optional<Measured> measured(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  return measureValue(buffer.data(), buffer.size());
}

// The canonical form; empty when there is none.
Bytes canonical(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  const unsigned used = canonicalizeValue(buffer.data(), buffer.size());
  return buffer.first(used);
}

// What the value prints; "none" where the bytes do not decode.
std::string text(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  veskType* value = nullptr;
  const unsigned used =
      veskType::decodeCreate(buffer.data(), buffer.size(), &value);
  std::string result = "none";
  if (used != 0) {
    const std::unique_ptr<char, decltype(&std::free)> printed(
        value->getString(), &std::free);
    result = printed.get();
  }
  veskType::destroyDecoded(value);
  return result;
}

TEST(MeasureValue, GivesTheLengthAndTheNumberOfValues) {
  const auto one = measured(hex("03 01 05"));
  ASSERT_TRUE(one.has_value());
  EXPECT_EQ(one->used, 3u);
  EXPECT_EQ(one->values, 1u);
  const auto list = measured(hex("80 43 01 02 17 0B 00 01 03 01 05 07 00 FF"));
  ASSERT_TRUE(list.has_value());
  EXPECT_EQ(list->used, 13u);
  EXPECT_EQ(list->values, 4u);
}

TEST(MeasureValue, RefusesWhatDoesNotDecode) {
  EXPECT_FALSE(measureValue(nullptr, 0).has_value());
  EXPECT_FALSE(measured(hex("FF")).has_value());
  EXPECT_FALSE(measured(hex("03 01")).has_value());
  EXPECT_FALSE(measured(hex("80 43 04 FF FF FF FF 00")).has_value());
}

TEST(MeasureValue, RefusesValuesThatAreNestedTooDeep) {
  Bytes deepest = repeated(hex("80 43 01 01"), kDeepest);
  Bytes deeper = deepest;
  deepest += hex("00");
  deeper += hex("80 43 00");
  EXPECT_TRUE(measured(deepest).has_value());
  EXPECT_FALSE(measured(deeper).has_value());
}

struct Row {
  const char* name;
  const char* bytes;
  const char* canonical;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

constexpr Row kRows[] = {
    {"Null", "00", "00"},
    {"NumberWithLeadingZeros", "03 02 00 05", "03 01 05"},
    {"ZeroWithABody", "03 01 00", "03 00"},
    {"NumberOfFiveBytes", "03 05 01 02 03 04 05", "03 04 02 03 04 05"},
    {"TruthThatIsTwo", "07 01 02", "07 01 02"},
    {"LengthWithTheTagOfAnInt", "09 03 01 03 61 62 63", "09 43 01 03 61 62 63"},
    {"LengthWithATagThatNoClassHas", "09 8F 01 03 61 62 63",
     "09 43 01 03 61 62 63"},
    {"LengthWithLeadingZeros", "08 43 02 00 02 01 FF", "08 43 01 02 01 FF"},
    {"IdentifierWithAnOddValidity", "0A 05 00 00 02 00 07 00",
     "0A 01 00 00 01 07 00"},
    {"Double", "06 3F F0 00 00 00 00 00 00", "06 3F F0 00 00 00 00 00 00"},
    {"Address", "0F 02 0A 00 00 01", "0F 02 0A 00 00 01"},
    {"CountWithAnotherTag", "80 FF 01 02 03 01 05 07 01 00",
     "80 43 01 02 03 01 05 07 00"},
    {"AttributeWithOtherTagsAndFlag",
     "18 77 01 01 3B 01 07 01 01 80 03 01 05 99 01",
     "18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01"},
    {"Error", "1A 00 01 02 00 01 05", "1A 43 01 02 03 01 05"},
    {"Object", "19 00 01 01 3B 01 07 00 01 01 00 00 00",
     "19 0A 01 01 3B 01 07 00 01 01 80 43 00"},
    {"DescriptionOfAnAttribute",
     "11 00 00 00 00 00 43 01 07 FF 00 01 01 00 00 00 01 01",
     "11 09 43 00 0B 00 43 01 07 00 43 01 01 43 00 07 01 01"},
    {"Search", "21 00 00 00 01 05 00 00 00 00 00 00 00 00 01 01",
     "21 03 00 43 01 05 0A 00 0A 00 80 43 00 07 01 01"},
};

class CanonicalizeValue : public testing::TestWithParam<Row> {};

TEST_P(CanonicalizeValue, GivesTheFormThatEncodingGives) {
  EXPECT_EQ(canonical(hex(GetParam().bytes)), hex(GetParam().canonical));
}
TEST_P(CanonicalizeValue, LeavesThatFormAlone) {
  EXPECT_EQ(canonical(hex(GetParam().canonical)), hex(GetParam().canonical));
}
TEST_P(CanonicalizeValue, ChangesNothingOfWhatIsCut) {
  const Bytes whole = hex(GetParam().bytes);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes bytes = prefix(whole, size);
    ExactBuffer buffer(bytes);
    EXPECT_EQ(canonicalizeValue(buffer.data(), buffer.size()), 0u) << size;
    EXPECT_EQ(buffer.first(size), bytes) << size;
  }
}

std::string rowName(const testing::TestParamInfo<Row>& info) {
  return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Rows, CanonicalizeValue, testing::ValuesIn(kRows),
                         rowName);

TEST(CanonicalizeValue, LeavesWhatFollowsTheValue) {
  Bytes bytes = hex("03 01 05 AA BB");
  EXPECT_EQ(canonicalizeValue(bytes.data(), 5), 3u);
  EXPECT_EQ(bytes, hex("03 01 05 AA BB"));
}

TEST(CanonicalizeValue, LeavesEveryCanonicalEncodingAlone) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Bytes bytes =
        randomEncoding(random, kDepth, Spelling::kCanonical).bytes;
    ASSERT_EQ(canonical(bytes), bytes);
  }
}

TEST(CanonicalizeValue, KeepsTheValueWhateverItsSpelling) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Bytes bytes = randomEncoding(random, kDepth, Spelling::kLoose).bytes;
    const Bytes result = canonical(bytes);
    ASSERT_FALSE(result.empty()) << toHex(bytes);
    ASSERT_LE(result.size(), bytes.size()) << toHex(bytes);
    ASSERT_EQ(text(result), text(bytes)) << toHex(bytes);
    ASSERT_EQ(measured(result)->values, measured(bytes)->values);
    ASSERT_EQ(canonical(result), result) << toHex(bytes);
  }
}

TEST(CanonicalizeValue, AcceptsWhatDecodes) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Bytes bytes =
        mutated(random, randomEncoding(random, kDepth, Spelling::kLoose).bytes);
    ASSERT_EQ(canonical(bytes).empty(), text(bytes) == "none") << toHex(bytes);
  }
}

}  // namespace
