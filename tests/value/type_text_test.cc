// Strings, opaques and addresses: bytes, text, equality, and whose memory.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/value_table.h"

namespace {

using ostrel::test::Bytes;
using ostrel::test::checkRow;
using ostrel::test::decodeFrom;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::OwnedText;
using ostrel::test::OwnedValue;
using ostrel::test::repeated;
using ostrel::test::row;
using ostrel::test::rowFrom;
using ostrel::test::rowName;
using ostrel::test::textOf;
using ostrel::test::ValueRow;

// Tag and the room that the length asks for.
constexpr unsigned kCountedRoom = 7;

ValueRow opaque(const char* name, const char* bytes, const char* text,
                const char* content) {
  return rowFrom<veskOpaque>(name, bytes, text,
                             [content]() -> veskType* {
                               const Bytes held = hex(content);
                               return new veskOpaque(
                                   held.data(),
                                   static_cast<unsigned>(held.size()));
                             })
      .neverEqual();
}

std::string longText() { return std::string(300, 'z'); }

std::string longBytes(const char* head) {
  return head + toHex(repeated(hex("7A"), 300));
}

std::string longHexText() {
  std::string result;
  for (int i = 0; i < 300; ++i) result += "7a ";
  return result;
}

const ValueRow kRows[] = {
    row<veskString>("StringAbc", "09 43 01 03 61 62 63", "abc", "abc", 0u),
    row<veskString>("StringEmpty", "09 43 00", "", "", 0u).needs(kCountedRoom),
    row<veskString>("StringOfOne", "09 43 01 01 61", "a", "a", 0u)
        .needs(kCountedRoom),
    row<veskString>("StringOfFour", "09 43 01 04 61 62 63 64", "abcd", "abcd",
                    0u),
    row<veskString>("StringCut", "09 43 01 02 61 62", "ab", "abc", 2u)
        .needs(kCountedRoom),
    row<veskString>("StringWithNul", "09 43 01 03 61 00 78", "a", "a\0x", 3u),
    row<veskString>("StringOfHighBytes", "09 43 01 02 FF 80", "\xFF\x80",
                    "\xFF\x80", 0u)
        .needs(kCountedRoom),
    rowFrom<veskString>("StringOf300", longBytes("09 43 02 01 2C "), longText(),
                        [] { return new veskString(longText().c_str(), 0); }),
    row<veskString>("StringDefault", "09 43 00", "").needs(kCountedRoom),

    opaque("OpaqueTwo", "08 43 01 02 01 FF", "01 ff ", "01 FF")
        .needs(kCountedRoom),
    opaque("OpaqueThree", "08 43 01 03 00 0A A0", "00 0a a0 ", "00 0A A0"),
    opaque("OpaqueOfNuls", "08 43 01 04 00 00 00 00", "00 00 00 00 ",
           "00 00 00 00"),
    opaque("OpaqueEmpty", "08 43 00", "", "").needs(kCountedRoom),
    rowFrom<veskOpaque>("OpaqueOf300", longBytes("08 43 02 01 2C "),
                        longHexText(),
                        [] { return new veskOpaque(longText().data(), 300); })
        .neverEqual(),
    row<veskOpaque>("OpaqueDefault", "08 43 00", "")
        .needs(kCountedRoom)
        .neverEqual(),

    row<veskAddress>("AddressTen", "0F 02 0A 00 00 01", "10.0.0.1", "10.0.0.1"),
    row<veskAddress>("AddressZero", "0F 02 00 00 00 00", "0.0.0.0", "0.0.0.0"),
    row<veskAddress>("AddressHighest", "0F 02 FF FF FF FF", "255.255.255.255",
                     "255.255.255.255"),
    row<veskAddress>("AddressOfAName", "0F 00", "", "localhost"),
    row<veskAddress>("AddressDefault", "0F 00", ""),
};

class TextTable : public testing::TestWithParam<ValueRow> {};

TEST_P(TextTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, TextTable, testing::ValuesIn(kRows), rowName);

std::string held(veskString& value) {
  unsigned length = 99;
  const char* text = value.get(&length);
  return length == 0 ? std::string() : std::string(text, length);
}

Bytes held(veskOpaque& value) {
  unsigned length = 99;
  const char* bytes = value.get(&length);
  Bytes result(length);
  if (length != 0) std::memcpy(result.data(), bytes, length);
  return result;
}

// Strings.

TEST(String, StartsEmptyWithoutABuffer) {
  veskString value;
  EXPECT_EQ(value.tag, 9);
  EXPECT_EQ(value.length.tag, 67);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.capacity, 0u);
  EXPECT_EQ(value.text, nullptr);
  unsigned length = 7;
  EXPECT_EQ(value.get(&length), nullptr);
  EXPECT_EQ(length, 0u);
}

TEST(String, TakesTheLengthOfTheTextForZero) {
  veskString value;
  value.set("abc", 0);
  EXPECT_EQ(held(value), "abc");
  EXPECT_EQ(value.capacity, 3u);
  value.set("", 0);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.capacity, 3u);
}

TEST(String, IsMadeWithABufferOfItsLength) {
  veskString value("abc");
  EXPECT_EQ(held(value), "abc");
  EXPECT_EQ(value.capacity, 3u);
  for (const char* text : {"", static_cast<const char*>(nullptr)}) {
    veskString empty(text);
    EXPECT_EQ(empty.length.value, 0u);
    EXPECT_EQ(empty.capacity, 0u);
    EXPECT_EQ(empty.text, nullptr);
  }
}

TEST(String, TakesAsManyCharactersAsItIsTold) {
  veskString value("abc", 2);
  EXPECT_EQ(held(value), "ab");
  value.set("a\0x", 3);
  EXPECT_EQ(held(value), std::string("a\0x", 3));
}

TEST(String, NullEmptiesItWithoutFreeingTheBuffer) {
  veskString value("abc", 0);
  const char* buffer = value.text;
  value.set(nullptr, 5);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.text, buffer);
  EXPECT_EQ(value.capacity, 3u);
  value = "abc";
  value = nullptr;
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.text, buffer);
  value = "abc";
  value = 0;
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.tag, 9);
  const char* none = nullptr;
  EXPECT_EQ(veskString(none, 5).length.value, 0u);
}

TEST(String, ReusesABufferThatIsLargeEnough) {
  veskString value("abcdef", 0);
  const char* buffer = value.text;
  value = "xy";
  EXPECT_EQ(value.text, buffer);
  EXPECT_EQ(value.capacity, 6u);
  value = "uvwxyz";
  EXPECT_EQ(value.text, buffer);
  EXPECT_EQ(held(value), "uvwxyz");
}

TEST(String, AllocatesExactlyWhatALongerTextNeeds) {
  veskString value("ab", 0);
  value = "abcdefg";
  EXPECT_EQ(value.capacity, 7u);
  EXPECT_EQ(held(value), "abcdefg");
}

TEST(String, MayBeSetFromItsOwnCharacters) {
  veskString value("abcdef", 0);
  value.set(value.text + 2, 4);
  EXPECT_EQ(held(value), "cdef");
  veskString& alias = value;
  value = alias;
  EXPECT_EQ(held(value), "cdef");
}

TEST(String, AssignmentCopiesTheCharacters) {
  veskString source("a\0x", 3);
  veskString target("previous", 0);
  EXPECT_EQ(&(target = source), &target);
  EXPECT_EQ(held(target), std::string("a\0x", 3));
  EXPECT_NE(target.text, source.text);
  EXPECT_EQ(target.capacity, 8u);
  veskString empty;
  target = empty;
  EXPECT_EQ(target.length.value, 0u);
  EXPECT_EQ(target.capacity, 8u);
  EXPECT_EQ(&(target = "new"), &target);
  EXPECT_EQ(held(target), "new");
}

TEST(String, CopyConstructionCopiesTheCharacters) {
  veskString source("abc", 0);
  veskString copy(source);
  EXPECT_EQ(held(copy), "abc");
  EXPECT_NE(copy.text, source.text);
}

TEST(String, GetAcceptsNoPlaceForTheLength) {
  veskString value("abc", 0);
  EXPECT_EQ(value.get(nullptr), value.text);
}

TEST(String, EqualityAsksForLengthAndBytes) {
  veskString abc("abc", 0);
  veskString same("abc", 0);
  veskString abd("abd", 0);
  veskString ab("ab", 0);
  veskString empty;
  veskString emptied("x", 0);
  emptied.set(nullptr, 0);
  EXPECT_EQ(abc == same, 1);
  EXPECT_EQ(abc == abd, 0);
  EXPECT_EQ(abc == ab, 0);
  EXPECT_EQ(abc == empty, 0);
  EXPECT_EQ(empty == emptied, 1);
  EXPECT_EQ(abc == static_cast<veskType&>(same), 1);
  EXPECT_EQ(abc == static_cast<veskType&>(abd), 0);
}

TEST(String, EqualityWithTextAsksForLengthAndBytes) {
  veskString abc("abc", 0);
  EXPECT_EQ(abc == "abc", 1);
  EXPECT_EQ(abc == "abd", 0);
  EXPECT_EQ(abc == "ab", 0);
  EXPECT_EQ(abc == "abcd", 0);
  veskString withNul("a\0x", 3);
  EXPECT_EQ(withNul == "a", 0);
  veskString empty;
  EXPECT_EQ(empty == "", 1);
  EXPECT_EQ(empty == "a", 0);
}

TEST(String, NoTextEqualsNull) {
  const char* none = nullptr;
  veskString empty;
  veskString abc("abc", 0);
  EXPECT_EQ(empty == none, 0);
  EXPECT_EQ(abc == none, 0);
}

TEST(String, OrdersTextOfTheSameLengthByBytes) {
  veskString abc("abc", 0);
  veskString abd("abd", 0);
  veskString high("ab\xFF", 0);
  EXPECT_LT(abc.compare(abd), 0);
  EXPECT_GT(abd.compare(abc), 0);
  EXPECT_LT(abd.compare(high), 0);
  EXPECT_EQ(abc < abd, 1);
  EXPECT_EQ(abc > abd, 0);
  EXPECT_EQ(abc.compare(abc), 0);
}

TEST(String, OrdersAPrefixBeforeTheLongerText) {
  veskString ab("ab", 0);
  veskString abc("abc", 0);
  veskString b("b", 0);
  veskString empty;
  EXPECT_EQ(ab.compare(abc), -1);
  EXPECT_EQ(abc.compare(ab), 1);
  EXPECT_GT(b.compare(abc), 0);
  EXPECT_LT(abc.compare(b), 0);
  EXPECT_EQ(empty.compare(ab), -1);
  EXPECT_EQ(ab.compare(empty), 1);
  EXPECT_EQ(empty.compare(empty), 0);
}

TEST(String, KeepsIgnoringBytesAfterANulInCompare) {
  veskString x("a\0x", 3);
  veskString y("a\0y", 3);
  EXPECT_EQ(x.compare(y), 0);
  EXPECT_EQ(x == y, 0);
  EXPECT_EQ(x == static_cast<veskType&>(y), 0);
  veskString longer("a\0yy", 4);
  EXPECT_EQ(x.compare(longer), -1);
  EXPECT_EQ(longer.compare(x), 1);
}

TEST(String, PrintsAllItsBytesAndANul) {
  veskString value("a\0x", 3);
  const OwnedText text(value.getString());
  EXPECT_EQ(std::memcmp(text.get(), "a\0x\0", 4), 0);
}

TEST(String, CopyOfAnEmptyOneIsEmpty) {
  veskString emptied("abc", 0);
  emptied.set(nullptr, 0);
  const OwnedValue copy(emptied.dup());
  veskString& string = dynamic_cast<veskString&>(*copy);
  EXPECT_EQ(string.length.value, 0u);
  EXPECT_EQ(string.capacity, 0u);
  EXPECT_EQ(string.text, nullptr);
}

TEST(String, NullThroughTheBaseKeepsTheText) {
  veskString value("abc", 0);
  veskType& base = value;
  base = 0;
  EXPECT_EQ(base == 0, 1);
  EXPECT_EQ(held(value), "abc");
  EXPECT_THAT(encoded(value), IsHex("00 43 01 03 61 62 63"));
  const OwnedValue copy(value.dup());
  EXPECT_EQ(copy->tag, 9);
}

TEST(String, EncodesWithRoomForTheLongestLength) {
  veskString empty;
  EXPECT_EQ(encodeInto(empty, 6).used, 0u);
  EXPECT_EQ(encodeInto(empty, 7).used, 3u);
  veskString five("abcde", 0);
  EXPECT_EQ(encodeInto(five, 8).used, 0u);
  EXPECT_EQ(encodeInto(five, 9).used, 9u);
}

TEST(String, DecodesIntoABufferThatIsLargeEnough) {
  veskString value("abcdef", 0);
  const char* buffer = value.text;
  EXPECT_EQ(decodeFrom(value, hex("09 43 01 03 78 79 7A")), 7u);
  EXPECT_EQ(value.text, buffer);
  EXPECT_EQ(value.capacity, 6u);
  EXPECT_EQ(held(value), "xyz");
  EXPECT_EQ(decodeFrom(value, hex("09 43 01 07 31 32 33 34 35 36 37")), 11u);
  EXPECT_EQ(value.capacity, 7u);
  EXPECT_EQ(held(value), "1234567");
  EXPECT_EQ(decodeFrom(value, hex("09 43 00")), 3u);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.capacity, 7u);
}

TEST(String, AcceptsALengthWithAnyTagAndKeepsIt) {
  veskString value;
  EXPECT_EQ(decodeFrom(value, hex("09 03 01 02 61 62")), 6u);
  EXPECT_EQ(held(value), "ab");
  EXPECT_EQ(value.length.tag, 3);
  EXPECT_THAT(encoded(value), IsHex("09 03 01 02 61 62"));
  veskString native("ab", 0);
  EXPECT_EQ(value == native, 1);
  EXPECT_EQ(value.compare(native), 0);
}

TEST(String, AcceptsALengthOfMoreThanFourBytes) {
  veskString value;
  EXPECT_EQ(decodeFrom(value, hex("09 43 05 FF 00 00 00 01 61")), 9u);
  EXPECT_EQ(held(value), "a");
}

TEST(String, FailedDecodeStoresTheLengthAndLeavesTheBuffer) {
  veskString value("abc", 0);
  const char* buffer = value.text;
  EXPECT_EQ(decodeFrom(value, hex("09 43 01 05 78 78")), 0u);
  EXPECT_EQ(value.length.value, 5u);
  EXPECT_EQ(value.capacity, 3u);
  EXPECT_EQ(value.text, buffer);
  EXPECT_EQ(std::memcmp(value.text, "abc", 3), 0);
}

// A value after a failed decode claims more than it holds.
template <class Counted>
void useAfterFailedDecode(Counted& value) {
  Counted other;
  value.compare(other);
  other.compare(value);
  static_cast<void>(value == other);
  static_cast<void>(other == value);
  EXPECT_EQ(encodeInto(value, 4096).used, 0u);
  textOf(value);
  other = value;
  const OwnedValue copy(value.dup());
  textOf(*copy);
}

TEST(String, StaysWithinItsBufferAfterAFailedDecode) {
  for (const char* bytes :
       {"09 43 01 05 78 78", "09 43 02 02 00", "09 43 04 FF FF FF FF 61"}) {
    veskString fresh;
    EXPECT_EQ(decodeFrom(fresh, hex(bytes)), 0u);
    useAfterFailedDecode(fresh);
    veskString value("abc", 0);
    EXPECT_EQ(decodeFrom(value, hex(bytes)), 0u);
    useAfterFailedDecode(value);
    value = "a longer text than before";
    EXPECT_EQ(held(value), "a longer text than before");
    EXPECT_EQ(decodeFrom(value, hex("09 43 01 01 61")), 5u);
    EXPECT_EQ(held(value), "a");
  }
}

TEST(String, ClaimedLengthAllocatesNothing) {
  veskString value;
  EXPECT_EQ(decodeFrom(value, hex("09 43 04 FF FF FF FF")), 0u);
  EXPECT_EQ(value.capacity, 0u);
  EXPECT_EQ(value.text, nullptr);
}

// Opaques.

TEST(Opaque, StartsEmptyWithoutABuffer) {
  veskOpaque value;
  EXPECT_EQ(value.tag, 8);
  EXPECT_EQ(value.length.tag, 67);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(value.bytes, nullptr);
  unsigned length = 7;
  EXPECT_EQ(value.get(&length), nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(value.get(nullptr), nullptr);
}

TEST(Opaque, HoldsACopyOfTheBytes) {
  unsigned char source[] = {1, 0, 0xFF};
  veskOpaque value(source, 3);
  source[0] = 9;
  EXPECT_THAT(held(value), IsHex("01 00 FF"));
  value.set(source, 1);
  EXPECT_THAT(held(value), IsHex("09"));
  value.set(source, 0);
  EXPECT_THAT(held(value), IsHex(""));
}

TEST(Opaque, GrowsAndShrinksSafely) {
  veskOpaque value;
  for (const unsigned size : {10u, 2u, 8u, 9u, 0u, 1u, 300u, 299u, 300u}) {
    const Bytes content = repeated(hex("5A"), size);
    value.set(content.data(), size);
    EXPECT_EQ(held(value), content);
  }
}

TEST(Opaque, NullEmptiesIt) {
  veskOpaque value("abc", 3);
  value.set(nullptr, 5);
  EXPECT_EQ(value.length.value, 0u);
  EXPECT_EQ(veskOpaque(nullptr, 5).length.value, 0u);
}

TEST(Opaque, MayBeSetFromItsOwnBytes) {
  veskOpaque value("abcdef", 6);
  value.set(value.bytes + 2, 4);
  EXPECT_THAT(held(value), IsHex("63 64 65 66"));
  veskOpaque& alias = value;
  value = alias;
  EXPECT_THAT(held(value), IsHex("63 64 65 66"));
}

TEST(Opaque, AssignmentAndCopiesCopyTheBytes) {
  veskOpaque source("ab", 2);
  veskOpaque target("previous", 8);
  EXPECT_EQ(&(target = source), &target);
  EXPECT_THAT(held(target), IsHex("61 62"));
  EXPECT_NE(target.bytes, source.bytes);
  veskOpaque copy(source);
  EXPECT_THAT(held(copy), IsHex("61 62"));
  EXPECT_NE(copy.bytes, source.bytes);
  veskOpaque empty;
  target = empty;
  EXPECT_EQ(target.length.value, 0u);
}

TEST(Opaque, KeepsTheInvertedEquality) {
  veskOpaque one("\x01", 1);
  veskOpaque same("\x01", 1);
  veskOpaque two("\x02", 1);
  veskOpaque longer("\x01\x01", 2);
  veskOpaque empty;
  veskOpaque alsoEmpty;
  EXPECT_EQ(one == same, 0);
  EXPECT_EQ(one == two, 1);
  EXPECT_EQ(one == longer, 0);
  EXPECT_EQ(one == one, 0);
  EXPECT_EQ(empty == alsoEmpty, 0);
  EXPECT_EQ(empty == one, 0);
}

TEST(Opaque, KeepsAnyTwoUnequalThroughTheBase) {
  veskOpaque one("\x01", 1);
  veskOpaque same("\x01", 1);
  veskOpaque two("\x02", 1);
  veskType& base = one;
  EXPECT_EQ(base == static_cast<veskType&>(same), 0);
  EXPECT_EQ(base == static_cast<veskType&>(two), 0);
  EXPECT_EQ(base == static_cast<veskType&>(one), 0);
}

TEST(Opaque, ComparesAllBytesNulsToo) {
  veskOpaque x("a\0x", 3);
  veskOpaque y("a\0y", 3);
  veskOpaque same("a\0x", 3);
  veskOpaque prefix("a\0", 2);
  veskOpaque empty;
  EXPECT_EQ(x.compare(same), 0);
  EXPECT_NE(x.compare(y), 0);
  EXPECT_NE(y.compare(x), 0);
  EXPECT_EQ(prefix.compare(x), -1);
  EXPECT_EQ(x.compare(prefix), 1);
  EXPECT_EQ(empty.compare(x), -1);
  EXPECT_EQ(x.compare(empty), 1);
  EXPECT_EQ(empty.compare(empty), 0);
  veskOpaque other("b", 1);
  EXPECT_NE(other.compare(x), 0);
}

TEST(Opaque, PrintsLowerCaseHexWithASpaceAfterEachByte) {
  veskOpaque value("\x01\xFF", 2);
  EXPECT_EQ(textOf(value), "01 ff ");
}

TEST(Opaque, BecomesNullWhenAssignedZeroAndKeepsItsBytes) {
  veskOpaque value("ab", 2);
  EXPECT_EQ(value == 0, 0);
  value = 0;
  EXPECT_EQ(value == 0, 1);
  EXPECT_EQ(value.tag, 0);
  EXPECT_THAT(encoded(value), IsHex("00 43 01 02 61 62"));
}

TEST(Opaque, DecodesOverLongerAndShorterContents) {
  veskOpaque value("abcdef", 6);
  EXPECT_EQ(decodeFrom(value, hex("08 43 01 02 01 02")), 6u);
  EXPECT_THAT(held(value), IsHex("01 02"));
  EXPECT_EQ(decodeFrom(value, hex("08 43 01 04 01 02 03 04")), 8u);
  EXPECT_THAT(held(value), IsHex("01 02 03 04"));
  EXPECT_EQ(decodeFrom(value, hex("08 43 01 08 01 02 03 04 05 06 07 08")), 12u);
  EXPECT_THAT(held(value), IsHex("01 02 03 04 05 06 07 08"));
  EXPECT_EQ(decodeFrom(value, hex("08 43 00")), 3u);
  EXPECT_THAT(held(value), IsHex(""));
}

TEST(Opaque, AcceptsALengthWithAnyTag) {
  veskOpaque value;
  EXPECT_EQ(decodeFrom(value, hex("08 4D 01 02 61 62")), 6u);
  EXPECT_THAT(held(value), IsHex("61 62"));
}

TEST(Opaque, FailedDecodeStoresTheLengthAndLeavesTheBuffer) {
  veskOpaque value("abc", 3);
  const char* buffer = value.bytes;
  EXPECT_EQ(decodeFrom(value, hex("08 43 01 05 78 78")), 0u);
  EXPECT_EQ(value.length.value, 5u);
  EXPECT_EQ(value.bytes, buffer);
}

TEST(Opaque, StaysWithinItsBufferAfterAFailedDecode) {
  for (const char* bytes :
       {"08 43 01 05 78 78", "08 43 02 02 00", "08 43 04 FF FF FF FF 61"}) {
    veskOpaque fresh;
    EXPECT_EQ(decodeFrom(fresh, hex(bytes)), 0u);
    useAfterFailedDecode(fresh);
    veskOpaque value("abc", 3);
    EXPECT_EQ(decodeFrom(value, hex(bytes)), 0u);
    useAfterFailedDecode(value);
    value.set("a longer run", 12);
    EXPECT_EQ(held(value).size(), 12u);
    EXPECT_EQ(decodeFrom(value, hex(bytes)), 0u);
    EXPECT_EQ(decodeFrom(value, hex("08 43 01 0D 31 32 33 34 35 36 37 38 39 "
                                    "30 31 32 33")),
              17u);
    EXPECT_EQ(held(value).size(), 13u);
  }
}

// Addresses.

TEST(Address, StartsWithoutAnAddress) {
  veskAddress value;
  EXPECT_EQ(value.tag, 15);
  EXPECT_EQ(value.family, 0);
  EXPECT_EQ(value.addr, nullptr);
  unsigned family = 7;
  EXPECT_EQ(value.get(&family), nullptr);
  EXPECT_EQ(family, 0u);
}

TEST(Address, IsFourDecimalNumbersWithDotsBetween) {
  for (const char* text :
       {"10.0.0.1", "0.0.0.0", "255.255.255.255", "1.20.200.9"}) {
    SCOPED_TRACE(text);
    veskAddress value(text);
    EXPECT_EQ(value.family, 2);
    EXPECT_EQ(textOf(value), text);
  }
}

TEST(Address, IsNoneForAnyOtherText) {
  for (const char* text : {"",
                           "localhost",
                           "10",
                           "10.1",
                           "10.0.1",
                           "10.0.0.0.1",
                           "256.0.0.1",
                           "10.0.0.256",
                           "10.0.0.1000",
                           "10..0.1",
                           ".10.0.0.1",
                           "10.0.0.1.",
                           "10.0.0.",
                           "10.0.0.1 ",
                           " 10.0.0.1",
                           "10.0.0.1\n",
                           "10. 0.0.1",
                           "+10.0.0.1",
                           "-1.0.0.1",
                           "10.0.0.-1",
                           "0x0A.0.0.1",
                           "0xA000001",
                           "a.b.c.d",
                           "10.0.0.1x",
                           "10,0,0,1",
                           "4294967306.0.0.1",
                           "::1",
                           "::ffff:10.0.0.1",
                           "10.0.0.1/8",
                           "..."}) {
    SCOPED_TRACE(text);
    veskAddress value("10.0.0.1");
    value = text;
    EXPECT_EQ(value.family, 0);
    EXPECT_EQ(value.addr, nullptr);
    EXPECT_EQ(textOf(value), "");
  }
}

TEST(Address, NullTextClearsIt) {
  veskAddress value("10.0.0.1");
  const char* none = nullptr;
  value.set(none);
  EXPECT_EQ(value.family, 0);
  EXPECT_EQ(value.addr, nullptr);
  value = "10.0.0.1";
  value = none;
  EXPECT_EQ(value.addr, nullptr);
  value = "10.0.0.1";
  value = 0;
  EXPECT_EQ(value.addr, nullptr);
  EXPECT_EQ(value.tag, 15);
  EXPECT_EQ(veskAddress(none).family, 0);
  EXPECT_EQ(veskAddress() == none, 1);
  EXPECT_EQ(veskAddress("10.0.0.1") == none, 0);
}

TEST(Address, TakesAnAddressInNetworkOrder) {
  in_addr address;
  address.s_addr = htonl(0x0A000001);
  veskAddress value(address);
  EXPECT_EQ(textOf(value), "10.0.0.1");
  unsigned family = 0;
  ASSERT_NE(value.get(&family), nullptr);
  EXPECT_EQ(family, 2u);
  EXPECT_EQ(value.get(nullptr)->s_addr, address.s_addr);
  EXPECT_NE(value.addr, &address);
  const in_addr* storage = value.addr;
  address.s_addr = htonl(0x0A000002);
  value = address;
  EXPECT_EQ(value.addr, storage);
  EXPECT_EQ(textOf(value), "10.0.0.2");
  veskAddress other;
  other.set(address);
  EXPECT_EQ(other == value, 1);
}

TEST(Address, CopiesFamilyAndAddress) {
  veskAddress source("10.0.0.1");
  veskAddress target;
  EXPECT_EQ(&(target = source), &target);
  EXPECT_EQ(textOf(target), "10.0.0.1");
  EXPECT_NE(target.addr, source.addr);
  veskAddress built(source);
  EXPECT_EQ(textOf(built), "10.0.0.1");
  EXPECT_NE(built.addr, source.addr);
  veskAddress none;
  target.set(none);
  EXPECT_EQ(target.family, 0);
  EXPECT_EQ(target.addr, nullptr);
  veskAddress& alias = source;
  source = alias;
  EXPECT_EQ(textOf(source), "10.0.0.1");
}

TEST(Address, CopiesOnlyTheFamilyOfAnUnknownOne) {
  veskAddress unknown("10.0.0.9");
  unknown.family = 7;
  veskAddress target("10.0.0.1");
  target = unknown;
  EXPECT_EQ(target.family, 7);
  ASSERT_NE(target.addr, nullptr);
  EXPECT_EQ(target.addr->s_addr, htonl(0x0A000001));
  const OwnedValue copy(unknown.dup());
  EXPECT_EQ(dynamic_cast<veskAddress&>(*copy).family, 7);
}

TEST(Address, EqualityComparesFamilyAndAddress) {
  veskAddress one("10.0.0.1");
  veskAddress same("10.0.0.1");
  veskAddress two("10.0.0.2");
  veskAddress none;
  veskAddress alsoNone;
  EXPECT_EQ(one == same, 1);
  EXPECT_EQ(one == two, 0);
  EXPECT_EQ(one == none, 0);
  EXPECT_EQ(none == one, 0);
  EXPECT_EQ(none == alsoNone, 1);
  EXPECT_EQ(one == static_cast<veskType&>(same), 1);
  EXPECT_EQ(one == static_cast<veskType&>(two), 0);
  EXPECT_EQ(none == static_cast<veskType&>(alsoNone), 1);
}

TEST(Address, OfAnUnknownFamilyEqualsNothing) {
  veskAddress one("10.0.0.1");
  veskAddress other("10.0.0.1");
  one.family = 7;
  other.family = 7;
  EXPECT_EQ(one == other, 0);
  EXPECT_EQ(one == one, 0);
}

TEST(Address, EqualityWithTextReadsTheText) {
  veskAddress one("10.0.0.1");
  EXPECT_EQ(one == "10.0.0.1", 1);
  EXPECT_EQ(one == "10.0.0.2", 0);
  EXPECT_EQ(one == "localhost", 0);
}

TEST(Address, KeepsNoAddressEqualToEveryTextThatIsNone) {
  veskAddress none;
  EXPECT_EQ(none == "localhost", 1);
  EXPECT_EQ(none == "another.name", 1);
  EXPECT_EQ(none == "", 1);
  EXPECT_EQ(none == "10.0.0.1", 0);
}

TEST(Address, ComparesAsNumbersOnEveryMachine) {
  veskAddress low("10.0.0.1");
  veskAddress next("10.0.0.2");
  veskAddress firstByte("11.0.0.0");
  veskAddress zero("0.0.0.0");
  veskAddress highest("255.255.255.255");
  veskAddress half("128.0.0.0");
  EXPECT_EQ(low.compare(next), -1);
  EXPECT_EQ(next.compare(low), 1);
  EXPECT_EQ(firstByte.compare(low), 0x00FFFFFF);
  EXPECT_EQ(low < firstByte, 1);
  EXPECT_EQ(firstByte > low, 1);
  EXPECT_EQ(low.compare(low), 0);
  EXPECT_EQ(highest.compare(zero), -1);
  EXPECT_EQ(zero.compare(highest), 1);
  EXPECT_EQ(half.compare(zero), INT_MIN);
}

TEST(Address, ComparesFamiliesFirst) {
  veskAddress none;
  veskAddress alsoNone;
  veskAddress one("10.0.0.1");
  veskAddress unknown;
  unknown.family = 200;
  EXPECT_EQ(none.compare(alsoNone), 0);
  EXPECT_EQ(none.compare(one), -2);
  EXPECT_EQ(one.compare(none), 2);
  EXPECT_EQ(unknown.compare(one), 198);
  EXPECT_EQ(one.compare(unknown), -198);
}

TEST(Address, NeitherEncodesNorPrintsAnUnknownFamily) {
  veskAddress value("10.0.0.1");
  value.family = 7;
  EXPECT_EQ(encodeInto(value, 100).used, 0u);
  EXPECT_TRUE(OwnedText(value.getString()).isNull());
}

TEST(Address, DecodeOfAnUnknownFamilyStoresItAndFails) {
  veskAddress value("10.0.0.1");
  EXPECT_EQ(decodeFrom(value, hex("0F 07 01 02 03 04")), 0u);
  EXPECT_EQ(value.family, 7);
  EXPECT_EQ(decodeFrom(value, hex("0F 07")), 0u);
}

TEST(Address, DecodesIntoNewStorageAndFreesTheOld) {
  veskAddress value("10.0.0.1");
  const in_addr* const old = value.addr;
  EXPECT_EQ(decodeFrom(value, hex("0F 02 C0 00 02 01")), 6u);
  EXPECT_NE(value.addr, old);
  EXPECT_EQ(textOf(value), "192.0.2.1");
  EXPECT_EQ(decodeFrom(value, hex("0F 02 C0 00 02 02")), 6u);
  EXPECT_EQ(textOf(value), "192.0.2.2");
  EXPECT_EQ(decodeFrom(value, hex("0F 00")), 2u);
  EXPECT_EQ(value.addr, nullptr);
}

TEST(Address, FailsOnATruncatedAddress) {
  EXPECT_EQ(decodeFrom(*OwnedValue(new veskAddress), hex("0F 02 0A 00")), 0u);
  EXPECT_EQ(decodeFrom(*OwnedValue(new veskAddress), hex("0F 02 0A 00 00")),
            0u);
  EXPECT_EQ(decodeFrom(*OwnedValue(new veskAddress), hex("0F")), 0u);
}

TEST(Address, WithoutStorageIsSafeAfterAFailedDecode) {
  veskAddress value;
  EXPECT_EQ(decodeFrom(value, hex("0F 02 0A 00")), 0u);
  EXPECT_EQ(value.family, 2);
  EXPECT_EQ(value.addr, nullptr);
  EXPECT_EQ(encodeInto(value, 100).used, 0u);
  const OwnedText text(value.getString());
  veskAddress one("10.0.0.1");
  EXPECT_EQ(value == one, 0);
  EXPECT_EQ(one == value, 0);
  value.compare(one);
  one.compare(value);
  const OwnedValue copy(value.dup());
  one = value;
  value = "10.0.0.1";
  EXPECT_EQ(textOf(value), "10.0.0.1");
}

TEST(Address, EncodesInExactlyItsBytes) {
  veskAddress one("10.0.0.1");
  EXPECT_EQ(encodeInto(one, 5).used, 0u);
  EXPECT_THAT(encodeInto(one, 6).bytes, IsHex("0F 02 0A 00 00 01"));
  veskAddress none;
  EXPECT_EQ(encodeInto(none, 1).used, 0u);
  EXPECT_THAT(encodeInto(none, 2).bytes, IsHex("0F 00"));
}

TEST(Address, NullThroughTheBaseKeepsTheAddress) {
  veskAddress value("10.0.0.1");
  veskType& base = value;
  base = 0;
  EXPECT_EQ(base == 0, 1);
  EXPECT_EQ(textOf(value), "10.0.0.1");
  EXPECT_THAT(encoded(value), IsHex("00 02 0A 00 00 01"));
}

TEST(ForeignTag, StringBytesDecodeIntoAnOpaqueThatKeepsTheirTag) {
  veskOpaque value;
  EXPECT_EQ(decodeFrom(value, hex("09 43 01 02 61 62")), 6u);
  EXPECT_EQ(value.tag, 9);
  veskString string("ab", 0);
  EXPECT_EQ(value.compare(string), 1);
  EXPECT_EQ(string.compare(value), 1);
  EXPECT_EQ(value == string, 0);
  EXPECT_EQ(string == value, 0);
  const OwnedValue copy(value.dup());
  EXPECT_EQ(copy->tag, 8);
}

}  // namespace
