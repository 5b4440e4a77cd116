#include "net/event_outbox.h"

#include "net_test.h"

namespace ostrel::tools::server {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kSeed = 5;

class EventOutboxTest : public testing::Test {
 protected:
  EventOutboxTest() : socket(loopbackAddress(), 0) {}

  void send(unsigned count, std::size_t size, const Peer& to,
            const char* askedBy = "192.0.2.7") {
    for (unsigned i = 0; i < count; ++i) {
      events.send(to.address, *parseAddress(askedBy), std::string(size, 'e'),
                  now);
      if (i % 16 == 15) collect();
    }
    collect();
  }

  void collect() {
    events.flush();
    got += client.drain();
    gotElsewhere += elsewhere.drain();
  }

  UdpSocket socket;
  RateLimit rate{0, kSeed};
  RateLimit bytes{0, kSeed};
  Counters counters;
  EventOutbox events{&socket, &rate, 16, &bytes, &counters};
  EventOutbox::Time now{1h};
  Peer client{"127.0.0.1"};
  Peer elsewhere{"127.0.0.2"};
  unsigned got = 0;
  unsigned gotElsewhere = 0;
};

TEST_F(EventOutboxTest, EventsLeaveTogether) {
  for (int i = 0; i < 5; ++i)
    events.send(client.address, client.address.sin_addr, "event", now);
  EXPECT_EQ(client.drain(), 0U);
  events.flush();
  EXPECT_EQ(client.take(), "event");
  EXPECT_EQ(client.drain(), 4U);
  EXPECT_EQ(counters.value(Counter::kEventsSent), 5U);
}

TEST_F(EventOutboxTest, TheyDoNotPileUp) {
  for (std::size_t i = 0; i < EventOutbox::kMost; ++i)
    events.send(client.address, client.address.sin_addr, "event", now);
  EXPECT_GT(client.drain(), 0U);
}

TEST_F(EventOutboxTest, AThousandWatchersOfOneAddressGetThemAtOnce) {
  rate = RateLimit(10000, kSeed);
  bytes = RateLimit(1000000, kSeed);
  send(1000, 200, client, "127.0.0.1");
  EXPECT_EQ(got, 1000U);
}

TEST_F(EventOutboxTest, AnAddressGetsNoMoreThanItsRate) {
  rate = RateLimit(160, kSeed);
  send(500, 10, client);
  // The limit of a second is 170, of which 16 are left for requests.
  EXPECT_EQ(got, 154U);
  EXPECT_EQ(counters.value(Counter::kEventsSent), 154U);
  EXPECT_EQ(counters.value(Counter::kEventsDropped), 346U);
  EXPECT_TRUE(rate.allows(client.address.sin_addr, now));
  now += 2s;
  send(500, 10, client);
  EXPECT_EQ(got, 308U);
}

TEST_F(EventOutboxTest, EveryDatagramOfAnEventCounts) {
  rate = RateLimit(160, kSeed);
  send(500, 3 * kFragmentData, client);
  EXPECT_EQ(got, 153U);
}

TEST_F(EventOutboxTest, WhoeverRegisteredPaysToo) {
  rate = RateLimit(160, kSeed);
  send(500, 10, client, "192.0.2.9");
  send(500, 10, elsewhere, "192.0.2.9");
  EXPECT_EQ(gotElsewhere, 0U);
  send(500, 10, elsewhere, "192.0.2.10");
  EXPECT_EQ(gotElsewhere, 154U);
}

TEST_F(EventOutboxTest, WhatSomebodyGetsForThemselvesCountsOnce) {
  rate = RateLimit(160, kSeed);
  send(500, 10, client, "127.0.0.1");
  EXPECT_EQ(got, 154U);
}

TEST_F(EventOutboxTest, AnAddressGetsSoManyBytesInASecond) {
  bytes = RateLimit(16000, kSeed);
  for (int i = 0; i < 30; ++i, now += 100ms) send(100, 1000, client);
  // Three seconds of 17,000 bytes at the most.
  EXPECT_LE(got, 51U);
  EXPECT_GE(got, 32U);
  EXPECT_EQ(counters.value(Counter::kEventsDropped), 3000U - got);
}

TEST_F(EventOutboxTest, WhatTheSystemDoesNotSendIsCounted) {
  sockaddr_in nowhere = client.address;
  nowhere.sin_port = 0;
  events.send(nowhere, client.address.sin_addr, "event", now);
  events.flush();
  EXPECT_EQ(counters.value(Counter::kEventsSent), 0U);
  EXPECT_EQ(counters.value(Counter::kEventsDropped), 1U);
}

}  // namespace
}  // namespace ostrel::tools::server
