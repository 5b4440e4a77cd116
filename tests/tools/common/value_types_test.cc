#include "common/value_types.h"

#include <gtest/gtest.h>
#include <ostrel/veskError.h>

#include <string>

namespace ostrel::tools {
namespace {

constexpr auto kNames =
    valueTypeTable([](auto type) constexpr { return type.name; });

std::string nameOf(veskType&& value) {
  const auto row = valueTypeRow(value);
  return row ? kNames[*row] : "none";
}

TEST(ValueTypes, TellClassesThatDeriveFromOneAnother) {
  EXPECT_EQ(nameOf(veskUnsignedInt(1)), "uint");
  EXPECT_EQ(nameOf(veskBool(1)), "bool");
  EXPECT_EQ(nameOf(veskTime(1)), "time");
  EXPECT_EQ(nameOf(veskGauge(1)), "gauge");
  EXPECT_EQ(nameOf(veskCounter(1)), "counter");
}

TEST(ValueTypes, GoByTheClassWhereTheTagIsAnother) {
  veskTime time(1);
  time.tag = kTagString;
  EXPECT_EQ(nameOf(std::move(time)), "time");
  veskString text("lamp");
  text.tag = kTagInt;
  EXPECT_EQ(nameOf(std::move(text)), "string");
}

TEST(ValueTypes, HaveNoRowForNullAndForWhatHasNoName) {
  EXPECT_EQ(nameOf(veskType()), "none");
  EXPECT_EQ(nameOf(veskError(1, 2)), "none");
  veskInt null(1);
  null.tag = kTagNull;
  EXPECT_EQ(nameOf(std::move(null)), "none");
}

TEST(NumberIn, ReadsEveryKindOfNumber) {
  veskShort negative(-7);
  veskUnsignedLong large(4294967295UL);
  veskDouble fraction(2.5);
  veskChar character('A');
  veskBool truth(1);
  EXPECT_EQ(numberIn(negative), -7.0);
  EXPECT_EQ(numberIn(large), 4294967295.0);
  EXPECT_EQ(numberIn(fraction), 2.5);
  EXPECT_EQ(numberIn(character), 65.0);
  EXPECT_EQ(numberIn(truth), 1.0);
}

TEST(NumberIn, IsNothingForOtherValues) {
  veskString text("5");
  veskList list;
  veskAttribute attribute;
  EXPECT_EQ(numberIn(text), std::nullopt);
  EXPECT_EQ(numberIn(list), std::nullopt);
  EXPECT_EQ(numberIn(attribute), std::nullopt);
}

}  // namespace
}  // namespace ostrel::tools
