#include "net/rate_limit.h"

#include <gtest/gtest.h>

#include "common/addresses.h"

namespace ostrel::tools::server {
namespace {

using namespace std::chrono_literals;

// Of these addresses none share a slot with this seed.
constexpr std::uint64_t kSeed = 5;
const in_addr kVictim = *parseAddress("192.0.2.7");
const in_addr kOther = *parseAddress("192.0.2.8");

class RateLimitTest : public testing::Test {
 protected:
  // How many of so many requests pass at once.
  unsigned passed(RateLimit& limit, in_addr address, unsigned requests) {
    unsigned count = 0;
    for (unsigned i = 0; i < requests; ++i)
      count += limit.allows(address, now) ? 1U : 0U;
    return count;
  }

  RateLimit::Time now{1h};
};

TEST_F(RateLimitTest, LetsTheRateThroughAtOnceAndNoMoreInThatSecond) {
  RateLimit limit(160, kSeed);
  EXPECT_EQ(passed(limit, kVictim, 1000), 170U);
  EXPECT_EQ(passed(limit, kOther, 1), 1U);
  now += 999ms;
  EXPECT_EQ(passed(limit, kVictim, 1000), 0U);
  now += 64ms;
  EXPECT_EQ(passed(limit, kVictim, 1000), 170U);
}

TEST_F(RateLimitTest, WhoeverSendsEvenlyGetsTheWholeRate) {
  RateLimit limit(1600, kSeed);
  for (int i = 0; i < 8000; ++i) {
    ASSERT_TRUE(limit.allows(kVictim, now)) << i;
    now += 625us;
  }
}

TEST_F(RateLimitTest, InNoSecondMoreThanASixteenthIsAdded) {
  RateLimit limit(1000, kSeed);
  std::array<unsigned, 100> counts = {};
  unsigned random = 1;
  for (unsigned i = 0; i < 5000; ++i, now += 10ms) {
    random = random * 1103515245U + 12345U;
    // Bursts and silence.
    const unsigned wanted = (random >> 16U) % 7 == 0 ? 900 : 3;
    counts[i % 100] = passed(limit, kVictim, wanted);
    unsigned inSecond = 0;
    for (const unsigned each : counts) inSecond += each;
    ASSERT_LE(inSecond, 1062U) << i;
  }
}

TEST_F(RateLimitTest, OtherSendersDoNotResetWhatAnAddressHasUsed) {
  RateLimit limit(10000);
  unsigned reached = 0;
  for (std::uint32_t round = 0; round < 5; ++round) {
    reached += passed(limit, kVictim, 20000);
    for (std::uint32_t sender = 0; sender < 70000; ++sender)
      limit.allows({htonl(0x0a000000 + sender)}, now);
    now += 199ms;
  }
  EXPECT_LE(reached, 11000U);
}

TEST_F(RateLimitTest, OtherSendersTakeNothingFromMostAddresses) {
  RateLimit limit(10);
  for (std::uint32_t sender = 0; sender < 1000; ++sender)
    passed(limit, {htonl(0x0a000000 + sender)}, 1000);
  unsigned served = 0;
  for (std::uint32_t sender = 0; sender < 100; ++sender)
    served += passed(limit, {htonl(0xc0000200 + sender)}, 1);
  // About 6 share a slot with one of the thousand.
  EXPECT_GE(served, 50U);
}

TEST_F(RateLimitTest, WhatIsBeyondIsPaidOffLater) {
  RateLimit limit(16, kSeed);
  EXPECT_TRUE(limit.allows(kVictim, now));
  // An answer of three seconds' worth: 1 and 50 are three times 17.
  limit.spend(kVictim, now, 50);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(limit.allows(kVictim, now));
    now += 1063ms;
  }
  EXPECT_TRUE(limit.allows(kVictim, now));
}

TEST_F(RateLimitTest, DebtsArePaidOffInSilenceToo) {
  RateLimit limit(16, kSeed);
  limit.spend(kVictim, now, 50);
  now += 2s;
  EXPECT_FALSE(limit.allows(kVictim, now));
  now += 60s;
  EXPECT_TRUE(limit.allows(kVictim, now));
}

TEST_F(RateLimitTest, MoreThanTheWholeLimitPassesWhereNothingElseDid) {
  RateLimit limit(100, kSeed);
  EXPECT_TRUE(limit.allows(kVictim, now, 1000));
  EXPECT_FALSE(limit.allows(kVictim, now, 1));
  now += 2s;
  EXPECT_FALSE(limit.allows(kVictim, now, 1));
}

TEST_F(RateLimitTest, AskingForRoomSpendsNothing) {
  RateLimit limit(100, kSeed);
  for (int i = 0; i < 200; ++i) EXPECT_TRUE(limit.hasRoom(kVictim, now, 100));
  EXPECT_TRUE(limit.allows(kVictim, now, 100));
  EXPECT_FALSE(limit.hasRoom(kVictim, now, 100));
}

TEST_F(RateLimitTest, ZeroIsNoLimit) {
  RateLimit limit(0);
  EXPECT_EQ(passed(limit, kVictim, 1000), 1000U);
  limit.spend(kVictim, now, UINT64_MAX);
  EXPECT_EQ(passed(limit, kVictim, 1), 1U);
}

TEST_F(RateLimitTest, TheHighestLimitsHold) {
  RateLimit limit(UINT32_MAX, kSeed);
  EXPECT_TRUE(limit.allows(kVictim, now, UINT32_MAX));
  EXPECT_FALSE(limit.allows(kVictim, now));
}

}  // namespace
}  // namespace ostrel::tools::server
