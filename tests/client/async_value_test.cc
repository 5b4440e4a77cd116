// Values that own themselves: their bytes, text, conversions and limits.

#include "ostrel/value.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/attributes.h"
#include "ostrel/codes.h"
#include "ostrel/elements.h"
#include "ostrel/objectdesc.h"
#include "ostrel/veskAttr.h"
#include "ostrel/veskError.h"
#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/own_value_invariants.h"
#include "support/random_encoding.h"
#include "support/random_values.h"
#include "support/value_table.h"

namespace {

using namespace ostrel;
using test::Bytes;
using test::OwnedValue;
using test::Random;
using test::toHex;

std::string hex(const std::string& bytes) {
  return toHex(Bytes(bytes.begin(), bytes.end()));
}
std::string bytesOf(const std::string& hexText) {
  const Bytes bytes = test::hex(hexText);
  return std::string(bytes.begin(), bytes.end());
}
std::string asText(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

Result<Value> decoded(const std::string& bytes,
                      std::size_t most = kMostValues) {
  return test::decodedWhole(bytes, most);
}

in_addr addressOf(const char* text) {
  in_addr address;
  EXPECT_EQ(inet_pton(AF_INET, text, &address), 1);
  return address;
}

struct Row {
  const char* name;
  Value value;
  Tag type;
  const char* bytes;
  const char* text;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

std::vector<Row> rows() {
  return {
      {"Null", {}, kTagNull, "00", ""},
      {"Char", 'A', kTagChar, "01 41", "A"},
      {"SignedChar", static_cast<signed char>(-1), kTagChar, "01 FF", "\xff"},
      {"UnsignedChar", static_cast<unsigned char>('z'), kTagUnsignedChar,
       "41 7A", "z"},
      {"Short", static_cast<short>(-2), kTagShort, "02 FF FE", "-2"},
      {"UnsignedShort", static_cast<unsigned short>(40001), kTagUnsignedShort,
       "42 9C 41", "40001"},
      {"IntZero", 0, kTagInt, "03 00", "0"},
      {"IntFive", 5, kTagInt, "03 01 05", "5"},
      {"IntMinusOne", -1, kTagInt, "03 04 FF FF FF FF", "-1"},
      {"Long", 65536L, kTagLong, "04 03 01 00 00", "65536"},
      {"LongLong", -5LL, kTagLong, "04 04 FF FF FF FB", "-5"},
      {"UnsignedInt", 256u, kTagUnsignedInt, "43 02 01 00", "256"},
      {"UnsignedIntLargest", 4294967295u, kTagUnsignedInt, "43 04 FF FF FF FF",
       "4294967295"},
      {"UnsignedLong", 7ul, kTagUnsignedLong, "44 01 07", "7"},
      {"UnsignedLongLong", 7ull, kTagUnsignedLong, "44 01 07", "7"},
      {"Float", 1.5f, kTagFloat, "05 3F C0 00 00", "1.5"},
      {"Double", 1.0, kTagDouble, "06 3F F0 00 00 00 00 00 00", "1"},
      {"DoubleTenth", 0.1, kTagDouble, "06 3F B9 99 99 99 99 99 9A", "0.1"},
      {"True", true, kTagBool, "07 01 01", "True"},
      {"False", false, kTagBool, "07 00", "False"},
      {"Time", Value::time(1000), kTagTime, "0C 02 03 E8", "1000"},
      {"NoObject", Oid(), kTagOid, "0A 00", "Invalid"},
      {"Class", Oid("59.6"), kTagOid, "0A 01 01 3B 01 06 00 00", "59.6.0.0"},
      {"Object", Oid("59.7.0.1"), kTagOid, "0A 01 01 3B 01 07 00 01 01",
       "59.7.0.1"},
      {"LargeObject", Oid(1, 256, 0, 4294967295u), kTagOid,
       "0A 01 01 01 02 01 00 00 04 FF FF FF FF", "1.256.0.4294967295"},
      {"NoAttribute", Aid(), kTagAid, "0B 00", "Invalid"},
      {"Aid", Aid("59.6.2"), kTagAid, "0B 01 01 3B 01 06 01 02", "59.6.2"},
      {"String", "abc", kTagString, "09 43 01 03 61 62 63", "abc"},
      {"EmptyString", "", kTagString, "09 43 00", ""},
      {"SixteenCharacters", "0123456789abcdef", kTagString,
       "09 43 01 10 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66",
       "0123456789abcdef"},
      {"SeventeenCharacters", "0123456789abcdefg", kTagString,
       "09 43 01 11 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 67",
       "0123456789abcdefg"},
      {"Opaque", std::vector<std::uint8_t>{1, 255}, kTagOpaque,
       "08 43 01 02 01 FF", "01 ff "},
      {"EmptyOpaque", Opaque{}, kTagOpaque, "08 43 00", ""},
      {"NoAddress", Value::noAddress(), kTagAddress, "0F 00", ""},
      {"Address", addressOf("10.0.0.1"), kTagAddress, "0F 02 0A 00 00 01",
       "10.0.0.1"},
      {"EmptyList", Values(), kTagList, "80 43 00", ""},
      {"List", Values{5, false}, kTagList, "80 43 01 02 03 01 05 07 00",
       "5, False"},
      {"ListInList", Values{Values{7}}, kTagList,
       "80 43 01 01 80 43 01 01 03 01 07", "7"},
      {"Attribute", Attribute("59.7.1"), kTagAttribute,
       "17 0B 01 01 3B 01 07 01 01 00", "59.7.1 = "},
      {"AttributeFive", Attribute("59.7.1", 5), kTagAttribute,
       "17 0B 01 01 3B 01 07 01 01 01 03 01 05", "59.7.1 = 5"},
      {"Term", Term("59.7.1", 5), kTagAttributeValueOp,
       "18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01", "59.7.1 = 5 op = 1"},
      {"ObjectWithAttribute", Object("59.7.0.1", {{"59.7.1", 5}}), kTagObject,
       "19 0A 01 01 3B 01 07 00 01 01 80 43 01 01 "
       "17 0B 01 01 3B 01 07 01 01 01 03 01 05",
       "59.7.0.1 : 59.7.1 = 5"},
      {"Error", *Value::decode(bytesOf("1A 43 01 02 03 01 05")), kTagError,
       "1A 43 01 02 03 01 05", "index 2 : 5(Permission Denied)"},
      {"Argument",
       *Value::decode(bytesOf("10 09 43 01 05 6C 65 76 65 6C 43 01 03")),
       kTagArgumentDesc, "10 09 43 01 05 6C 65 76 65 6C 43 01 03", nullptr},
      {"Verify",
       *Value::decode(bytesOf("2C 03 00 43 01 05 0A 00 "
                              "0A 01 01 3B 01 07 00 01 01")),
       kTagVerifyPDU, "2C 03 00 43 01 05 0A 00 0A 01 01 3B 01 07 00 01 01",
       nullptr},
      {"RemoveAnswer", *Value::decode(bytesOf("2B 03 00 43 01 05 0A 00")),
       kTagRemoveRespPDU, "2B 03 00 43 01 05 0A 00", nullptr},
  };
}

class AnyRow : public testing::TestWithParam<Row> {};
INSTANTIATE_TEST_SUITE_P(Values, AnyRow, testing::ValuesIn(rows()),
                         [](const auto& row) { return row.param.name; });

TEST_P(AnyRow, HasItsTypeBytesAndText) {
  const Row& row = GetParam();
  EXPECT_EQ(row.value.type(), row.type);
  EXPECT_EQ(hex(row.value.encode()), hex(bytesOf(row.bytes)));
  if (row.text == nullptr) return;
  EXPECT_EQ(row.value.text(), row.text);
}

TEST_P(AnyRow, DecodesToAnEqualValue) {
  const Result<Value> again = decoded(bytesOf(GetParam().bytes));
  ASSERT_TRUE(again);
  EXPECT_EQ(*again, GetParam().value);
  EXPECT_EQ(again->type(), GetParam().type);
}

TEST_P(AnyRow, IsRefusedWhenCutShortOrFollowedByMore) {
  const std::string bytes = bytesOf(GetParam().bytes);
  for (std::size_t size = 0; size < bytes.size(); size++) {
    const Result<Value> cut = decoded(bytes.substr(0, size));
    ASSERT_FALSE(cut) << "size " << size;
    EXPECT_EQ(cut.error().kind(), Failure::undecodable);
    EXPECT_EQ(cut.error().code(), kCodingError);
  }
  EXPECT_FALSE(decoded(bytes + '\0'));
}

TEST_P(AnyRow, CopiesAndMoves) {
  const Value original = GetParam().value;
  Value copy = original;
  EXPECT_EQ(copy, original);
  Value moved = std::move(copy);
  EXPECT_EQ(moved, original);
  EXPECT_EQ(copy, Value());
  copy = moved;
  EXPECT_EQ(copy, original);
  moved = Values{1, "two"};
  moved = std::move(copy);
  EXPECT_EQ(moved, original);
  Value& same = moved;
  moved = same;
  moved = std::move(same);
  EXPECT_EQ(moved, original);
  EXPECT_EQ(moved.text(), original.text());
}

TEST_P(AnyRow, DiffersFromEveryOtherRow) {
  for (const Row& other : rows()) {
    const bool isSame = std::string(other.bytes) == GetParam().bytes;
    EXPECT_EQ(GetParam().value == other.value, isSame) << other.name;
    EXPECT_EQ(GetParam().value != other.value, !isSame) << other.name;
  }
}

TEST_P(AnyRow, GoesThroughTheStatedInterface) {
  const Value& value = GetParam().value;
  const Value::VeskPointer stated = value.toVesk();
  ASSERT_NE(stated, nullptr);
  EXPECT_EQ(stated->tag, GetParam().type);
  EXPECT_EQ(hex(asText(test::encoded(*stated))), hex(value.encode()));
  EXPECT_EQ(Value::from(stated.get()), value);
}

TEST(Value, TakesTheContentsOfItsOwnElements) {
  Value value = Values{"first", Values{1, 2}};
  Value& inner = const_cast<Value&>((*value.as<Values>())[1]);
  value = std::move(inner);
  EXPECT_EQ(value, Value(Values{1, 2}));
  value = (*value.as<Values>())[1];
  EXPECT_EQ(value, Value(2));
}

TEST(Value, IsSmall) { EXPECT_LE(sizeof(Value), 24u); }

// What decoding accepts beyond what encoding makes

TEST(ValueBytes, AreReadAsTheStatedClassesDo) {
  EXPECT_EQ(*decoded(bytesOf("03 01 FF")), Value(255));
  EXPECT_EQ(*decoded(bytesOf("03 02 00 05")), Value(5));
  EXPECT_EQ(*decoded(bytesOf("03 05 01 02 03 04 05")), Value(33752069));
  EXPECT_EQ(*decoded(bytesOf("0A 05 00 00 00 00")), Value(Oid(0, 0)));
  EXPECT_EQ(*decoded(bytesOf("09 03 01 03 61 62 63")), Value("abc"));
}

TEST(ValueBytes, KeepTheNumberOfABool) {
  const Value two = *decoded(bytesOf("07 01 02"));
  EXPECT_TRUE(*two.as<bool>());
  EXPECT_EQ(two.text(), "True");
  EXPECT_EQ(hex(two.encode()), hex(bytesOf("07 01 02")));
  EXPECT_NE(two, Value(true));
  EXPECT_EQ(*two.to<int>(), 2);
}

TEST(ValueBytes, ThatNoClassReadsAreRefused) {
  for (const char* bytes :
       {"0D", "4D 01 07", "4E 01 07", "1B 03 00 43 00 0A 00", "03 03 01 02",
        "0A 01 01 3B", "09 43 01 04 61 62 63", "80 43 04 FF FF FF FF",
        "0F 02 0A 00", "0F 07", "80 43 01 02 03 01 05 FF",
        "80 43 04 FF FF FF FF 00 00 00", ""}) {
    EXPECT_FALSE(decoded(bytesOf(bytes))) << bytes;
  }
}

TEST(ValueBytes, KeepTheBitsOfEveryNaN) {
  const char* quiet = "06 7F F8 00 00 00 00 00 01";
  const char* signalling = "06 7F F0 00 00 00 00 00 01";
  const char* shortOne = "05 7F A0 00 01";
  for (const char* bytes : {quiet, signalling, shortOne}) {
    const Value value = *decoded(bytesOf(bytes));
    EXPECT_EQ(hex(value.encode()), hex(bytesOf(bytes)));
    EXPECT_EQ(value, *decoded(bytesOf(bytes)));
    EXPECT_FALSE(value.to<int>());
  }
  EXPECT_NE(*decoded(bytesOf(quiet)), *decoded(bytesOf(signalling)));
  EXPECT_NE(Value(0.0), Value(-0.0));
}

TEST(ValueBytes, MakeAsManyValuesAsAllowedAndNoMore) {
  const std::string two = Values{Values{1, 2}, 3}.size() == 2
                              ? Value(Values{Values{1, 2}, 3}).encode()
                              : "";
  EXPECT_TRUE(decoded(two, 5));
  EXPECT_FALSE(decoded(two, 4));
  EXPECT_FALSE(decoded(two, 0));
  std::string nulls = bytesOf("80 43 02 03 E8") + std::string(1000, '\0');
  EXPECT_TRUE(decoded(nulls, 1001));
  EXPECT_FALSE(decoded(nulls, 1000));
}

std::string nestedLists(unsigned levels) {
  std::string bytes;
  for (unsigned i = 1; i < levels; i++) bytes += bytesOf("80 43 01 01");
  return bytes + bytesOf("80 43 00");
}

TEST(ValueBytes, NestToTheLimitAndNoDeeper) {
  const std::string deepest = nestedLists(2048);
  Result<Value> value = decoded(deepest);
  ASSERT_TRUE(value);
  EXPECT_EQ(value->encode(), deepest);
  const Value copy = *value;
  EXPECT_EQ(copy, *value);
  EXPECT_EQ(copy.text(), "");
  EXPECT_NE(copy.toVesk(), nullptr);
  EXPECT_FALSE(decoded(nestedLists(2049)));
}

TEST(ValueBytes, NestAttributesToTheSameLimit) {
  const auto nested = [](unsigned levels) {
    std::string bytes;
    for (unsigned i = 0; i < levels; i++)
      bytes += bytesOf(i % 2 == 0 ? "80 43 01 01" : "17 0B 00 01");
    return bytes + '\0';
  };
  Result<Value> value = decoded(nested(2048));
  ASSERT_TRUE(value);
  EXPECT_EQ(value->encode(), nested(2048));
  EXPECT_EQ(value->text().size(), 1024 * std::string("Invalid = ").size());
  EXPECT_FALSE(decoded(nested(2049)));
}

// Against the stated classes

TEST(AnyValue, HasTheBytesOfTheStatedClasses) {
  for (std::uint64_t seed = 0; seed < 5000; seed++) {
    Random random(seed);
    const OwnedValue stated(test::randomValue(random, 3));
    const std::string bytes = asText(test::encoded(*stated));
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + hex(bytes));
    const Value copied = Value::from(stated.get());
    const Result<Value> read = decoded(bytes);
    ASSERT_TRUE(read);
    ASSERT_EQ(copied, *read);
    ASSERT_EQ(read->type(), stated->tag);
    ASSERT_EQ(hex(read->encode()), hex(bytes));
    const Value::VeskPointer back = read->toVesk();
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(hex(asText(test::encoded(*back))), hex(bytes));
    for (std::size_t size = 0; seed < 500 && size < bytes.size(); size++)
      ASSERT_FALSE(decoded(bytes.substr(0, size)));
  }
}

TEST(AnyValue, OfEveryClassIsReadAndWrittenWithoutLoss) {
  for (std::uint64_t seed = 0; seed < 5000; seed++) {
    Random random(seed);
    const test::Encoding encoding =
        test::randomEncoding(random, 3, test::Spelling::kOwn);
    const std::string bytes = asText(encoding.bytes);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + hex(bytes));
    const Result<Value> read = decoded(bytes);
    ASSERT_TRUE(read);
    ASSERT_EQ(hex(read->encode()), hex(bytes));
    const Value copy = *read;
    ASSERT_EQ(copy, *read);
    ASSERT_EQ(copy.text(), read->text());
  }
}

TEST(AnyBytes, AreReadOrRefusedAsTheStatedClassesDo) {
  unsigned accepted = 0;
  for (std::uint64_t seed = 0; seed < 15000; seed++) {
    Random random(seed);
    Bytes source = test::randomBytes(random, 40);
    if (seed % 3 != 0)
      source = test::randomEncoding(random, 2, test::Spelling::kLoose).bytes;
    if (seed % 3 == 1) source = test::mutated(random, source);
    const std::string bytes = asText(source);
    const char* broken = test::brokenOwnInvariant(bytes);
    ASSERT_EQ(broken, nullptr)
        << broken << ", seed " << seed << ": " << hex(bytes);
    const Result<Value> read = decoded(bytes);
    if (!read) continue;
    accepted++;
    static_cast<void>(read->to<Attribute>());
    static_cast<void>(read->to<Attributes>());
    static_cast<void>(read->to<Term>());
    static_cast<void>(read->to<Object>());
  }
  EXPECT_GT(accepted, 5000u);
}

// From and to the stated interface

TEST(FromVesk, TakesNullForANullValue) {
  EXPECT_TRUE(Value::from(nullptr).isNull());
  veskType null;
  EXPECT_TRUE(Value::from(&null).isNull());
}

TEST(FromVesk, CopiesGaugesAndCountersAndLeavesTheOriginalAlone) {
  veskList list;
  list.append(new veskGauge(7));
  list.append(new veskCounter(300));
  const Value value = Value::from(&list);
  list.clear(1);
  EXPECT_EQ(value, Value(Values{Value::gauge(7), Value::counter(300)}));
  EXPECT_EQ(value.text(), "7, 300");
  EXPECT_EQ(hex(value.encode()),
            hex(bytesOf("80 43 01 02 4D 01 07 4E 02 01 2C")));
  const Value::VeskPointer stated = value.toVesk();
  ASSERT_NE(stated, nullptr);
  const auto* back = dynamic_cast<veskList*>(stated.get());
  ASSERT_NE(back, nullptr);
  EXPECT_NE(dynamic_cast<veskGauge*>(*Elements(*back).begin()), nullptr);
}

TEST(FromVesk, KeepsTheBytesOfWhatNobodyReads) {
  veskAid id("59.7.1");
  const Value::VeskPointer description(
      new veskAttributeDesc("on", id, 7, nullptr, 1, 0, 1));
  const Value value = Value::from(description.get());
  EXPECT_EQ(value.type(), kTagAttributeDesc);
  EXPECT_EQ(hex(value.encode()), hex(asText(test::encoded(*description))));
  veskType unknown(200u);
  EXPECT_EQ(Value::from(&unknown).encode(), "\xc8");
  EXPECT_EQ(Value::from(&unknown).type(), 200);
  EXPECT_EQ(Value::from(&unknown).toVesk(), nullptr);
  EXPECT_EQ(Value::from(&unknown).text(), "c8 ");
}

TEST(FromVesk, RefusesWhatCannotBeEncoded) {
  veskAttributeDesc description;
  delete description.defval;
  description.defval = nullptr;
  EXPECT_THROW(Value::from(&description), std::invalid_argument);
}

// Conversions

TEST(Conversion, OfNumbersGoesByTheirValue) {
  EXPECT_EQ(*Value(7).to<long long>(), 7);
  EXPECT_EQ(*Value(7).to<unsigned char>(), 7);
  EXPECT_EQ(*Value(7).to<float>(), 7.0f);
  EXPECT_EQ(*Value(-128).to<signed char>(), -128);
  EXPECT_EQ(*Value(4294967295u).to<std::int64_t>(), 4294967295);
  EXPECT_EQ(*Value(4294967295u).to<double>(), 4294967295.0);
  EXPECT_EQ(*Value(2.0).to<int>(), 2);
  EXPECT_EQ(*Value(0.5).to<float>(), 0.5f);
  EXPECT_EQ(*Value(1).to<bool>(), true);
  EXPECT_EQ(*Value::time(1000).to<unsigned>(), 1000u);
  EXPECT_EQ(*Value::gauge(4).to<int>(), 4);
  EXPECT_TRUE(std::isnan(*Value(std::nan("")).to<float>()));
}

TEST(Conversion, RefusesANumberThatWouldChange) {
  EXPECT_FALSE(Value(-1).to<unsigned>());
  EXPECT_FALSE(Value(-1).to<std::uint64_t>());
  EXPECT_FALSE(Value(128).to<signed char>());
  EXPECT_FALSE(Value(-129).to<signed char>());
  EXPECT_FALSE(Value(256).to<unsigned char>());
  EXPECT_FALSE(Value(70000).to<short>());
  EXPECT_FALSE(Value(4294967295u).to<int>());
  EXPECT_FALSE(Value(4294967295u).to<float>());
  EXPECT_FALSE(Value(0.5).to<int>());
  EXPECT_FALSE(Value(0.1).to<float>());
  EXPECT_FALSE(Value(1e300).to<long long>());
  EXPECT_FALSE(Value(9223372036854775808.0).to<long long>());
  EXPECT_FALSE(Value(2).to<bool>());
  EXPECT_FALSE(Value("7").to<int>());
  EXPECT_FALSE(Value().to<int>());
}

TEST(Conversion, SaysWhyItCannotBe) {
  const Result<short> number = Value(70000).to<short>();
  ASSERT_FALSE(number);
  EXPECT_EQ(number.error().kind(), Failure::wrongValue);
  EXPECT_EQ(number.error().code(), kBadValue);
  EXPECT_EQ(number.error().text(),
            "int 70000 as short: the value does not fit (ask for its type() "
            "first)");
  EXPECT_THAT(Value().to<int>().error().text(),
              testing::StartsWith("null as int: "));
  EXPECT_THAT(Value("a\nb").to<Oid>().error().text(),
              testing::StartsWith("string a\\x0ab as object identifier: "));
  const std::string text =
      Value(std::string(5000, 'x')).to<int>().error().text();
  EXPECT_LT(text.size(), 200u);
}

TEST(Conversion, GivesEveryTypeWhatItWasMadeOf) {
  EXPECT_EQ(*Value("abc").to<std::string>(), "abc");
  EXPECT_EQ(*Value(std::string("a\0b", 3)).to<std::string>(),
            std::string("a\0b", 3));
  EXPECT_EQ(*Value(Oid("59.6.0.1")).to<Oid>(), "59.6.0.1");
  EXPECT_EQ(*Value(Aid("59.6.1")).to<Aid>(), "59.6.1");
  EXPECT_EQ(Value(addressOf("10.0.0.7")).to<in_addr>()->s_addr,
            addressOf("10.0.0.7").s_addr);
  EXPECT_FALSE(Value::noAddress().to<in_addr>());
  EXPECT_EQ(*Value(std::vector<std::uint8_t>{1, 2}).to<std::vector<uint8_t>>(),
            (std::vector<std::uint8_t>{1, 2}));
  EXPECT_EQ(*Value(Values{1, "a"}).to<Values>(), (Values{1, "a"}));
  const TimePoint time{std::chrono::seconds(1000000)};
  EXPECT_EQ(*Value(time).to<TimePoint>(), time);
  const Attributes attributes{{"59.6.1", 5}, {"59.6.2"}};
  EXPECT_EQ(*Value(attributes).to<Attributes>(), attributes);
  EXPECT_EQ(*Value(Attribute("59.6.1", "x")).to<Attribute>(),
            Attribute("59.6.1", "x"));
  const Term term("59.6.1", kOperatorLess, 5);
  EXPECT_EQ(*Value(term).to<Term>(), term);
  const Object object("59.6.0.1", attributes);
  EXPECT_EQ(*Value(object).to<Object>(), object);
  EXPECT_FALSE(Value(5).to<Object>());
  EXPECT_FALSE(Value(Values{5}).to<Attributes>());
}

TEST(Looking, FindsTheExactTypeAlone) {
  const Value five = 5;
  EXPECT_TRUE(five.is<int>());
  EXPECT_FALSE(five.is<long>());
  EXPECT_FALSE(five.is<unsigned>());
  EXPECT_FALSE(five.is<std::string>());
  EXPECT_EQ(*five.as<int>(), 5);
  EXPECT_FALSE(five.as<std::string_view>());
  EXPECT_EQ(five.as<Values>(), nullptr);
  const Value text = "abc";
  EXPECT_EQ(*text.as<std::string_view>(), "abc");
  EXPECT_EQ(text.bytes(), "abc");
  EXPECT_EQ(five.bytes(), "");
  const Value list = Values{1, 2};
  ASSERT_NE(list.as<Values>(), nullptr);
  EXPECT_EQ(list.as<Values>()->size(), 2u);
  EXPECT_EQ(Value(Opaque{"ab"}).as<Opaque>()->bytes, "ab");
}

TEST(Making, RefusesNumbersAndTimesThatTheWireCannotCarry) {
  const auto beyond = std::int64_t{1} << 32;
  EXPECT_THROW(Value{beyond}, std::out_of_range);
  EXPECT_THROW(Value{-beyond}, std::out_of_range);
  EXPECT_THROW(Value{static_cast<std::uint64_t>(beyond)}, std::out_of_range);
  EXPECT_EQ(Value(beyond - 1 - (beyond >> 1)).text(), "2147483647");
  EXPECT_THROW(Value{TimePoint{std::chrono::seconds(-1)}}, std::out_of_range);
  EXPECT_THROW(Value{TimePoint{std::chrono::seconds(beyond)}},
               std::out_of_range);
}

TEST(Making, IsNotDoneFromPointersAndOtherStrangers) {
  static_assert(!std::is_constructible_v<Value, const void*>);
  static_assert(!std::is_constructible_v<Value, int*>);
  static_assert(!std::is_constructible_v<Value, wchar_t>);
  static_assert(!std::is_constructible_v<Value, long double>);
  EXPECT_EQ(Value(static_cast<const char*>(nullptr)), Value(""));
  EXPECT_TRUE(Value(nullptr).isNull());
}

TEST(Printing, IsThatOfTheTextAndOfNumbersWithAllTheirDigits) {
  std::ostringstream out;
  out << Value(0.1) << ' ' << Value(1e100) << ' ' << Value(3.25f) << ' '
      << Value(Values{"a", Oid("59.6.0.1"), true});
  EXPECT_EQ(out.str(), "0.1 1e+100 3.25 a, 59.6.0.1, True");
}

TEST(TypeName, KnowsEveryTag) {
  EXPECT_STREQ(typeName(kTagUnsignedLong), "unsigned long");
  EXPECT_STREQ(typeName(kTagGetPDU), "PDU");
  EXPECT_STREQ(typeName(kTagObjectDesc), "description");
  EXPECT_STREQ(typeName(static_cast<Tag>(13)), "unknown");
}

}  // namespace
