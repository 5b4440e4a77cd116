#include "common/addresses.h"

#include <gtest/gtest.h>

namespace ostrel::tools {
namespace {

TEST(ParseAddress, TakesFourNumbersAndNothingElse) {
  const auto address = parseAddress("10.0.0.7");
  ASSERT_TRUE(address.has_value());
  EXPECT_EQ(addressText(*address), "10.0.0.7");
  for (const char* text : {"", "10.0.0", "10.0.0.07", "10.0.0.256",
                           "0x7f.0.0.1", "localhost", "10.0.0.7 "})
    EXPECT_FALSE(parseAddress(text).has_value()) << text;
}

TEST(LookUpHost, TakesAnAddressForItself) {
  const HostLookup found = lookUpHost("127.0.0.9");
  EXPECT_EQ(found.code, 0);
  EXPECT_EQ(addressText(found.address), "127.0.0.9");
}

TEST(Endpoint, IsAnAddressAndAPort) {
  const sockaddr_in to = endpoint(loopbackAddress(), 5135);
  EXPECT_EQ(endpointText(to), "127.0.0.1:5135");
  EXPECT_TRUE(sameEndpoint(to, endpoint(loopbackAddress(), 5135)));
  EXPECT_FALSE(sameEndpoint(to, endpoint(loopbackAddress(), 5136)));
  EXPECT_FALSE(sameEndpoint(to, endpoint(directoryGroup(), 5135)));
}

TEST(Addresses, KnowTheGroupOfDirectories) {
  EXPECT_EQ(addressText(directoryGroup()), "224.0.1.2");
}

TEST(Addresses, TellLoopback) {
  EXPECT_TRUE(isLoopback(*parseAddress("127.0.0.1")));
  EXPECT_TRUE(isLoopback(*parseAddress("127.255.0.1")));
  EXPECT_FALSE(isLoopback(*parseAddress("128.0.0.1")));
}

TEST(Addresses, TellThoseOfOneMachine) {
  EXPECT_TRUE(isUnicast(*parseAddress("10.0.0.7")));
  for (const char* text : {"0.0.0.0", "224.0.1.2", "255.255.255.255"})
    EXPECT_FALSE(isUnicast(*parseAddress(text))) << text;
}

}  // namespace
}  // namespace ostrel::tools
