// "These members, in this order": what composites are written, read and
// printed with.

#include "value/members.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "support/value_table.h"

namespace {

using ostrel::decodeMembers;
using ostrel::encodeMembers;
using ostrel::joinMembers;
using ostrel::Member;
using ostrel::Members;
using ostrel::Text;
using ostrel::test::Bytes;
using ostrel::test::ExactBuffer;
using ostrel::test::hex;
using ostrel::test::IsHex;
using ostrel::test::OwnedText;

std::string joined(const Members& members) {
  Text text;
  joinMembers(&text, " : ", members);
  const OwnedText released(text.release());
  return released.get();
}

TEST(Members, AreWrittenOneBehindTheOther) {
  veskInt number(5);
  veskBool truth(1);
  ExactBuffer buffer(10);
  EXPECT_EQ(encodeMembers(1, buffer.data(), 10, Members(number, truth)), 7u);
  const Bytes written = buffer.first(7);
  EXPECT_THAT(Bytes(written.begin() + 1, written.end()),
              IsHex("03 01 05 07 01 01"));
}

TEST(Members, FailWithTheFirstThatDoesNotFit) {
  veskInt number(5);
  veskBool truth(1);
  for (unsigned room = 1; room < 10; ++room) {
    ExactBuffer buffer(room);
    EXPECT_EQ(encodeMembers(1, buffer.data(), room, Members(number, truth)), 0u)
        << room;
  }
}

TEST(Members, AreNotTouchedWhenWhatCameBeforeFailed) {
  veskInt number(5);
  ExactBuffer buffer(hex("03 01 07"));
  EXPECT_EQ(decodeMembers(0, buffer.data(), 3, Members(number)), 0u);
  EXPECT_EQ(number.value, 5);
  EXPECT_EQ(encodeMembers(0, buffer.data(), 3, Members(number)), 0u);
  EXPECT_THAT(buffer.first(3), IsHex("03 01 07"));
}

TEST(Members, AreReadInTheirOrder) {
  veskInt number;
  veskBool truth;
  ExactBuffer buffer(hex("FF 03 01 05 07 01 01 EE"));
  EXPECT_EQ(decodeMembers(1, buffer.data(), 8, Members(number, truth)), 7u);
  EXPECT_EQ(number.value, 5);
  EXPECT_EQ(truth.value, 1u);
}

TEST(Members, BeforeATruncationKeepWhatTheyRead) {
  veskInt number;
  veskBool truth(9);
  ExactBuffer buffer(hex("FF 03 01 05 07 01"));
  EXPECT_EQ(decodeMembers(1, buffer.data(), 6, Members(number, truth)), 0u);
  EXPECT_EQ(number.value, 5);
  EXPECT_EQ(truth.value, 9u);
}

TEST(Members, WithANullListFail) {
  veskInt number(5);
  veskList* none = nullptr;
  ExactBuffer buffer(64);
  EXPECT_EQ(encodeMembers(1, buffer.data(), 64, Members(number, none)), 0u);
  EXPECT_EQ(decodeMembers(1, buffer.data(), 64, Members(none)), 0u);
}

TEST(Members, NameThePlacesOfTheirLists) {
  veskInt number(5);
  veskList* list = new veskList;
  for (const Member& member : Members(number, list)) {
    if (member.list == nullptr) continue;
    EXPECT_EQ(member.list, &list);
    EXPECT_EQ(member.value, list);
    delete *member.list;
    *member.list = nullptr;
  }
  EXPECT_EQ(list, nullptr);
}

TEST(Members, JoinTheirTexts) {
  veskInt number(5);
  veskBool truth(1);
  EXPECT_EQ(joined(Members(number, truth)), "5 : True");
  EXPECT_EQ(joined(Members(number)), "5");
  EXPECT_EQ(joined(Members()), "");
}

TEST(Members, WithoutTextStillHaveTheirSeparator) {
  veskInt number(5);
  veskList empty;
  veskList* list = &empty;
  veskList* none = nullptr;
  EXPECT_EQ(joined(Members(number, list, none, number)), "5 :  :  : 5");
}

TEST(Members, OfNoneUseNothingMore) {
  ExactBuffer buffer(1);
  EXPECT_EQ(encodeMembers(1, buffer.data(), 1, Members()), 1u);
  EXPECT_EQ(decodeMembers(1, buffer.data(), 1, Members()), 1u);
}

}  // namespace
