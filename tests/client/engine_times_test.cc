// When the asynchronous client sends a request, sends it again and gives it up.

#include <gmock/gmock.h>

#include <cerrno>

#include "client/engine_script.h"

namespace {

using namespace script;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Makes a server known: its answers take `trip`.
void acquaint(Wire& wire, const PeerAddress& to, Moment trip) {
  wire.ask(to);
  wire.pump();
  wire.advance(trip);
  wire.answerGet(wire.sent.size() - 1);
  wire.sent.clear();
  wire.done.clear();
}

Moment since(const Wire& wire) { return wire.now - kStart; }

TEST(EngineTimes, AnUnknownServerIsAskedAt0And3And9SecondsAndGivenUpAt21) {
  Wire wire;
  wire.ask(server(1));
  wire.advance(30 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 3000, 9000));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at, 21 * kSecond);
  EXPECT_EQ(wire.done[0].ended, Ended::kNoAnswer);
  EXPECT_EQ(wire.done[0].error, ETIMEDOUT);
  EXPECT_EQ(wire.done[0].transmissions, 3U);
}

TEST(EngineTimes, TheFirstAnswerOfAServerRetimesWhatIsUnderWayThere) {
  Wire wire;
  for (unsigned i = 0; i < 3; ++i) wire.ask(server(1), i);
  wire.ask(server(2));
  wire.pump();
  wire.advance(10 * kMillisecond);
  wire.answerGet(0);
  // 10 ms measured: 10 + 4 * 5 is below the floor of 100.
  wire.advance(95 * kMillisecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 0, 0, 0, 100, 100));
}

TEST(EngineTimes, TheFirstAnswerSendsAgainAtOnceWhatIsLateByThen) {
  Wire wire;
  wire.ask(server(1));
  wire.advance(2 * kSecond);
  wire.ask(server(1));
  wire.advance(50 * kMillisecond);
  wire.answerGet(1);
  wire.advance(kMillisecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 2000, 2050));
}

TEST(EngineTimes, WaitsFollowTheFormulasOfRfc6298) {
  Wire wire;
  acquaint(wire, server(1), 200 * kMillisecond);
  // srtt 200, rttvar 100: 600.
  const Moment first = since(wire);
  wire.ask(server(1));
  wire.advance(601 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - first, 600 * kMillisecond);

  Wire other;
  acquaint(other, server(1), 200 * kMillisecond);
  acquaint(other, server(1), 280 * kMillisecond);
  // rttvar 3/4 * 100 + 1/4 * 80 = 95, srtt 7/8 * 200 + 1/8 * 280 = 210: 590.
  const Moment second = since(other);
  other.ask(server(1));
  other.advance(600 * kMillisecond);
  ASSERT_EQ(other.sent.size(), 2U);
  EXPECT_EQ(other.sent[1].at - second, 590 * kMillisecond);
}

TEST(EngineTimes, NoWaitIsBelowTheFloorOf100Milliseconds) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire);
  wire.ask(server(1));
  wire.advance(kSecond);
  ASSERT_GE(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - start, 100 * kMillisecond);
}

TEST(EngineTimes, AtMostSixTransmissionsAndTheLastWaitFillsThe21Seconds) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire) / kMillisecond;
  wire.ask(server(1));
  wire.advance(30 * kSecond);
  std::vector<Moment> after;
  for (const Moment at : wire.times()) after.push_back(at - start);
  EXPECT_THAT(after, ElementsAre(0, 100, 300, 700, 1500, 3100));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at / kMillisecond - start, 21000);
  EXPECT_EQ(wire.done[0].transmissions, 6U);
}

TEST(EngineTimes, AnswersToRequestsThatWereSentTwiceAreNotMeasured) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  wire.ask(server(1));
  wire.advance(150 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  const std::uint64_t before = [&] {
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < Engine::kBuckets; ++i)
      all += wire.engine.roundTrips()[i];
    return all;
  }();
  wire.answerGet(0);
  std::uint64_t after = 0;
  for (std::size_t i = 0; i < Engine::kBuckets; ++i)
    after += wire.engine.roundTrips()[i];
  EXPECT_EQ(after, before);
}

TEST(EngineTimes, BackOffStaysWithTheServerUntilAnUnambiguousAnswer) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  wire.ask(server(1));
  wire.advance(350 * kMillisecond);  // sent at 0, 100 and 300
  ASSERT_EQ(wire.sent.size(), 3U);
  wire.answerGet(0);  // ambiguous
  wire.sent.clear();
  Moment start = since(wire);
  wire.ask(server(1));
  wire.advance(450 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - start, 400 * kMillisecond);
  wire.answerGet(0);  // ambiguous again
  wire.ask(server(1));
  wire.pump();
  wire.advance(kMillisecond);
  wire.answerGet(wire.sent.size() - 1);  // sent once: the back-off ends
  wire.sent.clear();
  start = since(wire);
  wire.ask(server(1));
  wire.advance(150 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - start, 100 * kMillisecond);
}

TEST(EngineTimes, TimeOutsOfSeveralRequestsAtOnceBackOffOnce) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  for (unsigned i = 0; i < 8; ++i) wire.ask(server(1));
  wire.advance(150 * kMillisecond);  // all eight are sent again
  ASSERT_EQ(wire.sent.size(), 16U);
  for (std::size_t i = 0; i < 8; ++i) wire.answerGet(i);
  wire.sent.clear();
  const Moment start = since(wire);
  wire.ask(server(1));
  wire.advance(250 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - start, 200 * kMillisecond);
}

TEST(EngineTimes, SearchesAndActionsHaveEstimatesOfTheirOwn) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  for (const Traffic traffic : {Traffic::kSearch, Traffic::kAction}) {
    wire.sent.clear();
    const Moment start = since(wire);
    auto request = wire.get(server(1));
    request->traffic = traffic;
    wire.add(std::move(request));
    wire.advance(3 * kSecond + 10 * kMillisecond);
    ASSERT_EQ(wire.sent.size(), 2U);
    EXPECT_EQ(wire.sent[1].at - start, 3 * kSecond);
    wire.answerGet(0);
  }
}

TEST(EngineTimes, AFragmentOfAnAnswerIsASignOfLife) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire);
  wire.ask(server(1));
  wire.pump();
  const Sent asked = wire.sent[0];
  const std::string message = wire.found(asked) + std::string(40 * 1456, 'x');
  const auto fragments = fake::fragments(9, message);
  for (std::size_t i = 0; i + 1 < fragments.size(); ++i) {
    wire.advance(80 * kMillisecond);
    wire.receive(server(1), fragments[i]);
  }
  EXPECT_EQ(wire.sent.size(), 1U);  // for more than three seconds
  EXPECT_THAT(wire.done, IsEmpty());
  wire.receive(server(1), fragments.back());
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].ended, Ended::kAnswered);
  EXPECT_EQ(wire.done[0].answer, message);
  EXPECT_GT(since(wire) - start, 3 * kSecond);
}

TEST(EngineTimes, AnAnswerThatTakesLongerThan21SecondsIsNotGivenUp) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  wire.ask(server(1));
  wire.pump();
  const std::string message =
      wire.found(wire.sent[0]) + std::string(400 * 1456, 'x');
  for (const std::string& bytes : fake::fragments(9, message)) {
    wire.advance(70 * kMillisecond);
    wire.receive(server(1), bytes);
  }
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].ended, Ended::kAnswered);
  EXPECT_EQ(wire.sent.size(), 1U);
}

TEST(EngineTimes, FragmentsCannotHoldARequestForEver) {
  Wire wire;
  wire.ask(server(1));
  wire.pump();
  const std::string message =
      wire.found(wire.sent[0]) + std::string(2000 * 1456, 'x');
  const auto fragments = fake::fragments(9, message);
  for (std::size_t i = 0; i < 200; ++i) {
    wire.receive(server(1), fragments[i]);
    wire.advance(kSecond);
  }
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].ended, Ended::kNoAnswer);
  EXPECT_LE(wire.done[0].at, 82 * kSecond);
}

TEST(EngineTimes, OnlyTheFragmentWithTheRequestIdIsASignOfLife) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire);
  wire.ask(server(1));
  wire.pump();
  const auto fragments =
      fake::fragments(9, wire.found(wire.sent[0]) + std::string(3 * 1456, 'x'));
  wire.advance(90 * kMillisecond);
  wire.receive(server(1), fragments[1]);  // anybody may have sent this
  wire.advance(15 * kMillisecond);
  ASSERT_EQ(wire.sent.size(), 2U);
  EXPECT_EQ(wire.sent[1].at - start, 100 * kMillisecond);
}

TEST(EngineTimes, AGivenFirstWaitIsNotReplacedByAnEstimate) {
  Wire wire;
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire) / kMillisecond;
  auto request = wire.get(server(1));
  request->firstWait = 4 * kSecond;
  wire.add(std::move(request));
  wire.advance(30 * kSecond);
  std::vector<Moment> after;
  for (const Moment at : wire.times()) after.push_back(at - start);
  EXPECT_THAT(after, ElementsAre(0, 4000, 12000));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at / kMillisecond - start, 21000);
}

TEST(EngineTimes, AFirstAnswerDoesNotRetimeAGivenWait) {
  Wire wire;
  auto request = wire.get(server(1));
  request->firstWait = 4 * kSecond;
  wire.add(std::move(request));
  wire.ask(server(1));
  wire.pump();
  wire.advance(kMillisecond);
  wire.answerGet(1);
  wire.advance(5 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 0, 4000));
}

TEST(EngineTimes, GivenWaitAndTransmissionsSayWhenWaitingEnds) {
  Wire wire;
  auto request = wire.get(server(1));
  request->firstWait = 30 * kSecond;
  request->transmissions = 1;
  wire.add(std::move(request));
  wire.advance(40 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at, 30 * kSecond);
}

TEST(EngineTimes, GivenTransmissionsAloneShareThe21Seconds) {
  Wire wire;
  auto request = wire.get(server(1));
  request->transmissions = 2;
  wire.add(std::move(request));
  wire.advance(30 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 3000));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at, 21 * kSecond);
}

TEST(EngineTimes, WithoutEstimatesAKnownServerGets3And6And12Seconds) {
  EngineOptions options;
  options.adaptive = false;
  Wire wire(options);
  acquaint(wire, server(1), kMillisecond);
  const Moment start = since(wire) / kMillisecond;
  wire.ask(server(1));
  wire.advance(30 * kSecond);
  std::vector<Moment> after;
  for (const Moment at : wire.times()) after.push_back(at - start);
  EXPECT_THAT(after, ElementsAre(0, 3000, 9000));
}

TEST(EngineTimes, ADeadlineEndsTheWaiting) {
  Wire wire;
  auto request = wire.get(server(1));
  request->deadline = 5 * kSecond;
  wire.add(std::move(request));
  wire.advance(10 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 3000));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at, 5 * kSecond);
  EXPECT_EQ(wire.done[0].error, ETIMEDOUT);
}

TEST(EngineTimes, ADeadlineBeyondThe21SecondsIsFilled) {
  Wire wire;
  auto request = wire.get(server(1));
  request->deadline = 40 * kSecond;
  wire.add(std::move(request));
  wire.advance(60 * kSecond);
  EXPECT_THAT(wire.times(), ElementsAre(0, 3000, 9000, 21000));
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].at, 40 * kSecond);
}

TEST(EngineTimes, ADeadlineCountsTheQueueIn) {
  Wire wire;
  for (unsigned i = 0; i < 8; ++i) wire.ask(server(1));
  auto request = wire.get(server(1), 9);
  request->deadline = 2 * kSecond;
  wire.add(std::move(request));
  wire.advance(3 * kSecond);
  ASSERT_EQ(wire.done.size(), 1U);
  EXPECT_EQ(wire.done[0].name, 9U);
  EXPECT_EQ(wire.done[0].at, 2 * kSecond);
  EXPECT_EQ(wire.done[0].transmissions, 0U);
}

TEST(EngineTimes, EveryQueuedRequestOfASilentServerEnds) {
  Wire wire;
  for (unsigned i = 0; i < 1000; ++i) wire.ask(server(1));
  wire.advance(70 * kSecond);
  EXPECT_EQ(wire.done.size(), 1000U);
  for (const Done& end : wire.done) {
    EXPECT_EQ(end.ended, Ended::kNoAnswer);
    EXPECT_LE(end.at, 63 * kSecond);
  }
}

TEST(EngineTimes, TheWheelHasTimersToTheMillisecondOverYears) {
  ostrel::TimerWheel wheel(12345678);
  struct One : ostrel::Timer {
    Moment due = 0;
  };
  std::vector<std::unique_ptr<One>> timers;
  std::uint64_t random = 1;
  for (int i = 0; i < 5000; ++i) {
    random = random * 6364136223846793005U + 1442695040888963407U;
    auto one = std::make_unique<One>();
    const int bits = static_cast<int>(random >> 58) % 45;
    one->due = 12345678 + static_cast<Moment>((random >> 8) &
                                              ((std::uint64_t{1} << bits) - 1));
    wheel.set(one.get(), one->due);
    if (i % 7 == 0) {
      wheel.clear(one.get());
    } else {
      timers.push_back(std::move(one));
    }
  }
  std::size_t fired = 0;
  Moment now = 12345678;
  Moment before = 0;
  while (wheel.next() != kNever) {
    before = now;
    now = std::max(now, wheel.next());
    while (ostrel::Timer* timer = wheel.takeDue(now)) {
      const Moment due = static_cast<One*>(timer)->due;
      const Moment rounded = (due + 999) / 1000 * 1000;
      EXPECT_LE(rounded, now);
      EXPECT_GE(rounded, before / 1000 * 1000);
      EXPECT_TRUE(rounded == now || due <= 12345678 || rounded > before);
      fired++;
    }
    ASSERT_GT(wheel.next(), now);
  }
  EXPECT_EQ(fired, timers.size());
}

}  // namespace
