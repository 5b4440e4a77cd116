// Attributes, objects and search terms that own what they hold.

#include "ostrel/attributes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "client/async/value_codec.h"
#include "ostrel/veskAttr.h"
#include "support/bytes.h"
#include "support/own_value_invariants.h"

namespace {

using namespace ostrel;
using test::Bytes;
using test::toHex;

std::string hex(const std::string& bytes) {
  return toHex(Bytes(bytes.begin(), bytes.end()));
}
std::string bytesOf(const char* digits) {
  const Bytes bytes = test::hex(digits);
  return std::string(bytes.begin(), bytes.end());
}

using test::decodedWhole;

const char kTwo[] =
    "80 43 01 02 "
    "17 0B 01 01 3B 01 07 01 01 01 03 01 05 "
    "17 0B 01 01 3B 01 07 01 02 00";
const char kObject[] =
    "19 0A 01 01 3B 01 07 00 01 01 80 43 01 01 "
    "17 0B 01 01 3B 01 07 01 01 01 03 01 05";

TEST(Attributes, AreWrittenAsAList) {
  const Attributes attributes{{"59.7.1", 5}, "59.7.2"};
  EXPECT_EQ(hex(attributes.encode()), hex(bytesOf(kTwo)));
  EXPECT_EQ(*decodedWhole<Attributes>(bytesOf(kTwo)), attributes);
  EXPECT_EQ(Value(attributes).encode(), attributes.encode());
}

TEST(Attributes, KeepTheirOrderAndWhatOccursTwice) {
  const Attributes attributes{{"59.7.2", 1}, {"59.7.1", 2}, {"59.7.2", 3}};
  const Result<Attributes> again =
      decodedWhole<Attributes>(attributes.encode());
  ASSERT_TRUE(again);
  ASSERT_EQ(again->size(), 3u);
  EXPECT_EQ((*again)[0], Attribute("59.7.2", 1));
  EXPECT_EQ((*again)[2], Attribute("59.7.2", 3));
  EXPECT_EQ(again->at("59.7.2"), 1);
  EXPECT_EQ(again->text(), "59.7.2 = 1, 59.7.1 = 2, 59.7.2 = 3");
}

TEST(Attributes, FindTheFirstOrSayWhichIsMissing) {
  Attributes attributes{{"59.7.1", "on"}, {"59.7.2"}};
  EXPECT_EQ(attributes.at("59.7.1"), "on");
  EXPECT_TRUE(attributes.at("59.7.2").isNull());
  EXPECT_TRUE(attributes.contains("59.7.2"));
  EXPECT_EQ(attributes.find("59.7.3"), nullptr);
  *attributes.find("59.7.1") = "off";
  EXPECT_EQ(attributes.at(Aid(59, 7, 1)), "off");
  try {
    static_cast<void>(attributes.at("59.7.3"));
    FAIL();
  } catch (const std::out_of_range& missing) {
    EXPECT_STREQ(missing.what(), "there is no attribute 59.7.3");
  }
}

TEST(Attributes, TellANullValueFromNone) {
  const Attributes attributes{{"59.7.1", nullptr}, {"59.7.1"}};
  EXPECT_NE(attributes[0], attributes[1]);
  EXPECT_EQ(hex(Value(attributes[0]).encode()),
            "17 0B 01 01 3B 01 07 01 01 01 00");
  EXPECT_EQ(hex(Value(attributes[1]).encode()),
            "17 0B 01 01 3B 01 07 01 01 00");
  EXPECT_EQ(*decodedWhole<Attributes>(attributes.encode()), attributes);
}

TEST(Attributes, GrowAndAreWalked) {
  Attributes attributes;
  EXPECT_TRUE(attributes.empty());
  attributes.append("59.7.1", 5);
  attributes.append("59.7.2");
  attributes.append({"59.7.3", "x"});
  std::ostringstream out;
  for (const Attribute& attribute : attributes) out << attribute << ';';
  EXPECT_EQ(out.str(), "59.7.1 = 5;59.7.2 = ;59.7.3 = x;");
  Attributes moved = std::move(attributes);
  EXPECT_EQ(moved.size(), 3u);
  EXPECT_EQ(Attributes(std::vector<Attribute>{{"59.7.1", 5}}).size(), 1u);
  moved.clear();
  EXPECT_TRUE(moved.empty());
}

std::size_t takeList(const Attributes& attributes) { return attributes.size(); }
std::size_t takeWanted(const std::vector<Aid>& wanted) { return wanted.size(); }
std::size_t takeTerms(const std::vector<Term>& terms) { return terms.size(); }

TEST(Attributes, AreWrittenInBracesWhereACallTakesThem) {
  EXPECT_EQ(takeList({}), 0u);
  EXPECT_EQ(takeList({{"59.7.1", "a"}}), 1u);
  EXPECT_EQ(takeList({{"59.7.1", "a"}, {"59.7.2", "b"}}), 2u);
  EXPECT_EQ(takeWanted({"59.7.1", "59.7.2"}), 2u);
  EXPECT_EQ(takeWanted({"59.7.1"}), 1u);
  EXPECT_EQ(takeTerms({{"59.7.1", 5}, {"59.7.2", kOperatorLess, 7}, "59.7.3"}),
            3u);
}

TEST(AttributesBytes, AreRefusedWhenCutShort) {
  const std::string bytes = bytesOf(kTwo);
  for (std::size_t size = 0; size < bytes.size(); size++)
    ASSERT_FALSE(decodedWhole<Attributes>(bytes.substr(0, size))) << size;
  EXPECT_FALSE(decodedWhole<Attributes>(bytes + '\0'));
}

TEST(AttributesBytes, AreRefusedWhenTheyAreSomethingElse) {
  EXPECT_FALSE(decodedWhole<Attributes>(bytesOf("80 43 01 01 03 01 05")));
  EXPECT_FALSE(decodedWhole<Attributes>(bytesOf("03 01 05")));
  EXPECT_FALSE(
      decodedWhole<Attributes>(bytesOf("80 43 04 FF FF FF FF 17 0B 00 00")));
  EXPECT_FALSE(decodedWhole<Object>(bytesOf(kTwo)));
}

TEST(AttributesBytes, LoseTheOperationCode) {
  const Result<Attributes> read = decodedWhole<Attributes>(
      bytesOf("80 43 01 01 18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01"));
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, (Attributes{{"59.7.1", 5}}));
}

TEST(AttributesBytes, MakeAsManyValuesAsAllowed) {
  // Two attributes, and a value.
  EXPECT_TRUE(decodedWhole<Attributes>(bytesOf(kTwo), 3));
  EXPECT_FALSE(decodedWhole<Attributes>(bytesOf(kTwo), 2));
}

TEST(AttributesBytes, NestAsDeepAsTheStatedClassesRead) {
  const auto nested = [](unsigned levels) {
    std::string bytes;
    for (unsigned i = 0; i < levels; i++)
      bytes += bytesOf(i % 2 == 0 ? "80 43 01 01" : "17 0B 00 01");
    return bytes + '\0';
  };
  EXPECT_TRUE(decodedWhole<Attributes>(nested(2048)));
  EXPECT_FALSE(decodedWhole<Attributes>(nested(2049)));
}

TEST(ObjectBytes, AreThoseOfTheStatedClass) {
  const Object object("59.7.0.1", {{"59.7.1", 5}});
  EXPECT_EQ(hex(object.encode()), hex(bytesOf(kObject)));
  EXPECT_EQ(*decodedWhole<Object>(bytesOf(kObject)), object);
  EXPECT_EQ(object.text(), "59.7.0.1 : 59.7.1 = 5");
  std::ostringstream out;
  out << object;
  EXPECT_EQ(out.str(), object.text());
  EXPECT_NE(object, Object());
  const std::string bytes = bytesOf(kObject);
  for (std::size_t size = 0; size < bytes.size(); size++)
    ASSERT_FALSE(decodedWhole<Object>(bytes.substr(0, size))) << size;
}

TEST(TermBytes, KeepAnyOperationCode) {
  Term term("59.7.1", 5);
  EXPECT_EQ(term.comparison, kOperatorEquals);
  term.comparison = static_cast<SearchOperator>(200);
  EXPECT_EQ(hex(encodeWhole(term)),
            "18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 C8");
  EXPECT_EQ(*Value(term).to<Term>(), term);
  EXPECT_EQ(term.text(), "59.7.1 = 5 op = 200");
  EXPECT_EQ(Term("59.7.1").comparison, kOperatorPresent);
  EXPECT_FALSE(Term("59.7.1").attribute.hasValue);
}

// The lists inside requests and answers, which the client reads and writes.

template <class List>
Result<List> readList(const std::string& bytes) {
  ByteReader reader(bytes.data(), bytes.size());
  DecodeLimits limits;
  List list;
  read(reader, &list, limits);
  if (reader.ok() && reader.left() == 0) return list;
  return Error(Failure::undecodable, 11);
}

TEST(MemberLists, OfWantedAttributesAndTermsAreWritten) {
  EXPECT_EQ(hex(encodeWhole(std::vector<Aid>{"59.7.1"})),
            "80 43 01 01 17 0B 01 01 3B 01 07 01 01 00");
  EXPECT_EQ(hex(encodeWhole(std::vector<Term>{{"59.7.1", 5}})),
            "80 43 01 01 18 0B 01 01 3B 01 07 01 01 01 03 01 05 01 01");
}

TEST(MemberLists, OfObjectsAreRead) {
  const auto objects = readList<std::vector<Object>>(
      bytesOf("80 43 01 02") + bytesOf(kObject) + bytesOf(kObject));
  ASSERT_TRUE(objects);
  ASSERT_EQ(objects->size(), 2u);
  EXPECT_EQ((*objects)[1].oid, "59.7.0.1");
  EXPECT_FALSE(readList<std::vector<Object>>(bytesOf(kTwo)));
}

TEST(MemberLists, OfErrorsAreRead) {
  const auto errors = readList<std::vector<ItemError>>(
      bytesOf("80 43 01 01 1A 43 01 02 03 01 05"));
  ASSERT_TRUE(errors);
  EXPECT_EQ(*errors, (std::vector<ItemError>{{2, Aid(), 5}}));
  EXPECT_FALSE(
      readList<std::vector<ItemError>>(bytesOf("80 43 01 01 03 01 05")));
  EXPECT_FALSE(readList<std::vector<ItemError>>(
      bytesOf("80 43 01 01 1A 43 01 02 03 01")));
}

TEST(MemberLists, OfArgumentsAreRead) {
  const auto arguments = readList<Values>(bytesOf("80 43 01 02 03 01 2A 00"));
  ASSERT_TRUE(arguments);
  EXPECT_EQ(*arguments, (Values{42, nullptr}));
}

TEST(MemberLists, AreNotWrittenWithoutTheRoom) {
  const Attributes attributes{{"59.7.1", std::string(40, 'x')}, {"59.7.2", 5}};
  const std::string whole = attributes.encode();
  for (std::size_t room = 0; room < whole.size(); room++) {
    const std::unique_ptr<char[]> block(new char[room]);
    ByteWriter writer(block.get(), room);
    write(writer, attributes);
    ASSERT_EQ(writer.used(), 0u) << room;
  }
}

}  // namespace
