#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/described_value.h>

#include "catalogue/catalogue_support.h"

namespace ostrel {
namespace {

using test::catalogueOf;
using test::fileOf;
using test::kLamp;

// A description from the keys of an attribute.
ValueDescription describe(const std::string& keys) {
  return fileOf(
             "name = \"x\"\nid = \"59.201\"\nrevision = 1\n"
             "[attribute.a]\nid = \"59.201.1\"\n" +
             keys)
      .description.attributes.at(0);
}

struct Row {
  const char* keys;
  std::string text;
  std::string printed;  // or what is wrong with the text
};

// The whole encoding of a value, in hexadecimal digits.
std::string bytesOf(veskType& value) {
  char buffer[512];
  const unsigned length = value.encode(buffer, sizeof buffer);
  std::string text;
  for (unsigned i = 0; i < length; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(buffer[i])));
    text += digits;
  }
  return text;
}

constexpr const char* kNames =
    "type = \"int\"\nvalues = { off = 0, on = 1, half = -5 }";

const Row kGood[] = {
    {"type = \"int\"", "5", "5"},
    {"type = \"int\"", "-2147483648", "-2147483648"},
    {"type = \"uint\"", "4294967295", "4294967295"},
    {"type = \"long\"", "-1", "-1"},
    {"type = \"ulong\"", "4294967295", "4294967295"},
    {"type = \"short\"", "-32768", "-32768"},
    {"type = \"ushort\"", "65535", "65535"},
    {"type = \"char\"", "-128", "-128"},
    {"type = \"uchar\"", "255", "255"},
    {kNames, "on", "on"},
    {kNames, "-5", "half"},
    {"type = \"float\"", "0.1", "0.1"},
    {"type = \"double\"", "1e3", "1000"},
    {"type = \"double\"", "9007199254740992", "9007199254740992"},
    {"type = \"double\"", "-0.5e-7", "-5e-08"},
    {"type = \"bool\"", "true", "true"},
    {"type = \"bool\"", "false", "false"},
    {"type = \"string\"", "a:b, \"c\"", "a:b, \"c\""},
    {"type = \"string\"", "", ""},
    {"type = \"string\"", std::string("a\0b", 3), std::string("a\0b", 3)},
    {"type = \"string\"", "10.0.0.7", "10.0.0.7"},
    {"type = \"opaque\"", "00fF", "00ff"},
    {"type = \"opaque\"", "", ""},
    {"type = \"opaque\"\nformat = \"uint64\"", "18446744073709551615",
     "18446744073709551615"},
    {"type = \"opaque\"\nformat = \"uint64\"", "0", "0"},
    {"type = \"oid\"", "59.200.0.1", "59.200.0.1"},
    {"type = \"aid\"", "59.200.1", "59.200.1"},
    {"type = \"addr\"", "10.0.0.7", "10.0.0.7"},
    {"type = \"time\"", "2026-11-22T10:47:00Z", "2026-11-22T10:47:00Z"},
    {"type = \"time\"", "2026-11-22 11:47+01:00", "2026-11-22T10:47:00Z"},
    {"type = \"time\"", "2026-11-21T23:17:00-11:30", "2026-11-22T10:47:00Z"},
    {"type = \"time\"", "2024-02-29T00:00:00Z", "2024-02-29T00:00:00Z"},
    {"type = \"time\"", "@0", "1970-01-01T00:00:00Z"},
    {"type = \"time\"", "@4294967295", "2106-02-07T06:28:15Z"},
    {"type = \"string\"\nformat = \"mac\"", "FE:54:00:aB:00:01",
     "fe:54:00:ab:00:01"},
    {"type = \"string\"\nformat = \"mac\"", "fe-54-00-ab-00-01",
     "fe:54:00:ab:00:01"},
    {"type = \"string\"\nformat = \"uuid\"",
     "123E4567-E89B-12D3-A456-426614174000",
     "123e4567-e89b-12d3-a456-426614174000"},
    // The forms of RFC 5952.
    {"type = \"string\"\nformat = \"ipv6\"", "2001:0DB8:0:0:0:0:0:1",
     "2001:db8::1"},
    {"type = \"string\"\nformat = \"ipv6\"", "2001:db8:0:0:1:0:0:1",
     "2001:db8::1:0:0:1"},
    {"type = \"string\"\nformat = \"ipv6\"", "2001:0:0:1:0:0:0:1",
     "2001:0:0:1::1"},
    {"type = \"string\"\nformat = \"ipv6\"", "2001:db8::1:1:1:1:1",
     "2001:db8:0:1:1:1:1:1"},
    {"type = \"string\"\nformat = \"ipv6\"", "0:0:0:0:0:0:0:0", "::"},
    {"type = \"string\"\nformat = \"ipv6\"", "1:0:0:0:0:0:0:0", "1::"},
    {"type = \"string\"\nformat = \"ipv6\"", "0:0:0:0:0:0:102:304",
     "::102:304"},
    {"type = \"string\"\nformat = \"ipv6\"", "::ffff:a00:7", "::ffff:10.0.0.7"},
    {"type = \"string\"\nformat = \"cidr\"", "10.0.0.7/24", "10.0.0.7/24"},
    {"type = \"string\"\nformat = \"cidr\"", "2001:DB8:0::1/128",
     "2001:db8::1/128"},
    {"type = \"list\"\nelement = \"int\"", "", ""},
    {"type = \"list\"\nelement = \"int\"", "1,2,-3", "1,2,-3"},
    {"type = \"list\"\nelement = \"string\"", "a\\,b,\"\",\\\\,\\\"\\\"",
     "a\\,b,\"\",\\\\,\\\"\\\""},
    {"type = \"list\"\nelement = \"string\"\nformat = \"cidr\"",
     "10.0.0.7/24,FE80::1/64", "10.0.0.7/24,fe80::1/64"},
};

TEST(ReadValue, ReadsWhatPrintValuePrints) {
  for (const Row& row : kGood) {
    const ValueDescription description = describe(row.keys);
    const DescribedValue read = readValue(description, row.text);
    ASSERT_TRUE(read) << row.keys << " " << row.text << ": " << read.mistake;
    EXPECT_EQ(printValue(description, *read.value), row.printed) << row.keys;
    EXPECT_EQ(read.value->tag, description.type);
    const DescribedValue again = readValue(description, row.printed);
    ASSERT_TRUE(again) << row.printed << ": " << again.mistake;
    EXPECT_EQ(bytesOf(*again.value), bytesOf(*read.value)) << row.text;
    const DescribedValue same = declaredValue(description, *read.value);
    ASSERT_TRUE(same) << row.keys << same.mistake;
    EXPECT_EQ(bytesOf(*same.value), bytesOf(*read.value)) << row.text;
  }
}

const Row kBad[] = {
    {"type = \"int\"", "",
     "'' is no decimal number of the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "x",
     "'x' is no decimal number of the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "010",
     "'010' is no decimal number of the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "+1",
     "'+1' is no decimal number of the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "1.0",
     "'1.0' is no decimal number of the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "2147483648",
     "2147483648 is beyond what the type int can hold, -2147483648 to "
     "2147483647"},
    {"type = \"int\"", "99999999999",
     "'99999999999' is too large for the type int, which holds -2147483648 to "
     "2147483647"},
    {"type = \"uchar\"", "-1",
     "-1 is beyond what the type uchar can hold, 0 to 255"},
    {"type = \"int\"\nrange = [1, 9]", "10", "10 is outside the range 1 to 9"},
    {kNames, "of",
     "'of' is not among the values (did you mean 'off'?); write half, off or "
     "on"},
    {kNames, "7", "7 is not among the values; write half, off or on"},
    {"type = \"double\"", "nan",
     "'nan' is no decimal number of the type double; write 0.5 or 2e9, for "
     "instance"},
    {"type = \"double\"", "inf",
     "'inf' is no decimal number of the type double; write 0.5 or 2e9, for "
     "instance"},
    {"type = \"double\"", "1e999",
     "'1e999' is no decimal number of the type double; write 0.5 or 2e9, for "
     "instance"},
    {"type = \"float\"", "1e39",
     "'1e39' is no decimal number of the type float; write 0.5 or 2e9, for "
     "instance"},
    {"type = \"double\"", "0x10",
     "'0x10' is no decimal number of the type double; write 0.5 or 2e9, for "
     "instance"},
    {"type = \"double\"\nrange = [0, 0.5]", "0.6",
     "0.6 is outside the range 0 to 0.5"},
    {"type = \"bool\"", "1", "'1' is neither; write true or false"},
    {"type = \"bool\"", "True", "'True' is neither; write true or false"},
    {"type = \"string\"\nlength = [1, 3]", "",
     "has 0 bytes; 1 to 3 are allowed"},
    {"type = \"string\"\nlength = [1, 3]", "abcd",
     "has 4 bytes; 1 to 3 are allowed"},
    {"type = \"string\"\nlength = [2, 2]", "a", "has 1 bytes; 2 are allowed"},
    {"type = \"opaque\"", "0",
     "'0' is not bytes; write two hexadecimal digits for each, 0aff for "
     "instance"},
    {"type = \"opaque\"", "0g",
     "'0g' is not bytes; write two hexadecimal digits for each, 0aff for "
     "instance"},
    {"type = \"opaque\"\nformat = \"uint64\"", "18446744073709551616",
     "'18446744073709551616' is no decimal number from 0 to "
     "18446744073709551615"},
    {"type = \"opaque\"\nformat = \"uint64\"", "01",
     "'01' is no decimal number from 0 to 18446744073709551615"},
    {"type = \"oid\"", "59.200",
     "'59.200' is no object; write four numbers with dots between, 59.200.0.1 "
     "for instance"},
    {"type = \"oid\"", "59.200.0.01",
     "'59.200.0.01' is no object; write four numbers with dots between, "
     "59.200.0.1 for instance"},
    {"type = \"aid\"", "59.200",
     "'59.200' is no attribute, action or event; write three numbers with dots "
     "between, 59.200.1 for instance"},
    {"type = \"addr\"", "10.0.0",
     "'10.0.0' is no IPv4 address; write four numbers from 0 to 255 with dots "
     "between, 10.0.0.7 for instance"},
    {"type = \"addr\"", "10.0.0.256",
     "'10.0.0.256' is no IPv4 address; write four numbers from 0 to 255 with "
     "dots between, 10.0.0.7 for instance"},
    {"type = \"time\"", "yesterday",
     "'yesterday' is no time; write 2026-11-22T10:47:00Z, or +01:00 in place "
     "of Z"},
    {"type = \"time\"", "1700000000",
     "'1700000000' is no time; write 2026-11-22T10:47:00Z, or +01:00 in place "
     "of Z"},
    {"type = \"time\"", "2026-11-22T10:47:00",
     "'2026-11-22T10:47:00' has no zone; write 2026-11-22T10:47:00Z, or +01:00 "
     "in place of Z"},
    {"type = \"time\"", "2026-11-22T10:47:00+01",
     "'2026-11-22T10:47:00+01' has no zone; write 2026-11-22T10:47:00Z, or "
     "+01:00 in place of Z"},
    {"type = \"time\"", "2026-02-29T10:47:00Z",
     "'2026-02-29T10:47:00Z' is no time that a calendar and a clock show; "
     "write 2026-11-22T10:47:00Z, or +01:00 in place of Z"},
    {"type = \"time\"", "2026-11-22T24:00:00Z",
     "'2026-11-22T24:00:00Z' is no time that a calendar and a clock show; "
     "write 2026-11-22T10:47:00Z, or +01:00 in place of Z"},
    {"type = \"time\"", "1969-12-31T23:59:59Z",
     "'1969-12-31T23:59:59Z' is outside 1970-01-01T00:00:00Z to "
     "2106-02-07T06:28:15Z"},
    {"type = \"time\"", "2106-02-07T06:28:16Z",
     "'2106-02-07T06:28:16Z' is outside 1970-01-01T00:00:00Z to "
     "2106-02-07T06:28:15Z"},
    {"type = \"time\"", "@4294967296",
     "'@4294967296' is no number of seconds from @0 to @4294967295"},
    {"type = \"string\"\nformat = \"mac\"", "fe:54:00:ab:00",
     "'fe:54:00:ab:00' is not a MAC address, fe:54:00:00:00:01, for instance"},
    {"type = \"string\"\nformat = \"mac\"", "fe:54-00:ab:00:01",
     "'fe:54-00:ab:00:01' is not a MAC address, fe:54:00:00:00:01, for "
     "instance"},
    {"type = \"string\"\nformat = \"uuid\"", "123e4567",
     "'123e4567' is not a UUID, 123e4567-e89b-12d3-a456-426614174000, for "
     "instance"},
    {"type = \"string\"\nformat = \"ipv6\"", "fe80::1%eth0",
     "'fe80::1%eth0' is not an IPv6 address, 2001:db8::1, for instance"},
    {"type = \"string\"\nformat = \"ipv6\"", std::string("::1\0", 4),
     "'::1\\x00' is not an IPv6 address, 2001:db8::1, for instance"},
    {"type = \"string\"\nformat = \"cidr\"", "10.0.0.7",
     "'10.0.0.7' is not an address with the length of its network, 10.0.0.7/24 "
     "or 2001:db8::1/64, for instance"},
    {"type = \"string\"\nformat = \"cidr\"", "10.0.0.7/33",
     "'10.0.0.7/33' is not an address with the length of its network, "
     "10.0.0.7/24 or 2001:db8::1/64, for instance"},
    {"type = \"string\"\nformat = \"cidr\"", "::/129",
     "'::/129' is not an address with the length of its network, 10.0.0.7/24 "
     "or 2001:db8::1/64, for instance"},
    {"type = \"list\"\nelement = \"int\"", "1,,2",
     "'1,,2' is no list; put commas between elements, a backslash before a "
     "comma in one, and write \"\" for an empty one"},
    {"type = \"list\"\nelement = \"int\"", "1\\",
     "'1\\' is no list; put commas between elements, a backslash before a "
     "comma in one, and write \"\" for an empty one"},
    {"type = \"list\"\nelement = \"uchar\"", "1,256",
     "element 2: 256 is beyond what the type uchar can hold, 0 to 255"},
    {"type = \"list\"\nelement = \"int\"\nlength = [1, 2]", "1,2,3",
     "has 3 elements; 1 to 2 are allowed"},
    {"type = \"description\"\naccess = \"read-only\"", "x",
     "a value of the type description cannot be written as text"},
};

TEST(ReadValue, SaysWhatFailedWhyAndWhatToDo) {
  for (const Row& row : kBad) {
    const DescribedValue read = readValue(describe(row.keys), row.text);
    EXPECT_FALSE(read) << row.keys << " " << row.text;
    EXPECT_EQ(read.mistake, row.printed) << row.keys;
  }
}

TEST(ReadValue, MakesTheBytesOfTheWire) {
  const auto bytes = [](const char* keys, const char* text) {
    return bytesOf(*readValue(describe(keys), text).value);
  };
  EXPECT_EQ(bytes("type = \"opaque\"\nformat = \"uint64\"", "258"),
            "084301080000000000000102");
  EXPECT_EQ(bytes("type = \"int\"", "5"), "030105");
  EXPECT_EQ(bytes("type = \"addr\"", "192.0.2.1"), "0F02C0000201");
  EXPECT_EQ(bytes("type = \"oid\"", "59.6.0.3"), "0A01013B0106000103");
  EXPECT_EQ(bytes("type = \"time\"", "@1000"), "0C0203E8");
}

TEST(ReadValue, TakesReferencesOfTheClassOrOfOneBelowIt) {
  const Catalogue catalogue = catalogueOf(
      {"name = \"room\"\nid = \"59.301\"\nrevision = 1\n",
       "name = \"cellar\"\nid = \"59.302\"\nrevision = 1\n"
       "derived-from = \"room\"\n",
       "name = \"house\"\nid = \"59.303\"\nrevision = 1\n"
       "[attribute.a]\nid = \"59.303.1\"\ntype = \"oid\"\nclass = \"room\"\n"});
  const ValueDescription& room = catalogue.find("house")->attributes.at(0);
  EXPECT_TRUE(readValue(room, "59.301.0.1", &catalogue));
  EXPECT_TRUE(readValue(room, "59.302.0.1", &catalogue));
  EXPECT_EQ(readValue(room, "59.303.0.1", &catalogue).mistake,
            "'59.303.0.1' is an object of the class house; one of the class "
            "room (59.301) is wanted");
  EXPECT_EQ(readValue(room, "59.7.0.1", &catalogue).mistake,
            "'59.7.0.1' is an object of the class 59.7; one of the class room "
            "(59.301) is wanted");
  EXPECT_TRUE(readValue(room, "59.7.0.1"));  // nobody says what a room is
}

TEST(DeclaredValue, ConvertsWholeNumbersWithoutLoss) {
  veskLong number(200);
  const auto declared = [&](const char* type) {
    const ValueDescription description =
        describe(std::string("type = \"") + type + "\"");
    const DescribedValue value = declaredValue(description, number);
    return value ? bytesOf(*value.value) : value.mistake;
  };
  EXPECT_EQ(declared("uchar"), "41C8");
  EXPECT_EQ(declared("int"), "0301C8");
  EXPECT_EQ(declared("char"),
            "200 is beyond what the type char can hold, -128 to 127");
  EXPECT_EQ(declared("double"), "is no value of the type double");
  EXPECT_EQ(declared("bool"), "is no value of the type bool");
  EXPECT_EQ(declared("string"), "is no value of the type string");
  EXPECT_EQ(declared("time"), "is no value of the type time");
}

TEST(DeclaredValue, RefusesNoneInPlaceOfAValue) {
  veskOid oid;
  EXPECT_EQ(declaredValue(describe("type = \"oid\""), oid).mistake,
            "is no valid identifier");
  veskAid aid;
  EXPECT_EQ(declaredValue(describe("type = \"aid\""), aid).mistake,
            "is no valid identifier");
  veskAddress address;
  EXPECT_EQ(declaredValue(describe("type = \"addr\""), address).mistake,
            "is no address");
  veskType null;
  EXPECT_EQ(declaredValue(describe("type = \"int\""), null).mistake,
            "is no value of the type int");
  veskDouble number(0.0 / 1.0);
  number.value = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(declaredValue(describe("type = \"double\""), number).mistake,
            "is not a finite number");
}

TEST(DeclaredValue, LooksIntoLists) {
  veskList list;
  list.append(new veskLong(1));
  list.append(new veskString("x"));
  EXPECT_EQ(declaredValue(describe("type = \"list\"\nelement = \"int\""), list)
                .mistake,
            "element 2: is no value of the type int");
  list.clear(1);
  veskInt number(1);
  EXPECT_EQ(
      declaredValue(describe("type = \"list\"\nelement = \"int\""), number)
          .mistake,
      "is no list");
}

TEST(PrintValue, PrintsWhatIsOfAnotherTypeAsItIs) {
  veskString text("x");
  EXPECT_EQ(printValue(describe("type = \"int\""), text), "x");
  veskInt number(7);
  EXPECT_EQ(printValue(describe(kNames), number), "7");  // has no name
}

}  // namespace
}  // namespace ostrel
