#include "net/reassembly.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "common/addresses.h"

namespace ostrel::tools::server {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr std::size_t kLongest = 1 << 20;

sockaddr_in peer(const char* host, std::uint16_t port = 4000) {
  return endpoint(*parseAddress(host), port);
}

std::string datagram(const Fragment& fragment, const std::string& data) {
  const auto header = fragment.bytes();
  return std::string(header.begin(), header.end()) + data;
}

// A message's datagrams as the library sends them.
std::vector<std::string> datagramsOf(const std::string& message,
                                     std::uint16_t id) {
  std::vector<std::string> result;
  Fragment fragment;
  fragment.id = id;
  fragment.count = static_cast<std::uint16_t>(fragmentsOf(message.size()));
  fragment.total = static_cast<std::uint32_t>(message.size());
  for (; fragment.number < fragment.count; fragment.number++) {
    fragment.offset = fragment.number * kFragmentData;
    result.push_back(
        datagram(fragment, message.substr(fragment.offset, kFragmentData)));
  }
  return result;
}

std::string textOf(std::size_t bytes) {
  std::string result;
  while (result.size() < bytes) result += "abcdefghijklmnopqrstuvw";
  result.resize(bytes);
  return result;
}

class ReassemblyTest : public testing::Test {
 protected:
  bool take(const std::string& bytes,
            const sockaddr_in& from = peer("192.0.2.7")) {
    // In a block of its own size, so that reading further is seen.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return reassembly.take(from, {exact.data(), exact.size()}, now, &rate,
                           &message);
  }

  // One fragment of two.
  bool open(std::uint16_t id, const sockaddr_in& from) {
    return take(datagramsOf(textOf(2000), id).front(), from);
  }

  std::uint64_t count(Counter counter) const { return counters.value(counter); }

  Counters counters;
  RateLimit rate{0};
  Reassembly reassembly{kLongest, &counters};
  Reassembly::Time now{1h};
  Message message;
};

TEST_F(ReassemblyTest, TakesAMessageOfOneFragment) {
  ASSERT_TRUE(
      take("\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00\x00\x03\x00\x00\x00\x00"
           "abc"s));
  EXPECT_EQ(message.bytes, "abc");
  EXPECT_EQ(message.id, 7);
  EXPECT_TRUE(sameEndpoint(message.from, peer("192.0.2.7")));
  EXPECT_EQ(reassembly.count(), 0U);
}

TEST_F(ReassemblyTest, PutsFragmentsTogetherInAnyOrder) {
  const std::string whole = textOf(5000);
  auto datagrams = datagramsOf(whole, 9);
  std::sort(datagrams.begin(), datagrams.end());
  do {
    for (std::size_t i = 0; i + 1 < datagrams.size(); ++i)
      ASSERT_FALSE(take(datagrams[i]));
    ASSERT_TRUE(take(datagrams.back()));
    ASSERT_EQ(message.bytes, whole);
    ASSERT_EQ(message.id, 9);
    ASSERT_EQ(reassembly.count(), 0U);
    ASSERT_EQ(reassembly.bytes(), 0U);
  } while (std::next_permutation(datagrams.begin(), datagrams.end()));
}

TEST_F(ReassemblyTest, DuplicatesChangeNothing) {
  const std::string whole = textOf(3000);
  const auto datagrams = datagramsOf(whole, 9);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(take(datagrams[2]));
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(take(datagrams[0]));
  ASSERT_TRUE(take(datagrams[1]));
  EXPECT_EQ(message.bytes, whole);
}

TEST_F(ReassemblyTest, SendersAndIdsDoNotMix) {
  const sockaddr_in first = peer("192.0.2.7");
  const sockaddr_in port = peer("192.0.2.7", 4001);
  const sockaddr_in host = peer("192.0.2.8");
  const auto datagrams = datagramsOf(textOf(2000), 9);
  EXPECT_FALSE(take(datagrams[0], first));
  EXPECT_FALSE(take(datagrams[1], port));
  EXPECT_FALSE(take(datagrams[1], host));
  EXPECT_FALSE(take(datagramsOf(textOf(2000), 10)[1], first));
  EXPECT_EQ(reassembly.count(), 4U);
  EXPECT_TRUE(take(datagrams[1], first));
}

TEST_F(ReassemblyTest, RefusesWhatTheWireFormatRefuses) {
  const std::string bad[] = {
      ""s,
      "\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00"s,
      "\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00\x00\x09\x00\x00\x00\x00"s,
      "\x00\x02\x00\x07\x00\x01\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00"s,
      "\x00\x01\x00\x07\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00"s,
      "\x00\x01\x00\x07\x00\x02\x00\x02\x00\x00\x05\xB1\x00\x00\x05\xB0\xAA"s,
      "\x00\x01\x00\x07\x00\x02\x00\x01\x00\x00\x05\xB1\x00\x00\x05\xB2\xAA"s,
      "\x00\x01\x00\x07\x00\x02\x00\x01\x00\x00\x0B\x61\x00\x00\x05\xB0\xAA"s,
      "\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00\x00\x02\x00\x00\x00\x00\xAA"s,
      // A single fragment that does not begin at 0; one of no bytes.
      "\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00\x00\x02\x00\x00\x00\x01\xAA"s,
      "\x00\x01\x00\x07\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xAA"s,
      // Its bytes begin where the message ends.
      "\x00\x01\x00\x07\x00\x02\x00\x01\x00\x00\x05\xB0\x00\x00\x05\xB0\xAA"s,
  };
  std::uint64_t refused = 0;
  for (const std::string& each : bad) {
    EXPECT_FALSE(take(each)) << refused;
    EXPECT_EQ(count(Counter::kMalformed), ++refused);
  }
  EXPECT_EQ(reassembly.count(), 0U);
}

TEST_F(ReassemblyTest, LaterFragmentsAreJudgedByTheFirst) {
  const auto datagrams = datagramsOf(textOf(2000), 9);
  take(datagrams[0]);
  Fragment fragment;
  fragment.id = 9;
  fragment.count = 60000;
  fragment.total = 80000000;
  fragment.number = 2;
  EXPECT_FALSE(take(datagram(fragment, "x")));
  fragment.number = 1;
  fragment.offset = 2000;
  EXPECT_FALSE(take(datagram(fragment, "x")));
  EXPECT_EQ(count(Counter::kMalformed), 2U);
  // Their own count and total do not matter, and what is beyond the end is cut.
  fragment.offset = kFragmentData;
  EXPECT_TRUE(take(datagram(fragment, std::string(1000, 'z'))));
  EXPECT_EQ(message.bytes, textOf(1456) + std::string(544, 'z'));
}

TEST_F(ReassemblyTest, PlacesThatNoFragmentFillsAreZero) {
  Fragment fragment;
  fragment.count = 2;
  fragment.total = 6;
  take(datagram(fragment, "ab"));
  fragment.number = 1;
  fragment.offset = 4;
  ASSERT_TRUE(take(datagram(fragment, "ef")));
  EXPECT_EQ(message.bytes, "ab\0\0ef"s);
}

TEST_F(ReassemblyTest, NothingIsKeptOfWhatClaimsToBeTooLong) {
  Fragment fragment;
  fragment.count = 65535;
  fragment.total = kLongest + 1;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(take(datagram(fragment, "x")));
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("more than 1048576 bytes"));
  EXPECT_EQ(count(Counter::kTooLong), 1U);
  EXPECT_EQ(reassembly.count(), 0U);
}

TEST_F(ReassemblyTest, TheLongestMessageArrives) {
  const std::string whole = textOf(kLongest);
  bool done = false;
  for (const std::string& each : datagramsOf(whole, 1)) done = take(each);
  EXPECT_TRUE(done);
  EXPECT_EQ(message.bytes, whole);
}

TEST_F(ReassemblyTest, WhatAHeaderClaimsTakesNoMemory) {
  Fragment fragment;
  fragment.count = 65535;
  fragment.total = kLongest;
  fragment.offset = kLongest - 1;
  fragment.number = 65534;
  take(datagram(fragment, "x"));
  EXPECT_EQ(reassembly.bytes(), 1 + Reassembly::kFragmentCost);
}

TEST_F(ReassemblyTest, WhatBeginsAMessageCostsItsSenderOne) {
  rate = RateLimit(16);
  for (std::uint16_t id = 0; id < 10; ++id) {
    const auto datagrams = datagramsOf(textOf(2000), id);
    take(datagrams[0]);
    EXPECT_TRUE(take(datagrams[1])) << id;
  }
  for (std::uint16_t id = 10; id < 17; ++id)
    EXPECT_TRUE(take(datagramsOf("short", id)[0])) << id;
  EXPECT_FALSE(take(datagramsOf("short", 17)[0]));
  EXPECT_FALSE(open(18, peer("192.0.2.7")));
  EXPECT_EQ(count(Counter::kOverRate), 2U);
  EXPECT_EQ(reassembly.count(), 0U);
}

TEST_F(ReassemblyTest, OneAddressHoldsABoundedNumber) {
  for (std::uint16_t id = 0; id < 1000; ++id) open(id, peer("192.0.2.7"));
  EXPECT_EQ(reassembly.count(), Reassembly::kMostOfOne);
  EXPECT_EQ(count(Counter::kPartialsDropped), 1000 - Reassembly::kMostOfOne);
  // The newest are there.
  EXPECT_TRUE(take(datagramsOf(textOf(2000), 999)[1]));
}

TEST_F(ReassemblyTest, AStrangerThatOpensKeepsNobodyElsesMessageFromArriving) {
  const auto datagrams = datagramsOf(textOf(20000), 5);
  for (const char* host : {"192.0.2.8", "192.0.2.7"}) {
    // From another machine, and from another port of the same one.
    const sockaddr_in client = peer(host, 5000);
    std::uint16_t id = 0;
    bool done = false;
    for (const std::string& each : datagrams) {
      done = take(each, client);
      for (int i = 0; i < 500; ++i) open(id++, peer("192.0.2.7"));
    }
    EXPECT_TRUE(done) << host;
  }
}

TEST_F(ReassemblyTest, OpeningsFromManyPortsOfTheSameAddressDoNotEither) {
  const auto datagrams = datagramsOf(textOf(20000), 5);
  std::uint16_t port = 6000;
  bool done = false;
  for (const std::string& each : datagrams) {
    done = take(each, peer("192.0.2.7", 5000));
    // More than may be incomplete, before the sender goes on.
    if (&each == &datagrams.front()) continue;
    for (int i = 0; i < 500; ++i) open(1, peer("192.0.2.7", port++));
  }
  EXPECT_TRUE(done);
}

TEST_F(ReassemblyTest, WhoeverSendsAgainLosesTheFirstAttempt) {
  const sockaddr_in client = peer("192.0.2.7", 5000);
  const auto first = datagramsOf(textOf(20000), 5);
  const auto second = datagramsOf(textOf(20000), 6);
  // All but one fragment arrived.
  for (std::size_t i = 1; i < first.size(); ++i) take(first[i], client);
  std::uint16_t port = 6000;
  bool done = false;
  for (const std::string& each : second) {
    done = take(each, client);
    if (&each == &second.front()) continue;
    for (int i = 0; i < 300; ++i) open(1, peer("192.0.2.7", port++));
  }
  EXPECT_TRUE(done);
}

TEST_F(ReassemblyTest, WhoeverGoesOnSendingOutlastsManyForgedSenders) {
  const auto datagrams = datagramsOf(textOf(20000), 5);
  const sockaddr_in client = peer("192.0.2.8");
  std::uint32_t stranger = 0x0a000000;
  bool done = false;
  for (const std::string& each : datagrams) {
    done = take(each, client);
    for (int i = 0; i < 1000; ++i) open(1, endpoint({htonl(stranger++)}, 4000));
    EXPECT_LE(reassembly.count(), Reassembly::kMost);
  }
  EXPECT_TRUE(done);
}

TEST_F(ReassemblyTest, OneAddressHoldsABoundedNumberOfBytes) {
  // 40 MiB, each message without its last fragment.
  for (std::uint16_t id = 0; id < 40; ++id) {
    const auto all = datagramsOf(textOf(kLongest), id);
    for (std::size_t i = 0; i + 1 < all.size(); ++i) take(all[i]);
    ASSERT_LE(reassembly.bytes(), Reassembly::kMostBytesOfOne);
  }
  // The last one lost nothing.
  EXPECT_TRUE(take(datagramsOf(textOf(kLongest), 39).back()));
}

TEST_F(ReassemblyTest, AllTogetherHoldABoundedNumberOfBytes) {
  for (unsigned host = 1; host <= 12; ++host) {
    const sockaddr_in from = endpoint({htonl(0x0a000000 + host)}, 1);
    for (std::uint16_t id = 0; id < 15; ++id) {
      const auto all = datagramsOf(textOf(kLongest), id);
      for (std::size_t i = 0; i + 1 < all.size(); ++i) take(all[i], from);
    }
    ASSERT_LE(reassembly.bytes(), Reassembly::kMostBytes);
  }
  EXPECT_GT(count(Counter::kPartialsDropped), 0U);
}

TEST_F(ReassemblyTest, WhereMessagesAreShortLessIsHeld) {
  Reassembly shortOnes(24000, &counters);
  for (std::uint16_t id = 0; id < 100; ++id) {
    const auto all = datagramsOf(textOf(24000), id);
    for (std::size_t i = 0; i + 1 < all.size(); ++i)
      shortOnes.take(peer("192.0.2.7"), all[i], now, &rate, &message);
    ASSERT_LE(shortOnes.bytes(), 16U * 24000);
  }
}

TEST_F(ReassemblyTest, OneMessageCannotHoldMoreThanItsAddressMay) {
  Fragment fragment;
  fragment.count = 65535;
  fragment.total = kLongest;
  const std::string data(60000, 'x');
  for (; fragment.number < 1000; fragment.number++) {
    take(datagram(fragment, data));
    ASSERT_LE(reassembly.bytes(), Reassembly::kMostBytesOfOne);
  }
}

TEST_F(ReassemblyTest, IncompleteMessagesEndAfterAMinute) {
  const sockaddr_in from = peer("192.0.2.7");
  open(1, from);
  now += 30s;
  open(2, from);
  now += 30s;
  reassembly.expire(now);
  EXPECT_EQ(reassembly.count(), 2U);
  now += 2s;
  reassembly.expire(now);
  EXPECT_EQ(reassembly.count(), 1U);
  EXPECT_EQ(count(Counter::kPartialsDropped), 1U);
  EXPECT_TRUE(take(datagramsOf(textOf(2000), 2)[1], from));
  EXPECT_FALSE(take(datagramsOf(textOf(2000), 1)[1], from));
}

}  // namespace
}  // namespace ostrel::tools::server
