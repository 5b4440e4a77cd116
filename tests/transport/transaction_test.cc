#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fake::Call;
using fake::fragments;
using fake::raw;
using ::testing::ElementsAre;

// The bytes of a remove response to a request, as a server would write them.
std::string answerTo(std::uint32_t id) {
  std::string bytes = raw("2B 03 00 43 04");
  fake::appendNumber(bytes, id, 4);
  return bytes + raw("0A 00");
}

class Transactions : public ::testing::Test {
 protected:
  Transactions()
      : system((fake::platform().reset(), fake::platform())),
        oid("59.6.0.0"),
        start(system.seconds()) {
    socket = handler.open();
  }
  ~Transactions() override { handler.pending.clear(1); }

  std::unique_ptr<veskRemovePDU> makeRequest() {
    return std::make_unique<veskRemovePDU>(oid);
  }

  void arrive(const std::string& message) {
    system.deliver(server, socket, fragments(nextMessage++, message)[0]);
  }

  // What one recv() gave; the PDU is freed.
  struct Received {
    int code;
    bool answered;
    std::uint32_t id;
  };
  Received recv() {
    veskPDU* pdu = nullptr;
    const int code = handler.recv(&from, &pdu);
    Received result{code, pdu != nullptr,
                    pdu == nullptr ? 0 : pdu->requestId.value};
    veskType::destroyDecoded(pdu);
    return result;
  }

  // What one tick() gave.
  struct Ticked {
    int result;
    int err;
    veskPDU* pdu;
  };
  Ticked tick() {
    Ticked ticked{-1, -1, nullptr};
    ticked.result = handler.tick(&next, &ticked.err, &ticked.pdu);
    return ticked;
  }

  // Ticks once a second until a request is given up, and says after how long.
  long secondsUntilGivenUp(veskPDU** pdu) {
    for (int i = 0; i < 1000; ++i) {
      const Ticked ticked = tick();
      if (ticked.pdu != nullptr) {
        EXPECT_EQ(ticked.err, 10);
        *pdu = ticked.pdu;
        return system.seconds() - start;
      }
      system.advance(1);
    }
    return -1;
  }

  // The seconds at which datagrams went out.
  std::vector<long> sentAt() {
    std::vector<long> seconds;
    for (const fake::Datagram& datagram : system.sent) {
      seconds.push_back(
          static_cast<long>(datagram.at / fake::Platform::kSecond) - start);
    }
    return seconds;
  }

  pendingRequest* record(unsigned i) {
    return static_cast<pendingRequest*>(handler.pending.index(i)->data);
  }

  fake::Platform& system;
  veskTransactionHandler handler;
  veskOid oid;
  int socket = -1;
  unsigned nextMessage = 0;
  long start;
  long next = -99;
  sockaddr_in server = fake::endpoint("192.0.2.1", 5135);
  sockaddr_in group = fake::endpoint("224.0.1.2", 5136);
  sockaddr_in from = {};
};

TEST_F(Transactions, StartWithTheBuiltInSchedule) {
  EXPECT_NE(handler.messageHandler, nullptr);
  EXPECT_EQ(handler.nextRequestId, 0U);
  EXPECT_EQ(handler.pending.count, 0U);
  EXPECT_EQ(handler.initialTimeout, 3);
  EXPECT_EQ(handler.retries, 2);
}

TEST_F(Transactions, OpenLetsTheSystemChooseThePort) {
  EXPECT_EQ(socket, handler.messageHandler->socket);
  EXPECT_EQ(system.bound.back(), 0);
}

TEST_F(Transactions, OpenThatFailsSaysSo) {
  veskTransactionHandler other;
  system.failNext(Call::kOpen, EMFILE);
  EXPECT_EQ(other.open(), -1);
  EXPECT_EQ(errno, EMFILE);
}

TEST_F(Transactions, CloseClosesTheSocketOnceAndKeepsWhatIsPending) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  EXPECT_EQ(handler.close(), 1);
  EXPECT_EQ(handler.close(), 0);
  EXPECT_THAT(system.closed, ElementsAre(socket));
  EXPECT_EQ(handler.pending.count, 1U);
}

TEST_F(Transactions, DestructorClosesTheSocket) {
  int other = -1;
  {
    veskTransactionHandler gone;
    other = gone.open();
  }
  EXPECT_THAT(system.closed, ElementsAre(other));
}

TEST_F(Transactions, KeepsPendingRecordsAliveWhenDestroyed) {
  auto request = makeRequest();
  timeoutEntry* entry = nullptr;
  {
    veskTransactionHandler gone;
    gone.open();
    gone.send(&server, request.get());
    entry = gone.pending.index(0);
  }
  auto* left = static_cast<pendingRequest*>(entry->data);
  EXPECT_EQ(left->request, request.get());
  delete left;
  delete entry;
}

// --- send

TEST_F(Transactions, SendStampsSendsAndRemembers) {
  handler.nextRequestId = 300;
  auto request = makeRequest();
  EXPECT_EQ(handler.send(&server, request.get()), 0);
  EXPECT_EQ(request->requestId.value, 300U);
  EXPECT_EQ(handler.nextRequestId, 301U);
  ASSERT_EQ(system.sent.size(), 1U);
  EXPECT_EQ(system.sent[0].bytes,
            raw("0001 0000 0001 0000 00000011 00000000"
                "1E 03 00 43 02 01 2C 0A 00 0A 01 01 3B 01 06 00 00"));
  ASSERT_EQ(handler.pending.count, 1U);
  EXPECT_EQ(handler.pending.index(0)->delta, 3);
  EXPECT_TRUE(fake::same(record(0)->destination, server));
  EXPECT_EQ(record(0)->request, request.get());
  EXPECT_EQ(record(0)->timeout, 3);
  EXPECT_EQ(record(0)->retriesLeft, 2);
  EXPECT_EQ(record(0)->multicast, 0);
}

TEST_F(Transactions, RequestIdsWrapAround) {
  handler.nextRequestId = 4294967295U;
  auto first = makeRequest();
  auto second = makeRequest();
  handler.send(&server, first.get());
  handler.send(&server, second.get());
  EXPECT_EQ(first->requestId.value, 4294967295U);
  EXPECT_EQ(second->requestId.value, 0U);
  arrive(answerTo(4294967295U));
  EXPECT_TRUE(recv().answered);
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
}

TEST_F(Transactions, StampMakesANullIdANumberAgain) {
  auto request = makeRequest();
  request->requestId.tag = 0;
  handler.nextRequestId = 1;
  handler.send(&server, request.get());
  EXPECT_EQ(system.sent[0].bytes.substr(19, 3), raw("43 01 01"));
}

TEST_F(Transactions, SendThatFailsIsNotRemembered) {
  auto request = makeRequest();
  system.failNext(Call::kSend, ENETUNREACH);
  EXPECT_EQ(handler.send(&server, request.get()), 10);
  EXPECT_EQ(errno, ENETUNREACH);
  EXPECT_EQ(handler.pending.count, 0U);
  EXPECT_EQ(handler.nextRequestId, 1U);
  veskGetPDU nothing(oid, nullptr);
  EXPECT_EQ(handler.send(&server, &nothing), 11);
  EXPECT_EQ(handler.pending.count, 0U);
  EXPECT_EQ(handler.nextRequestId, 2U);
}

TEST_F(Transactions, AddressesFrom224To239AreGroups) {
  struct Row {
    const char* address;
    int multicast;
  };
  for (const Row& row :
       {Row{"223.255.255.255", 0}, Row{"224.0.0.0", 1}, Row{"224.0.1.2", 1},
        Row{"239.255.255.255", 1}, Row{"240.0.0.0", 0}}) {
    const sockaddr_in to = fake::endpoint(row.address, 5136);
    auto request = makeRequest();
    handler.send(&to, request.get());
    EXPECT_EQ(record(handler.pending.count - 1)->multicast, row.multicast)
        << row.address;
    handler.flush(request->requestId.value);
  }
}

// --- the schedule

TEST_F(Transactions, RequestIsSentAtZeroThreeAndNineAndGivenUpAtTwentyOne) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  veskPDU* given = nullptr;
  EXPECT_EQ(secondsUntilGivenUp(&given), 21);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(given, request.get());
  EXPECT_THAT(sentAt(), ElementsAre(0, 3, 9));
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(Transactions, RetransmissionIsTheSamePDUInANewMessage) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(3);
  tick();
  ASSERT_EQ(system.sent.size(), 2U);
  EXPECT_EQ(system.sent[1].bytes.substr(0, 4), raw("0001 0001"));
  EXPECT_EQ(system.sent[1].bytes.substr(4), system.sent[0].bytes.substr(4));
  EXPECT_TRUE(fake::same(system.sent[1].to, server));
}

TEST_F(Transactions, TickBeforeAnythingIsDueDoesNothing) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(2);
  const Ticked ticked = tick();
  EXPECT_EQ(ticked.result, 0);
  EXPECT_EQ(ticked.err, 0);
  EXPECT_EQ(ticked.pdu, nullptr);
  EXPECT_EQ(next, 1);
  EXPECT_EQ(system.sent.size(), 1U);
}

TEST_F(Transactions, TickWithNothingPendingLeavesNextAlone) {
  veskPDU* pdu = makeRequest().release();
  veskPDU* const before = pdu;
  int err = 77;
  EXPECT_EQ(handler.tick(&next, &err, &pdu), 0);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(pdu, nullptr);
  EXPECT_EQ(next, -99);
  delete before;
}

TEST_F(Transactions, TickTellsTheSecondsToTheNextTransmission) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  tick();
  EXPECT_EQ(next, 3);
  system.advance(3);
  tick();
  EXPECT_EQ(next, 6);
  system.advance(6);
  tick();
  EXPECT_EQ(next, 12);
}

TEST_F(Transactions, TickTakesNoPlaceForTheSeconds) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(21);
  int err = 0;
  veskPDU* pdu = nullptr;
  EXPECT_EQ(handler.tick(nullptr, &err, &pdu), 0);
  EXPECT_EQ(pdu, request.get());
}

TEST_F(Transactions, LoneRequestPolledLateKeepsItsOwnSchedule) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(5);  // due at 3
  tick();
  EXPECT_EQ(next, 4);  // due at 9
  system.advance(4);
  tick();
  EXPECT_THAT(sentAt(), ElementsAre(0, 5, 9));
  system.advance(12);
  EXPECT_EQ(tick().pdu, request.get());
}

TEST_F(Transactions, LoneRequestPolledVeryLateCatchesUpAtOnce) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(21);
  const Ticked ticked = tick();
  EXPECT_EQ(ticked.result, 0);
  EXPECT_EQ(ticked.err, 10);
  EXPECT_EQ(ticked.pdu, request.get());
  EXPECT_THAT(sentAt(), ElementsAre(0, 21, 21));
}

TEST_F(Transactions, SeveralRequestsPolledLateCountFromTheTick) {
  auto first = makeRequest();
  auto second = makeRequest();
  handler.send(&server, first.get());
  handler.send(&server, second.get());
  system.advance(5);
  tick();
  EXPECT_EQ(system.sent.size(), 4U);
  EXPECT_EQ(handler.pending.count, 2U);
  EXPECT_EQ(next, 6);  // 6 s after the tick at 5, not after 3
}

TEST_F(Transactions, TwoThatGiveUpTogetherTakeTwoTicks) {
  auto first = makeRequest();
  auto second = makeRequest();
  handler.send(&server, first.get());
  handler.send(&server, second.get());
  system.advance(3);
  tick();
  system.advance(6);
  tick();
  system.advance(12);
  Ticked ticked = tick();
  EXPECT_EQ(ticked.result, 1);
  EXPECT_EQ(ticked.err, 10);
  EXPECT_EQ(ticked.pdu, first.get());
  ticked = tick();
  EXPECT_EQ(ticked.result, 0);
  EXPECT_EQ(ticked.err, 10);
  EXPECT_EQ(ticked.pdu, second.get());
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(Transactions, RetransmissionThatFailsIsReportedWithItsCode) {
  auto request = makeRequest();
  auto other = makeRequest();
  handler.send(&server, request.get());
  handler.send(&server, other.get());
  system.advance(3);
  system.failNext(Call::kSend, ENETUNREACH);
  Ticked ticked = tick();
  EXPECT_EQ(ticked.result, 1);
  EXPECT_EQ(ticked.err, 10);
  EXPECT_EQ(errno, ENETUNREACH);
  EXPECT_EQ(ticked.pdu, request.get());
  EXPECT_EQ(handler.pending.count, 1U);
  ticked = tick();
  EXPECT_EQ(ticked.result, 0);
  EXPECT_EQ(ticked.err, 0);
  EXPECT_EQ(ticked.pdu, nullptr);
}

TEST_F(Transactions, RetransmissionThatDoesNotEncodeIsReportedWithItsCode) {
  veskList list;
  veskGetPDU request(oid, &list);
  handler.send(&server, &request);
  request.list = nullptr;
  system.advance(3);
  const Ticked ticked = tick();
  EXPECT_EQ(ticked.err, 11);
  EXPECT_EQ(ticked.pdu, &request);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(Transactions, ChangedTimeoutAndRetriesHoldForLaterRequests) {
  auto before = makeRequest();
  handler.send(&server, before.get());
  handler.flush(0);
  system.sent.clear();
  handler.initialTimeout = 30;
  handler.retries = 0;
  auto request = makeRequest();
  handler.send(&server, request.get());
  veskPDU* given = nullptr;
  EXPECT_EQ(secondsUntilGivenUp(&given), 30);
  EXPECT_THAT(sentAt(), ElementsAre(0));
}

TEST_F(Transactions, NegativeRetriesGiveUpLikeNone) {
  handler.retries = -1;
  auto request = makeRequest();
  handler.send(&server, request.get());
  veskPDU* given = nullptr;
  EXPECT_EQ(secondsUntilGivenUp(&given), 3);
}

TEST_F(Transactions, EndlessTimeoutDoesNotOverflowWhenDoubled) {
  handler.initialTimeout = LONG_MAX;
  auto request = makeRequest();
  handler.send(&server, request.get());
  handler.pending.index(0)->delta = 0;
  EXPECT_EQ(tick().pdu, nullptr);
  EXPECT_EQ(record(0)->timeout, LONG_MAX);
}

// --- recv

TEST_F(Transactions, AnswerEndsItsRequest) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  arrive(answerTo(0));
  veskPDU* answer = nullptr;
  EXPECT_EQ(handler.recv(&from, &answer), 0);
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer->tag, 43);
  EXPECT_NE(answer, request.get());
  EXPECT_TRUE(fake::same(from, server));
  EXPECT_EQ(handler.pending.count, 0U);
  veskType::destroyDecoded(answer);
}

TEST_F(Transactions, KeepsMatchingByIdAloneWhoeverAnswers) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  const sockaddr_in stranger = fake::endpoint("203.0.113.9", 9);
  system.deliver(stranger, socket, fragments(1, answerTo(0))[0]);
  EXPECT_TRUE(recv().answered);
  EXPECT_TRUE(fake::same(from, stranger));
}

TEST_F(Transactions, AnswersFindTheirRequestsInAnyOrder) {
  std::vector<std::unique_ptr<veskRemovePDU>> requests;
  for (int i = 0; i < 5; ++i) {
    requests.push_back(makeRequest());
    handler.send(&server, requests.back().get());
  }
  for (const std::uint32_t id : {3U, 0U, 4U, 1U, 2U}) {
    arrive(answerTo(id));
    const Received received = recv();
    EXPECT_EQ(received.code, 0);
    EXPECT_TRUE(received.answered);
    EXPECT_EQ(received.id, id);
  }
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(Transactions, UnmatchedAnswerIsDroppedWithoutAnError) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  arrive(answerTo(7));
  const Received received = recv();
  EXPECT_EQ(received.code, 0);
  EXPECT_FALSE(received.answered);
  EXPECT_EQ(handler.pending.count, 1U);
}

TEST_F(Transactions, UnmatchedAnswerIsFreedWithItsLists) {
  arrive(
      raw("27 03 00 43 01 09 0A 00 80 43 01 01 1A 43 00 03 01 05"
          "80 43 01 02 09 43 01 01 61 80 43 01 01 03 01 07"));
  const Received received = recv();
  EXPECT_EQ(received.code, 0);
  EXPECT_FALSE(received.answered);
}

TEST_F(Transactions, UnmatchedMessageThatDoesNotDecodeIsReported) {
  for (const char* message :
       {"27 03 00 43 01 09 0A 00 80 43 00 80 43 01 02 03 01 05", "2B 03 00 43",
        "24 03 00 43 01 09 0A 00 80 43 00", "03 01 05"}) {
    arrive(raw(message));
    const Received received = recv();
    EXPECT_EQ(received.code, 11) << message;
    EXPECT_EQ(errno, EBADMSG);
    EXPECT_FALSE(received.answered);
  }
}

TEST_F(Transactions, AnswerThatDoesNotDecodeLeavesItsRequestPending) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  arrive(raw("27 03 00 43 00 0A 00 80 43 00 80 43 01 02 03 01 05"));
  EXPECT_EQ(recv().code, 11);
  EXPECT_EQ(handler.pending.count, 1U);
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
}

// Of a number only the last four bytes count, however many there are.
TEST_F(Transactions, AnswerIsFoundByAnIdInAnyForm) {
  auto request = makeRequest();
  handler.nextRequestId = 258;
  for (const char* id : {"43 02 01 02", "43 04 00 00 01 03", "03 02 01 04",
                         "43 06 FF FF 00 00 01 05"}) {
    handler.send(&server, request.get());
    arrive(
        raw((std::string("2B 03 05 01 00 00 00 07 ") + id + " 0A 00").c_str()));
    EXPECT_TRUE(recv().answered) << id;
  }
}

TEST_F(Transactions, DoubledAnswerIsUnmatchedTheSecondTime) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(3);
  tick();  // both transmissions reach the server, which answers both
  arrive(answerTo(0));
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
  const Received second = recv();
  EXPECT_EQ(second.code, 0);
  EXPECT_FALSE(second.answered);
}

TEST_F(Transactions, LateAnswerToARequestGivenUpIsDropped) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  veskPDU* given = nullptr;
  secondsUntilGivenUp(&given);
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
}

TEST_F(Transactions, AnswerAfterARetransmissionEndsItsRequest) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(4);
  tick();
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
  system.advance(100);
  EXPECT_EQ(tick().pdu, nullptr);
  EXPECT_EQ(system.sent.size(), 2U);
}

TEST_F(Transactions, KeepsAGroupsRequestPendingForMoreAnswers) {
  auto request = makeRequest();
  handler.send(&group, request.get());
  for (int i = 0; i < 3; ++i) {
    arrive(answerTo(0));
    EXPECT_TRUE(recv().answered);
    EXPECT_EQ(handler.pending.count, 1U);
  }
  veskPDU* given = nullptr;
  EXPECT_EQ(secondsUntilGivenUp(&given), 21);
  EXPECT_EQ(given, request.get());
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
}

TEST_F(Transactions, RequestComingInIsNoAnswerUnlessItHasTheId) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  arrive(raw("1E 03 00 43 01 05 0A 00 0A 00"));
  EXPECT_FALSE(recv().answered);
  arrive(raw("1E 03 00 43 00 0A 00 0A 00"));
  EXPECT_TRUE(recv().answered);
}

TEST_F(Transactions, RecvSetsThePDUToNullWhateverComes) {
  for (const std::string& bytes :
       {std::string(10, 'x'), fragments(1, raw("03 01 05"))[0],
        fragments(2, std::string(2000, 'x'))[0]}) {
    system.deliver(server, socket, bytes);
    veskPDU* pdu = makeRequest().release();
    veskPDU* const before = pdu;
    handler.recv(&from, &pdu);
    EXPECT_EQ(pdu, nullptr);
    delete before;
  }
}

TEST_F(Transactions, RecvPassesOnTheCodesOfTheMessageHandler) {
  system.deliver(server, socket, "short");
  EXPECT_EQ(recv().code, 10);
  EXPECT_EQ(errno, EMSGSIZE);
  arrive(raw("03 01 05"));
  EXPECT_EQ(recv().code, 11);
  system.deliver(server, socket, fragments(9, std::string(2000, 'x'))[0]);
  EXPECT_EQ(recv().code, 0);
}

TEST_F(Transactions, RecvTakesNoPlaceForTheSender) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  arrive(answerTo(0));
  veskPDU* answer = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &answer), 0);
  EXPECT_NE(answer, nullptr);
  veskType::destroyDecoded(answer);
}

// --- flush

TEST_F(Transactions, FlushForgetsTheRequest) {
  auto first = makeRequest();
  auto second = makeRequest();
  handler.send(&server, first.get());
  handler.send(&server, second.get());
  EXPECT_EQ(handler.flush(1), 1);
  EXPECT_EQ(handler.flush(1), 0);
  ASSERT_EQ(handler.pending.count, 1U);
  EXPECT_EQ(record(0)->request, first.get());
  arrive(answerTo(1));
  EXPECT_FALSE(recv().answered);
}

TEST_F(Transactions, FlushOfAnIdThatIsNotPendingReturnsZero) {
  EXPECT_EQ(handler.flush(0), 0);
  auto request = makeRequest();
  handler.send(&server, request.get());
  EXPECT_EQ(handler.flush(1), 0);
  EXPECT_EQ(handler.flush(4294967295U), 0);
  EXPECT_EQ(handler.pending.count, 1U);
}

TEST_F(Transactions, KeepsFlushMakingLaterRequestsDueEarlier) {
  auto first = makeRequest();
  auto second = makeRequest();
  handler.send(&server, first.get());
  handler.initialTimeout = 10;
  handler.send(&server, second.get());
  EXPECT_EQ(handler.flush(0), 1);
  tick();
  EXPECT_EQ(next, 7);
}

TEST_F(Transactions, KeepsAnswersMakingOtherRequestsDueEarlier) {
  std::vector<std::unique_ptr<veskRemovePDU>> requests;
  for (int i = 0; i < 4; ++i) {
    requests.push_back(makeRequest());
    handler.send(&server, requests.back().get());
  }
  for (const std::uint32_t id : {0U, 1U}) {
    arrive(answerTo(id));
    EXPECT_TRUE(recv().answered);
    EXPECT_EQ(tick().pdu, nullptr);  // sends the others again
  }
  EXPECT_EQ(system.sent.size(), 4U + 3U + 2U);
  arrive(answerTo(2));
  EXPECT_TRUE(recv().answered);
  const Ticked ticked = tick();
  EXPECT_EQ(ticked.pdu, requests[3].get());
  EXPECT_EQ(ticked.err, 10);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.seconds(), start);  // all in no time
}

// --- what finding a request must survive, in a short and in a long queue

class Queues : public Transactions,
               public ::testing::WithParamInterface<unsigned> {
 protected:
  Queues() {
    handler.initialTimeout = 1000000;
    handler.nextRequestId = 0x40000000;
    for (unsigned i = 0; i < GetParam(); ++i) {
      others.push_back(makeRequest());
      handler.send(&server, others.back().get());
    }
    handler.initialTimeout = 3;
    handler.nextRequestId = 0;
  }

  // How many requests are pending besides the others.
  unsigned pendingHere() const { return handler.pending.count - GetParam(); }

  std::vector<std::unique_ptr<veskRemovePDU>> others;
};

INSTANTIATE_TEST_SUITE_P(Transactions, Queues, ::testing::Values(0U, 20U),
                         [](const auto& row) {
                           return row.param == 0 ? "Short" : "Long";
                         });

TEST_P(Queues, AnswersFindTheirRequestsAndDoublesFindNone) {
  std::vector<std::unique_ptr<veskRemovePDU>> requests;
  for (int i = 0; i < 5; ++i) {
    requests.push_back(makeRequest());
    handler.send(&server, requests.back().get());
  }
  for (const std::uint32_t id : {3U, 0U, 4U, 1U, 2U}) {
    arrive(answerTo(id));
    EXPECT_TRUE(recv().answered);
    arrive(answerTo(id));
    EXPECT_FALSE(recv().answered);
  }
  EXPECT_EQ(pendingHere(), 0U);
}

TEST_P(Queues, RetransmittedRequestIsFoundAndAGivenUpOneIsNot) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.advance(3);
  EXPECT_EQ(tick().pdu, nullptr);
  system.advance(6);
  EXPECT_EQ(tick().pdu, nullptr);
  EXPECT_EQ(handler.flush(0), 1);
  handler.send(&server, request.get());
  handler.retries = 0;
  auto other = makeRequest();
  handler.send(&server, other.get());
  system.advance(3);
  EXPECT_EQ(tick().pdu, other.get());
  EXPECT_EQ(handler.flush(2), 0);
  EXPECT_EQ(handler.flush(1), 1);
}

TEST_P(Queues, FirstInQueueOrderWinsWhenRequestsShareAnId) {
  auto late = makeRequest();
  auto early = makeRequest();
  handler.initialTimeout = 10;
  handler.send(&server, late.get());
  handler.nextRequestId = 0;
  handler.initialTimeout = 3;
  handler.send(&server, early.get());
  ASSERT_EQ(record(0)->request, early.get());
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
  ASSERT_EQ(pendingHere(), 1U);
  EXPECT_EQ(record(0)->request, late.get());
  arrive(answerTo(0));
  EXPECT_TRUE(recv().answered);
  EXPECT_EQ(pendingHere(), 0U);
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
}

TEST_P(Queues, RequestSentTwiceIsPendingTwiceWithItsNewId) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  handler.send(&server, request.get());
  EXPECT_EQ(pendingHere(), 2U);
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);  // no record has that id any more
  arrive(answerTo(1));
  arrive(answerTo(1));
  EXPECT_TRUE(recv().answered);
  EXPECT_TRUE(recv().answered);
  EXPECT_EQ(pendingHere(), 0U);
}

TEST_P(Queues, FailedSecondSendChangesTheIdOfThePendingRecordToo) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  system.failNext(Call::kSend, ENETUNREACH);
  handler.send(&server, request.get());
  EXPECT_EQ(handler.flush(0), 0);
  EXPECT_EQ(handler.flush(1), 1);
}

TEST_P(Queues, ProgramsMayTakeRecordsOutOfTheQueue) {
  auto first = makeRequest();
  auto second = makeRequest();
  auto third = makeRequest();
  handler.send(&server, first.get());
  handler.send(&server, second.get());
  handler.send(&server, third.get());
  delete static_cast<pendingRequest*>(handler.pending.pop());
  pendingRequest* taken = record(1);
  handler.pending.remove(taken);
  delete taken;
  EXPECT_EQ(handler.flush(0), 0);
  EXPECT_EQ(handler.flush(2), 0);
  EXPECT_EQ(handler.flush(1), 1);
  handler.send(&server, first.get());
  handler.pending.clear(1);
  arrive(answerTo(3));
  EXPECT_FALSE(recv().answered);
}

TEST_P(Queues, ProgramsMayPutRecordsIntoTheQueue) {
  auto request = makeRequest();
  request->requestId = veskUnsignedInt(77);
  handler.pending.insert(1, new pendingRequest{server, request.get(), 1, 0, 0});
  arrive(answerTo(77));
  EXPECT_TRUE(recv().answered);
  EXPECT_EQ(pendingHere(), 0U);
}

TEST_P(Queues, ProgramsMayChangeThePendingIdToOneNeverGiven) {
  auto request = makeRequest();
  handler.send(&server, request.get());
  request->requestId = veskUnsignedInt(77);
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
  EXPECT_EQ(pendingHere(), 1U);
  arrive(answerTo(77));
  EXPECT_TRUE(recv().answered);
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
}

TEST_P(Queues, ChangedIdOfARequestThatIsGivenUpLeavesNothingBehind) {
  handler.retries = 0;
  auto request = makeRequest();
  handler.send(&server, request.get());
  request->requestId = veskUnsignedInt(77);
  system.advance(3);
  EXPECT_EQ(tick().pdu, request.get());
  arrive(answerTo(0));
  EXPECT_FALSE(recv().answered);
  EXPECT_EQ(handler.flush(77), 0);
}

TEST_P(Queues, RequestThatAnotherHandlerSendsTooIsFoundByItsNewId) {
  for (const std::uint32_t first : {0U, 50U}) {
    handler.nextRequestId = first;
    auto filler = makeRequest();
    auto request = makeRequest();
    if (first == 0) handler.send(&server, request.get());
    handler.send(&server, filler.get());
    if (first != 0) handler.send(&server, request.get());
    handler.nextRequestId = 1000;  // the other's ids have been given out here
    arrive(answerTo(999));
    EXPECT_FALSE(recv().answered);

    veskTransactionHandler other;
    other.open();
    other.nextRequestId = 500;
    EXPECT_EQ(other.send(&server, request.get()), 0);
    arrive(answerTo(first == 0 ? 0 : 51));
    EXPECT_FALSE(recv().answered);
    arrive(answerTo(500));
    EXPECT_TRUE(recv().answered);
    arrive(answerTo(500));
    EXPECT_FALSE(recv().answered);
    EXPECT_EQ(handler.flush(filler->requestId.value), 1);
    EXPECT_EQ(pendingHere(), 0U);
    EXPECT_EQ(other.flush(500), 1);
  }
}

TEST_P(Queues, FirstInQueueOrderWinsWhenAnotherHandlerGivesAnIdOfOurs) {
  auto early = makeRequest();
  auto late = makeRequest();
  handler.nextRequestId = 7;
  handler.send(&server, early.get());
  handler.initialTimeout = 10;
  handler.send(&server, late.get());
  veskTransactionHandler other;
  other.open();
  other.nextRequestId = 8;
  other.send(&server, early.get());
  arrive(answerTo(8));
  EXPECT_TRUE(recv().answered);
  ASSERT_EQ(pendingHere(), 1U);
  EXPECT_EQ(record(0)->request, late.get());
  EXPECT_EQ(other.flush(8), 1);
}

// Whatever two handlers do with the same PDUs, a long queue finds what a walk
// from its front finds.
TEST_P(Queues, FindWhatAWalkFindsWhileHandlersShareRequests) {
  veskTransactionHandler other;
  other.open();
  std::vector<std::unique_ptr<veskRemovePDU>> requests;
  for (int i = 0; i < 30; ++i) requests.push_back(makeRequest());
  std::mt19937 random(GetParam());
  unsigned matched = 0;
  for (int i = 0; i < 4000; ++i) {
    veskRemovePDU* request = requests[random() % requests.size()].get();
    const std::uint32_t id =
        requests[random() % requests.size()]->requestId.value;
    switch (random() % 4) {
      case 0:
        handler.send(&server, request);
        break;
      case 1:
        other.send(&server, request);
        break;
      case 2:
        other.flush(id);
        break;
      default:
        pendingRequest* expected = nullptr;
        for (unsigned k = 0; k < handler.pending.count; ++k) {
          if (record(k)->request->requestId.value != id) continue;
          expected = record(k);
          break;
        }
        const unsigned before = handler.pending.count;
        EXPECT_EQ(handler.flush(id), expected != nullptr ? 1 : 0);
        if (expected == nullptr) continue;
        matched++;
        EXPECT_EQ(handler.pending.count, before - 1);
        for (unsigned k = 0; k < handler.pending.count; ++k) {
          ASSERT_NE(record(k), expected);
        }
    }
  }
  EXPECT_GT(matched, 100U);
  other.pending.clear(1);
}

// Links of the queue followed for each request, with so many others waiting:
// to send it, send it again, match its answer and drop the answer's double.
unsigned long stepsForEachRequest(unsigned outstanding) {
  constexpr unsigned kRounds = 200;
  fake::Platform& system = fake::platform();
  system.reset();
  system.recording = false;
  veskTransactionHandler handler;
  const int socket = handler.open();
  const sockaddr_in server = fake::endpoint("192.0.2.1", 5135);
  veskOid oid("59.6.0.0");
  std::vector<std::unique_ptr<veskRemovePDU>> others;
  for (unsigned i = 0; i < outstanding; ++i) {
    others.push_back(std::make_unique<veskRemovePDU>(oid));
    handler.initialTimeout = 1000000 + static_cast<long>(i % 5);
    handler.send(&server, others.back().get());
  }
  handler.initialTimeout = 3;
  veskRemovePDU request(oid);
  const unsigned long before = handler.pending.steps();
  for (unsigned i = 0; i < kRounds; ++i) {
    handler.send(&server, &request);
    system.advance(3);
    long next = 0;
    int err = 0;
    veskPDU* pdu = nullptr;
    handler.tick(&next, &err, &pdu);
    for (const bool first : {true, false}) {
      const std::string answer = answerTo(request.requestId.value);
      system.deliver(server, socket, fragments(0, answer)[0]);
      handler.recv(nullptr, &pdu);
      EXPECT_EQ(pdu != nullptr, first);
      veskType::destroyDecoded(pdu);
    }
  }
  EXPECT_EQ(handler.pending.count, outstanding);
  const unsigned long steps = handler.pending.steps() - before;
  handler.pending.clear(1);
  return steps / kRounds;
}

TEST_F(Transactions, RequestCostsAsManyStepsAmongTenThousandAsAmongTen) {
  const unsigned long amongTen = stepsForEachRequest(10);
  EXPECT_EQ(stepsForEachRequest(10000), amongTen);
  EXPECT_LE(amongTen, 4U);
}

}  // namespace
