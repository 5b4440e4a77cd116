// Object and attribute identifiers: text, bytes, classes, equality.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/type.h"
#include "support/bytes.h"
#include "support/value_table.h"

namespace {

using namespace ostrel::test;
using testing::ElementsAre;

constexpr unsigned kOidRoom = 22;
constexpr unsigned kAidRoom = 17;
constexpr std::uint32_t kHighest = 4294967295u;

ValueRow oid(const char* name, const char* text, const char* bytes,
             const char* printed) {
  return row<veskOid>(name, bytes, printed, text).needs(kOidRoom);
}

ValueRow aid(const char* name, const char* text, const char* bytes,
             const char* printed) {
  return row<veskAid>(name, bytes, printed, text).needs(kAidRoom);
}

const ValueRow kRows[] = {
    oid("OidOfClass", "59.6", "0A 01 01 3B 01 06 00 00", "59.6.0.0"),
    oid("OidOfObject", "59.6.3.7", "0A 01 01 3B 01 06 01 03 01 07", "59.6.3.7"),
    oid("OidZero", "0.0", "0A 01 00 00 00 00", "0.0.0.0"),
    oid("OidHighest", "4294967295.4294967295.4294967295.4294967295",
        "0A 01 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF",
        "4294967295.4294967295.4294967295.4294967295"),
    oid("OidOfEachWidth", "255.256.65536.16777216",
        "0A 01 01 FF 02 01 00 03 01 00 00 04 01 00 00 00",
        "255.256.65536.16777216"),
    oid("OidInvalid", "no", "0A 00", "Invalid"),
    row<veskOid>("OidDefault", "0A 00", "Invalid").needs(kOidRoom),

    aid("AidOfAttribute", "59.6.2", "0B 01 01 3B 01 06 01 02", "59.6.2"),
    aid("AidOfTwo", "59.6", "0B 01 01 3B 01 06 00", "59.6.0"),
    aid("AidZero", "0.0.0", "0B 01 00 00 00", "0.0.0"),
    aid("AidHighest", "4294967295.4294967295.4294967295",
        "0B 01 04 FF FF FF FF 04 FF FF FF FF 04 FF FF FF FF",
        "4294967295.4294967295.4294967295"),
    aid("AidInvalid", "no", "0B 00", "Invalid"),
    row<veskAid>("AidDefault", "0B 00", "Invalid").needs(kAidRoom),
};

class IdentifierTable : public testing::TestWithParam<ValueRow> {};

TEST_P(IdentifierTable, RowHolds) { checkRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Values, IdentifierTable, testing::ValuesIn(kRows),
                         rowName);

template <class Identifier>
std::vector<std::uint32_t> numbers(const Identifier& identifier) {
  return {std::begin(identifier.component), std::end(identifier.component)};
}

// Text.

struct TextRow {
  const char* text;
  std::uint32_t first;
  std::uint32_t second;
};

// Two components each; good for both classes.
const TextRow kValidTexts[] = {
    {"59.6", 59, 6},
    {"59..6.", 59, 6},
    {".59.6", 59, 6},
    {"...59...6...", 59, 6},
    {"0x3B.6", 59, 6},
    {"0X3b.0x6", 59, 6},
    {"010.1", 8, 1},
    {"00.00", 0, 0},
    {"0.0", 0, 0},
    {"59. 6", 59, 6},
    {" 59.6", 59, 6},
    {"\t59.\n6", 59, 6},
    {" \t\n\v\f\r59.6", 59, 6},
    {"+59.+6", 59, 6},
    {" +59.6", 59, 6},
    {"-1.6", kHighest, 6},
    {"-2.-0", kHighest - 1, 0},
    {" -0x1.6", kHighest, 6},
    {"-4294967295.6", 1, 6},
    {"-4294967296.6", kHighest, 6},
    {"-99999999999999999999.6", kHighest, 6},
    {"4294967295.6", kHighest, 6},
    {"4294967296.6", kHighest, 6},
    {"4294967297.6", kHighest, 6},
    {"8589934592.6", kHighest, 6},
    {"18446744073709551615.6", kHighest, 6},
    {"18446744073709551616.6", kHighest, 6},
    {"99999999999999999999999.6", kHighest, 6},
    {"-18446744073709551615.6", kHighest, 6},
    {"0xFFFFFFFF.6", kHighest, 6},
    {"0x100000000.6", kHighest, 6},
    {"037777777777.6", kHighest, 6},
    {"040000000000.6", kHighest, 6},
    {"999999999.1000000000", 999999999, 1000000000},
    {"0000000000000001.6", 1, 6},
};

const char* const kInvalidTexts[] = {
    "",          ".",          "....",       "59",        "59.",
    ".59",       "59.x",       "59.6.x",     "x.59.6",    "59 .6",
    "59.6 ",     "59.6. ",     " .59.6",     "59.6y",     "59.0x",
    "59.0xg",    "08.1",       "1.09",       "59,6",      "59.6,1",
    "1e3.1",     "--1.6",      "+-1.6",      "- 1.6",     "59.6.-",
    "59.+",      "0x-1.6",     "0b11.6",     "0x.6",      "0x0x1.6",
    "localhost", "Invalid",    "59.6.1.2.3", "1.2.3.4.5", "1.2.3.4. ",
    "1.2.3.4.x", "1.2.3.4..5",
};

TEST(IdentifierText, ReadsNumbersAsTheLibraryOfA32BitMachineWould) {
  for (const TextRow& valid : kValidTexts) {
    SCOPED_TRACE(valid.text);
    veskOid oid(valid.text);
    EXPECT_EQ(oid.valid, 1u);
    EXPECT_THAT(numbers(oid), ElementsAre(valid.first, valid.second, 0, 0));
    veskAid aid(valid.text);
    EXPECT_EQ(aid.valid, 1u);
    EXPECT_THAT(numbers(aid), ElementsAre(valid.first, valid.second, 0));
  }
}

TEST(IdentifierText, RefusesEverythingElse) {
  for (const char* text : kInvalidTexts) {
    SCOPED_TRACE(text);
    veskOid oid(text);
    EXPECT_EQ(oid.valid, 0u);
    EXPECT_EQ(textOf(oid), "Invalid");
    veskAid aid(text);
    EXPECT_EQ(aid.valid, 0u);
    EXPECT_EQ(textOf(aid), "Invalid");
  }
}

TEST(IdentifierText, TakesAtMostFourNumbersOrThree) {
  EXPECT_EQ(veskOid("1.2.3").valid, 1u);
  EXPECT_EQ(veskOid("1.2.3.4").valid, 1u);
  EXPECT_EQ(veskOid("1.2.3.4.").valid, 1u);
  EXPECT_EQ(veskOid("1.2.3.4.5").valid, 0u);
  EXPECT_EQ(veskAid("1.2.3").valid, 1u);
  EXPECT_EQ(veskAid("1.2.3...").valid, 1u);
  EXPECT_EQ(veskAid("1.2.3.4").valid, 0u);
  EXPECT_THAT(numbers(veskOid("1.2.3.4")), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(numbers(veskAid("1.2.3")), ElementsAre(1, 2, 3));
}

TEST(IdentifierText, NullIsTextThatIsNoIdentifier) {
  veskOid oid("59.6");
  oid = nullptr;
  EXPECT_EQ(oid.valid, 0u);
  oid = "59.6";
  oid.set(nullptr);
  EXPECT_EQ(oid.valid, 0u);
  oid = "59.6";
  oid = 0;
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_EQ(oid.tag, 10);
  const char* none = nullptr;
  EXPECT_EQ(veskOid(none).valid, 0u);
  EXPECT_EQ(veskOid() == none, 1);
  EXPECT_EQ(veskOid() == 0, 1);
  EXPECT_EQ(veskOid("59.6") == none, 0);
  veskAid aid("59.6");
  aid = nullptr;
  EXPECT_EQ(aid.valid, 0u);
  aid = "59.6";
  aid.set(nullptr);
  EXPECT_EQ(aid.valid, 0u);
  aid = "59.6";
  aid = 0;
  EXPECT_EQ(aid.valid, 0u);
  EXPECT_EQ(aid.tag, 11);
  EXPECT_EQ(veskAid(none).valid, 0u);
  EXPECT_EQ(veskAid() == none, 1);
  EXPECT_EQ(veskAid("59.6") == none, 0);
}

TEST(IdentifierText, FailureKeepsTheNumbersReadBeforeIt) {
  veskOid oid("1.2.3.4");
  oid = "59.6.x";
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(59, 6, 3, 4));
  oid = "7";
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(7, 6, 3, 4));
  oid = "5.6.7.8.9";
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(5, 6, 7, 8));
  oid = "";
  EXPECT_THAT(numbers(oid), ElementsAre(5, 6, 7, 8));
  oid = nullptr;
  EXPECT_THAT(numbers(oid), ElementsAre(5, 6, 7, 8));
  veskAid aid("1.2.3");
  aid = "59.x";
  EXPECT_EQ(aid.valid, 0u);
  EXPECT_THAT(numbers(aid), ElementsAre(59, 2, 3));
  aid = "5.6.7.8";
  EXPECT_THAT(numbers(aid), ElementsAre(5, 6, 7));
}

TEST(IdentifierText, SuccessZeroesTheNumbersThatWereNotGiven) {
  veskOid oid("1.2.3.4");
  oid = "5.6";
  EXPECT_THAT(numbers(oid), ElementsAre(5, 6, 0, 0));
  veskAid aid("1.2.3");
  aid = "5.6";
  EXPECT_THAT(numbers(aid), ElementsAre(5, 6, 0));
}

TEST(IdentifierText, OfAnObjectIsCutAt48Characters) {
  const std::string fill(45, '.');
  EXPECT_THAT(numbers(veskOid((fill + "1.2").c_str())),
              ElementsAre(1, 2, 0, 0));
  EXPECT_THAT(numbers(veskOid((fill + "1.23").c_str())),
              ElementsAre(1, 2, 0, 0));
  EXPECT_EQ(veskOid((fill + "1.2x").c_str()).valid, 1u);
  EXPECT_EQ(veskOid((fill + ".1.2").c_str()).valid, 0u);
  EXPECT_EQ(veskOid((fill.substr(1) + "1.2x").c_str()).valid, 0u);
  EXPECT_EQ(veskOid(("1.2" + fill + ".3.4.5").c_str()).valid, 1u);
}

TEST(IdentifierText, OfAnAttributeIsCutAt36Characters) {
  const std::string fill(33, '.');
  EXPECT_THAT(numbers(veskAid((fill + "1.2").c_str())), ElementsAre(1, 2, 0));
  EXPECT_THAT(numbers(veskAid((fill + "1.23").c_str())), ElementsAre(1, 2, 0));
  EXPECT_EQ(veskAid((fill + "1.2x").c_str()).valid, 1u);
  EXPECT_EQ(veskAid((fill + ".1.2").c_str()).valid, 0u);
  EXPECT_EQ(veskAid((fill.substr(1) + "1.2x").c_str()).valid, 0u);
}

TEST(IdentifierText, MayBeOneNumberOf48Characters) {
  EXPECT_EQ(veskOid(std::string(48, '9').c_str()).valid, 0u);
  EXPECT_EQ(veskOid(std::string(100000, '9').c_str()).valid, 0u);
  EXPECT_EQ(veskOid().set(std::string(48, '9').c_str()).component[0], kHighest);
}

TEST(IdentifierText, IsNotReadPastTheCharactersThatCount) {
  // The blocks hold no NUL: reading on would leave them.
  const Bytes two = hex("31 2E 32");
  Bytes oidText = repeated(hex("2E"), 45);
  oidText += two;
  EXPECT_EQ(veskOid(ExactBuffer(oidText).data()).valid, 1u);
  Bytes aidText = repeated(hex("2E"), 33);
  aidText += two;
  EXPECT_EQ(veskAid(ExactBuffer(aidText).data()).valid, 1u);
}

TEST(IdentifierText, LeavesTheErrorNumberAlone) {
  errno = EBADF;
  EXPECT_EQ(veskOid("99999999999999999999999.1").valid, 1u);
  EXPECT_EQ(errno, EBADF);
}

TEST(IdentifierText, PrintsAllNumbersEvenOfAClass) {
  veskOid oid("59.6");
  EXPECT_EQ(textOf(oid), "59.6.0.0");
  veskAid aid("59.6");
  EXPECT_EQ(textOf(aid), "59.6.0");
}

TEST(IdentifierText, ReturnsTheObjectFromSetAndAssignment) {
  veskOid oid;
  EXPECT_EQ(&oid.set("1.2"), &oid);
  EXPECT_EQ(&(oid = "1.2"), &oid);
  veskOid otherOid("3.4");
  EXPECT_EQ(&oid.set(otherOid), &oid);
  EXPECT_EQ(&(oid = otherOid), &oid);
  veskAid aid;
  EXPECT_EQ(&aid.set("1.2"), &aid);
  EXPECT_EQ(&(aid = "1.2"), &aid);
  veskAid otherAid("3.4");
  EXPECT_EQ(&aid.set(otherAid), &aid);
  EXPECT_EQ(&(aid = otherAid), &aid);
}

// Classes and what is named within them.

TEST(Oid, NamesAnObjectOfAClass) {
  veskOid classOid("59.6");
  veskOid object(classOid, 3, 7);
  EXPECT_EQ(object.valid, 1u);
  EXPECT_EQ(textOf(object), "59.6.3.7");
  veskOid later;
  later.set(classOid, 8, 9);
  EXPECT_EQ(textOf(later), "59.6.8.9");
}

TEST(Oid, IsInvalidWithinWhatIsNoClass) {
  veskOid object("59.6.1.0");
  veskOid oid("1.2.3.4");
  oid.set(object, 3, 7);
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(1, 2, 3, 4));
  veskOid lastOnly("59.6.0.1");
  EXPECT_EQ(veskOid(lastOnly, 3, 7).valid, 0u);
  veskOid invalid;
  oid = "1.2.3.4";
  oid.set(invalid, 3, 7);
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(1, 2, 3, 4));
}

TEST(Oid, MayBeSetWithinItself) {
  veskOid oid("59.6");
  oid.set(oid, 1, 2);
  EXPECT_EQ(textOf(oid), "59.6.1.2");
}

TEST(Aid, KeepsUsingOnlyTheFirstTwoNumbersOfAClass) {
  veskOid notAClass("59.6.1.0");
  veskAid aid(notAClass, 4);
  EXPECT_EQ(aid.valid, 1u);
  EXPECT_EQ(textOf(aid), "59.6.4");
  veskAid later;
  later.set(notAClass, 5);
  EXPECT_EQ(textOf(later), "59.6.5");
}

TEST(Aid, IsInvalidWithinAnInvalidClass) {
  veskOid invalid;
  veskAid aid("1.2.3");
  aid.set(invalid, 4);
  EXPECT_EQ(aid.valid, 0u);
  EXPECT_THAT(numbers(aid), ElementsAre(1, 2, 3));
  EXPECT_EQ(veskAid(invalid, 4).valid, 0u);
}

TEST(Aid, KeepsTheValidityOfTheClassAsItIs) {
  veskOid classOid("59.6");
  classOid.valid = 7;
  EXPECT_EQ(veskAid(classOid, 4).valid, 7u);
}

TEST(ClassOid, IsANewIdentifierThatEndsInZeros) {
  veskOid object("59.6.3.7");
  std::unique_ptr<veskOid> ofObject(object.getClassOid());
  ASSERT_NE(ofObject, nullptr);
  EXPECT_EQ(ofObject->valid, 1u);
  EXPECT_EQ(ofObject->tag, 10);
  EXPECT_EQ(textOf(*ofObject), "59.6.0.0");
  veskAid aid("59.6.3");
  std::unique_ptr<veskOid> ofAid(aid.getClassOid());
  ASSERT_NE(ofAid, nullptr);
  EXPECT_EQ(ofAid->valid, 1u);
  EXPECT_EQ(textOf(*ofAid), "59.6.0.0");
}

TEST(ClassOid, OfAnInvalidIdentifierIsNull) {
  EXPECT_EQ(veskOid().getClassOid(), nullptr);
  EXPECT_EQ(veskAid().getClassOid(), nullptr);
}

TEST(ClassOid, IsValidWithOneWhateverTheValidity) {
  veskOid object("59.6.3.7");
  object.valid = 9;
  const std::unique_ptr<veskOid> classOid(object.getClassOid());
  EXPECT_EQ(classOid->valid, 1u);
}

// Equality and order.

TEST(IdentifierEquality, AsksForValidityAndAllNumbers) {
  veskOid oid("1.2.3.4");
  veskOid same("1.2.3.4");
  EXPECT_EQ(oid == same, 1);
  for (const char* text : {"9.2.3.4", "1.9.3.4", "1.2.9.4", "1.2.3.9"}) {
    veskOid other(text);
    EXPECT_EQ(oid == other, 0);
    EXPECT_EQ(oid == static_cast<veskType&>(other), 0);
  }
  same.valid = 0;
  EXPECT_EQ(oid == same, 0);
  oid.valid = 0;
  EXPECT_EQ(oid == same, 1);
  veskAid aid("1.2.3");
  veskAid sameAid("1.2.3");
  EXPECT_EQ(aid == sameAid, 1);
  for (const char* text : {"9.2.3", "1.9.3", "1.2.9"}) {
    veskAid other(text);
    EXPECT_EQ(aid == other, 0);
  }
}

TEST(IdentifierEquality, WithTextReadsTheText) {
  veskOid oid("59.6");
  EXPECT_EQ(oid == "59.6", 1);
  EXPECT_EQ(oid == "59.6.0.0", 1);
  EXPECT_EQ(oid == "0x3B.6", 1);
  EXPECT_EQ(oid == "59.6.1.0", 0);
  EXPECT_EQ(oid == "nonsense", 0);
  veskAid aid("59.6.1");
  EXPECT_EQ(aid == "59.6.1", 1);
  EXPECT_EQ(aid == "59.6.2", 0);
}

TEST(IdentifierEquality, KeepsInvalidOnesEqualToTextsThatFailToParse) {
  veskOid oid;
  EXPECT_EQ(oid == "nonsense", 1);
  EXPECT_EQ(oid == "", 1);
  veskOid leftOver("59.6.x");
  EXPECT_EQ(leftOver == "59.6.y", 1);
  EXPECT_EQ(leftOver == "59.7.y", 0);
  EXPECT_EQ(leftOver == "nonsense", 0);
  veskAid aid;
  EXPECT_EQ(aid == "nonsense", 1);
}

TEST(IdentifierEquality, IgnoresForeignTagsThatCompareSees) {
  veskOid foreign;
  EXPECT_EQ(decodeFrom(foreign, hex("63 01 01 3B 01 06 00 00")), 8u);
  EXPECT_EQ(foreign.tag, 0x63);
  veskOid native("59.6");
  EXPECT_EQ(foreign.compare(native), 1);
  EXPECT_EQ(native.compare(foreign), 1);
  EXPECT_EQ(foreign == native, 1);
  EXPECT_EQ(foreign == static_cast<veskType&>(native), 0);
  const OwnedValue copy(foreign.dup());
  EXPECT_EQ(copy->tag, 10);
  veskAid foreignAid;
  EXPECT_EQ(decodeFrom(foreignAid, hex("63 01 01 3B 01 06 01 02")), 8u);
  veskAid nativeAid("59.6.2");
  EXPECT_EQ(foreignAid.compare(nativeAid), 1);
  EXPECT_EQ(foreignAid == nativeAid, 1);
}

TEST(IdentifierOrder, IsByNumbersTheFirstDifferenceFirst) {
  veskOid low("1.2.3.4");
  veskOid lastHigher("1.2.3.5");
  veskOid firstHigher("2.0.0.0");
  veskOid wide("256.0");
  veskOid narrow("255.9");
  veskOid highest("4294967295.0");
  veskOid half("2147483647.0");
  EXPECT_LT(low.compare(lastHigher), 0);
  EXPECT_GT(lastHigher.compare(low), 0);
  EXPECT_LT(lastHigher.compare(firstHigher), 0);
  EXPECT_GT(wide.compare(narrow), 0);
  EXPECT_LT(narrow.compare(wide), 0);
  EXPECT_GT(highest.compare(half), 0);
  EXPECT_LT(half.compare(highest), 0);
  EXPECT_EQ(low < lastHigher, 1);
  EXPECT_EQ(low > lastHigher, 0);
  veskAid lowAid("1.2.255");
  veskAid highAid("1.2.256");
  EXPECT_LT(lowAid.compare(highAid), 0);
  EXPECT_GT(highAid.compare(lowAid), 0);
}

TEST(IdentifierOrder, LooksAtValidityFirst) {
  veskOid invalid("9.9.x");
  veskOid valid("1.2");
  EXPECT_EQ(invalid.compare(valid), -1);
  EXPECT_EQ(valid.compare(invalid), 1);
  veskOid oddlyValid("1.2");
  oddlyValid.valid = 5;
  EXPECT_EQ(oddlyValid.compare(valid), 4);
  veskOid alsoInvalid("9.9.y");
  EXPECT_EQ(invalid.compare(alsoInvalid), 0);
}

TEST(IdentifierOrder, ObjectAndAttributeIdentifiersDiffer) {
  veskOid oid("1.2.3");
  veskAid aid("1.2.3");
  EXPECT_EQ(oid.compare(aid), 1);
  EXPECT_EQ(aid.compare(oid), 1);
  EXPECT_EQ(oid == aid, 0);
  aid.tag = oid.tag;
  EXPECT_EQ(oid.compare(aid), 1);
  EXPECT_EQ(aid.compare(oid), 1);
  EXPECT_EQ(oid == aid, 0);
  EXPECT_EQ(aid == oid, 0);
}

TEST(IdentifierCopy, TakesValidityAndNumbersButNotTheTag) {
  veskOid foreign("1.2.3.4");
  foreign.tag = 0x63;
  veskOid target;
  target = foreign;
  EXPECT_EQ(target.tag, 10);
  EXPECT_EQ(target.valid, 1u);
  EXPECT_THAT(numbers(target), ElementsAre(1, 2, 3, 4));
  foreign.valid = 0;
  target.set(foreign);
  EXPECT_EQ(target.valid, 0u);
  veskOid built(foreign);
  EXPECT_EQ(built.tag, 10);
  EXPECT_THAT(numbers(built), ElementsAre(1, 2, 3, 4));
  veskAid foreignAid("1.2.3");
  foreignAid.tag = 0x63;
  veskAid targetAid;
  targetAid = foreignAid;
  EXPECT_EQ(targetAid.tag, 11);
  EXPECT_THAT(numbers(targetAid), ElementsAre(1, 2, 3));
}

TEST(IdentifierCopy, KeepsTheNumbersOfAnInvalidOne) {
  veskOid invalid("1.2.3.4.5");
  const OwnedValue copy(invalid.dup());
  EXPECT_EQ(dynamic_cast<veskOid&>(*copy) == invalid, 1);
}

TEST(IdentifierCopy, NullThroughTheBaseKeepsTheIdentifier) {
  veskOid oid("59.6");
  veskType& base = oid;
  base = 0;
  EXPECT_EQ(base == 0, 1);
  EXPECT_EQ(oid.tag, 0);
  EXPECT_EQ(textOf(oid), "59.6.0.0");
  EXPECT_THAT(encoded(oid), IsHex("00 01 01 3B 01 06 00 00"));
}

// Bytes.

TEST(IdentifierBytes, KeepsAskingForTheLargestBodyEvenWhenInvalid) {
  veskOid oid;
  EXPECT_EQ(encodeInto(oid, 21).used, 0u);
  EXPECT_THAT(encodeInto(oid, 22).bytes, IsHex("0A 00"));
  veskAid aid;
  EXPECT_EQ(encodeInto(aid, 16).used, 0u);
  EXPECT_THAT(encodeInto(aid, 17).bytes, IsHex("0B 00"));
}

TEST(IdentifierBytes, WriteTheLowEightBitsOfTheValidity) {
  veskOid oid("59.6");
  oid.valid = 5;
  EXPECT_THAT(encoded(oid), IsHex("0A 05 01 3B 01 06 00 00"));
  oid.valid = 0x105;
  EXPECT_THAT(encoded(oid), IsHex("0A 05 01 3B 01 06 00 00"));
  oid.valid = 0x100;
  EXPECT_THAT(encoded(oid), IsHex("0A 00"));
}

TEST(IdentifierBytes, AcceptAnyValidityAndStoreOne) {
  veskOid oid;
  EXPECT_EQ(decodeFrom(oid, hex("0A 05 00 00 00 00")), 6u);
  EXPECT_EQ(oid.valid, 1u);
  EXPECT_EQ(textOf(oid), "0.0.0.0");
  veskAid aid;
  EXPECT_EQ(decodeFrom(aid, hex("0B FF 00 00 00")), 5u);
  EXPECT_EQ(aid.valid, 1u);
}

TEST(IdentifierBytes, AreReadTheSameWithMuchBehindThem) {
  const Bytes rest = repeated(hex("FF"), 30);
  Bytes bytes = hex("0A 05 01 3B 02 01 06 00 04 FF FF FF FE");
  const std::size_t size = bytes.size();
  bytes += rest;
  veskOid oid;
  EXPECT_EQ(decodeFrom(oid, bytes), size);
  EXPECT_EQ(oid.valid, 1u);
  EXPECT_THAT(numbers(oid), ElementsAre(0x3B, 0x106, 0, kHighest - 1));
  Bytes longNumber = hex("0B 07 06 01 02 03 04 05 06 00 01 07");
  const std::size_t longSize = longNumber.size();
  longNumber += rest;
  veskAid aid;
  EXPECT_EQ(decodeFrom(aid, longNumber), longSize);
  EXPECT_EQ(aid.valid, 1u);
  EXPECT_THAT(numbers(aid), ElementsAre(0x03040506, 0, 7));
}

TEST(IdentifierBytes, OfAnInvalidOneLeaveTheNumbers) {
  veskOid oid("1.2.3.4");
  EXPECT_EQ(decodeFrom(oid, hex("0A 00 01 02")), 2u);
  EXPECT_EQ(oid.valid, 0u);
  EXPECT_THAT(numbers(oid), ElementsAre(1, 2, 3, 4));
}

TEST(IdentifierBytes, KeepTheLowThirtyTwoBitsOfLongNumbers) {
  veskOid oid;
  EXPECT_EQ(decodeFrom(oid, hex("0A 01 05 01 02 03 04 05 00 00 00")), 11u);
  EXPECT_EQ(oid.component[0], 0x02030405u);
  veskAid aid;
  EXPECT_EQ(decodeFrom(aid, hex("0B 01 00 00 06 FF FF 00 00 00 09")), 11u);
  EXPECT_EQ(aid.component[2], 9u);
}

TEST(IdentifierBytes, FailWhenTruncatedWithAnInvalidOid) {
  for (const char* bytes :
       {"0A 01", "0A 01 01", "0A 01 01 3B", "0A 01 05 01", "0A 01 01 3B 02 01",
        "0A 01 01 3B 01 06 00", "0A 01 FF FF FF FF"}) {
    SCOPED_TRACE(bytes);
    veskOid oid("1.2.3.4");
    EXPECT_EQ(decodeFrom(oid, hex(bytes)), 0u);
    EXPECT_EQ(oid.valid, 0u);
  }
}

TEST(IdentifierBytes, KeepsATruncatedAidLookingValid) {
  veskAid aid;
  EXPECT_EQ(decodeFrom(aid, hex("0B 01 05 01")), 0u);
  EXPECT_EQ(aid.valid, 1u);
  veskAid other;
  EXPECT_EQ(decodeFrom(other, hex("0B 07 05 01")), 0u);
  EXPECT_EQ(other.valid, 7u);
  // The length byte itself does not count as one of the bytes that follow.
  veskAid byOne;
  EXPECT_EQ(decodeFrom(byOne, hex("0B 01 03 01 02")), 0u);
  EXPECT_EQ(byOne.valid, 1u);
}

TEST(IdentifierBytes, KeepsTheLooseCountButNeverReadsPastTheBuffer) {
  // The count goes down by length bytes alone, so it lets these through; the
  // buffer ends all the same.
  for (const char* bytes :
       {"0B 01", "0B 01 01 3B", "0B 01 01 3B 02 01", "0B 01 02 01 01 02 01"}) {
    SCOPED_TRACE(bytes);
    veskAid aid("1.2.3");
    EXPECT_EQ(decodeFrom(aid, hex(bytes)), 0u);
    EXPECT_EQ(aid.valid, 0u);
  }
}

TEST(IdentifierBytes, TakeOverTheTagEvenWhenNothingFollows) {
  veskOid oid;
  EXPECT_EQ(decodeFrom(oid, hex("63")), 0u);
  EXPECT_EQ(oid.tag, 0x63);
  veskAid aid;
  EXPECT_EQ(decodeFrom(aid, hex("63")), 0u);
  EXPECT_EQ(aid.tag, 0x63);
  EXPECT_EQ(decodeFrom(aid, hex("")), 0u);
  EXPECT_EQ(aid.tag, 0x63);
}

}  // namespace
