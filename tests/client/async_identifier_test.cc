// Identifiers and endpoints as plain values.

#include "ostrel/identifier.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "ostrel/type.h"
#include "support/random_values.h"

namespace {

using ostrel::Aid;
using ostrel::Endpoint;
using ostrel::Oid;
using ostrel::test::Random;

TEST(Oid, IsItsTextAndItsNumbers) {
  const Oid oid = "59.6.0.1";
  EXPECT_TRUE(oid.valid());
  EXPECT_EQ(oid, Oid(59, 6, 0, 1));
  EXPECT_EQ(oid.numbers(), (Oid::Numbers{{59, 6, 0, 1}}));
  EXPECT_EQ(oid.text(), "59.6.0.1");
  EXPECT_EQ(Oid("59.6"), "59.6.0.0");
  EXPECT_EQ(Oid(std::string("59.0x10.010")), Oid(59, 16, 8));
  std::ostringstream out;
  out << oid;
  EXPECT_EQ(out.str(), "59.6.0.1");
}

TEST(Oid, IsInvalidWithoutAnIdentifier) {
  for (const char* text : {"", "59", "59.x", "1.2.3.4.5", "Invalid"}) {
    EXPECT_FALSE(Oid(text).valid()) << text;
    EXPECT_EQ(Oid(text), Oid()) << text;
  }
  EXPECT_EQ(Oid(static_cast<const char*>(nullptr)), Oid());
  EXPECT_EQ(Oid(std::string_view()), Oid());
  EXPECT_EQ(Oid().text(), "Invalid");
  EXPECT_EQ(Oid().numbers(), Oid::Numbers{});
  EXPECT_FALSE(Oid().classOid().valid());
}

TEST(Oid, ReadsAViewToItsEndAndNoFurther) {
  const std::string text = "59.6.0.12";
  EXPECT_EQ(Oid(std::string_view(text).substr(0, 8)), "59.6.0.1");
  const std::string_view withNul("59.6\0.7", 7);
  EXPECT_EQ(Oid(withNul), "59.6.0.0");
}

TEST(Oid, KnowsItsClass) {
  EXPECT_EQ(Oid("59.6.0.1").classOid(), "59.6.0.0");
  EXPECT_EQ(Aid("59.6.3").classOid(), "59.6.0.0");
}

TEST(Oid, IsMadeByTheCompiler) {
  constexpr Oid oid(59, 6, 0, 1);
  static_assert(oid.valid() && oid.classOid() == Oid(59, 6));
  static_assert(Oid() < Oid(0, 0) && Oid(1, 2) < Oid(1, 3));
  static_assert(Aid(59, 6, 1) != Aid(59, 6, 2) && Aid(1, 2) <= Aid(1, 2));
  static_assert(std::is_trivially_copyable_v<Oid>);
  static_assert(std::is_trivially_copyable_v<Endpoint>);
}

TEST(Oid, OrdersByTheFirstDifferenceAndHashes) {
  const std::set<Oid> ordered{"59.7", "59.6.0.2", Oid(), "59.6.1.0",
                              "59.6.0.2"};
  const std::vector<Oid> expected{Oid(), "59.6.0.2", "59.6.1.0", "59.7"};
  EXPECT_EQ(std::vector<Oid>(ordered.begin(), ordered.end()), expected);
  const std::unordered_set<Oid> hashed{"59.7", "59.7.0.0", "59.8"};
  EXPECT_EQ(hashed.size(), 2u);
  const std::unordered_set<Aid> aids{"59.7.1", "59.7.1", "59.7"};
  EXPECT_EQ(aids.size(), 2u);
}

TEST(Oid, ConvertsToTheStatedClassAndBack) {
  veskOid stated = Oid("59.6.0.1").vesk();
  EXPECT_EQ(stated == "59.6.0.1", 1);
  EXPECT_EQ(Oid(stated), "59.6.0.1");
  EXPECT_EQ(Oid().vesk().valid, 0u);
  stated.valid = 0;
  EXPECT_EQ(Oid(stated), Oid());
  veskAid attribute = Aid("59.6.1").vesk();
  EXPECT_EQ(attribute == "59.6.1", 1);
  EXPECT_EQ(Aid(attribute), "59.6.1");
}

TEST(IdentifierText, MeansTheSameAsInTheStatedClasses) {
  for (std::uint64_t seed = 0; seed < 20000; seed++) {
    Random random(seed);
    std::string text = ostrel::test::randomIdentifier(random, 4);
    if (seed % 4 == 0) text += text;
    veskOid oid(text.c_str());
    veskAid aid(text.c_str());
    ASSERT_EQ(Oid(text.c_str()), Oid(oid)) << text;
    ASSERT_EQ(Aid(text.c_str()), Aid(aid)) << text;
    ASSERT_EQ(Oid(Oid(oid).text()), Oid(oid)) << text;
  }
}

TEST(Endpoint, IsAnAddressAndAPort) {
  const Endpoint plain = "10.0.0.7";
  EXPECT_EQ(plain.address(), 0x0a000007u);
  EXPECT_EQ(plain.port(), 5135);
  EXPECT_EQ(plain.text(), "10.0.0.7:5135");
  const Endpoint other = "255.255.255.255:65535";
  EXPECT_EQ(other.port(), 65535);
  EXPECT_EQ(other.text(), "255.255.255.255:65535");
  EXPECT_EQ(Endpoint(0x0a000007, 5300), "10.0.0.7:5300");
  std::ostringstream out;
  out << plain;
  EXPECT_EQ(out.str(), "10.0.0.7:5135");
}

TEST(Endpoint, IsInvalidWithoutAnAddress) {
  for (const char* text :
       {"", "localhost", "10.0.0", "10.0.0.7:", "10.0.0.7:0", "10.0.0.7:65536",
        "10.0.0.7:x", "10.0.0.7:5 ", "10.0.0.7:+5", "10.0.0.7:5135:1",
        " 10.0.0.7", "10.0.0.256", ":5135", "10.0.0.7:000005135",
        "1000.1000.1000.1000"}) {
    EXPECT_FALSE(Endpoint(text).valid()) << text;
    EXPECT_FALSE(Endpoint::parse(text)) << text;
  }
  EXPECT_FALSE(Endpoint(static_cast<const char*>(nullptr)).valid());
  EXPECT_FALSE(Endpoint::parse(std::string_view("10.0.0.7\0", 9)));
  EXPECT_FALSE(Endpoint().valid());
  EXPECT_EQ(Endpoint().text(), "Invalid");
  EXPECT_EQ(*Endpoint::parse("10.0.0.7:1"), Endpoint(0x0a000007, 1));
}

TEST(Endpoint, ConvertsToSocketAddressesAndBack) {
  const sockaddr_in address = Endpoint("10.0.0.7:5300").socketAddress();
  EXPECT_EQ(address.sin_family, AF_INET);
  EXPECT_EQ(ntohs(address.sin_port), 5300);
  EXPECT_EQ(ntohl(address.sin_addr.s_addr), 0x0a000007u);
  EXPECT_EQ(Endpoint(address), "10.0.0.7:5300");
  EXPECT_EQ(Endpoint(address.sin_addr), "10.0.0.7:5135");
}

TEST(Endpoint, OrdersByAddressAndThenPortAndHashes) {
  const std::set<Endpoint> ordered{"10.0.0.8:1", "10.0.0.7:2", "10.0.0.7:1"};
  const std::vector<Endpoint> expected{"10.0.0.7:1", "10.0.0.7:2",
                                       "10.0.0.8:1"};
  EXPECT_EQ(std::vector<Endpoint>(ordered.begin(), ordered.end()), expected);
  std::unordered_set<std::size_t> hashes;
  for (std::uint16_t port = 1; port <= 1000; port++)
    hashes.insert(std::hash<Endpoint>()(Endpoint(0x0a000007, port)));
  EXPECT_EQ(hashes.size(), 1000u);
}

}  // namespace
