// The operations of the asynchronous client, against scripted servers on the
// fake network.

#include <gmock/gmock.h>
#include <ostrel/client.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cerrno>
#include <stdexcept>

#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using fake::answer;
using fake::platform;
using ostrel::Aid;
using ostrel::Attributes;
using ostrel::Client;
using ostrel::ClientOptions;
using ostrel::Done;
using ostrel::Endpoint;
using ostrel::Event;
using ostrel::Failure;
using ostrel::Found;
using ostrel::Handler;
using ostrel::Millis;
using ostrel::Object;
using ostrel::Oid;
using ostrel::Request;
using ostrel::RequestOptions;
using ostrel::Result;
using ostrel::SearchOptions;
using ostrel::Value;
using ostrel::Values;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kAddress = "192.0.2.1";
constexpr const char* kOid = "59.6.0.1";

// In nobody's name, so that nothing is looked up.
RequestOptions nobody() {
  RequestOptions options;
  options.principal = Oid();
  return options;
}

#define FOUND "27" SUCCESS NONE ONE "17 0B 01 01 3B 01 06 01 01 01 03 01 05"
#define VERIFIED "2D" SUCCESS

class AsyncClient : public ::testing::Test {
 protected:
  AsyncClient() { platform().reset(); }
  // The pieces of a request behind its id, in hex.
  static std::string behindId(const fake::Request& request) {
    return request.pdu.substr(request.pdu.find(request.id) + request.id.size() +
                              1);
  }
  static std::string hex(const char* pieces) {
    return fake::digits(fake::raw(pieces));
  }
  std::uint64_t counter(const Client& client, const std::string& name) {
    std::uint64_t found = 0;
    client.eachCounter([&](const char* one, std::uint64_t count) {
      if (name == one) found = count;
    });
    return found;
  }
};

TEST_F(AsyncClient, GetReturnsTheAttributes) {
  fake::Server server(kAddress, 5135);
  server.then(FOUND);
  Client client;
  int calls = 0;
  client.get(
      kAddress, kOid, {"59.6.1"},
      [&](const Result<Attributes>& got) {
        calls++;
        ASSERT_TRUE(got) << got.error();
        EXPECT_EQ(got->at("59.6.1"), Value(5));
        EXPECT_THAT(got.itemErrors(), IsEmpty());
      },
      nobody());
  EXPECT_EQ(calls, 0);  // never from inside the call
  EXPECT_EQ(client.outstanding(), 1U);
  client.run();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(client.outstanding(), 0U);
  EXPECT_EQ(behindId(server.requests.at(0)),
            hex(NOBODY OBJECT ONE "17 0B 01 01 3B 01 06 01 01 00"));
}

TEST_F(AsyncClient, GetOfNoAttributesAsksForAll) {
  fake::Server server(kAddress, 5135);
  server.then(FOUND);
  Client client;
  EXPECT_TRUE(client.get(kAddress, kOid, {}, {}, nobody()).wait());
  EXPECT_EQ(behindId(server.requests.at(0)), hex(NOBODY OBJECT NONE));
}

TEST_F(AsyncClient, SuccessInPartHasItemErrorsWithIdentifiers) {
  fake::Server server(kAddress, 5135);
  server.then("27" PARTIAL ERRORS TWO
              "17 0B 01 01 3B 01 06 01 01 01 03 01 05"
              "17 0B 01 01 3B 01 06 01 02 00");
  Client client;
  const auto got =
      client.get(kAddress, kOid, {"59.6.1", "59.6.2"}, {}, nobody()).wait();
  ASSERT_TRUE(got);
  ASSERT_THAT(got.itemErrors(), SizeIs(1));
  EXPECT_EQ(got.itemErrors()[0].position, 1U);
  EXPECT_EQ(got.itemErrors()[0].identifier, Aid("59.6.2"));
  EXPECT_EQ(got.itemErrors()[0].code, 5);
}

TEST_F(AsyncClient, SetNamesTheItemsThatFailedByTheRequest) {
  fake::Server server(kAddress, 5135);
  server.then("28" PARTIAL ERRORS);
  Client client;
  const auto done =
      client.set(kAddress, kOid, {{"59.6.1", 5}, {"59.6.2", "x"}}, {}, nobody())
          .wait();
  ASSERT_TRUE(done);
  ASSERT_THAT(done.itemErrors(), SizeIs(1));
  EXPECT_EQ(done.itemErrors()[0].identifier, Aid("59.6.2"));
  EXPECT_EQ(
      behindId(server.requests.at(0)),
      hex(NOBODY OBJECT TWO "17 0B 01 01 3B 01 06 01 01 01 03 01 05"
                            "17 0B 01 01 3B 01 06 01 02 01 09 43 01 01 78"));
}

TEST_F(AsyncClient, CreateAndCloneReturnTheNewIdentifier) {
  fake::Server server(kAddress, 5135);
  server.then("25" SUCCESS NONE NEW_OBJECT).then("26" SUCCESS NONE NEW_OBJECT);
  Client client;
  const auto created =
      client.create(kAddress, "59.6.0.0", {{"59.6.1", 5}}, {}, nobody()).wait();
  ASSERT_TRUE(created);
  EXPECT_EQ(*created, Oid("59.6.0.9"));
  const auto cloned = client.clone(kAddress, kOid, {}, {}, nobody()).wait();
  ASSERT_TRUE(cloned);
  EXPECT_EQ(*cloned, Oid("59.6.0.9"));
  EXPECT_EQ(server.requests[0].pdu.substr(0, 2), "1C");
  EXPECT_EQ(server.requests[1].pdu.substr(0, 2), "1D");
}

TEST_F(AsyncClient, ACreateThatMadeNothingHasNoIdentifier) {
  fake::Server server(kAddress, 5135);
  server.then("25" PARTIAL ERRORS NOBODY);
  Client client;
  const auto created = client
                           .create(kAddress, "59.6.0.0",
                                   {{"59.6.1", 5}, {"59.6.2", 6}}, {}, nobody())
                           .wait();
  ASSERT_TRUE(created);
  EXPECT_FALSE(created->valid());
  EXPECT_EQ(created.itemErrors().at(0).identifier, Aid("59.6.2"));
}

TEST_F(AsyncClient, RemoveVerifyAndActionReturnNothing) {
  fake::Server server(kAddress, 5135);
  server.then("2B" SUCCESS).then(VERIFIED).then("28" SUCCESS NONE);
  Client client;
  EXPECT_TRUE(client.remove(kAddress, kOid, {}, nobody()).wait());
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
  EXPECT_TRUE(
      client.action(kAddress, kOid, "59.7.2", {Value(3)}, {}, nobody()).wait());
  EXPECT_EQ(behindId(server.requests.at(2)),
            hex(NOBODY "0B 01 01 3B 01 07 01 02" ONE "03 01 03"));
}

TEST_F(AsyncClient, AnActionMayBeAnsweredByEitherOfItsAnswers) {
  fake::Server server(kAddress, 5135);
  server.then("2A" SUCCESS NONE);
  Client client;
  EXPECT_TRUE(client.action(kAddress, kOid, "59.7.2", {}, {}, nobody()).wait());
}

TEST_F(AsyncClient, ARefusalHasTheServersCodeAndText) {
  fake::Server server(kAddress, 5135);
  server.then("2B" REFUSED);
  Client client;
  const auto done = client.remove(kAddress, kOid, {}, nobody()).wait();
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind(), Failure::refused);
  EXPECT_EQ(done.error().code(), 5);
  EXPECT_FALSE(done.error().mayHaveHappened());
  EXPECT_NE(done.error().text().find("remove of 59.6.0.1 from 192.0.2.1:5135"),
            std::string::npos)
      << done.error();
}

TEST_F(AsyncClient, AChangeWithoutAnAnswerMayHaveHappened) {
  Client client;
  const auto done = client.remove(kAddress, kOid, {}, nobody()).wait();
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind(), Failure::noAnswer);
  EXPECT_EQ(done.error().code(), 10);
  EXPECT_EQ(done.error().systemError(), ETIMEDOUT);
  EXPECT_TRUE(done.error().mayHaveHappened());
  EXPECT_FALSE(client.verify(kAddress, kOid, {}, nobody())
                   .wait()
                   .error()
                   .mayHaveHappened());
}

TEST_F(AsyncClient, AnAnswerOfAnotherKindOrThatDoesNotDecodeIsUndecodable) {
  fake::Server server(kAddress, 5135);
  server.then("2B" SUCCESS)
      .then("27" SUCCESS NONE ONE "FF")
      .then("27 03 00 ID");
  Client client;
  for (int i = 0; i < 3; ++i) {
    const auto got = client.get(kAddress, kOid, {}, {}, nobody()).wait();
    ASSERT_FALSE(got);
    EXPECT_EQ(got.error().kind(), Failure::undecodable);
    EXPECT_EQ(got.error().code(), 11);
  }
}

TEST_F(AsyncClient, AnInvalidEndpointCannotBeSentTo) {
  Client client;
  const auto got = client.get("nonsense", kOid, {}, {}, nobody()).wait();
  ASSERT_FALSE(got);
  EXPECT_EQ(got.error().kind(), Failure::unsendable);
  EXPECT_EQ(got.error().code(), 12);
}

TEST_F(AsyncClient, WithoutASocketRequestsSayWhy) {
  platform().failNext(fake::Call::kOpen, EMFILE);
  Client client;
  const auto got = client.get(kAddress, kOid, {}, {}, nobody()).wait();
  ASSERT_FALSE(got);
  EXPECT_EQ(got.error().kind(), Failure::unsendable);
  EXPECT_EQ(got.error().systemError(), EMFILE);
}

TEST_F(AsyncClient, TheBytesAreThoseOfTheStatedInterface) {
  // But for the ids, what docs/wire-format.md shows for a get.
  fake::Server server(kAddress, 5135);
  server.then(FOUND);
  Client client;
  RequestOptions options;
  options.principal = Oid("59.110.1.1");
  EXPECT_TRUE(client.get(kAddress, "59.7.0.1", {"59.7.1"}, {}, options).wait());
  const std::string& bytes = platform().sent.at(0).bytes;
  EXPECT_EQ(fake::digits(bytes.substr(0, 2)), "00 01");
  EXPECT_EQ(fake::digits(bytes.substr(4, 4)), "00 01 00 00");
  EXPECT_EQ(fake::digits(bytes.substr(12, 4)), "00 00 00 00");
  const fake::Request& request = server.requests.at(0);
  EXPECT_EQ(request.pdu, hex("1F 03 00") + " " + request.id + " " +
                             hex("0A 01 01 3B 01 6E 01 01 01 01"
                                 "0A 01 01 3B 01 07 00 01 01"
                                 "80 43 01 01"
                                 "17 0B 01 01 3B 01 07 01 01 00"));
}

// ---------------------------------------------------------------------------
// Principals

TEST_F(AsyncClient, ThePrincipalIsLookedUpOnce) {
  fake::Server local("127.0.0.1", 5135);
  local.then("29" SUCCESS NONE ONE PRINCIPAL_OBJECT)
      .then("27" SUCCESS NONE ONE "17 0B 01 01 3B 01 6E 01 01 01" PRINCIPAL);
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 3; ++i) server.then(VERIFIED);
  Client client;
  for (int i = 0; i < 2; ++i) client.verify(kAddress, kOid);
  client.run();
  EXPECT_TRUE(client.verify(kAddress, kOid).wait());
  EXPECT_THAT(local.requests, SizeIs(2));
  EXPECT_EQ(
      behindId(local.requests[0]),
      hex(NOBODY "0A 01 01 3B 01 6E 00 00" ONE
                 "18 0B 01 01 3B 01 6E 01 02 01 03 02 03 E8 01 01 07 01 01"));
  ASSERT_THAT(server.requests, SizeIs(3));
  for (const fake::Request& request : server.requests)
    EXPECT_EQ(behindId(request), hex(PRINCIPAL OBJECT));
}

TEST_F(AsyncClient, RequestsThatNeedNoPrincipalDoNotWaitForIt) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED).then(VERIFIED);
  Client client;  // nobody answers at 127.0.0.1
  std::vector<int> order;
  client.verify(kAddress, kOid, [&](auto&&) { order.push_back(1); });
  client.verify(
      kAddress, kOid, [&](auto&&) { order.push_back(2); }, nobody());
  client.run();
  EXPECT_THAT(order, ElementsAre(2, 1));
  EXPECT_LT(server.requests[0].at, 0.1);
}

TEST_F(AsyncClient, AFailedLookupIsRememberedForFiveMinutes) {
  fake::Server server(kAddress, 5135);
  platform().closedPorts.insert("127.0.0.1:5135");
  Client client;
  const auto lookups = [&] {
    std::size_t count = 0;
    for (const fake::Datagram& sent : platform().sent)
      count += ntohl(sent.to.sin_addr.s_addr) == 0x7f000001 ? 1 : 0;
    return count;
  };
  for (int i = 0; i < 4; ++i) server.then(VERIFIED);
  EXPECT_TRUE(client.verify(kAddress, kOid).wait());
  EXPECT_EQ(lookups(), 1U);
  EXPECT_EQ(behindId(server.requests[0]), hex(NOBODY OBJECT));
  platform().advance(299);
  EXPECT_TRUE(client.verify(kAddress, kOid).wait());
  EXPECT_EQ(lookups(), 1U);
  platform().advance(2);
  EXPECT_TRUE(client.verify(kAddress, kOid).wait());
  EXPECT_EQ(lookups(), 2U);
}

TEST_F(AsyncClient, ARequestMayBeCancelledWhileThePrincipalIsLookedUp) {
  Client client;
  int calls = 0;
  auto request = client.verify(kAddress, kOid, [&](const Result<Done>& done) {
    calls++;
    EXPECT_EQ(done.error().kind(), Failure::cancelled);
  });
  auto forgotten =
      client.verify(kAddress, kOid, [&](auto&&) { ADD_FAILURE(); });
  client.process();
  request.cancel();
  forgotten.forget();
  client.run();
  EXPECT_EQ(calls, 1);
}

// ---------------------------------------------------------------------------
// Once

TEST_F(AsyncClient, CancelEndsARequestLaterAndOnce) {
  Client client;
  int calls = 0;
  auto request = client.verify(
      kAddress, kOid,
      [&](const Result<Done>& done) {
        calls++;
        EXPECT_EQ(done.error().kind(), Failure::cancelled);
      },
      nobody());
  client.process();
  request.cancel();
  request.cancel();
  EXPECT_EQ(calls, 0);
  client.run();
  EXPECT_EQ(calls, 1);
  request.cancel();
  client.run();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(request.done());
}

TEST_F(AsyncClient, ForgetDestroysTheHandlerUncalled) {
  Client client;
  auto alive = std::make_shared<int>(1);
  auto request = client.verify(
      kAddress, kOid, [alive](auto&&) { ADD_FAILURE(); }, nobody());
  EXPECT_EQ(alive.use_count(), 2);
  request.forget();
  EXPECT_EQ(alive.use_count(), 1);
  EXPECT_EQ(client.outstanding(), 0U);
  client.run();
}

TEST_F(AsyncClient, DroppingTheRequestChangesNothing) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  int calls = 0;
  {
    auto request = client.verify(
        kAddress, kOid, [&](auto&&) { calls++; }, nobody());
  }
  client.run();
  EXPECT_EQ(calls, 1);
}

TEST_F(AsyncClient, ARequestMayOutliveTheClient) {
  Request<Done> request;
  {
    Client client;
    request = client.verify(kAddress, kOid, {}, nobody());
  }
  request.cancel();
  request.forget();
  EXPECT_TRUE(request.done());
  const auto done = request.wait();
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind(), Failure::cancelled);
}

TEST_F(AsyncClient, WaitDrivesTheLoopForOthersToo) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED).then(VERIFIED);
  Client client;
  int calls = 0;
  client.verify(
      kAddress, kOid, [&](auto&&) { calls++; }, nobody());
  auto request = client.verify(kAddress, kOid, {}, nobody());
  EXPECT_TRUE(request.wait());
  EXPECT_EQ(calls, 1);
  // Its result is taken.
  EXPECT_EQ(request.wait().error().kind(), Failure::misuse);
}

TEST_F(AsyncClient, WaitForARequestWithAHandlerIsMisuse) {
  Client client;
  auto request = client.verify(
      kAddress, kOid, [](auto&&) {}, nobody());
  EXPECT_EQ(request.wait().error().kind(), Failure::misuse);
  EXPECT_EQ(Request<Done>().wait().error().kind(), Failure::misuse);
}

TEST_F(AsyncClient, InAHandlerTheLoopIsRefused) {
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 2; ++i) server.then(VERIFIED);
  Client client;
  int calls = 0;
  client.verify(
      kAddress, kOid,
      [&](auto&&) {
        calls++;
        auto other = client.verify(kAddress, kOid, {}, nobody());
        client.run();
        EXPECT_EQ(client.process(), 0U);
        const auto refused = other.wait();
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().kind(), Failure::misuse);
        EXPECT_EQ(refused.error().systemError(), EDEADLK);
      },
      nobody());
  client.run();
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(server.requests, SizeIs(2));
}

TEST_F(AsyncClient, AHandlerMayMakeCancelAndForgetRequests) {
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 5; ++i) server.then(VERIFIED);
  Client client;
  std::vector<int> calls;
  Request<Done> second;
  Request<Done> third;
  client.verify(
      kAddress, kOid,
      [&](auto&&) {
        calls.push_back(1);
        second.cancel();
        third.forget();
        client.verify(
            kAddress, kOid, [&](auto&&) { calls.push_back(4); }, nobody());
      },
      nobody());
  second = client.verify(
      "192.0.2.7", kOid,
      [&](const Result<Done>& done) {
        calls.push_back(2);
        EXPECT_EQ(done.error().kind(), Failure::cancelled);
      },
      nobody());
  third = client.verify(
      "192.0.2.8", kOid, [&](auto&&) { ADD_FAILURE(); }, nobody());
  client.run();
  EXPECT_THAT(calls, ElementsAre(1, 2, 4));
}

TEST_F(AsyncClient, ARequestIsOutOfEveryTableBeforeItsHandlerRuns) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  Request<Done> request;
  int calls = 0;
  request = client.verify(
      kAddress, kOid,
      [&](auto&&) {
        calls++;
        EXPECT_TRUE(request.done());
        EXPECT_EQ(client.outstanding(), 0U);
        request.cancel();
        request.forget();
      },
      nobody());
  client.run();
  EXPECT_EQ(calls, 1);
}

TEST_F(AsyncClient, WhatAHandlerThrowsComesOutOfRunAndTheClientGoesOn) {
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 3; ++i) server.then(VERIFIED);
  Client client;
  int calls = 0;
  client.verify(
      kAddress, kOid, [](auto&&) { throw std::runtime_error("one"); },
      nobody());
  client.verify(
      kAddress, kOid, [&](auto&&) { calls++; }, nobody());
  EXPECT_THROW(client.run(), std::runtime_error);
  EXPECT_EQ(client.outstanding(), 1U);
  client.run();
  EXPECT_EQ(calls, 1);
  // run() is not refused afterwards.
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
}

TEST_F(AsyncClient, CloseEndsAllAndTakesNoMore) {
  Client client;
  int calls = 0;
  Handler<Done> again;
  for (int i = 0; i < 3; ++i) {
    client.verify(
        kAddress, kOid,
        [&](const Result<Done>& done) {
          calls++;
          EXPECT_EQ(done.error().kind(), Failure::cancelled);
          // A handler that asks again ends, too.
          auto refused = client.verify(
              kAddress, kOid, [](auto&&) { ADD_FAILURE(); }, nobody());
          EXPECT_FALSE(refused);
        },
        nobody());
  }
  client.close();
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(client.outstanding(), 0U);
  EXPECT_FALSE(client.verify(kAddress, kOid, {}, nobody()));
  client.run();
  client.close();
  EXPECT_EQ(calls, 3);
}

TEST_F(AsyncClient, CloseInAHandlerHappensAfterIt) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  std::vector<int> calls;
  client.verify(
      kAddress, kOid,
      [&](auto&&) {
        client.close();
        calls.push_back(1);
      },
      nobody());
  client.verify(
      "192.0.2.9", kOid,
      [&](const Result<Done>& done) {
        calls.push_back(2);
        EXPECT_EQ(done.error().kind(), Failure::cancelled);
      },
      nobody());
  client.run();
  EXPECT_THAT(calls, ElementsAre(1, 2));
}

TEST_F(AsyncClient, TheClientMayBeDestroyedInAHandler) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  auto client = std::make_unique<Client>();
  std::vector<int> calls;
  client->verify(
      kAddress, kOid,
      [&](auto&&) {
        client.reset();
        calls.push_back(1);
      },
      nobody());
  client->verify(
      "192.0.2.9", kOid, [&](auto&&) { calls.push_back(2); }, nobody());
  client->run();
  EXPECT_EQ(client, nullptr);
  EXPECT_THAT(calls, ElementsAre(1, 2));
}

TEST_F(AsyncClient, DestructionCallsEachHandlerOnceAndDropsWhatTheyThrow) {
  int calls = 0;
  {
    Client client;
    for (int i = 0; i < 3; ++i) {
      client.verify(
          kAddress, kOid,
          [&](auto&&) {
            calls++;
            throw std::runtime_error("late");
          },
          nobody());
    }
  }
  EXPECT_EQ(calls, 3);
}

TEST_F(AsyncClient, CloseTellsAllHandlersBeforeItThrows) {
  Client client;
  int calls = 0;
  for (int i = 0; i < 3; ++i) {
    client.verify(
        kAddress, kOid,
        [&](auto&&) {
          calls++;
          throw std::runtime_error("late");
        },
        nobody());
  }
  EXPECT_THROW(client.close(), std::runtime_error);
  EXPECT_EQ(calls, 3);
}

TEST_F(AsyncClient, ProcessRunsNoMoreHandlersThanToldAndNeverBlocks) {
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 8; ++i) server.then(VERIFIED);
  Client client;
  int calls = 0;
  for (int i = 0; i < 8; ++i)
    client.verify(
        kAddress, kOid, [&](auto&&) { calls++; }, nobody());
  const std::int64_t before = platform().clock;
  EXPECT_EQ(client.process(3), 0U);  // sends
  EXPECT_EQ(client.process(3), 3U);
  EXPECT_EQ(client.nextWait(), Millis(0));
  EXPECT_EQ(client.process(3), 3U);
  EXPECT_EQ(client.process(3), 2U);
  EXPECT_EQ(platform().clock, before);
  EXPECT_EQ(platform().count(fake::Call::kWait), 0U);
  EXPECT_EQ(platform().count(fake::Call::kPause), 0U);
  EXPECT_FALSE(client.nextWait().has_value());
}

TEST_F(AsyncClient, NextWaitTellsWhenSomethingIsDue) {
  Client client;
  EXPECT_FALSE(client.nextWait().has_value());
  client.verify(
      kAddress, kOid, [](auto&&) {}, nobody());
  EXPECT_EQ(client.nextWait(), Millis(0));
  client.process();
  platform().advance(0.02);
  client.process();
  ASSERT_TRUE(client.nextWait().has_value());
  EXPECT_LE(*client.nextWait(), Millis(2980));
}

TEST_F(AsyncClient, AClosedPortFailsAtOnceAndPoisonsNothing) {
  platform().closedPorts.insert("192.0.2.2:5135");
  fake::Server server(kAddress, 5135);
  Client client;
  int answered = 0;
  int closed = 0;
  for (int i = 0; i < 100; ++i) {
    server.then(VERIFIED);
    client.verify(
        "192.0.2.2", kOid,
        [&](const Result<Done>& done) {
          closed += done.error().kind() == Failure::portClosed ? 1 : 0;
          EXPECT_EQ(done.error().systemError(), ECONNREFUSED);
        },
        nobody());
    client.verify(
        kAddress, kOid,
        [&](const Result<Done>& done) { answered += done ? 1 : 0; }, nobody());
  }
  client.run();
  EXPECT_EQ(answered, 100);
  EXPECT_EQ(closed, 100);
  EXPECT_LT(platform().seconds() - 1000000000, 1);
}

TEST_F(AsyncClient, AFullSendBufferOnlyDelays) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  platform().failNext(fake::Call::kSend, EAGAIN, 3);
  Client client;
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
}

TEST_F(AsyncClient, AnErrorOfSendingFailsThatRequestAlone) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  platform().failNext(fake::Call::kSend, ENETUNREACH, 2);
  Client client;
  auto first = client.verify("192.0.2.2", kOid, {}, nobody());
  auto second = client.verify(kAddress, kOid, {}, nobody());
  const auto failed = first.wait();
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().kind(), Failure::unsendable);
  EXPECT_EQ(failed.error().systemError(), ENETUNREACH);
  EXPECT_TRUE(second.wait());
}

// Bytes that the allocator has given out; 0 where it does not tell.
std::size_t allocated() {
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
  return mallinfo2().uordblks + mallinfo2().hblkhd;
#else
  return 0;
#endif
}

TEST_F(AsyncClient, AHundredThousandRequestsQueueAndMoreIsRefused) {
  Client client;
  const std::size_t before = allocated();
  std::size_t refused = 0;
  for (int i = 0; i < 100001; ++i) {
    client.get(
        kAddress, kOid, {"59.6.1", "59.6.2"},
        [&](const Result<Attributes>& got) {
          refused += !got && got.error().systemError() == ENOBUFS ? 1U : 0U;
        },
        nobody());
  }
  EXPECT_EQ(client.queued(), 100000U);
  const std::size_t taken = allocated() - before;
  EXPECT_LE(taken, 64U << 20);
  RecordProperty("bytes_of_100000_requests", std::to_string(taken));
  client.process();
  EXPECT_EQ(refused, 1U);
  EXPECT_EQ(counter(client, "queue_full"), 1U);
}

TEST_F(AsyncClient, ATapSeesWhatIsSentAndWhatArrives) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  std::vector<std::string> seen;
  client.onDatagram([&](const ostrel::Datagram& datagram) {
    const std::string bytes(datagram.bytes);
    seen.push_back((datagram.received ? "from " : "to ") +
                   datagram.peer.text() + " " + fake::digits(bytes));
    return true;
  });
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_THAT(seen[0], ::testing::StartsWith("to 192.0.2.1:5135 "));
  EXPECT_THAT(seen[0], ::testing::EndsWith(server.requests.at(0).pdu));
  EXPECT_THAT(seen[1], ::testing::StartsWith("from 192.0.2.1:5135 "));
}

TEST_F(AsyncClient, WhatATapKeepsIsLost) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED).then(VERIFIED);
  Client client;
  int sent = 0;
  int received = 0;
  client.onDatagram([&](const ostrel::Datagram& datagram) {
    // The first of either kind gets lost.
    return (datagram.received ? received++ : sent++) != 0;
  });
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
  EXPECT_EQ(sent, 3);
  EXPECT_EQ(received, 2);
  EXPECT_THAT(server.requests, SizeIs(2));
}

TEST_F(AsyncClient, WithoutATapDatagramsPassUnseen) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  client.onDatagram([](const ostrel::Datagram&) { return false; });
  client.onDatagram({});
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
}

TEST_F(AsyncClient, CloneTakesTheAnswerToACreate) {
  fake::Server server(kAddress, 5135);
  server.then("25" SUCCESS NONE OBJECT);
  Client client;
  const auto made = client.clone(kAddress, kOid, {}, {}, nobody()).wait();
  ASSERT_TRUE(made) << made.error();
  EXPECT_EQ(*made, Oid(kOid));
}

TEST_F(AsyncClient, SuccessInPartWithoutErrorsIsSaidToBePartial) {
  fake::Server server(kAddress, 5135);
  server.then("2D" PARTIAL);
  Client client;
  const auto done = client.verify(kAddress, kOid, {}, nobody()).wait();
  ASSERT_TRUE(done);
  ASSERT_THAT(done.itemErrors(), SizeIs(1));
  EXPECT_EQ(done.itemErrors()[0].code, ostrel::kArgListError);
  EXPECT_FALSE(done.itemErrors()[0].identifier.valid());
}

TEST_F(AsyncClient, CountersAndRoundTripsTellWhatHappened) {
  fake::Server server(kAddress, 5135);
  server.then(fake::both(answer(VERIFIED), answer(VERIFIED)));
  Client client;
  EXPECT_TRUE(client.verify(kAddress, kOid, {}, nobody()).wait());
  client.process();
  EXPECT_EQ(counter(client, "requests"), 1U);
  EXPECT_EQ(counter(client, "answered"), 1U);
  EXPECT_EQ(counter(client, "datagrams_sent"), 1U);
  EXPECT_EQ(counter(client, "unmatched"), 1U);
  std::uint64_t all = 0;
  for (const std::uint64_t count : client.roundTrips()) all += count;
  EXPECT_EQ(all, 1U);
}

// ---------------------------------------------------------------------------
// Searches

#define FIRST_OBJECT "0A 01 01 3B 01 07 00 01 01"
#define SECOND_OBJECT "0A 01 01 3B 01 07 00 01 02"

class AsyncSearch : public AsyncClient {
 protected:
  // Searches 59.7.0.0 and notes what came.
  void search(Client& client, SearchOptions options, bool more = true) {
    options.request = nobody();
    client.search(
        kAddress, "59.7.0.0", terms,
        [this, more](std::vector<Object>&& page) {
          pages.push_back(std::move(page));
          return more;
        },
        [this](const Result<Done>& done) {
          ends++;
          ok = static_cast<bool>(done);
          errors = done.itemErrors();
          if (!done) code = done.error().code();
        },
        std::move(options));
    client.run();
  }

  std::vector<ostrel::Term> terms;
  std::vector<ostrel::ItemError> errors;
  std::vector<std::vector<Object>> pages;
  int ends = 0;
  bool ok = false;
  int code = 0;
};

TEST_F(AsyncSearch, AsksForOnePageBehindTheOther) {
  fake::Server server(kAddress, 5135);
  server.then("29" SUCCESS NONE ONE FIRST_OBJECT)
      .then("29" SUCCESS NONE ONE SECOND_OBJECT)
      .then("29" SUCCESS NONE NONE);
  Client client;
  SearchOptions options;
  options.page = 1;
  search(client, options);
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(ok);
  ASSERT_THAT(pages, SizeIs(2));
  EXPECT_EQ(pages[0][0].oid, Oid("59.7.0.1"));
  EXPECT_EQ(pages[1][0].oid, Oid("59.7.0.2"));
  EXPECT_EQ(behindId(server.requests[0]),
            hex(NOBODY "0A 01 01 3B 01 07 00 00" TWO
                       "18 0B 00 01 0A 01 00 00 00 00 01 10"
                       "18 0B 00 01 43 01 01 01 11 07 01 01"));
  EXPECT_EQ(behindId(server.requests[1]),
            hex(NOBODY "0A 01 01 3B 01 07 00 00" TWO "18 0B 00 01" FIRST_OBJECT
                       "01 10"
                       "18 0B 00 01 43 01 01 01 11 07 01 01"));
}

TEST_F(AsyncSearch, MayBringTheAttributesAlong) {
  fake::Server server(kAddress, 5135);
  server
      .then("29" SUCCESS NONE ONE "19" FIRST_OBJECT ONE
            "17 0B 01 01 3B 01 07 01 01 01 03 01 05")
      .then("29" SUCCESS NONE NONE);
  Client client;
  SearchOptions options;
  options.wanted = {Aid("59.7.1")};
  search(client, options);
  EXPECT_TRUE(ok);
  ASSERT_THAT(pages, SizeIs(1));
  EXPECT_EQ(pages[0][0].attributes.at("59.7.1"), Value(5));
  EXPECT_NE(server.requests[0].pdu.find(
                hex("18 0B 00 01" ONE "0B 01 01 3B 01 07 01 01 01 12")),
            std::string::npos)
      << server.requests[0].pdu;
}

TEST_F(AsyncSearch, StopsWhenAPageWantsNoMore) {
  fake::Server server(kAddress, 5135);
  server.then("29" SUCCESS NONE ONE FIRST_OBJECT);
  Client client;
  search(client, {}, false);
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(ok);
  EXPECT_THAT(pages, SizeIs(1));
  EXPECT_THAT(server.requests, SizeIs(1));
}

TEST_F(AsyncSearch, GoesTheOldWayWithServersThatKnowNoPages) {
  fake::Server server(kAddress, 5135);
  server.then("29 03 01 02 ID 0A 00 80 43 00 80 43 00")
      .then("29" SUCCESS NONE TWO FIRST_OBJECT SECOND_OBJECT)
      .then("27" SUCCESS NONE ONE "17 0B 01 01 3B 01 07 01 01 01 03 01 05")
      .then(
          "27"
          "03 01 01 ID 0A 00" NONE NONE);
  Client client;
  SearchOptions options;
  options.wanted = {Aid("59.7.1")};
  search(client, options);
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(ok);
  ASSERT_THAT(pages, SizeIs(1));
  // The second one was removed meanwhile.
  ASSERT_THAT(pages[0], SizeIs(1));
  EXPECT_EQ(pages[0][0].attributes.at("59.7.1"), Value(5));
  EXPECT_EQ(behindId(server.requests[1]),
            hex(NOBODY "0A 01 01 3B 01 07 00 00" NONE "07 01 01"));
}

TEST_F(AsyncSearch, GoesTheOldWayWhenOnlyTheTermsOfPagesAreRefused) {
  fake::Server server(kAddress, 5135);
  server
      .then("29" PARTIAL TWO
            "1A 43 00 03 01 04"
            "1A 43 01 01 03 01 04" NONE)
      .then("29" SUCCESS NONE TWO FIRST_OBJECT SECOND_OBJECT);
  Client client;
  SearchOptions options;
  options.page = 1;
  search(client, options);
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(ok);
  EXPECT_THAT(pages, SizeIs(2));
  EXPECT_THAT(server.requests, SizeIs(2));
}

TEST_F(AsyncSearch, GoesTheOldWayWhenOnlyTheTermsOfThePageAreRefused) {
  fake::Server server(kAddress, 5135);
  // Success in part: the second term has an invalid identifier.
  server.then("29" PARTIAL ONE "1A 43 01 01 03 01 04" NONE)
      .then("29" SUCCESS NONE ONE FIRST_OBJECT);
  Client client;
  search(client, {});
  EXPECT_TRUE(ok);
  ASSERT_THAT(pages, SizeIs(1));
  EXPECT_EQ(pages[0][0].oid, Oid("59.7.0.1"));
}

TEST_F(AsyncSearch, TellsOfObjectsThatTheOldWayDoesNotShow) {
  fake::Server server(kAddress, 5135);
  server.then("29 03 01 02 ID 0A 00 80 43 00 80 43 00")
      .then("29" SUCCESS NONE TWO FIRST_OBJECT SECOND_OBJECT)
      .then("27 03 01 05 ID 0A 00" NONE NONE)
      .then("27" PARTIAL ONE "1A 43 00 03 01 01" ONE
            "17 0B 01 01 3B 01 07 01 01 00");
  Client client;
  SearchOptions options;
  options.wanted = {Aid("59.7.1")};
  search(client, options);
  EXPECT_TRUE(ok);
  ASSERT_THAT(pages, SizeIs(1));
  EXPECT_THAT(pages[0], SizeIs(1));
  EXPECT_EQ(errors, (std::vector<ostrel::ItemError>{{0, Aid(), 5},
                                                    {1, Aid("59.7.1"), 1}}));
}

TEST_F(AsyncSearch, TellsOfObjectsThatNoAnswerHolds) {
  fake::Server server(kAddress, 5135);
  server.then("29" SUCCESS NONE ONE FIRST_OBJECT).then("29" SUCCESS NONE NONE);
  Client client;
  SearchOptions options;
  options.wanted = {Aid("59.7.1")};
  search(client, options);
  EXPECT_TRUE(ok);
  EXPECT_THAT(pages, IsEmpty());
  EXPECT_EQ(errors, (std::vector<ostrel::ItemError>{{0, Aid(), 100}}));
}

TEST_F(AsyncSearch, HandsOverTheErrorsOfItsTerms) {
  fake::Server server(kAddress, 5135);
  server.then("29" PARTIAL ONE "1A 43 00 03 01 04" ONE FIRST_OBJECT)
      .then("29" SUCCESS NONE NONE);
  Client client;
  terms = {ostrel::Term("59.7.1", 5)};
  search(client, {});
  EXPECT_TRUE(ok);
  EXPECT_EQ(errors, (std::vector<ostrel::ItemError>{{0, Aid(), 4}}));
}

TEST_F(AsyncSearch, ARefusalEndsIt) {
  fake::Server server(kAddress, 5135);
  server.then("29 03 01 05 ID 0A 00 80 43 00 80 43 00");
  Client client;
  search(client, {});
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(code, 5);
}

TEST_F(AsyncSearch, PagesThatDoNotAdvanceEndIt) {
  fake::Server server(kAddress, 5135);
  server.then("29" SUCCESS NONE ONE SECOND_OBJECT)
      .then("29" SUCCESS NONE ONE SECOND_OBJECT);
  Client client;
  search(client, {});
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(code, 11);
}

TEST_F(AsyncSearch, EndsOnceHoweverAPageEndsIt) {
  for (int how = 0; how < 4; ++how) {
    platform().reset();
    fake::Server server(kAddress, 5135);
    server.then("29" SUCCESS NONE ONE FIRST_OBJECT);
    auto client = std::make_unique<Client>();
    int calls = 0;
    Request<Done> request;
    SearchOptions options;
    options.request = nobody();
    request = client->search(
        kAddress, "59.7.0.0", {},
        [&](auto&&) -> bool {
          if (how == 0) request.cancel();
          if (how == 1) request.forget();
          if (how == 2) client->close();
          if (how == 3) throw std::runtime_error("page");
          return true;
        },
        [&](const Result<Done>& done) {
          calls++;
          EXPECT_EQ(done.error().kind(), Failure::cancelled);
        },
        options);
    if (how == 3) {
      EXPECT_THROW(client->run(), std::runtime_error);
    }
    client->run();
    EXPECT_EQ(calls, how == 1 ? 0 : 1) << how;
    EXPECT_EQ(client->outstanding(), 0U);
  }
}

// ---------------------------------------------------------------------------
// Directories

TEST_F(AsyncClient, DiscoveryLooksFartherEachTime) {
  fake::Server directory("192.0.2.5", 5136, "224.0.1.2", 4);
  directory.then("2F" SUCCESS NONE NONE NONE);
  Client client;
  const auto found = client.discover().wait();
  ASSERT_TRUE(found) << found.error();
  EXPECT_EQ(*found, Endpoint("192.0.2.5:5136"));
  ASSERT_THAT(platform().sent, SizeIs(3));
  EXPECT_EQ(platform().sent[2].ttl, 4);
  EXPECT_EQ(behindId(directory.requests.at(0)), hex(NOBODY NOBODY NONE NONE));
  EXPECT_NEAR(directory.requests[0].at, 6, 0.01);
}

TEST_F(AsyncClient, DiscoveryEndsAfter16Seconds) {
  Client client;
  const std::int64_t before = platform().clock;
  const auto found = client.discover().wait();
  ASSERT_FALSE(found);
  EXPECT_EQ(found.error().kind(), Failure::noAnswer);
  EXPECT_EQ(platform().clock - before, 16 * fake::Platform::kSecond);
}

TEST_F(AsyncClient, ADirectorySearchFindsItsServerFirst) {
  fake::Server directory("192.0.2.5", 5136, "224.0.1.2", 1);
  directory.then("2F" SUCCESS NONE NONE NONE)
      .then("2F" SUCCESS NONE ONE "0F 02 C0 00 02 01" ONE FIRST_OBJECT);
  Client client;
  const auto found =
      client.searchDirectory({}, "59.7.0.0", {}, {}, {}, nobody()).wait();
  ASSERT_TRUE(found) << found.error();
  EXPECT_EQ(found->objects, Values{Value(Oid("59.7.0.1"))});
  EXPECT_EQ(found->second.size(), 1U);
  EXPECT_EQ(found->answeredBy, Endpoint("192.0.2.5:5136"));
}

TEST_F(AsyncClient, ADirectoryThatIsGivenIsAskedAtOnce) {
  fake::Server directory("192.0.2.5", 5136);
  directory.then("2F" SUCCESS NONE NONE NONE);
  Client client;
  EXPECT_TRUE(
      client.searchDirectory("192.0.2.5:5136", "59.7.0.0", {}, {}, {}, nobody())
          .wait());
  EXPECT_EQ(behindId(directory.requests.at(0)),
            hex(NOBODY "0A 01 01 3B 01 07 00 00" NONE NONE));
}

// ---------------------------------------------------------------------------
// Watches

#define REGISTRATION "0A 01 01 3B 01 06 00 01 03"  // 59.6.0.3
#define EXPIRES_AT_1000 \
  "27" SUCCESS NONE ONE "17 0B 01 01 3B 01 06 01 05 01 0C 02 03 E8"
#define CREATED "25" SUCCESS NONE REGISTRATION

class AsyncWatch : public AsyncClient {
 protected:
  AsyncWatch() : server(kAddress, 5135) {}

  Request<Done> watch(Client& client, const char* oid = "59.7.0.1",
                      const char* event = "59.7.3") {
    return client.watch(
        kAddress, oid, event,
        [this](Event&& told) { events.push_back(std::move(told)); },
        [this](const Result<Done>& done) {
          ends++;
          if (!done) kind = done.error().kind();
        },
        nobody());
  }
  // Lets the loop run for so long.
  void pass(Client& client, double seconds) {
    const std::int64_t until =
        platform().clock +
        static_cast<std::int64_t>(seconds * fake::Platform::kSecond);
    do {
      client.process();
      const auto wait = client.nextWait();
      std::int64_t next = until;
      if (wait) next = std::min(until, platform().clock + wait->count() * 1000);
      platform().advance(static_cast<double>(next - platform().clock) / 1e6);
    } while (platform().clock < until || client.nextWait() == Millis(0));
  }
  void send(const char* pieces) {
    sockaddr_in to = platform().host;
    to.sin_port = server.requests.at(0).from.sin_port;
    fake::sendMessage(server.peer(), to, 9, fake::raw(pieces));
  }

  fake::Server server;
  std::vector<Event> events;
  int ends = 0;
  Failure kind = Failure::misuse;
};

TEST_F(AsyncWatch, RegistersAndTellsEvents) {
  server.then(CREATED).then(EXPIRES_AT_1000);
  Client client;
  auto request = watch(client);
  pass(client, 1);
  const unsigned port = ntohs(server.requests.at(0).from.sin_port);
  char portHex[6];
  std::snprintf(portHex, sizeof portHex, "%02X %02X", port >> 8, port & 0xff);
  EXPECT_EQ(
      behindId(server.requests.at(0)),
      hex(NOBODY "0A 01 01 3B 01 06 00 00 80 43 01 05"
                 "17 0B 01 01 3B 01 01 01 01 01 0F 02 C0 00 02 01"
                 "17 0B 01 01 3B 01 06 01 01 01 0A 01 01 3B 01 07 00 01 01"
                 "17 0B 01 01 3B 01 06 01 02 01 0B 01 01 3B 01 07 01 03"
                 "17 0B 01 01 3B 01 06 01 03 01 0F 02 C0 00 02 0A"
                 "17 0B 01 01 3B 01 06 01 04 01 42") +
          " " + portHex);
  send("22" HEADER FIRST_OBJECT "0B 01 01 3B 01 07 01 03" ONE "03 01 2A");
  pass(client, 1);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_FALSE(events[0].gap);
  EXPECT_EQ(events[0].oid, Oid("59.7.0.1"));
  EXPECT_EQ(events[0].event, Aid("59.7.3"));
  EXPECT_EQ(events[0].arguments, Values{Value(42)});
  // Not what it does not watch.
  send("22" HEADER SECOND_OBJECT "0B 01 01 3B 01 07 01 03" NONE);
  send("22" HEADER FIRST_OBJECT "0B 01 01 3B 01 07 01 04" NONE);
  pass(client, 1);
  EXPECT_THAT(events, SizeIs(1));
  EXPECT_EQ(ends, 0);
}

TEST_F(AsyncWatch, AClassStandsForItsObjectsAndOneEventForThree) {
  server.then(CREATED).then(EXPIRES_AT_1000);
  Client client;
  watch(client, "59.7.0.0", "59.6.0");
  pass(client, 1);
  send("22" HEADER FIRST_OBJECT "0B 01 01 3B 01 06 01 08" NONE);
  send("22" HEADER SECOND_OBJECT "0B 01 01 3B 01 06 01 09" NONE);
  pass(client, 1);
  EXPECT_THAT(events, SizeIs(2));
}

TEST_F(AsyncWatch, ARefusedRegistrationIsTheEnd) {
  server.then("25" REFUSED NONE NOBODY);
  Client client;
  watch(client);
  client.run();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(kind, Failure::refused);
}

TEST_F(AsyncWatch, LooksAfterTheRegistrationEachMinute) {
  server.then(CREATED);
  for (int i = 0; i < 10; ++i) server.then(EXPIRES_AT_1000);
  Client client;
  watch(client);
  pass(client, 300);
  ASSERT_GE(server.requests.size(), 6U);
  for (std::size_t i = 2; i < server.requests.size(); ++i)
    EXPECT_LE(server.requests[i].at - server.requests[i - 1].at, 60);
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(AsyncWatch, RenewsBeforeTheRegistrationExpires) {
  server.then(CREATED);
  for (int i = 0; i < 34; ++i) server.then(EXPIRES_AT_1000);
  server.then("28" SUCCESS NONE);
  Client client;
  watch(client);
  pass(client, 1830);
  // 1000, and the 1815 seconds and a bit that have passed.
  bool renewed = false;
  for (const fake::Request& request : server.requests) {
    if (request.pdu.substr(0, 2) != "20") continue;
    renewed = true;
    const std::string members = behindId(request);
    EXPECT_EQ(
        members.substr(0, members.size() - 5),
        hex(NOBODY REGISTRATION ONE "17 0B 01 01 3B 01 06 01 05 01 0C 02") +
            " ");
    const std::string time = members.substr(members.size() - 5);
    EXPECT_GE(time, "0A FF");
    EXPECT_LE(time, "0B 02");
  }
  EXPECT_TRUE(renewed);
}

TEST_F(AsyncWatch, ANoticeOfExpiryIsAnsweredByARenewal) {
  server.then(CREATED).then(EXPIRES_AT_1000).then("28" SUCCESS NONE);
  Client client;
  watch(client);
  pass(client, 1);
  send("22" HEADER REGISTRATION NOTIFY_EXPIRE ONE "0C 02 03 E8");
  pass(client, 1);
  ASSERT_THAT(server.requests, SizeIs(3));
  EXPECT_EQ(
      behindId(server.requests[2]),
      hex(NOBODY REGISTRATION ONE "17 0B 01 01 3B 01 06 01 05 01 0C 02 11 F8"));
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(AsyncWatch, RegistersAgainAndTellsAGapWhenTheServerLostIt) {
  server.then(CREATED)
      .then(EXPIRES_AT_1000)
      .then("27 03 01 01 ID 0A 00" NONE NONE)
      .then(CREATED)
      .then(EXPIRES_AT_1000);
  Client client;
  watch(client);
  pass(client, 70);
  ASSERT_GE(server.requests.size(), 5U);
  EXPECT_EQ(server.requests[3].pdu.substr(0, 2), "1C");
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_TRUE(events[0].gap);
  EXPECT_EQ(ends, 0);
}

TEST_F(AsyncWatch, TellsAGapAfterTheServerWasAway) {
  server.then(CREATED).then(EXPIRES_AT_1000);
  for (int i = 0; i < 6; ++i) server.then(fake::silence());
  for (int i = 0; i < 5; ++i) server.then(EXPIRES_AT_1000);
  Client client;
  watch(client);
  pass(client, 150);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_TRUE(events[0].gap);
  EXPECT_EQ(ends, 0);
}

TEST_F(AsyncWatch, ServersThatDoNotShowTheExpiryAreOnlyVerified) {
  server.then(CREATED)
      .then("27 03 01 06 ID 0A 00" NONE NONE)
      .then(VERIFIED)
      .then(VERIFIED)
      .then("2D 03 01 01 ID 0A 00")
      .then(CREATED);
  Client client;
  watch(client);
  pass(client, 130);
  ASSERT_GE(server.requests.size(), 6U);
  EXPECT_EQ(server.requests[2].pdu.substr(0, 2), "2C");
  EXPECT_EQ(server.requests[5].pdu.substr(0, 2), "1C");
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_TRUE(events[0].gap);
}

TEST_F(AsyncWatch, CancelUnregistersAndEnds) {
  server.then(CREATED).then(EXPIRES_AT_1000).then("2B" SUCCESS);
  Client client;
  auto request = watch(client);
  pass(client, 1);
  request.cancel();
  client.run();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(kind, Failure::cancelled);
  ASSERT_THAT(server.requests, SizeIs(3));
  EXPECT_EQ(behindId(server.requests[2]), hex(NOBODY REGISTRATION));
}

TEST_F(AsyncWatch, ForgetUnregistersAndCallsNobody) {
  server.then(CREATED).then(EXPIRES_AT_1000).then("2B" SUCCESS);
  Client client;
  auto request = watch(client);
  pass(client, 1);
  request.forget();
  client.run();
  EXPECT_EQ(ends, 0);
  EXPECT_THAT(server.requests, SizeIs(3));
}

TEST_F(AsyncWatch, CloseSendsOneMessageToUnregister) {
  server.then(CREATED).then(EXPIRES_AT_1000);
  Client client;
  watch(client);
  pass(client, 1);
  client.close();
  platform().run();
  EXPECT_EQ(ends, 1);
  ASSERT_THAT(server.requests, SizeIs(3));
  EXPECT_EQ(server.requests[2].pdu.substr(0, 2), "1E");
}

TEST_F(AsyncWatch, MayBeForgottenByItsOwnHandler) {
  server.then(CREATED).then(EXPIRES_AT_1000).then("2B" SUCCESS);
  Client client;
  Request<Done> request;
  int calls = 0;
  request = client.watch(
      kAddress, "59.7.0.1", "59.7.3",
      [&](Event&&) {
        calls++;
        request.forget();
      },
      [](auto&&) { ADD_FAILURE(); }, nobody());
  pass(client, 1);
  send("22" HEADER FIRST_OBJECT "0B 01 01 3B 01 07 01 03" NONE);
  send("22" HEADER FIRST_OBJECT "0B 01 01 3B 01 07 01 03" NONE);
  client.run();
  EXPECT_EQ(calls, 1);
}

}  // namespace
