// Walking over a value comes to the same end as decoding it, whatever the
// bytes. The rows of the other tests' tables are walked, too, whole and cut.

#include "value/walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/random_encoding.h"
#include "support/random_values.h"

namespace {

using ostrel::Walked;
using ostrel::walkValue;
using ostrel::walkValues;
using ostrel::test::Bytes;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::mutated;
using ostrel::test::prefix;
using ostrel::test::Random;
using ostrel::test::randomBytes;
using ostrel::test::randomEncoding;
using ostrel::test::repeated;
using ostrel::test::Spelling;
using ostrel::test::toHex;

constexpr unsigned kDeepest = 2048;
constexpr unsigned kDepth = 4;
constexpr unsigned kMostBytes = 40;
constexpr std::uint64_t kInputs = 30000;

unsigned walked(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  return walkValue(buffer.data(), buffer.size());
}

unsigned decoded(const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  veskType* value = nullptr;
  const unsigned used =
      veskType::decodeCreate(buffer.data(), buffer.size(), &value);
  veskType::destroyDecoded(value);
  return used;
}

Walked counted(const std::string& digits, unsigned nesting = kDeepest) {
  ExactBuffer buffer(hex(digits));
  return walkValues(buffer.data(), buffer.size(), nesting);
}

struct WalkRow {
  const char* name;
  const char* bytes;
};
void PrintTo(const WalkRow& row, std::ostream* out) { *out << row.name; }

// One of each class, with its members filled, in bytes that every decoder reads
// to the end.
constexpr WalkRow kWhole[] = {
    {"Null", "00"},
    {"Char", "01 41"},
    {"Short", "02 FF FE"},
    {"Int", "03 04 FF FF FF FF"},
    {"IntOfNoBytes", "03 00"},
    {"IntOfFiveBytes", "03 05 01 02 03 04 05"},
    {"Long", "04 01 05"},
    {"Float", "05 3F C0 00 00"},
    {"Double", "06 3F F8 00 00 00 00 00 00"},
    {"Bool", "07 01 01"},
    {"Opaque", "08 43 01 02 01 FF"},
    {"String", "09 43 01 03 61 62 63"},
    {"StringWithAForeignLengthTag", "09 FF 01 03 61 62 63"},
    {"StringWithALongLength", "09 43 05 00 00 00 00 03 61 62 63"},
    {"Oid", "0A 01 01 3B 01 06 00 00"},
    {"OidThatIsNone", "0A 00"},
    {"OidWithAnOddValidity", "0A 05 00 00 00 00"},
    {"OidWithLongNumbers", "0A 01 05 00 00 00 00 3B 01 06 00 00"},
    {"Aid", "0B 01 01 3B 01 06 01 02"},
    {"Time", "0C 02 01 00"},
    {"Address", "0F 02 0A 00 00 01"},
    {"AddressThatIsNone", "0F 00"},
    {"ArgumentDesc", "10 09 43 01 01 61 43 01 03"},
    {"AttributeDesc",
     "11 09 43 01 01 61 0B 00 43 01 03 00 43 01 01 43 01 02 07 01 01"},
    {"AttributeDescOfWhoseDefaultTheTagIsRead",
     "11 09 43 00 0B 00 43 01 03 FF 43 01 01 43 01 02 07 01 01"},
    {"ActionDesc", "12 09 43 00 0B 00 80 43 01 01 10 09 43 00 43 00"},
    {"EventDesc", "13 09 43 00 0B 00 80 43 00"},
    {"ObjectDesc", "14 09 43 00 0A 00 0A 00 80 43 01 01 00 80 43 00 80 43 00"},
    {"Attribute", "17 0B 00 01 03 01 05"},
    {"AttributeWithoutAValue", "17 0B 00 00"},
    {"AttributeWithAnOddFlag", "17 0B 00 80 03 01 05"},
    {"AttributeValueOp", "18 0B 00 01 03 01 05 01 01"},
    {"Object", "19 0A 00 80 43 01 01 17 0B 00 00"},
    {"Error", "1A 43 01 02 03 01 05"},
    {"Create", "1C 03 00 43 01 05 0A 00 0A 00 80 43 00"},
    {"Clone", "1D 03 00 43 01 05 0A 00 0A 00 80 43 00"},
    {"Remove", "1E 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00"},
    {"Get", "1F 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00 80 43 00"},
    {"Set", "20 03 00 43 01 05 0A 00 0A 00 80 43 01 01 17 0B 00 00"},
    {"Search", "21 03 00 43 01 05 0A 00 0A 00 80 43 00 07 01 01"},
    {"Event", "22 03 00 43 01 05 0A 00 0A 00 0B 00 80 43 00"},
    {"Action", "23 03 00 43 01 05 0A 00 0B 00 80 43 00"},
    {"CreateResponse", "25 03 00 43 01 05 0A 00 80 43 00 0A 00"},
    {"CloneResponse", "26 03 00 43 01 05 0A 00 80 43 00 0A 00"},
    {"GetResponse", "27 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 00"},
    {"SetResponse", "28 03 00 43 01 07 0A 00 80 43 00"},
    {"SearchResponse", "29 03 00 43 01 05 0A 00 80 43 00 80 43 00"},
    {"ActionResponse", "2A 03 00 43 01 07 0A 00 80 43 00"},
    {"RemoveResponse", "2B 03 01 01 43 01 05 0A 00"},
    {"Verify", "2C 03 00 43 01 05 0A 00 0A 00"},
    {"VerifyResponse", "2D 03 01 01 43 01 05 0A 00"},
    {"DirectorySearch", "2E 03 00 43 01 05 0A 00 0A 00 80 43 00 80 43 00"},
    {"DirectoryResponse",
     "2F 03 00 43 01 05 0A 00 80 43 00 80 43 00 80 43 01 01 00"},
    {"PduWithForeignMemberTags", "1F FF 00 00 01 05 77 00 77 00 77 77 00"},
    {"UnsignedChar", "41 41"},
    {"UnsignedShort", "42 FF FE"},
    {"UnsignedInt", "43 04 FF FF FF FF"},
    {"UnsignedLong", "44 02 01 00"},
    {"List", "80 43 01 02 03 01 05 07 00"},
    {"ListInAList", "80 43 01 01 80 43 01 01 03 01 07"},
};

class WholeValue : public testing::TestWithParam<WalkRow> {};

TEST_P(WholeValue, IsWalkedToItsEndAndNoFurther) {
  Bytes bytes = hex(GetParam().bytes);
  const std::size_t size = bytes.size();
  for (int behind = 0; behind < 25; ++behind) {
    EXPECT_EQ(walked(bytes), size);
    bytes.push_back(0x01);
  }
}

TEST_P(WholeValue, FailsWhenItIsCut) {
  const Bytes bytes = hex(GetParam().bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_EQ(walked(prefix(bytes, size)), 0u) << "size " << size;
}

TEST_P(WholeValue, IsDecodedToTheSameEnd) {
  const Bytes bytes = hex(GetParam().bytes);
  EXPECT_EQ(decoded(bytes), bytes.size());
}

std::string walkRowName(const testing::TestParamInfo<WalkRow>& info) {
  return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Walks, WholeValue, testing::ValuesIn(kWhole),
                         walkRowName);

constexpr WalkRow kRefused[] = {
    {"Gauge", "4D 01 05"},
    {"Counter", "4E 01 05"},
    {"BareHeader", "1B 03 00 43 00 0A 00"},
    {"BareResponseHeader", "24 03 00 43 00 0A 00 80 43 00"},
    {"UnknownTag", "FF 00 00 00"},
    {"UnknownTagInAList", "80 43 01 02 03 01 05 FF"},
    {"UnknownTagInAnAttribute", "17 0B 00 01 FF 00 00"},
    {"AddressOfAnotherFamily", "0F 07 00 00 00 00"},
    {"NumberLongerThanTheRest", "03 FF 00 00 00 00 00 00"},
    {"TextLongerThanTheRest", "09 43 04 FF FF FF FF 61 62 63"},
    {"ListOfMoreThanTheRest", "80 43 04 FF FF FF FF 00 00 00"},
    {"AttributeWithoutAFlag", "17 0B 01 01 3B 01 06 01 02"},
    // The body of the default value is read as the members behind it.
    {"AttributeDescWithADefault",
     "11 09 43 00 0B 00 43 01 03 03 01 05 43 01 01 43 01 02 07 01 01"},
};

class RefusedValue : public testing::TestWithParam<WalkRow> {};

TEST_P(RefusedValue, IsRefusedByWalkingAndByDecoding) {
  EXPECT_EQ(walked(hex(GetParam().bytes)), 0u);
  EXPECT_EQ(decoded(hex(GetParam().bytes)), 0u);
}
INSTANTIATE_TEST_SUITE_P(Walks, RefusedValue, testing::ValuesIn(kRefused),
                         walkRowName);

TEST(Walk, NoBytesAreNoValue) {
  EXPECT_EQ(walkValue(nullptr, 0), 0u);
  EXPECT_EQ(walkValues(nullptr, 0).values, 0u);
}

// Zeros are a value of every class: empty members, no value inside.
TEST(Walk, KnowsTheTagsThatTheFactoryKnows) {
  for (unsigned tag = 0; tag < 256; ++tag) {
    Bytes bytes(64, 0x00);
    bytes[0] = static_cast<unsigned char>(tag);
    veskType* value = nullptr;
    ExactBuffer buffer(bytes);
    const unsigned used =
        veskType::decodeCreate(buffer.data(), buffer.size(), &value);
    EXPECT_EQ(used != 0, value != nullptr) << "tag " << tag;
    EXPECT_EQ(walked(bytes), used) << "tag " << tag;
    veskType::destroyDecoded(value);
  }
}

TEST(Walk, CountsTheValuesThatTheFactoryMakes) {
  EXPECT_EQ(counted("03 01 05").values, 1u);
  EXPECT_EQ(counted("17 0B 00 00").values, 1u);
  EXPECT_EQ(counted("17 0B 00 01 03 01 05").values, 2u);
  EXPECT_EQ(counted("80 43 01 02 03 01 05 07 00").values, 3u);
  // A PDU, and what is in its two lists: an error, an attribute and its value.
  const Walked answer = counted(
      "27 03 00 43 00 0A 00 80 43 01 01 1A 43 00 03 00 "
      "80 43 01 01 17 0B 00 01 03 01 05");
  EXPECT_EQ(answer.used, 27u);
  EXPECT_EQ(answer.values, 4u);
}

TEST(Walk, CountsWhatBeganBeforeAFailure) {
  const Walked cut = counted("80 43 01 03 03 01 05 03 01");
  EXPECT_EQ(cut.used, 0u);
  EXPECT_EQ(cut.values, 3u);
}

TEST(Walk, StopsAtTheNestingThatItIsGiven) {
  const std::string inner = "80 43 01 01 80 43 01 01 03 01 07";
  EXPECT_EQ(counted(inner, 2).used, 11u);
  EXPECT_EQ(counted(inner, 1).used, 0u);
  EXPECT_EQ(counted("03 01 07", 0).used, 3u);
  EXPECT_EQ(counted("80 43 00", 0).used, 0u);
}

// A description of an attribute takes a level, though of what would be inside
// only the tag is read; what holds nothing takes none.
TEST(Walk, CountsLevelsAsDecodingDoes) {
  const Bytes list = hex("80 43 01 01");
  const Bytes described = hex("11 09 43 00 0B 00 43 00 00 43 00 43 00 07 00");
  const Bytes argument = hex("10 09 43 00 43 00");
  for (const unsigned depth : {kDeepest - 1, kDeepest, kDeepest + 1}) {
    for (const Bytes& inner : {described, argument, hex("00")}) {
      Bytes bytes = repeated(list, depth);
      bytes += inner;
      const bool fits =
          depth < kDeepest || (depth == kDeepest && inner != described);
      EXPECT_EQ(walked(bytes), fits ? bytes.size() : 0u) << depth;
      EXPECT_EQ(decoded(bytes), fits ? bytes.size() : 0u) << depth;
    }
  }
}

// The lists of a PDU and of an object are read without a level of their own.
TEST(Walk, MembersTakeNoLevel) {
  const Bytes get = hex("1F 03 00 43 00 0A 00 0A 00 80 43 01 01");
  for (const unsigned depth : {kDeepest, kDeepest + 1}) {
    Bytes bytes = repeated(get, depth);
    bytes += hex("00");
    EXPECT_EQ(walked(bytes), depth == kDeepest ? bytes.size() : 0u);
    EXPECT_EQ(decoded(bytes), depth == kDeepest ? bytes.size() : 0u);
  }
}

TEST(Walk, OfALongRowOfValuesReachesItsEnd) {
  constexpr unsigned kCount = 3000000;
  Bytes bytes = hex("80 43 03 2D C6 C0");  // 3,000,000
  bytes += Bytes(kCount, 0x00);
  ExactBuffer buffer(bytes);
  const Walked walked = walkValues(buffer.data(), buffer.size());
  EXPECT_EQ(walked.used, bytes.size());
  EXPECT_EQ(walked.values, kCount + 1);
}

void expectAgreement(const Bytes& bytes) {
  ASSERT_EQ(walked(bytes), decoded(bytes)) << toHex(bytes);
}

TEST(WalkOfAnyBytes, AgreesWithDecodingThem) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    expectAgreement(randomBytes(random, kMostBytes));
  }
}

TEST(WalkOfAnyValue, AgreesWithDecodingItInAnySpelling) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Spelling spelling = seed % 2 == 0 ? Spelling::kOwn : Spelling::kLoose;
    const Bytes bytes = randomEncoding(random, kDepth, spelling).bytes;
    ASSERT_EQ(walked(bytes), bytes.size()) << toHex(bytes);
    expectAgreement(bytes);
  }
}

TEST(WalkOfNearlyAValue, AgreesWithDecodingIt) {
  for (std::uint64_t seed = 0; seed < kInputs; ++seed) {
    Random random(seed);
    const Bytes bytes = randomEncoding(random, kDepth, Spelling::kLoose).bytes;
    expectAgreement(mutated(random, bytes));
    const auto size = static_cast<unsigned>(bytes.size());
    expectAgreement(prefix(bytes, random.below(size)));
  }
}

}  // namespace
