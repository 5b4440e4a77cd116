// Who is sent next, and how much at once.

#include <gmock/gmock.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>

#include <algorithm>
#include <cerrno>
#include <queue>
#include <random>

#include "client/engine_script.h"

namespace {

using namespace script;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Many servers behind a network with a round trip and losses. They answer a get
// with one datagram.
class Network {
 public:
  Network(Wire& wire, Moment trip, double loss, unsigned seed,
          std::size_t padding = 0)
      : wire_(wire),
        trip_(trip),
        loss_(loss),
        random_(seed),
        padding_(padding, '\0') {}

  std::function<bool(const PeerAddress&)> silent = [](const PeerAddress&) {
    return false;
  };

  void advance(Moment time) {
    const Moment until = wire_.now + time;
    for (;;) {
      wire_.pump();
      carry();
      Moment next = wire_.engine.nextDue();
      if (!answers_.empty()) next = std::min(next, answers_.top().at);
      if (next > until) break;
      wire_.now = std::max(wire_.now, next);
      while (!answers_.empty() && answers_.top().at <= wire_.now) {
        const Flight flight = answers_.top();
        answers_.pop();
        wire_.engine.receive(flight.from, flight.bytes.data(),
                             flight.bytes.size(), wire_.now);
      }
    }
    wire_.now = until;
  }

  std::size_t mostInFlight = 0;

 private:
  struct Flight {
    Moment at;
    PeerAddress from;
    std::string bytes;
    bool operator<(const Flight& other) const { return at > other.at; }
  };

  bool lost() { return static_cast<double>(random_()) < loss_ * 4294967296.0; }

  void carry() {
    for (; carried_ < wire_.sent.size(); ++carried_) {
      const Sent& sent = wire_.sent[carried_];
      if (silent(sent.to) || lost() || lost()) continue;
      answers_.push({wire_.now + trip_, sent.to,
                     fake::fragments(7, wire_.found(sent) + padding_).front()});
    }
    mostInFlight = std::max(mostInFlight, answers_.size());
  }

  Wire& wire_;
  Moment trip_;
  double loss_;
  std::mt19937 random_;
  std::string padding_;  // receivers ignore what follows a PDU
  std::priority_queue<Flight> answers_;
  std::size_t carried_ = 0;
};

// Makes servers known, with answers that fill a datagram.
void acquaint(Wire& wire, unsigned count, std::size_t padding = 1400) {
  Network network(wire, kMillisecond, 0, 1, padding);
  for (unsigned i = 0; i < count; ++i) wire.ask(server(i));
  network.advance(kSecond);
  ASSERT_EQ(wire.done.size(), count);
  wire.sent.clear();
  wire.done.clear();
}

TEST(EngineFlow, EightRequestsAreUnderWayForEachServer) {
  Wire wire;
  for (unsigned i = 0; i < 20; ++i) {
    wire.ask(server(1), i);
    wire.ask(server(2), i);
  }
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 16U);
  EXPECT_EQ(wire.engine.queued(), 24U);
  wire.answerGet(0);
  EXPECT_EQ(wire.sent.size(), 17U);
  EXPECT_TRUE(wire.sent[16].to == wire.sent[0].to);
}

TEST(EngineFlow, RequestsOfAServerAreSentInTheOrderOfTheCalls) {
  Wire wire;
  for (unsigned i = 0; i < 100; ++i) wire.ask(server(1), i);
  wire.pump();
  for (std::size_t i = 0; i < 100; ++i) wire.answerGet(i);
  std::vector<unsigned> expected;
  for (unsigned i = 0; i < 100; ++i) expected.push_back(i);
  EXPECT_EQ(wire.names(), expected);
}

TEST(EngineFlow, AServerThatJustGaveUpGetsOneRequestUntilItAnswers) {
  Wire wire;
  for (unsigned i = 0; i < 20; ++i) {
    if (i == 8) wire.advance(5 * kSecond);
    wire.ask(server(1), i);
  }
  wire.advance(17 * kSecond);
  EXPECT_EQ(wire.done.size(), 8U);
  EXPECT_EQ(wire.engine.underWay(), 1U);
  wire.answerGet(wire.sent.size() - 1);
  EXPECT_EQ(wire.engine.underWay(), 8U);
}

TEST(EngineFlow, AServerThatAnswersOthersIsNotSilent) {
  Wire wire;
  for (unsigned i = 0; i < 8; ++i) wire.ask(server(1), i);
  wire.advance(20 * kSecond);
  wire.answerGet(3);
  for (unsigned i = 8; i < 20; ++i) wire.ask(server(1), i);
  wire.advance(2 * kSecond);
  EXPECT_EQ(wire.engine.underWay(), 8U);
}

TEST(EngineFlow, WhatIsUnderWayFitsIntoTheReceiveBuffer) {
  Wire wire;
  acquaint(wire, 200);
  for (unsigned i = 0; i < 200; ++i) wire.ask(server(i));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 92U);  // 212,992 / 2,304
}

TEST(EngineFlow, AnswersAreExpectedToBeAsLongAsOthersWereLately) {
  Wire wire;
  acquaint(wire, 400, 0);
  acquaint(wire, 400, 0);
  for (unsigned i = 0; i < 400; ++i) wire.ask(server(i));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 256U);  // 212,992 / 832

  Wire longer;
  acquaint(longer, 400, 300);
  acquaint(longer, 400, 300);
  for (unsigned i = 0; i < 400; ++i) longer.ask(server(i));
  longer.pump();
  EXPECT_EQ(longer.sent.size(), 166U);  // 212,992 / 1,280
}

TEST(EngineFlow, AfterTheKernelDroppedDatagramsAllAnswersAreTakenForFull) {
  Wire wire;
  acquaint(wire, 400, 0);
  wire.engine.kernelDropped(3);
  EXPECT_EQ(wire.engine.counters().kernelDrops, 3U);
  for (unsigned i = 0; i < 400; ++i) wire.ask(server(i));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 92U);
}

TEST(EngineFlow, SmallAnswersTakeLessOfTheReceiveBuffer) {
  Wire wire;
  acquaint(wire, 400);
  for (unsigned i = 0; i < 400; ++i) wire.add(wire.change(server(i), 1));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 256U);  // 212,992 / 832
}

TEST(EngineFlow, ExpectedFragmentsTakeRoomInTheReceiveBuffer) {
  Wire wire;
  acquaint(wire, 200);
  wire.ask(server(0));
  wire.pump();
  const auto fragments = fake::fragments(
      9, wire.found(wire.sent[0]) + std::string(30 * 1456, 'x'));
  wire.receive(server(0), fragments[0]);
  wire.sent.clear();
  for (unsigned i = 1; i < 200; ++i) wire.ask(server(i));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 92U - 21);
}

TEST(EngineFlow, ThirtyTwoSilentServersDelayNobodyElse) {
  Wire wire;
  Network network(wire, kMillisecond, 0, 1);
  network.silent = [](const PeerAddress& to) {
    return to.host < server(32).host;
  };
  for (unsigned n = 0; n < 50; ++n)
    for (unsigned i = 0; i < 32; ++i) wire.ask(server(i), 1);
  for (unsigned n = 0; n < 10; ++n)
    for (unsigned i = 32; i < 132; ++i) wire.ask(server(i), 2);
  // 1,000 requests, 92 or fewer at a time, 1 ms each.
  network.advance(40 * kMillisecond);
  EXPECT_EQ(wire.done.size(), 1000U);
  // Later requests neither.
  network.advance(10 * kSecond);
  wire.done.clear();
  for (unsigned n = 0; n < 10; ++n)
    for (unsigned i = 32; i < 132; ++i) wire.ask(server(i), 2);
  network.advance(20 * kMillisecond);
  EXPECT_EQ(wire.done.size(), 1000U);
}

TEST(EngineFlow, RequestsThatBackOffTakeNoRoom) {
  Wire wire;
  acquaint(wire, 200);
  for (unsigned i = 0; i < 92; ++i) wire.ask(server(i));
  wire.advance(150 * kMillisecond);
  wire.sent.clear();
  for (unsigned i = 100; i < 192; ++i) wire.ask(server(i));
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 92U);
}

TEST(EngineFlow, BeyondTheLimitsRequestsAreRefusedWithENOBUFS) {
  EngineOptions options;
  options.queued = 10;
  Wire wire(options);
  for (unsigned i = 0; i < 30; ++i) {
    wire.ask(server(1), i);
    if (i == 7) wire.pump();
  }
  wire.pump();
  ASSERT_EQ(wire.done.size(), 12U);
  for (const Done& done : wire.done) {
    EXPECT_GE(done.name, 18U);
    EXPECT_EQ(done.ended, Ended::kUnsendable);
    EXPECT_EQ(done.error, ENOBUFS);
  }
  EXPECT_EQ(wire.engine.counters().overfull, 12U);
}

TEST(EngineFlow, TheBytesInTheQueueAreLimitedToo) {
  EngineOptions options;
  options.queuedBytes = 100000;
  Wire wire(options);
  for (unsigned i = 0; i < 20; ++i) {
    auto request = wire.get(server(1), i);
    request->rest += std::string(10000, '\0');
    wire.add(std::move(request));
  }
  wire.pump();
  EXPECT_GE(wire.done.size(), 10U);
  EXPECT_EQ(wire.done[0].error, ENOBUFS);
}

TEST(EngineFlow, AHundredThousandRequestsFitInto64MiB) {
  Wire wire;
  auto request = wire.get(server(1));
  request->rest.reserve(60);  // a get of two attributes
  EXPECT_LT(Engine::costOf(*request) * 100000, 64U << 20);
}

TEST(EngineFlow, AMessageThatIsTooLongIsRefused) {
  Wire wire;
  auto request = wire.get(server(1), 4);
  request->rest = std::string(ostrel::kLongestMessage, 'x');
  wire.add(std::move(request));
  wire.pump();
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].error, EMSGSIZE);
}

TEST(EngineFlow, FragmentsOfLongRequestsLeaveTwentyEach100Milliseconds) {
  Wire wire;
  auto request = wire.get(server(1), 4);
  request->rest += fake::pattern(49 * 1456);
  const std::string rest = request->rest;
  wire.add(std::move(request));
  wire.ask(server(2));  // is not kept waiting
  wire.advance(300 * kMillisecond);
  std::map<Moment, unsigned> perTime;
  std::string message;
  for (const Sent& sent : wire.sent) {
    if (sent.to == server(2)) {
      EXPECT_EQ(sent.at, 0);
      continue;
    }
    perTime[sent.at / kMillisecond]++;
    EXPECT_EQ(fake::numberAt(sent.bytes, 6, 2), message.size() / 1456);
    EXPECT_EQ(fake::numberAt(sent.bytes, 12, 4), message.size());
    message += sent.bytes.substr(16);
  }
  EXPECT_EQ(perTime,
            (std::map<Moment, unsigned>{{0, 20}, {100, 20}, {200, 10}}));
  EXPECT_EQ(message.substr(message.size() - rest.size()), rest);
  // Waiting begins with the last fragment.
  wire.advance(2 * kSecond);
  EXPECT_EQ(wire.sent.size(), 51U);
  wire.advance(kSecond);
  EXPECT_GT(wire.sent.size(), 51U);
}

TEST(EngineFlow, TwoLongRequestsToOneServerShareItsPace) {
  Wire wire;
  for (unsigned i = 0; i < 2; ++i) {
    auto request = wire.get(server(1), i);
    request->rest += fake::pattern(15 * 1456);
    wire.add(std::move(request));
  }
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 20U);
  wire.advance(100 * kMillisecond);
  EXPECT_EQ(wire.sent.size(), 32U);
}

TEST(EngineFlow, TwoChangesOfOneObjectAreNeverUnderWayTogether) {
  Wire wire;
  for (unsigned i = 0; i < 5; ++i) wire.add(wire.change(server(1), 7, i));
  wire.pump();
  for (std::size_t i = 0; i < 5; ++i) {
    ASSERT_EQ(wire.sent.size(), i + 1);
    wire.answerRemove(i);
  }
  EXPECT_THAT(wire.names(), ElementsAre(0, 1, 2, 3, 4));
}

TEST(EngineFlow, ChangesOfOtherObjectsAndServersAndReadingDoNotWait) {
  Wire wire;
  wire.add(wire.change(server(1), 7, 0));
  wire.add(wire.change(server(1), 7, 1));
  wire.add(wire.change(server(1), 8, 2));
  wire.add(wire.change(server(2), 7, 3));
  wire.ask(server(1), 4);
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 4U);
  EXPECT_EQ(wire.engine.queued(), 1U);
}

TEST(EngineFlow, AChangeWaitsForOneThatIsSentAgain) {
  Wire wire;
  wire.add(wire.change(server(1), 7, 0));
  wire.add(wire.change(server(1), 7, 1));
  wire.advance(10 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 3000, 9000));
  wire.advance(11 * kSecond);
  EXPECT_THAT(wire.names(), ElementsAre(0));
  EXPECT_EQ(wire.sent.size(), 4U);
}

TEST(EngineFlow, AChangeThatIsTakenOutLetsTheNextGo) {
  Wire wire;
  Call* first = wire.add(wire.change(server(1), 7, 0));
  Call* second = wire.add(wire.change(server(1), 7, 1));
  wire.add(wire.change(server(1), 7, 2));
  wire.pump();
  wire.engine.takeOut(second);
  EXPECT_EQ(wire.sent.size(), 1U);
  wire.engine.takeOut(first);
  wire.pump();
  EXPECT_EQ(wire.sent.size(), 2U);
  wire.answerRemove(1);
  EXPECT_THAT(wire.names(), ElementsAre(2));
}

TEST(EngineFlow, WhatIsNotReadyHoldsUpNobodyAndKeepsItsTurn) {
  Wire wire;
  auto held = wire.change(server(1), 7, 0);
  held->ready = false;
  Call* request = wire.add(std::move(held));
  wire.add(wire.change(server(1), 7, 1));  // but the same object waits
  wire.ask(server(1), 2);
  wire.pump();
  ASSERT_EQ(wire.sent.size(), 1U);
  wire.answerGet(0);
  EXPECT_THAT(wire.names(), ElementsAre(2));
  wire.engine.makeReady(request);
  wire.pump();
  wire.answerRemove(1);
  wire.answerRemove(2);
  EXPECT_THAT(wire.names(), ElementsAre(2, 0, 1));
}

TEST(EngineFlow, ARequestThatCannotBeSentFailsAlone) {
  Wire wire;
  wire.ask(server(1), 0);
  wire.ask(server(2), 1);
  wire.engine.tick(wire.now);
  ostrel::Outgoing batch[4];
  ASSERT_EQ(wire.engine.peek(batch, 4), 2U);
  wire.engine.unsendable(batch[0], ENETUNREACH);
  wire.pump();
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].error, ENETUNREACH);
  wire.answerGet(0);
  EXPECT_EQ(wire.done[1].name, 1U);
}

TEST(EngineFlow, EndingAllCompletesEachOnce) {
  Wire wire;
  for (unsigned i = 0; i < 100; ++i) wire.add(wire.change(server(1), 7, i));
  for (unsigned i = 0; i < 100; ++i) wire.ask(server(1), 100 + i);
  wire.pump();
  wire.engine.endAll();
  wire.pump();
  std::vector<unsigned> names = wire.names();
  std::sort(names.begin(), names.end());
  ASSERT_EQ(names.size(), 200U);
  for (unsigned i = 0; i < 200; ++i) EXPECT_EQ(names[i], i);
  EXPECT_EQ(wire.engine.outstanding(), 0U);
}

TEST(EngineFlow, IdleServersAreForgottenInTheEnd) {
  Wire wire;
  for (unsigned i = 0; i < 20000; ++i) {
    wire.ask(server(i));
    wire.pump();
    wire.answerGet(i);
  }
  EXPECT_LE(wire.engine.servers(), 16385U);
}

TEST(EngineFlow, TheBytesAreThoseOfTheStatedInterface) {
  // As the stated interface's classes encode the same request.
  Wire wire;
  wire.ask(server(1));
  wire.pump();
  const Sent& sent = wire.sent[0];
  veskOid oid("59.6.0.0");
  veskList list;
  veskGetPDU pdu(oid, &list);
  pdu.requestId = veskUnsignedInt(sent.id());
  char encoded[100];
  const unsigned size = pdu.encode(encoded, sizeof encoded);
  EXPECT_EQ(fake::digits(sent.bytes.substr(16)),
            fake::digits(std::string(encoded, size)));
  // And as the layout says: one fragment, 0 of 1, of so many bytes, from 0.
  EXPECT_EQ(fake::digits(sent.bytes.substr(0, 2)), "00 01");
  EXPECT_EQ(fake::digits(sent.bytes.substr(4, 12)),
            "00 01 00 00 00 00 00 16 00 00 00 00");
  EXPECT_EQ(fake::digits(sent.bytes.substr(16)),
            "1F 03 00 " + fake::digits(sent.idMember()) +
                " 0A 00 0A 01 01 3B 01 06 00 00 80 43 00");
}

TEST(EngineFlow, TenThousandPollsAtOnceAreAnsweredWithin200Milliseconds) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    Wire wire;
    Network network(wire, kMillisecond, 0.02, seed, 200);
    for (unsigned n = 0; n < 10; ++n)
      for (unsigned i = 0; i < 1000; ++i) wire.ask(server(i));
    network.advance(60 * kSecond);
    ASSERT_EQ(wire.done.size(), 10000U);
    std::vector<Moment> times;
    for (const Done& done : wire.done) {
      EXPECT_EQ(done.ended, Ended::kAnswered);
      times.push_back(done.at);
    }
    std::sort(times.begin(), times.end());
    const Moment p99 = times[9900];
    EXPECT_LE(p99, 200 * kMillisecond) << "seed " << seed;
    RecordProperty("p99_us_seed_" + std::to_string(seed), std::to_string(p99));
    // What is sent again takes no room in the receive buffer.
    EXPECT_LE(network.mostInFlight, 166U + 20);
  }
}

}  // namespace
