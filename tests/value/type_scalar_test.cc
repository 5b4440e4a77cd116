// The base value and the fourteen scalar classes: bytes, text, order, null.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "ostrel/type.h"
#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/value_table.h"

namespace {

using ostrel::test::checkRow;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::OwnedText;
using ostrel::test::OwnedValue;
using ostrel::test::row;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

// Every member of the integer family asks for its longest encoding.
constexpr unsigned kIntegerRoom = 6;

template <class T, class Number>
ValueRow number(const char* name, const char* bytes, const char* text,
                Number value) {
  return row<T>(name, bytes, text, value).needs(kIntegerRoom);
}

template <class T>
ValueRow small(const char* name, const char* bytes, const char* text,
               int value) {
  return row<T>(name, bytes, text, static_cast<decltype(T::value)>(value));
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kDoubleInfinity = std::numeric_limits<double>::infinity();

const ValueRow kRows[] = {
    row<veskType>("Null", "00", ""),
    row<veskType>("NullOfZero", "00", "", 0u),

    small<veskChar>("CharA", "01 41", "A", 'A'),
    small<veskChar>("CharZero", "01 00", "", '\0'),
    small<veskChar>("CharMinusOne", "01 FF", "\xFF", -1),
    small<veskChar>("CharLowest", "01 80", "\x80", SCHAR_MIN),
    small<veskChar>("CharHighest", "01 7F", "\x7F", SCHAR_MAX),
    row<veskChar>("CharDefault", "01 00", ""),

    small<veskShort>("ShortMinusTwo", "02 FF FE", "-2", -2),
    small<veskShort>("ShortOne", "02 00 01", "1", 1),
    small<veskShort>("ShortLowest", "02 80 00", "-32768", SHRT_MIN),
    small<veskShort>("ShortHighest", "02 7F FF", "32767", SHRT_MAX),
    row<veskShort>("ShortDefault", "02 00 00", "0"),

    number<veskInt>("IntZero", "03 00", "0", 0),
    number<veskInt>("IntOne", "03 01 01", "1", 1),
    number<veskInt>("Int255", "03 01 FF", "255", 255),
    number<veskInt>("Int256", "03 02 01 00", "256", 256),
    number<veskInt>("Int65535", "03 02 FF FF", "65535", 65535),
    number<veskInt>("Int65536", "03 03 01 00 00", "65536", 65536),
    number<veskInt>("IntThreeBytes", "03 03 FF FF FF", "16777215", 16777215),
    number<veskInt>("IntFourBytes", "03 04 01 00 00 00", "16777216", 16777216),
    number<veskInt>("IntZeroInside", "03 04 01 00 00 02", "16777218", 16777218),
    number<veskInt>("IntHighest", "03 04 7F FF FF FF", "2147483647", INT_MAX),
    number<veskInt>("IntMinusOne", "03 04 FF FF FF FF", "-1", -1),
    number<veskInt>("IntLowest", "03 04 80 00 00 00", "-2147483648", INT_MIN),
    row<veskInt>("IntDefault", "03 00", "0").needs(kIntegerRoom),

    number<veskLong>("LongZero", "04 00", "0", 0L),
    number<veskLong>("LongFive", "04 01 05", "5", 5L),
    number<veskLong>("LongMinusOne", "04 04 FF FF FF FF", "-1", -1L),
    number<veskLong>("LongHighest", "04 04 7F FF FF FF", "2147483647",
                     2147483647L),
    number<veskLong>("LongLowest", "04 04 80 00 00 00", "-2147483648",
                     -2147483647L - 1),
    row<veskLong>("LongDefault", "04 00", "0").needs(kIntegerRoom),

    row<veskFloat>("FloatOneAndAHalf", "05 3F C0 00 00", "1.500000", 1.5f),
    row<veskFloat>("FloatZero", "05 00 00 00 00", "0.000000", 0.0f),
    row<veskFloat>("FloatMinusZero", "05 80 00 00 00", "-0.000000", -0.0f),
    row<veskFloat>("FloatMinusTwo", "05 C0 00 00 00", "-2.000000", -2.0f),
    row<veskFloat>("FloatTenth", "05 3D CC CC CD", "0.100000", 0.1f),
    row<veskFloat>("FloatHighest", "05 7F 7F FF FF",
                   "340282346638528859811704183484516925440.000000",
                   std::numeric_limits<float>::max()),
    row<veskFloat>("FloatLowest", "05 FF 7F FF FF",
                   "-340282346638528859811704183484516925440.000000",
                   std::numeric_limits<float>::lowest()),
    row<veskFloat>("FloatSmallest", "05 00 00 00 01", "0.000000",
                   std::numeric_limits<float>::denorm_min()),
    row<veskFloat>("FloatInfinity", "05 7F 80 00 00", "inf", kInfinity),
    row<veskFloat>("FloatNaN", "05 7F C0 00 00", "nan",
                   std::numeric_limits<float>::quiet_NaN())
        .neverEqual(),
    row<veskFloat>("FloatDefault", "05 00 00 00 00", "0.000000"),

    row<veskDouble>("DoubleOne", "06 3F F0 00 00 00 00 00 00", "1072693248",
                    1.0),
    row<veskDouble>("DoubleZero", "06 00 00 00 00 00 00 00 00", "0", 0.0),
    row<veskDouble>("DoubleMinusTwo", "06 C0 00 00 00 00 00 00 00",
                    "-1073741824", -2.0),
    row<veskDouble>("DoubleTenth", "06 3F B9 99 99 99 99 99 9A", "1069128089",
                    0.1),
    row<veskDouble>("DoubleMinusZero", "06 80 00 00 00 00 00 00 00",
                    "-2147483648", -0.0),
    row<veskDouble>("DoubleHighest", "06 7F EF FF FF FF FF FF FF", "2146435071",
                    std::numeric_limits<double>::max()),
    row<veskDouble>("DoubleSmallest", "06 00 00 00 00 00 00 00 01", "0",
                    std::numeric_limits<double>::denorm_min()),
    row<veskDouble>("DoubleInfinity", "06 7F F0 00 00 00 00 00 00",
                    "2146435072", kDoubleInfinity),
    row<veskDouble>("DoubleNaN", "06 7F F8 00 00 00 00 00 00", "2146959360",
                    std::numeric_limits<double>::quiet_NaN())
        .neverEqual(),
    row<veskDouble>("DoubleDefault", "06 00 00 00 00 00 00 00 00", "0"),

    number<veskBool>("BoolTrue", "07 01 01", "True", 1u),
    number<veskBool>("BoolFalse", "07 00", "False", 0u),
    number<veskBool>("BoolTwo", "07 01 02", "True", 2u),
    number<veskBool>("BoolHighest", "07 04 FF FF FF FF", "True", UINT_MAX),
    row<veskBool>("BoolDefault", "07 00", "False").needs(kIntegerRoom),

    number<veskTime>("TimeZero", "0C 00", "0", 0u),
    number<veskTime>("TimeBillion", "0C 04 3B 9A CA 00", "1000000000",
                     1000000000u),
    number<veskTime>("TimeHighest", "0C 04 FF FF FF FF", "4294967295",
                     UINT_MAX),
    row<veskTime>("TimeDefault", "0C 00", "0").needs(kIntegerRoom),

    small<veskUnsignedChar>("UnsignedCharA", "41 41", "A", 'A'),
    small<veskUnsignedChar>("UnsignedCharZero", "41 00", "", 0),
    small<veskUnsignedChar>("UnsignedCharHighest", "41 FF", "\xFF", UCHAR_MAX),
    row<veskUnsignedChar>("UnsignedCharDefault", "41 00", ""),

    small<veskUnsignedShort>("UnsignedShortOne", "42 00 01", "1", 1),
    small<veskUnsignedShort>("UnsignedShortHighest", "42 FF FF", "65535",
                             USHRT_MAX),
    row<veskUnsignedShort>("UnsignedShortDefault", "42 00 00", "0"),

    number<veskUnsignedInt>("UnsignedIntZero", "43 00", "0", 0u),
    number<veskUnsignedInt>("UnsignedInt256", "43 02 01 00", "256", 256u),
    number<veskUnsignedInt>("UnsignedIntHalf", "43 04 80 00 00 00",
                            "2147483648", 0x80000000u),
    number<veskUnsignedInt>("UnsignedIntHighest", "43 04 FF FF FF FF",
                            "4294967295", 0xFFFFFFFFu),
    row<veskUnsignedInt>("UnsignedIntDefault", "43 00", "0")
        .needs(kIntegerRoom),

    number<veskUnsignedLong>("UnsignedLongZero", "44 00", "0", 0ul),
    number<veskUnsignedLong>("UnsignedLong65536", "44 03 01 00 00", "65536",
                             65536ul),
    number<veskUnsignedLong>("UnsignedLongHighest", "44 04 FF FF FF FF",
                             "4294967295", 0xFFFFFFFFul),
    row<veskUnsignedLong>("UnsignedLongDefault", "44 00", "0")
        .needs(kIntegerRoom),

    number<veskGauge>("GaugeZero", "4D 00", "0", 0u).notInFactory(),
    number<veskGauge>("GaugeHighest", "4D 04 FF FF FF FF", "4294967295",
                      UINT_MAX)
        .notInFactory(),
    row<veskGauge>("GaugeDefault", "4D 00", "0")
        .needs(kIntegerRoom)
        .notInFactory(),

    number<veskCounter>("CounterZero", "4E 00", "0", 0u).notInFactory(),
    number<veskCounter>("CounterSeventy", "4E 01 46", "70", 70u).notInFactory(),
    number<veskCounter>("CounterHighest", "4E 04 FF FF FF FF", "4294967295",
                        UINT_MAX)
        .notInFactory(),
    row<veskCounter>("CounterDefault", "4E 00", "0")
        .needs(kIntegerRoom)
        .notInFactory(),
};

class ScalarTable : public testing::TestWithParam<ValueRow> {};

TEST_P(ScalarTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, ScalarTable, testing::ValuesIn(kRows),
                         rowName);

// What holds for every scalar class alike.

template <class T>
struct Traits;

#define OSTREL_TEST_SCALAR(Class, classTag, fiveBytes) \
  template <>                                          \
  struct Traits<Class> {                               \
    static constexpr unsigned kTag = classTag;         \
    static constexpr const char* kFive = fiveBytes;    \
  }
OSTREL_TEST_SCALAR(veskChar, 1, "05");
OSTREL_TEST_SCALAR(veskShort, 2, "00 05");
OSTREL_TEST_SCALAR(veskInt, 3, "01 05");
OSTREL_TEST_SCALAR(veskLong, 4, "01 05");
OSTREL_TEST_SCALAR(veskFloat, 5, "40 A0 00 00");
OSTREL_TEST_SCALAR(veskDouble, 6, "40 14 00 00 00 00 00 00");
OSTREL_TEST_SCALAR(veskBool, 7, "01 05");
OSTREL_TEST_SCALAR(veskTime, 12, "01 05");
OSTREL_TEST_SCALAR(veskUnsignedChar, 65, "05");
OSTREL_TEST_SCALAR(veskUnsignedShort, 66, "00 05");
OSTREL_TEST_SCALAR(veskUnsignedInt, 67, "01 05");
OSTREL_TEST_SCALAR(veskUnsignedLong, 68, "01 05");
OSTREL_TEST_SCALAR(veskGauge, 77, "01 05");
OSTREL_TEST_SCALAR(veskCounter, 78, "01 05");
#undef OSTREL_TEST_SCALAR

template <class T>
class EveryScalar : public testing::Test {};

using Scalars =
    testing::Types<veskChar, veskShort, veskInt, veskLong, veskFloat,
                   veskDouble, veskBool, veskTime, veskUnsignedChar,
                   veskUnsignedShort, veskUnsignedInt, veskUnsignedLong,
                   veskGauge, veskCounter>;
TYPED_TEST_SUITE(EveryScalar, Scalars, );

TYPED_TEST(EveryScalar, HasTheTagOfItsClassAndStartsAtZero) {
  TypeParam value;
  EXPECT_EQ(value.tag, Traits<TypeParam>::kTag);
  EXPECT_EQ(value.value, 0);
  TypeParam five(5);
  EXPECT_EQ(five.tag, Traits<TypeParam>::kTag);
  EXPECT_EQ(five.value, 5);
}

TYPED_TEST(EveryScalar, BecomesNullWhenAssignedZeroAndKeepsItsValue) {
  TypeParam value(5);
  EXPECT_EQ(value == 0, 0);
  value = 0;
  EXPECT_EQ(value.tag, 0);
  EXPECT_EQ(value.value, 5);
  EXPECT_EQ(value == 0, 1);
}

TYPED_TEST(EveryScalar, TakesAPlainNumberForItsValue) {
  TypeParam value;
  const unsigned tag = value.tag;
  value = 5;
  EXPECT_EQ(value.value, 5);
  EXPECT_EQ(value.tag, tag);
  value = 7u;
  EXPECT_EQ(value.value, 7);
  value = true;
  EXPECT_EQ(value.value, 1);
  bool none = false;  // no literal, so no null pointer
  value = none;
  EXPECT_EQ(value.value, 0);
  EXPECT_EQ(value.tag, tag);
}

TYPED_TEST(EveryScalar, BecomesNullThroughTheBaseAsWell) {
  TypeParam value(5);
  veskType& base = value;
  EXPECT_EQ(base == 0, 0);
  veskType& result = (base = 0);
  EXPECT_EQ(&result, &base);
  EXPECT_EQ(value.tag, 0);
  EXPECT_EQ(value.value, 5);
  EXPECT_EQ(base == 0, 1);
  EXPECT_EQ(value == 0, 1);
}

TYPED_TEST(EveryScalar, ComparingWithAnyPointerAsksForNullOnly) {
  const int thing = 1;
  const void* pointer = &thing;
  TypeParam value(5);
  veskType& base = value;
  EXPECT_EQ(base == pointer, 0);
  EXPECT_EQ(value == pointer, 0);
  value = pointer;
  EXPECT_EQ(value.tag, 0);
  EXPECT_EQ(base == pointer, 1);
  EXPECT_EQ(value == pointer, 1);
}

TYPED_TEST(EveryScalar, NullEncodesTagZeroAndItsBody) {
  TypeParam value(5);
  value = 0;
  EXPECT_THAT(encoded(value),
              IsHex(std::string("00 ") + Traits<TypeParam>::kFive));
}

TYPED_TEST(EveryScalar, NullsOfOneClassCompareByValue) {
  TypeParam five(5);
  TypeParam alsoFive(5);
  TypeParam three(3);
  five = 0;
  alsoFive = 0;
  three = 0;
  EXPECT_EQ(five.compare(alsoFive), 0);
  EXPECT_EQ(five == alsoFive, 1);
  EXPECT_EQ(five.compare(three), 2);
  EXPECT_EQ(five == three, 0);
}

TYPED_TEST(EveryScalar, CopyOfANullHasTheTagOfItsClass) {
  TypeParam value(5);
  value = 0;
  const OwnedValue copy(value.dup());
  EXPECT_EQ(copy->tag, Traits<TypeParam>::kTag);
  EXPECT_EQ(dynamic_cast<TypeParam&>(*copy).value, 5);
}

TYPED_TEST(EveryScalar, ReturnsItselfFromAssignments) {
  TypeParam value(5);
  TypeParam other(7);
  veskType& base = value;
  EXPECT_EQ(&(base = static_cast<veskType&>(other)), &base);
  EXPECT_EQ(&(value = 0), &base);
}

TYPED_TEST(EveryScalar, KeepsItsValueWhenTheBaseIsAssigned) {
  TypeParam value(5);
  veskString text("x");
  veskType& base = value;
  base = text;
  EXPECT_EQ(value.tag, text.tag);
  EXPECT_EQ(value.value, 5);
  TypeParam other(7);
  base = static_cast<veskType&>(other);
  EXPECT_EQ(value.tag, other.tag);
  EXPECT_EQ(value.value, 5);
}

TYPED_TEST(EveryScalar, TakesTagAndValueFromAnotherOfItsClass) {
  TypeParam value(5);
  TypeParam other(7);
  value = other;
  EXPECT_EQ(value.value, 7);
  EXPECT_EQ(value.tag, other.tag);
  TypeParam built(other);
  EXPECT_EQ(built.value, 7);
  EXPECT_EQ(built.tag, other.tag);
}

TYPED_TEST(EveryScalar, OrdersByTheSignOfTheDifference) {
  TypeParam small(3);
  TypeParam large(5);
  EXPECT_EQ(small.compare(large), -2);
  EXPECT_EQ(large.compare(small), 2);
  EXPECT_EQ(small < large, 1);
  EXPECT_EQ(small > large, 0);
  EXPECT_EQ(large < small, 0);
  EXPECT_EQ(large > small, 1);
  EXPECT_EQ(small < small, 0);
  EXPECT_EQ(small > small, 0);
}

TYPED_TEST(EveryScalar, EqualsThroughEveryFormOfTheOperator) {
  TypeParam five(5);
  TypeParam alsoFive(5);
  TypeParam three(3);
  veskType& base = five;
  veskType& otherBase = alsoFive;
  EXPECT_EQ(five == alsoFive, 1);
  EXPECT_EQ(five == otherBase, 1);
  EXPECT_EQ(base == alsoFive, 1);
  EXPECT_EQ(base == otherBase, 1);
  EXPECT_EQ(five == three, 0);
  EXPECT_EQ(base == three, 0);
}

TYPED_TEST(EveryScalar, DiffersFromEveryOtherClassByOne) {
  TypeParam value(5);
  veskString text("x");
  veskOid oid("59.6");
  veskList list;
  veskType null;
  veskType* const others[] = {&text, &oid, &list, &null};
  for (veskType* other : others) {
    EXPECT_EQ(value.compare(*other), 1);
    EXPECT_EQ(other->compare(value), 1);
    EXPECT_EQ(value == *other, 0);
    EXPECT_EQ(*other == value, 0);
    EXPECT_EQ(value > *other, 1);
    EXPECT_EQ(*other > value, 1);
    EXPECT_EQ(value < *other, 0);
    EXPECT_EQ(*other < value, 0);
  }
}

TYPED_TEST(EveryScalar, IsNotReadAsAClassThatOnlySharesItsTag) {
  TypeParam value(5);
  veskString text("x");
  veskOid oid("59.6");
  veskAddress address("10.0.0.1");
  veskOpaque opaque("x", 1);
  veskType plain(value.tag);
  veskList list;
  veskType* const others[] = {&text, &oid, &address, &opaque, &plain, &list};
  for (const unsigned tag : {0u, Traits<TypeParam>::kTag, 128u}) {
    value.tag = static_cast<std::uint8_t>(tag);
    for (veskType* other : others) {
      other->tag = value.tag;
      EXPECT_EQ(value.compare(*other), 1) << "tag " << tag;
      EXPECT_EQ(value == *other, 0) << "tag " << tag;
      if (other == &plain) continue;  // compares by tag alone
      EXPECT_EQ(other->compare(value), 1) << "tag " << tag;
      EXPECT_EQ(*other == value, 0) << "tag " << tag;
    }
  }
}

TYPED_TEST(EveryScalar, DecodesNothingFromNoBytes) {
  TypeParam value(5);
  EXPECT_EQ(decodeFrom(value, hex("")), 0u);
  EXPECT_EQ(value.tag, Traits<TypeParam>::kTag);
  EXPECT_EQ(value.value, 5);
}

TYPED_TEST(EveryScalar, TakesOverTheTagAndLeavesTheValueOnATruncatedBody) {
  TypeParam value(5);
  EXPECT_EQ(decodeFrom(value, hex("63")), 0u);
  EXPECT_EQ(value.tag, 0x63);
  EXPECT_EQ(value.value, 5);
}

TYPED_TEST(EveryScalar, TakesOverAnyTagWithAWholeBody) {
  TypeParam value;
  const std::string body = Traits<TypeParam>::kFive;
  EXPECT_EQ(decodeFrom(value, hex("63 " + body)), hex(body).size() + 1);
  EXPECT_EQ(value.tag, 0x63);
  EXPECT_EQ(value.value, 5);
}

TYPED_TEST(EveryScalar, WritesItsTagEvenWhenTheBodyDoesNotFit) {
  TypeParam value(5);
  ostrel::test::ExactBuffer buffer(1);
  EXPECT_EQ(value.encode(buffer.data(), buffer.size()), 0u);
  EXPECT_EQ(static_cast<unsigned char>(buffer.data()[0]),
            Traits<TypeParam>::kTag);
}

TYPED_TEST(EveryScalar, HasPlaceholdersForGetAndSet) {
  TypeParam value(5);
  EXPECT_EQ(value.get(), nullptr);
  value.set();
  EXPECT_EQ(value.tag, Traits<TypeParam>::kTag);
  EXPECT_EQ(value.value, 5);
}

// The base value.

TEST(NullValue, HasTheTagThatItIsGivenInEightBits) {
  EXPECT_EQ(veskType().tag, 0);
  EXPECT_EQ(veskType(7u).tag, 7);
  EXPECT_EQ(veskType(0x1FFu).tag, 0xFF);
  EXPECT_EQ(veskType(0x100u).tag, 0);
}

TEST(NullValue, PlaceholdersDoNothing) {
  veskType value(9u);
  EXPECT_EQ(value.get(), nullptr);
  value.set();
  EXPECT_EQ(value.tag, 9);
}

TEST(NullValue, ComparesByTagAlone) {
  veskType three(3u);
  veskType alsoThree(3u);
  veskType four(4u);
  veskInt number(5);
  EXPECT_EQ(three.compare(alsoThree), 0);
  EXPECT_EQ(three == alsoThree, 1);
  EXPECT_EQ(three.compare(four), 1);
  EXPECT_EQ(three == four, 0);
  EXPECT_EQ(three > four, 1);
  EXPECT_EQ(four > three, 1);
  EXPECT_EQ(three < four, 0);
  EXPECT_EQ(three.compare(number), 0);
  EXPECT_EQ(number.compare(three), 1);
}

TEST(NullValue, EqualsZeroOnlyWithTagZero) {
  veskType null;
  veskType three(3u);
  EXPECT_EQ(null == 0, 1);
  EXPECT_EQ(three == 0, 0);
  three = 0;
  EXPECT_EQ(three == 0, 1);
  EXPECT_EQ(three.tag, 0);
}

TEST(NullValue, EncodesAnyTagInOneByte) {
  veskType value(0xC8u);
  EXPECT_THAT(encoded(value), IsHex("C8"));
  EXPECT_EQ(encodeInto(value, 0).used, 0u);
}

TEST(NullValue, DecodesAnyTagAndNothingElse) {
  veskType value;
  EXPECT_EQ(decodeFrom(value, hex("C8 01 02")), 1u);
  EXPECT_EQ(value.tag, 0xC8);
  EXPECT_EQ(decodeFrom(value, hex("")), 0u);
  EXPECT_EQ(value.tag, 0xC8);
  EXPECT_EQ(textOf(value), "");
}

TEST(NullValue, KeepsTagZeroInCopiesWhateverItsOwn) {
  veskType value(3u);
  const OwnedValue copy(value.dup());
  EXPECT_EQ(copy->tag, 0);
}

TEST(NullValue, KeepsTakingOnlyTheTagOnAssignment) {
  veskInt number(5);
  veskType value;
  veskType& result = (value = number);
  EXPECT_EQ(&result, &value);
  EXPECT_EQ(value.tag, 3);
}

TEST(NullValue, ReleasesThroughTheVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<veskType>);
  veskType* value = new veskString("released with its base", 0);
  delete value;
}

// Bodies.

TEST(IntegerBody, KeepsAskingForTheLargestBodyEvenForZero) {
  veskInt zero(0);
  EXPECT_EQ(encodeInto(zero, 5).used, 0u);
  EXPECT_EQ(encodeInto(zero, 6).used, 2u);
}

TEST(IntegerBody, KeepsTheLastFourBytesOfALongerNumber) {
  veskInt value;
  EXPECT_EQ(decodeFrom(value, hex("03 05 01 02 03 04 05")), 7u);
  EXPECT_EQ(value.value, 0x02030405);
}

TEST(IntegerBody, AcceptsTheLongestNumberOf255Bytes) {
  ostrel::test::Bytes bytes = hex("43 FF");
  for (unsigned i = 0; i < 255; ++i) {
    bytes.push_back(static_cast<unsigned char>(i));
  }
  veskUnsignedInt value;
  EXPECT_EQ(decodeFrom(value, bytes), 257u);
  EXPECT_EQ(value.value, 0xFBFCFDFEu);
  bytes.pop_back();
  EXPECT_EQ(decodeFrom(value, bytes), 0u);
}

TEST(IntegerBody, AcceptsLeadingZeroBytes) {
  veskUnsignedInt value;
  EXPECT_EQ(decodeFrom(value, hex("43 03 00 00 07")), 5u);
  EXPECT_EQ(value.value, 7u);
  EXPECT_THAT(encoded(value), IsHex("43 01 07"));
}

TEST(IntegerBody, KeepsNumbersWithoutSignExtension) {
  veskInt value;
  EXPECT_EQ(decodeFrom(value, hex("03 01 FF")), 3u);
  EXPECT_EQ(value.value, 255);
  veskLong longValue;
  EXPECT_EQ(decodeFrom(longValue, hex("04 02 FF FF")), 4u);
  EXPECT_EQ(longValue.value, 65535);
}

TEST(IntegerBody, FailsWhenItsLengthExceedsTheInput) {
  veskInt value(5);
  EXPECT_EQ(decodeFrom(value, hex("03 03 01 02")), 0u);
  EXPECT_EQ(value.value, 5);
  EXPECT_EQ(decodeFrom(value, hex("03 FF")), 0u);
  EXPECT_EQ(value.value, 5);
  EXPECT_EQ(decodeFrom(value, hex("03")), 0u);
  EXPECT_EQ(value.value, 5);
}

TEST(IntegerBody, AcceptsZeroWithALengthOfZero) {
  veskUnsignedLong value(9);
  EXPECT_EQ(decodeFrom(value, hex("44 00")), 2u);
  EXPECT_EQ(value.value, 0u);
}

TEST(FixedBody, ReplacesTheWholeValue) {
  veskShort value(0x1234);
  EXPECT_EQ(decodeFrom(value, hex("02 80 01")), 3u);
  EXPECT_EQ(value.value, -32767);
  veskChar character('x');
  EXPECT_EQ(decodeFrom(character, hex("01 80")), 2u);
  EXPECT_EQ(character.value, -128);
}

TEST(FixedBody, LeavesTheValueWhenItIsTruncated) {
  veskFloat single(1.5f);
  EXPECT_EQ(decodeFrom(single, hex("05 00 00 00")), 0u);
  EXPECT_EQ(single.value, 1.5f);
  veskDouble twice(1.5);
  EXPECT_EQ(decodeFrom(twice, hex("06 00 00 00 00 00 00 00")), 0u);
  EXPECT_EQ(twice.value, 1.5);
}

TEST(ForeignTag, UnsignedBytesDecodeIntoASignedObjectThatKeepsTheirTag) {
  veskInt value;
  EXPECT_EQ(decodeFrom(value, hex("43 01 05")), 3u);
  EXPECT_EQ(value.tag, 67);
  EXPECT_THAT(encoded(value), IsHex("43 01 05"));
  const OwnedValue copy(value.dup());
  EXPECT_EQ(copy->tag, 3);
}

TEST(ForeignTag, IntegersWithTheSameTagCompareByValueWhateverTheirClass) {
  veskInt decoded;
  decodeFrom(decoded, hex("43 01 05"));
  veskUnsignedInt five(5);
  veskUnsignedInt three(3);
  EXPECT_EQ(decoded.compare(five), 0);
  EXPECT_EQ(five.compare(decoded), 0);
  EXPECT_EQ(decoded == five, 1);
  EXPECT_EQ(five == decoded, 1);
  EXPECT_EQ(decoded.compare(three), 2);
  EXPECT_EQ(three.compare(decoded), -2);
  EXPECT_EQ(decoded == three, 0);
  EXPECT_EQ(three == decoded, 0);
}

TEST(ForeignTag, EveryPairOfTheIntegerFamilyComparesByValueUnderOneTag) {
  veskInt a(5);
  veskLong b(5);
  veskUnsignedInt c(5);
  veskUnsignedLong d(5);
  veskBool e(5);
  veskGauge f(5);
  veskCounter g(5);
  veskTime h(5);
  veskType* const family[] = {&a, &b, &c, &d, &e, &f, &g, &h};
  for (veskType* member : family) *member = 0;
  for (veskType* one : family) {
    for (veskType* other : family) {
      EXPECT_EQ(one->compare(*other), 0);
      EXPECT_EQ(*one == *other, 1);
    }
  }
}

TEST(ForeignTag, NullsOfDifferentKindsAreNotReadAsEachOther) {
  veskChar a(5);
  veskShort b(5);
  veskInt c(5);
  veskFloat d(5);
  veskDouble e(5);
  veskString f("5");
  veskOpaque g("5", 1);
  veskOid h("5.5");
  veskAid i("5.5");
  veskAddress j("5.5.5.5");
  veskList k;
  veskType* const kinds[] = {&a, &b, &c, &d, &e, &f, &g, &h, &i, &j, &k};
  for (veskType* kind : kinds) *kind = 0;
  for (veskType* one : kinds) {
    for (veskType* other : kinds) {
      if (one == other) continue;
      EXPECT_EQ(one->compare(*other), 1);
      EXPECT_EQ(*one == *other, 0);
    }
  }
}

// Order.

TEST(Compare, SmallIntegersGiveTheirFullDifference) {
  veskShort minusOne(-1);
  veskShort one(1);
  EXPECT_EQ(minusOne.compare(one), -2);
  veskUnsignedShort highest(65535);
  veskUnsignedShort unsignedOne(1);
  EXPECT_EQ(highest.compare(unsignedOne), 65534);
  EXPECT_EQ(unsignedOne.compare(highest), -65534);
  veskChar lowest(-128);
  veskChar top(127);
  EXPECT_EQ(lowest.compare(top), -255);
  veskUnsignedChar all(255);
  veskUnsignedChar none(0);
  EXPECT_EQ(all.compare(none), 255);
  veskShort bottom(-32768);
  veskShort ceiling(32767);
  EXPECT_EQ(bottom.compare(ceiling), -65535);
}

TEST(Compare, KeepsDifferentClassesGreaterInBothDirections) {
  veskInt number(5);
  veskLong other(5);
  EXPECT_EQ(number.compare(other), 1);
  EXPECT_EQ(other.compare(number), 1);
  EXPECT_EQ(number > other, 1);
  EXPECT_EQ(other > number, 1);
  EXPECT_EQ(number < other, 0);
  EXPECT_EQ(other < number, 0);
  EXPECT_EQ(number == other, 0);
  EXPECT_EQ(other == number, 0);
}

TEST(Compare, KeepsTheWrongOrderWhereADifferenceOverflows) {
  veskInt highest(2147483647);
  veskInt minusOne(-1);
  EXPECT_EQ(highest.compare(minusOne), INT_MIN);
  EXPECT_EQ(highest < minusOne, 1);
  EXPECT_EQ(minusOne.compare(highest), INT_MIN);
  veskUnsignedInt zero(0);
  veskUnsignedInt half(0x80000001u);
  EXPECT_EQ(zero.compare(half), 0x7FFFFFFF);
  EXPECT_EQ(zero > half, 1);
  EXPECT_EQ(half < zero, 1);
  veskLong lowest(-2147483647L - 1);
  veskLong one(1);
  EXPECT_EQ(lowest.compare(one), INT_MAX);
  veskTime late(0xFFFFFFFFu);
  veskTime early(0);
  EXPECT_EQ(late.compare(early), -1);
}

TEST(Compare, KeepsFloatsLessThanOneApartUnordered) {
  veskFloat large(1.9f);
  veskFloat small(1.0f);
  EXPECT_EQ(large.compare(small), 0);
  EXPECT_EQ(large < small, 0);
  EXPECT_EQ(large > small, 0);
  EXPECT_EQ(large == small, 0);
  veskDouble largeDouble(1.9);
  veskDouble smallDouble(1.0);
  EXPECT_EQ(largeDouble.compare(smallDouble), 0);
  EXPECT_EQ(largeDouble < smallDouble, 0);
  EXPECT_EQ(largeDouble > smallDouble, 0);
  EXPECT_EQ(largeDouble == smallDouble, 0);
}

TEST(Compare, FloatEqualityIsExact) {
  veskFloat value(1.5f);
  veskFloat same(1.5f);
  veskFloat near(1.2f);
  EXPECT_EQ(value.compare(near), 0);
  EXPECT_EQ(value == near, 0);
  EXPECT_EQ(value == same, 1);
  veskFloat zero(0.0f);
  veskFloat minusZero(-0.0f);
  EXPECT_EQ(zero == minusZero, 1);
}

TEST(Compare, DifferencesAreCutTowardZero) {
  EXPECT_EQ(veskFloat(3.9f).compare(*OwnedValue(new veskFloat(1.0f))), 2);
  EXPECT_EQ(veskFloat(1.0f).compare(*OwnedValue(new veskFloat(3.9f))), -2);
  EXPECT_EQ(veskDouble(-7.75).compare(*OwnedValue(new veskDouble(0.0))), -7);
  EXPECT_EQ(veskDouble(7.75).compare(*OwnedValue(new veskDouble(0.0))), 7);
}

TEST(Compare, FloatDifferencesAreOfSinglePrecision) {
  // 16777217 is no single-precision number; the even neighbour is.
  EXPECT_EQ(veskFloat(16777216.0f).compare(*OwnedValue(new veskFloat(-1.0f))),
            16777216);
}

TEST(Compare, DoubleDifferencesAreOfDoublePrecision) {
  // The exact difference lies just below a whole number, nearer to it than
  // to the double below.
  EXPECT_EQ(veskDouble(2147483647.0).compare(*OwnedValue(new veskDouble(1e-7))),
            2147483647);
}

TEST(Compare, FloatDifferencesOutsideAnIntGiveTheNearestInt) {
  veskFloat huge(1e20f);
  veskFloat zero(0.0f);
  EXPECT_EQ(huge.compare(zero), INT_MAX);
  EXPECT_EQ(zero.compare(huge), INT_MIN);
  EXPECT_EQ(huge > zero, 1);
  EXPECT_EQ(zero < huge, 1);
  veskFloat justOut(2147483648.0f);
  EXPECT_EQ(justOut.compare(zero), INT_MAX);
  EXPECT_EQ(zero.compare(justOut), INT_MIN);
  veskFloat infinite(kInfinity);
  veskFloat minusInfinite(-kInfinity);
  EXPECT_EQ(infinite.compare(zero), INT_MAX);
  EXPECT_EQ(minusInfinite.compare(infinite), INT_MIN);
}

TEST(Compare, DoubleDifferencesOutsideAnIntGiveTheNearestInt) {
  veskDouble zero(0.0);
  EXPECT_EQ(veskDouble(1e300).compare(zero), INT_MAX);
  EXPECT_EQ(veskDouble(-1e300).compare(zero), INT_MIN);
  EXPECT_EQ(veskDouble(2147483647.5).compare(zero), INT_MAX);
  EXPECT_EQ(veskDouble(2147483648.0).compare(zero), INT_MAX);
  EXPECT_EQ(veskDouble(2147483646.5).compare(zero), 2147483646);
  EXPECT_EQ(veskDouble(-2147483648.0).compare(zero), INT_MIN);
  EXPECT_EQ(veskDouble(-2147483648.9).compare(zero), INT_MIN);
  EXPECT_EQ(veskDouble(-2147483649.5).compare(zero), INT_MIN);
  EXPECT_EQ(veskDouble(-2147483647.5).compare(zero), -2147483647);
  EXPECT_EQ(veskDouble(kDoubleInfinity).compare(zero), INT_MAX);
  EXPECT_EQ(veskDouble(-kDoubleInfinity).compare(zero), INT_MIN);
}

TEST(Compare, NaNDifferencesAreZeroAndNeverEqual) {
  veskFloat number(1.0f);
  veskFloat nan(std::nanf(""));
  EXPECT_EQ(nan.compare(number), 0);
  EXPECT_EQ(number.compare(nan), 0);
  EXPECT_EQ(nan == nan, 0);
  EXPECT_EQ(nan == number, 0);
  veskDouble doubleNan(std::nan(""));
  EXPECT_EQ(doubleNan.compare(doubleNan), 0);
  EXPECT_EQ(doubleNan == doubleNan, 0);
  veskDouble infinite(kDoubleInfinity);
  EXPECT_EQ(infinite.compare(infinite), 0);
}

// Single classes.

TEST(Long, TakesTheLowThirtyTwoBitsOfItsArgument) {
  veskLong value(static_cast<long>(-2));
  EXPECT_EQ(value.value, -2);
  EXPECT_EQ(sizeof value.value, 4u);
  veskUnsignedLong unsignedValue(static_cast<unsigned long>(-2L));
  EXPECT_EQ(unsignedValue.value, 0xFFFFFFFEu);
  EXPECT_EQ(sizeof unsignedValue.value, 4u);
  if constexpr (sizeof(long) > 4) {
    const std::uint64_t wide = 0x123456789u;
    EXPECT_EQ(veskLong(static_cast<long>(wide)).value, 0x23456789);
    EXPECT_EQ(veskUnsignedLong(static_cast<unsigned long>(wide)).value,
              0x23456789u);
  }
}

TEST(Bool, KeepsTheNumberThatItWasGiven) {
  veskBool two(2);
  veskBool one(1);
  EXPECT_EQ(two.value, 2u);
  EXPECT_EQ(textOf(two), "True");
  EXPECT_EQ(two == one, 0);
  EXPECT_EQ(two.compare(one), 1);
  const OwnedValue copy(two.dup());
  EXPECT_EQ(dynamic_cast<veskBool&>(*copy).value, 2u);
}

TEST(Double, KeepsPrintingTheUpperHalfOfItsBits) {
  EXPECT_EQ(textOf(*OwnedValue(new veskDouble(1.0))), "1072693248");
  EXPECT_EQ(textOf(*OwnedValue(new veskDouble(0.0))), "0");
  EXPECT_EQ(textOf(*OwnedValue(new veskDouble(-2.0))), "-1073741824");
}

TEST(Char, PrintsItsByte) {
  veskChar letter('A');
  EXPECT_EQ(textOf(letter), "A");
  veskChar high(-1);
  const OwnedText text(high.getString());
  EXPECT_EQ(static_cast<unsigned char>(text.get()[0]), 0xFF);
  EXPECT_EQ(text.get()[1], '\0');
  veskUnsignedChar end(0);
  EXPECT_EQ(textOf(end), "");
}

TEST(Float, PreservesEveryBitPatternWhenDecodedEncodedAndCopied) {
  for (const char* bytes :
       {"05 7F C0 00 01", "05 FF C0 00 00", "05 7F FF FF FF", "05 00 7F FF FF",
        "05 7F 80 00 01", "05 FF A5 5A 5A"}) {
    veskFloat value;
    EXPECT_EQ(decodeFrom(value, hex(bytes)), 5u);
    EXPECT_THAT(encoded(value), IsHex(bytes));
    EXPECT_THAT(encoded(*OwnedValue(value.dup())), IsHex(bytes));
  }
  for (const char* bytes :
       {"06 7F F8 00 00 00 00 00 01", "06 7F F0 00 00 00 00 00 01",
        "06 FF F4 00 00 00 00 00 00", "06 00 0F FF FF FF FF FF FF"}) {
    veskDouble value;
    EXPECT_EQ(decodeFrom(value, hex(bytes)), 9u);
    EXPECT_THAT(encoded(value), IsHex(bytes));
    EXPECT_THAT(encoded(*OwnedValue(value.dup())), IsHex(bytes));
  }
}

TEST(Widths, AreThoseOfTheWireOnEveryMachine) {
  EXPECT_TRUE((std::is_same_v<decltype(veskType::tag), std::uint8_t>));
  EXPECT_TRUE((std::is_same_v<decltype(veskChar::value), std::int8_t>));
  EXPECT_TRUE((std::is_same_v<decltype(veskShort::value), std::int16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(veskInt::value), std::int32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(veskLong::value), std::int32_t>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(veskUnsignedChar::value), std::uint8_t>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(veskUnsignedShort::value), std::uint16_t>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(veskUnsignedInt::value), std::uint32_t>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(veskUnsignedLong::value), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(veskFloat::value), float>));
  EXPECT_TRUE((std::is_same_v<decltype(veskDouble::value), double>));
  EXPECT_TRUE((std::is_base_of_v<veskUnsignedInt, veskBool>));
  EXPECT_TRUE((std::is_base_of_v<veskUnsignedInt, veskGauge>));
  EXPECT_TRUE((std::is_base_of_v<veskUnsignedInt, veskCounter>));
  EXPECT_TRUE((std::is_base_of_v<veskUnsignedInt, veskTime>));
}

// Programs' own classes

template <class Base>
class EqualToAll : public Base {
 public:
  using Base::Base;
  int compare(veskType&) override { return 0; }
};

template <class Integer>
class OwnCompare : public testing::Test {};

using Integers =
    testing::Types<veskInt, veskLong, veskUnsignedInt, veskUnsignedLong,
                   veskBool, veskGauge, veskCounter, veskTime>;
TYPED_TEST_SUITE(OwnCompare, Integers);

TYPED_TEST(OwnCompare, LeavesEqualityToTheValues) {
  EqualToAll<TypeParam> five(5);
  TypeParam alike(5);
  TypeParam other(6);
  veskString text("5");
  EXPECT_EQ(five.operator==(static_cast<veskType&>(alike)), 1);
  EXPECT_EQ(five.operator==(static_cast<veskType&>(other)), 0);
  EXPECT_EQ(five.operator==(static_cast<veskType&>(text)), 0);
}

// Where a virtual operation stands in the table of its class: both destructors
// come first.
template <class Operation>
std::ptrdiff_t slotOf(Operation operation) {
  std::ptrdiff_t offset = 0;
  std::memcpy(&offset, &operation, sizeof offset);
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(Value, HasItsVirtualOperationsInTheirOrder) {
  using Ask = int (veskType::*)(veskType&);
  using Code = unsigned (veskType::*)(char*, unsigned);
  EXPECT_EQ(slotOf(Ask(&veskType::compare)), 2);
  EXPECT_EQ(slotOf(Ask(&veskType::operator==)), 3);
  EXPECT_EQ(slotOf(Ask(&veskType::operator<)), 4);
  EXPECT_EQ(slotOf(Ask(&veskType::operator>)), 5);
  EXPECT_EQ(slotOf(Code(&veskType::encode)), 6);
  EXPECT_EQ(slotOf(Code(&veskType::decode)), 7);
  EXPECT_EQ(slotOf(&veskType::getString), 8);
  EXPECT_EQ(slotOf(&veskType::dup), 9);
  EXPECT_EQ(slotOf(&veskPDU::clear), 10);
}

}  // namespace
