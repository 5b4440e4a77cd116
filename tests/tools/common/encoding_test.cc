#include "common/encoding.h"

#include <gtest/gtest.h>
#include <ostrel/veskPDU.h>

namespace ostrel::tools {
namespace {

TEST(Encoded, IsRefusedBeyondTheLimit) {
  veskString string(std::string(1000, 'x').c_str());
  const auto bytes = encoded(string, 2000);
  ASSERT_TRUE(bytes.has_value());
  EXPECT_TRUE(encoded(string, bytes->size()).has_value());
  EXPECT_FALSE(encoded(string, bytes->size() - 1).has_value());
}

TEST(Encoded, IsNothingForAValueThatHasNoEncoding) {
  veskAddress address;
  address.family = 77;
  EXPECT_FALSE(encoded(address).has_value());
}

TEST(Decoded, WantsAllBytes) {
  EXPECT_NE(decoded(std::string("\x03\x00", 2)), nullptr);
  EXPECT_EQ(decoded(std::string("\x03\x00\x00", 3)), nullptr);
  EXPECT_EQ(decoded("\x03"), nullptr);
  EXPECT_EQ(decoded(""), nullptr);
}

TEST(Decode, SaysHowManyBytesTheValueTook) {
  const Decoding decoding = decode(std::string("\x03\x01\x05\xff", 4));
  ASSERT_NE(decoding.value, nullptr);
  EXPECT_EQ(decoding.used, 3U);
  EXPECT_EQ(dynamic_cast<veskInt&>(*decoding.value).value, 5);
}

TEST(Decode, HandsOverWhatItReadOfAValueThatIsNone) {
  const Decoding decoding = decode("\x80\x01\x02\x03");
  EXPECT_EQ(decoding.used, 0U);
  EXPECT_NE(decoding.value, nullptr);
}

TEST(Decode, HasNoValueForATagThatNoClassHas) {
  const Decoding decoding = decode("\xff\x01");
  EXPECT_EQ(decoding.used, 0U);
  EXPECT_EQ(decoding.value, nullptr);
}

using namespace std::string_literals;

TEST(Canonical, PutsTheRightTagsInPlaceOfThoseThatArrived) {
  const auto value = decoded("\x09\x8F\x01\x03\x61\x62\x63");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(encoded(*value), "\x09\x8F\x01\x03\x61\x62\x63");
  EXPECT_EQ(canonical(*value), "\x09\x43\x01\x03\x61\x62\x63");
}

TEST(Canonical, IsNothingBeyondTheLimitOrWithoutAnEncoding) {
  veskString string("abc");
  EXPECT_FALSE(canonical(string, 6).has_value());
  EXPECT_TRUE(canonical(string, 7).has_value());
  // It can be sent and is refused when it arrives.
  veskGauge gauge(5);
  EXPECT_FALSE(canonical(gauge).has_value());
}

TEST(DecodedCanonically, CorrectsWhatLiesInside) {
  const auto value =
      decodedCanonically("\x80\x01\x01\x01\x09\x8F\x02\x00\x01\x61"s);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(encoded(*value), "\x80\x43\x01\x01\x09\x43\x01\x01\x61");
}

TEST(ValuesIn, CountsThoseInsideAndWantsAllBytes) {
  EXPECT_EQ(valuesIn("\x80\x43\x01\x02\x00\x00"s), 3U);
  EXPECT_EQ(valuesIn("\x80\x43\x01\x02\x00\x00\x00"s), std::nullopt);
  EXPECT_EQ(valuesIn("\x80\x43\x01\x02\x00"s), std::nullopt);
  EXPECT_EQ(valuesIn(""), std::nullopt);
}

TEST(HeaderIn, ReadsTheHeaderAndNothingBehindIt) {
  // A get, request 5, in the name of 59.110.1.1; the rest is cut.
  const auto pdu = headerIn(
      "\x1F\x03\x00\x43\x01\x05\x0A\x01\x01\x3B\x01\x6E"
      "\x01\x01\x01\x01\x0A\x01"s);
  ASSERT_NE(dynamic_cast<veskGetPDU*>(pdu.get()), nullptr);
  EXPECT_EQ(pdu->requestId.value, 5U);
  EXPECT_TRUE(pdu->principal == "59.110.1.1");
  EXPECT_EQ(dynamic_cast<veskGetPDU&>(*pdu).list->count, 0U);
}

TEST(HeaderIn, IsNullWithoutAHeader) {
  EXPECT_EQ(headerIn(""), nullptr);
  EXPECT_EQ(headerIn("\xFF"), nullptr);
  EXPECT_EQ(headerIn("\x03\x01\x05"), nullptr);
  EXPECT_EQ(headerIn("\x1F\x03\x00\x43\x01"s), nullptr);
}

TEST(HeaderIn, KnowsEveryPdu) {
  for (unsigned tag = kTagFirstPDU; tag <= kTagLastPDU; ++tag) {
    std::string bytes(64, '\0');
    bytes[0] = static_cast<char>(tag);
    EXPECT_EQ(headerIn(bytes) != nullptr, decode(bytes).used != 0) << tag;
  }
}

}  // namespace
}  // namespace ostrel::tools
