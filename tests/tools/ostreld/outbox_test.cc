#include "net/outbox.h"

#include <list>

#include "net_test.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLong = 50 * kFragmentData;  // three bursts

class OutboxTest : public testing::Test {
 protected:
  OutboxTest() : socket(loopbackAddress(), 0) {}

  void send(const Peer& peer, std::string answer) {
    outbox.send(peer.address, answer, now);
    outbox.flush(now);
  }

  // As the loop does: turns without end, as long as something is due now.
  void sendDue() {
    for (int i = 0; i < 100; ++i) outbox.sendDue(now);
  }

  UdpSocket socket;
  RateLimit bytes{0};
  Counters counters;
  Outbox outbox{&socket, &bytes, &counters};
  Outbox::Time now{1h};
  Peer client;
  Peer other;
};

TEST_F(OutboxTest, ShortAnswersLeaveAtOnce) {
  send(client, std::string(Outbox::kQuickMessage, 's'));
  EXPECT_EQ(client.take(), std::string(Outbox::kQuickMessage, 's'));
  EXPECT_EQ(outbox.nextDue(), std::nullopt);
}

TEST_F(OutboxTest, AnswersOfADatagramLeaveTogether) {
  std::string first = "first";
  std::string second = "second";
  outbox.send(client.address, first, now);
  outbox.send(other.address, second, now);
  EXPECT_EQ(client.drain() + other.drain(), 0U);
  outbox.flush(now);
  EXPECT_EQ(client.take(), "first");
  EXPECT_EQ(other.take(), "second");
}

TEST_F(OutboxTest, ManyAnswersOfADatagramDoNotWaitForAllOfThem) {
  constexpr unsigned kMany = 100;
  for (unsigned i = 0; i < kMany; ++i) {
    std::string answer = "one of many";
    outbox.send(client.address, answer, now);
  }
  EXPECT_EQ(client.drain(), 96U);
  outbox.flush(now);
  EXPECT_EQ(client.drain(), 4U);
}

TEST_F(OutboxTest, AnAnswerThatCannotBeSentKeepsNoOtherBack) {
  // Port 0 is nobody's.
  sockaddr_in nobody = client.address;
  nobody.sin_port = 0;
  std::string lost = "lost";
  std::string answer = "answer";
  outbox.send(nobody, lost, now);
  outbox.send(client.address, answer, now);
  outbox.flush(now);
  EXPECT_EQ(client.take(), "answer");
  EXPECT_EQ(outbox.nextDue(), std::nullopt);
}

TEST_F(OutboxTest, LongAnswersLeaveInBurstsWithARest) {
  send(client, std::string(kLong, 'l'));
  EXPECT_EQ(client.drain(), 0U);
  EXPECT_EQ(outbox.nextDue(), now);
  for (const unsigned burst : {20U, 20U, 10U}) {
    sendDue();
    EXPECT_EQ(client.drain(), burst);
    now += 99ms;
    sendDue();
    EXPECT_EQ(client.drain(), 0U);
    now += 1ms;
  }
  EXPECT_EQ(outbox.nextDue(), std::nullopt);
}

TEST_F(OutboxTest, ALongAnswerArrivesWhole) {
  std::string answer;
  while (answer.size() < kLong) answer += std::to_string(answer.size());
  send(client, answer);
  for (int i = 0; i < 3; ++i, now += 100ms) sendDue();
  EXPECT_EQ(client.take(), answer);
}

TEST_F(OutboxTest, ShortAnswersPassALongOne) {
  send(client, std::string(kLong, 'l'));
  sendDue();
  client.drain();
  send(client, "short");
  EXPECT_EQ(client.take(), "short");
}

TEST_F(OutboxTest, LongAnswersGoSideBySide) {
  send(client, std::string(kLong, 'c'));
  send(other, std::string(kLong, 'o'));
  sendDue();
  EXPECT_EQ(client.drain(), 20U);
  EXPECT_EQ(other.drain(), 20U);
}

TEST_F(OutboxTest, OneEndpointGetsOneBurstAtATime) {
  send(client, std::string(kLong, '1'));
  send(client, std::string(kLong, '2'));
  unsigned got = 0;
  for (int i = 0; i < 6; ++i, now += 100ms) {
    sendDue();
    const unsigned more = client.drain();
    EXPECT_LE(more, 20U);
    got += more;
  }
  EXPECT_EQ(got, 100U);
}

TEST_F(OutboxTest, ATurnSendsAFewBurstsToThoseWhoWaitLongest) {
  std::list<Peer> peers;
  for (int i = 0; i < 10; ++i)
    peers.emplace_back(("127.0.1." + std::to_string(i)).c_str());
  for (const Peer& peer : peers) send(peer, std::string(kLong, 'l'));
  std::size_t served = 0;
  for (std::size_t turn = 0; turn < 3; ++turn, now += 1ms) {
    outbox.sendDue(now);
    std::size_t inTurn = 0;
    for (Peer& peer : peers) inTurn += peer.drain() == 20 ? 1U : 0U;
    EXPECT_LE(inTurn, 4U);
    served += inTurn;
  }
  EXPECT_EQ(served, 10U);
}

TEST_F(OutboxTest, ARepeatOfAWaitingAnswerIsIgnored) {
  send(client, std::string(kLong, 'l'));
  send(client, std::string(kLong, 'l'));
  for (int i = 0; i < 10; ++i, now += 100ms) sendDue();
  EXPECT_EQ(client.drain(), 50U);
}

TEST_F(OutboxTest, WhatWaitsForOneAddressIsBounded) {
  logRepeats();
  testing::internal::CaptureStderr();
  for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'})
    send(client, std::string(kLong, letter));
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("too many long answers wait"));
  EXPECT_EQ(counters.value(Counter::kAnswersDropped), 2U);
  unsigned got = 0;
  for (int i = 0; i < 20; ++i, now += 100ms) {
    sendDue();
    got += client.drain();
  }
  EXPECT_EQ(got, Outbox::kMostOfOne * 50);
}

TEST_F(OutboxTest, WhatWaitsInAllIsBounded) {
  for (std::uint32_t host = 0; host < 20; ++host) {
    for (const char letter : {'a', 'b', 'c', 'd'}) {
      std::string answer(kLong, letter);
      outbox.send(endpoint({htonl(0x7f000100 + host)}, 9), answer, now);
    }
  }
  EXPECT_EQ(counters.value(Counter::kAnswersDropped), 80 - Outbox::kMost);
}

TEST_F(OutboxTest, AnAddressGetsSoManyBytesInASecond) {
  bytes = RateLimit(160000);
  std::uint64_t got = 0;
  for (int i = 0; i < 300; ++i, now += 10ms) {
    send(client, std::string(1456, 's'));
    send(other, std::string(1456, 's'));
    sendDue();
    got += client.drain() + other.drain();
  }
  // Three seconds, both of one address; what was asked for is 873,600 bytes.
  EXPECT_LE(got * 1456, 160000U * 17 / 16 * 3);
  EXPECT_GE(got * 1456, 160000U * 2);
  EXPECT_GT(counters.value(Counter::kAnswersOverBytes), 0U);
}

TEST_F(OutboxTest, ALongAnswerWaitsUntilThereIsRoomForItsBytes) {
  bytes = RateLimit(40000);
  send(client, std::string(kLong, 'l'));
  sendDue();
  EXPECT_EQ(client.drain(), 20U);
  now += 100ms;
  sendDue();
  EXPECT_EQ(client.drain(), 0U);
  EXPECT_GT(*outbox.nextDue(), now);
  now += 1s;
  sendDue();
  EXPECT_EQ(client.drain(), 20U);
}

TEST_F(OutboxTest, AShortAnswerWithoutRoomLeavesWhenThereIs) {
  bytes = RateLimit(1600);
  send(client, std::string(1456, 'f'));
  send(client, "second");
  EXPECT_EQ(client.drain(), 2U);
  send(client, std::string(1000, 't'));
  EXPECT_EQ(client.drain(), 0U);
  now += 2s;
  sendDue();
  EXPECT_EQ(client.take(), std::string(1000, 't'));
  EXPECT_EQ(counters.value(Counter::kAnswersOverBytes), 0U);
}

TEST_F(OutboxTest, WhatCannotBeSentIsGivenUp) {
  std::string answer(kLong, 'l');
  outbox.send(endpoint(loopbackAddress(), 0), answer, now);
  sendDue();
  EXPECT_EQ(outbox.nextDue(), std::nullopt);
}

}  // namespace
}  // namespace ostrel::tools::server
