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

}  // namespace
}  // namespace ostrel::tools
