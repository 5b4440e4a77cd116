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

TEST(ParseServerName, TakesAHostWithAPortOrWithout) {
  const auto plain = parseServerName("printers.example.org");
  ASSERT_TRUE(plain.has_value());
  EXPECT_EQ(plain->host, "printers.example.org");
  EXPECT_EQ(plain->port, 0);
  const auto full = parseServerName("10.0.0.7:65535");
  ASSERT_TRUE(full.has_value());
  EXPECT_EQ(full->host, "10.0.0.7");
  EXPECT_EQ(full->port, 65535);
}

TEST(ParseServerName, RefusesWhatIsNoPort) {
  for (const char* text :
       {"", ":5135", "host:", "host:0", "host:65536", "host:-1", "host:+5",
        "host: 5", "host:5x", "host:5:6", "host:0x10"})
    EXPECT_FALSE(parseServerName(text).has_value()) << text;
}

TEST(ServerText, LeavesOutTheUsualPort) {
  const sockaddr_in to = endpoint(loopbackAddress(), 5135);
  EXPECT_EQ(serverText(to, 5135), "127.0.0.1");
  EXPECT_EQ(serverText(to, 5136), "127.0.0.1:5135");
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

TEST(ServerNames, StandBetweenCommas) {
  using Names = std::vector<std::string>;
  EXPECT_EQ(serverNames(""), Names{});
  EXPECT_EQ(serverNames("one:7"), Names{"one:7"});
  EXPECT_EQ(serverNames(",one,,two,"), (Names{"one", "two"}));
}

TEST(ParseNetwork, TakesAnAddressAndAPrefix) {
  for (const char* text :
       {"10.0.0.0/8", "0.0.0.0/0", "192.0.2.128/25", "192.0.2.7/32"})
    EXPECT_TRUE(parseNetwork(text).has_value()) << text;
  const auto alone = parseNetwork("192.0.2.7");
  ASSERT_TRUE(alone.has_value());
  EXPECT_EQ(alone->prefix, 32U);
}

TEST(ParseNetwork, RefusesWhatIsNone) {
  for (const char* text :
       {"", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8 ",
        "10.0.0.0/008", "10.0.0.1/8", "10/8", "10.0.0.0/8/8"})
    EXPECT_FALSE(parseNetwork(text).has_value()) << text;
}

TEST(Network, ContainsWhatBeginsWithItsBits) {
  const Network half = *parseNetwork("192.0.2.128/25");
  EXPECT_TRUE(contains(half, *parseAddress("192.0.2.128")));
  EXPECT_TRUE(contains(half, *parseAddress("192.0.2.255")));
  EXPECT_FALSE(contains(half, *parseAddress("192.0.2.127")));
  EXPECT_TRUE(contains(*parseNetwork("0.0.0.0/0"), *parseAddress("8.8.8.8")));
}

}  // namespace
}  // namespace ostrel::tools
