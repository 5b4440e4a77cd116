#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/commreq.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "support/servers.h"

namespace {

using fake::answer;
using fake::both;
using fake::Call;
using fake::datagram;
using fake::delayed;
using fake::silence;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kNoError = 0;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;

// A remove request and answers to it.
const char kRemove[] = "1E 03 00 ID 0A 00 0A 01 01 3B 01 06 00 01 01";
const char kRemoved[] = "2B 03 00 ID 0A 00";
const char kRefused[] = "2B 03 01 05 ID 0A 00";           // status 5
const char kRefusedOtherwise[] = "2B 03 01 06 ID 0A 00";  // status 6

// Datagrams and messages that answer nothing.
const char kOtherId[] = "2B 03 00 43 01 63 0A 00";
const char kNotAPdu[] = "03 01 05";
const char kListOfValues[] = "80 43 01 02 03 01 05 03 01 06";
const char kUndecodable[] = "2B 03 00 43";
const char kTooShort[] = "00 01 00 07";
const char kOtherVersion[] =
    "00 02 00 07 00 01 00 00 00 00 00 08 00 00 00 00 2B 03 00 43 00 0A 00";

// A list with one string of 3000 characters.
std::string answerOfManyFragments() {
  std::string message = "27 03 00 ID 0A 00 80 43 00 80 43 01 01 09 43 02 0B B8";
  for (int i = 0; i < 3000; ++i) message += " 78";
  return message;
}

class Exchange : public ::testing::Test {
 protected:
  Exchange() : system((fake::platform().reset(), fake::platform())) {
    socket = handler.open();
  }
  ~Exchange() override {
    EXPECT_EQ(handler.pending.count, 0U);
    handler.pending.clear(1);
    free(response);
  }

  // Frees an answer; what gave up is the test's own.
  void free(veskRespPDU* pdu) {
    veskPDU* base = pdu;
    if (base != &request && base != &older) veskType::destroyDecoded(base);
  }

  int askServer() {
    return OSrequest(&handler, socket, &address, &request, &response);
  }

  veskPDU* handedOut() { return response; }

  // From now on the process stops for so many seconds as it begins to wait for
  // the first time.
  void stopAtTheFirstWait(long seconds) {
    system.atCall = [this, seconds](Call call) {
      if (call != Call::kWait) return;
      system.clock += seconds * fake::Platform::kSecond;
      system.atCall = nullptr;
    };
  }

  fake::Platform& system;
  veskTransactionHandler handler;
  int socket = -1;
  veskAddress address{"192.0.2.1"};
  veskOid object{"59.6.0.1"};
  veskRemovePDU request{object};
  veskRemovePDU older{object};
  veskRespPDU* response = nullptr;
};

class ObjectServerExchange : public Exchange {
 protected:
  fake::Server server{"192.0.2.1", fake::kObjectPort};
};

TEST_F(ObjectServerExchange, SendsTheRequestToPort5135) {
  handler.nextRequestId = 5;
  server.then(kRemoved);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_THAT(system.sent, SizeIs(1));
  EXPECT_EQ(fake::text(system.sent[0].to), "192.0.2.1:5135");
  EXPECT_EQ(fake::digits(system.sent[0].bytes),
            "00 01 00 00 00 01 00 00 00 00 00 11 00 00 00 00 "
            "1E 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 01 01");
}

TEST_F(ObjectServerExchange, ReturnsTheAnswer) {
  server.then(kRemoved);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 43);
  EXPECT_EQ(handedOut()->requestId.value, request.requestId.value);
}

TEST_F(ObjectServerExchange, ReturnsZeroWithAnAnswerWhateverItsStatus) {
  server.then(kRefused);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->status.value, 5);
}

TEST_F(ObjectServerExchange, PassesOnAnswersOfAnyClass) {
  server.then("27 03 00 ID 0A 00 80 43 00 80 43 01 01 03 01 05");
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 39);
}

TEST_F(ObjectServerExchange, TakesAnswersOfManyFragments) {
  server.then(answer(answerOfManyFragments()));
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 39);
}

TEST_F(ObjectServerExchange, ToAnAddressOfAnotherFamilyIsAnAddressError) {
  auto* before = reinterpret_cast<veskRespPDU*>(&request);
  response = before;
  veskAddress none;
  EXPECT_EQ(OSrequest(&handler, socket, &none, &request, &response),
            kAddressError);
  EXPECT_EQ(errno, EDESTADDRREQ);
  veskAddress odd("192.0.2.1");
  odd.family = 7;
  EXPECT_EQ(OSrequest(&handler, socket, &odd, &request, &response),
            kAddressError);
  EXPECT_EQ(errno, EAFNOSUPPORT);
  EXPECT_EQ(OSrequest(&handler, socket, nullptr, &request, &response),
            kAddressError);
  EXPECT_EQ(errno, EDESTADDRREQ);
  EXPECT_THAT(system.sent, IsEmpty());
  EXPECT_EQ(handler.nextRequestId, 0U);
  EXPECT_EQ(response, before);
}

TEST_F(ObjectServerExchange, ReturnsTheCodeOfASendThatFailed) {
  auto* before = reinterpret_cast<veskRespPDU*>(&request);
  response = before;
  system.failNext(Call::kSend, ENETUNREACH);
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ENETUNREACH);
  EXPECT_EQ(response, before);
  veskGetPDU unencodable(object, nullptr);
  EXPECT_EQ(OSrequest(&handler, socket, &address, &unencodable, &response),
            kCodingError);
  EXPECT_EQ(errno, EINVAL);
  system.failNext(Call::kAllocate, ENOMEM);
  std::free(handler.messageHandler->encodeBuffer);
  handler.messageHandler->encodeBuffer = nullptr;
  EXPECT_EQ(askServer(), kCodingError);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(response, before);
  EXPECT_THAT(system.waits, IsEmpty());
}

TEST_F(ObjectServerExchange, WithoutAnAnswerSendsThreeTimesAndGivesUpAt21) {
  const long began = system.seconds();
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(server.times(), ElementsAre(0, 3, 9));
  EXPECT_EQ(system.seconds() - began, 21);
  EXPECT_EQ(handedOut(), &request);
}

TEST_F(ObjectServerExchange, RetransmitsTheVerySameMessage) {
  askServer();
  ASSERT_THAT(server.requests, SizeIs(3));
  EXPECT_EQ(server.requests[0].pdu, server.requests[1].pdu);
  EXPECT_EQ(server.requests[0].pdu, server.requests[2].pdu);
}

TEST_F(ObjectServerExchange, TakesAnAnswerToARetransmission) {
  server.then(silence()).then(silence()).then(kRemoved);
  EXPECT_EQ(askServer(), kNoError);
  EXPECT_THAT(server.times(), ElementsAre(0, 3, 9));
}

TEST_F(ObjectServerExchange, TakesALateAnswer) {
  server.then(delayed(20.5, answer(kRemoved)));
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 43);
}

TEST_F(ObjectServerExchange, DropsAnAnswerThatComesAfterItGaveUp) {
  server.then(delayed(22, answer(kRemoved)));
  EXPECT_EQ(askServer(), kNetworkError);
  server.then(silence()).then(silence()).then(delayed(1, answer(kRefused)));
  EXPECT_EQ(askServer(), kNoError);
  EXPECT_EQ(handedOut()->status.value, 5);
}

TEST_F(ObjectServerExchange, DropsASecondAnswer) {
  server.then(both(answer(kRemoved), answer(kRefused))).then(kRefusedOtherwise);
  EXPECT_EQ(askServer(), kNoError);
  free(response);
  EXPECT_EQ(askServer(), kNoError);
  EXPECT_EQ(handedOut()->status.value, 6);
}

TEST_F(ObjectServerExchange, GoesOnWaitingAfterWhatIsNoAnswer) {
  const char* messages[] = {kOtherId, kNotAPdu, kListOfValues, kUndecodable};
  for (const char* message : messages) {
    server.then(both(answer(message), answer(kRemoved)));
    EXPECT_EQ(askServer(), kNoError) << message;
    EXPECT_EQ(handedOut()->tag, 43) << message;
    free(response);
    response = nullptr;
  }
  for (const char* bytes : {kTooShort, kOtherVersion}) {
    server.then(both(datagram(bytes), answer(kRemoved)));
    EXPECT_EQ(askServer(), kNoError) << bytes;
    EXPECT_EQ(handedOut()->tag, 43) << bytes;
    free(response);
    response = nullptr;
  }
  EXPECT_THAT(server.times(), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST_F(ObjectServerExchange, HoldsItsScheduleUnderAFloodOfOtherDatagrams) {
  const long began = system.seconds();
  server.then([](const fake::Peer& peer, const fake::Request& asked) {
    for (int i = 1; i < 300; ++i)
      delayed(0.1 * i, answer(kOtherId))(peer, asked);
  });
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(server.times(), ElementsAre(0, 3, 9));
  EXPECT_EQ(system.seconds() - began, 21);
}

// The clock of the time-outs has whole seconds, and the next begins at once.
TEST_F(ObjectServerExchange, GivesUpNoSoonerBecauseOfOtherDatagrams) {
  system.clock += 900000;
  handler.initialTimeout = 1;
  handler.retries = 0;
  const std::int64_t began = system.clock;
  server.then(delayed(0.15, answer(kOtherId)));
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.clock - began, 1000000);
}

TEST_F(ObjectServerExchange, StoppedPastItsEndTakesTheAnswerThatHasCome) {
  server.then(answer(answerOfManyFragments()));
  stopAtTheFirstWait(23);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 39);
  EXPECT_THAT(server.times(), ElementsAre(0));
}

TEST_F(ObjectServerExchange, StoppedPastItsEndFindsTheAnswerBehindOthers) {
  server.then([](const fake::Peer& peer, const fake::Request& asked) {
    for (int i = 0; i < 200; ++i) answer(kOtherId)(peer, asked);
    answer(kRemoved)(peer, asked);
  });
  stopAtTheFirstWait(23);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->tag, 43);
}

TEST_F(ObjectServerExchange, StoppedPastItsEndGivesUpWithoutAnAnswer) {
  server.then(answer(kOtherId));
  stopAtTheFirstWait(23);
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(handedOut(), &request);
}

// Each datagram leaves another one behind, so that there is always one to read.
TEST_F(ObjectServerExchange, EndlessStreamOfOthersPutsOffNoTimer) {
  const std::string other = fake::fragments(9, fake::raw(kOtherId))[0];
  server.then(answer(kOtherId));
  unsigned long taken = 0;
  system.atCall = [&](Call call) {
    if (call != Call::kReceive) return;
    if (++taken % 2000 == 0) system.clock += 3 * fake::Platform::kSecond;
    system.deliver(server.peer().address, socket, other);
  };
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(server.times(), ElementsAre(0, 3, 9));
  EXPECT_LT(taken, 20000U);
  system.atCall = nullptr;
}

TEST_F(ObjectServerExchange, WaitsOnlyForWhatIsLeftOfAnInterval) {
  server.then(delayed(2, answer(kOtherId)));
  askServer();
  ASSERT_GE(system.waits.size(), 2U);
  EXPECT_EQ(system.waits[0].seconds, 3);
  EXPECT_EQ(system.waits[0].microseconds, 0);
  EXPECT_EQ(system.waits[1].seconds, 1);
}

TEST_F(ObjectServerExchange, FailsWhenWaitingFails) {
  for (const int cause : {EINTR, EBADF}) {
    system.failNext(Call::kWait, cause);
    EXPECT_EQ(askServer(), kNetworkError);
    EXPECT_EQ(errno, cause);
    EXPECT_EQ(response, nullptr);
    EXPECT_EQ(handler.pending.count, 0U);
  }
}

TEST_F(ObjectServerExchange, WaitsForDescriptorsOfAnyNumber) {
  system.nextDescriptor = 5000;
  socket = handler.open();
  ASSERT_GE(socket, 5000);
  server.then(kRemoved);
  EXPECT_EQ(askServer(), kNoError);
}

TEST_F(ObjectServerExchange, FailsWithARetransmissionThatFails) {
  system.failNext(Call::kSend, ENETDOWN, 1, 1);
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ENETDOWN);
  EXPECT_EQ(handedOut(), &request);
}

TEST_F(ObjectServerExchange, HandsBackAnOlderRequestThatGivesUpFirst) {
  const sockaddr_in nobody = fake::endpoint("192.0.2.9", fake::kObjectPort);
  handler.initialTimeout = 2;
  handler.retries = 0;
  EXPECT_EQ(handler.send(&nobody, &older), kNoError);
  handler.initialTimeout = 3;
  handler.retries = 2;
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(handedOut(), &older);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(ObjectServerExchange, HandsBackAnOlderRequestThatHadGivenUpBefore) {
  const sockaddr_in nobody = fake::endpoint("192.0.2.9", fake::kObjectPort);
  handler.initialTimeout = 2;
  handler.retries = 0;
  EXPECT_EQ(handler.send(&nobody, &older), kNoError);
  system.advance(10);
  EXPECT_EQ(askServer(), kNetworkError);
  EXPECT_EQ(handedOut(), &older);
  EXPECT_THAT(system.waits, IsEmpty());
}

TEST_F(ObjectServerExchange, RetransmitsOlderRequestsWhileItWaits) {
  fake::Server elsewhere("192.0.2.9", fake::kObjectPort);
  EXPECT_EQ(handler.send(&elsewhere.peer().address, &older), kNoError);
  server.then(delayed(4, answer(kRemoved)));
  EXPECT_EQ(askServer(), kNoError);
  EXPECT_THAT(elsewhere.times(), ElementsAre(0, 3));
  EXPECT_EQ(handler.pending.count, 1U);
  EXPECT_EQ(handler.flush(older.requestId.value), 1);
}

TEST_F(ObjectServerExchange, KeepsEndingWithTheAnswerToAnotherRequest) {
  fake::Server elsewhere("192.0.2.9", fake::kObjectPort);
  elsewhere.then(delayed(1, answer(kRefused)));
  EXPECT_EQ(handler.send(&elsewhere.peer().address, &older), kNoError);
  EXPECT_EQ(askServer(), kNoError);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(handedOut()->requestId.value, older.requestId.value);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(ObjectServerExchange, ForgetsARequestToAGroupOnceItIsAnswered) {
  fake::Server member("192.0.2.3", fake::kObjectPort, "224.0.1.9", 1);
  member.then(kRemoved);
  address = "224.0.1.9";
  EXPECT_EQ(askServer(), kNoError);
  EXPECT_EQ(handler.pending.count, 0U);
}

// --- the directory service

class DirectoryExchange : public Exchange {
 protected:
  int askAnyone(int firstAnswer) {
    return DSrequest(&handler, socket, nullptr, &request, &response, &from,
                     firstAnswer);
  }
  int askGiven(int firstAnswer) {
    return DSrequest(&handler, socket, &address, &request, &response, &from,
                     firstAnswer);
  }

  fake::Server first{"192.0.2.1", fake::kDirectoryPort, "224.0.1.2", 1};
  fake::Server second{"192.0.2.2", fake::kDirectoryPort, "224.0.1.2", 1};
  fake::Server third{"192.0.2.3", fake::kDirectoryPort, "224.0.1.2", 1};
  veskAddress from;
};

TEST_F(DirectoryExchange, WithoutAServerGoesToTheGroupOnPort5136) {
  first.then(kRemoved);
  EXPECT_EQ(askAnyone(0), kNoError);
  ASSERT_THAT(system.sent, SizeIs(1));
  EXPECT_EQ(fake::text(system.sent[0].to), "224.0.1.2:5136");
  EXPECT_EQ(fake::digits(system.sent[0].bytes.substr(fake::kHeader)),
            fake::withId(kRemove, {{}, "", "43 00", 0}));
  EXPECT_EQ(from == "192.0.2.1", 1);
  EXPECT_EQ(handedOut()->status.value, 0);
}

TEST_F(DirectoryExchange, ReturnsTheFirstSuccess) {
  first.then(delayed(1, answer(kRefused)));
  second.then(delayed(2, answer(kRefusedOtherwise)));
  third.then(delayed(2.5, answer(kRemoved)));
  EXPECT_EQ(askAnyone(0), kNoError);
  EXPECT_EQ(handedOut()->status.value, 0);
  EXPECT_EQ(from == "192.0.2.3", 1);
}

TEST_F(DirectoryExchange, WithErrorsOnlyReturnsTheFirstOfThemOnGivingUp) {
  const long began = system.seconds();
  first.then(delayed(2, answer(kRefused)));
  second.then(delayed(1, answer(kRefusedOtherwise)));
  third.then(delayed(5, answer(kRefused)));
  EXPECT_EQ(askAnyone(0), 6);
  EXPECT_EQ(handedOut()->status.value, 6);
  EXPECT_EQ(system.seconds() - began, 21);
  EXPECT_EQ(from == "192.0.2.3", 1);
}

TEST_F(DirectoryExchange, TreatsMinusOneAsAnError) {
  first.then("2B 03 04 FF FF FF FF ID 0A 00");
  EXPECT_EQ(askAnyone(1), -1);
  EXPECT_EQ(handedOut()->status.value, -1);
}

TEST_F(DirectoryExchange, EndsAtTheFirstAnswerWhenToldTo) {
  first.then(delayed(1, answer(kRefused)));
  second.then(delayed(2, answer(kRemoved)));
  EXPECT_EQ(askAnyone(1), 5);
  EXPECT_EQ(handedOut()->status.value, 5);
  EXPECT_EQ(from == "192.0.2.1", 1);
}

TEST_F(DirectoryExchange, EndsAtTheFirstAnswerOfAGivenServer) {
  first.then(kRefused);
  EXPECT_EQ(askGiven(0), 5);
  EXPECT_EQ(handedOut()->status.value, 5);
  EXPECT_EQ(fake::text(system.sent[0].to), "192.0.2.1:5136");
  EXPECT_THAT(second.requests, IsEmpty());
}

TEST_F(DirectoryExchange, ToAnAddressOfAnotherFamilyIsAnAddressError) {
  auto* before = reinterpret_cast<veskRespPDU*>(&request);
  response = before;
  address = "";
  EXPECT_EQ(askGiven(0), kAddressError);
  EXPECT_EQ(errno, EDESTADDRREQ);
  EXPECT_THAT(system.sent, IsEmpty());
  EXPECT_EQ(response, before);
  EXPECT_EQ(from.family, 0);
}

TEST_F(DirectoryExchange, KeepsAnsweringTenToWhateverSendingFailsWith) {
  auto* before = reinterpret_cast<veskRespPDU*>(&request);
  response = before;
  system.failNext(Call::kSend, ENETUNREACH);
  EXPECT_EQ(askAnyone(0), kNetworkError);
  EXPECT_EQ(errno, ENETUNREACH);
  veskGetPDU unencodable(object, nullptr);
  EXPECT_EQ(
      DSrequest(&handler, socket, nullptr, &unencodable, &response, &from, 0),
      kNetworkError);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(response, before);
}

TEST_F(DirectoryExchange, WithoutAnAnswerHandsBackTheRequest) {
  const long began = system.seconds();
  EXPECT_EQ(askAnyone(0), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(handedOut(), &request);
  EXPECT_EQ(system.seconds() - began, 21);
  EXPECT_THAT(first.times(), ElementsAre(0, 3, 9));
  EXPECT_EQ(from.family, 0);
}

TEST_F(DirectoryExchange, TellsTheSenderOfTheLastDatagramWhateverItWas) {
  first.then(delayed(1, answer(kRefused)));
  second.then(delayed(2, answer(kNotAPdu)));
  EXPECT_EQ(askAnyone(0), 5);
  EXPECT_EQ(from == "192.0.2.2", 1);
}

TEST_F(DirectoryExchange, GoesOnWaitingAfterWhatIsNoAnswer) {
  first.then(both(answer(kUndecodable), answer(kOtherId)));
  second.then(delayed(1, answer(kRemoved)));
  EXPECT_EQ(askAnyone(1), kNoError);
  EXPECT_EQ(from == "192.0.2.2", 1);
}

TEST_F(DirectoryExchange, FailsWhenWaitingFailsWhateverHasCome) {
  first.then(kRefused);
  system.failNext(Call::kWait, EINTR, 1, 1);
  EXPECT_EQ(askAnyone(0), kNetworkError);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(DirectoryExchange, ReturnsAnErrorThatHasComeWhenAnOlderRequestGivesUp) {
  const sockaddr_in nobody = fake::endpoint("192.0.2.9", fake::kObjectPort);
  handler.initialTimeout = 2;
  handler.retries = 0;
  EXPECT_EQ(handler.send(&nobody, &older), kNoError);
  handler.initialTimeout = 3;
  first.then(kRefused);
  EXPECT_EQ(askAnyone(0), 5);
  EXPECT_EQ(handedOut()->status.value, 5);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(DirectoryExchange, HandsBackAnOlderRequestThatGivesUpFirst) {
  const sockaddr_in nobody = fake::endpoint("192.0.2.9", fake::kObjectPort);
  handler.initialTimeout = 2;
  handler.retries = 0;
  EXPECT_EQ(handler.send(&nobody, &older), kNoError);
  handler.initialTimeout = 3;
  EXPECT_EQ(askAnyone(0), kNetworkError);
  EXPECT_EQ(handedOut(), &older);
  EXPECT_EQ(handler.pending.count, 0U);
}

TEST_F(DirectoryExchange, WaitsItsTimeForASuccessAfterAnError) {
  system.clock += 900000;
  handler.initialTimeout = 1;
  handler.retries = 0;
  first.then(delayed(0.15, answer(kRefused)));
  second.then(delayed(0.25, answer(kRemoved)));
  EXPECT_EQ(askAnyone(0), kNoError);
  EXPECT_EQ(from == "192.0.2.2", 1);
}

TEST_F(DirectoryExchange, StoppedPastItsEndTakesWhatHasCome) {
  first.then(both(answer(kRefused), answer(answerOfManyFragments())));
  stopAtTheFirstWait(23);
  EXPECT_EQ(askAnyone(0), kNoError);
  EXPECT_EQ(handedOut()->tag, 39);
  EXPECT_THAT(first.times(), ElementsAre(0));
}

TEST_F(DirectoryExchange, HoldsItsScheduleUnderAFloodOfErrors) {
  const long began = system.seconds();
  first.then([](const fake::Peer& peer, const fake::Request& asked) {
    for (int i = 1; i < 300; ++i)
      delayed(0.1 * i, answer(kRefused))(peer, asked);
  });
  EXPECT_EQ(askAnyone(0), 5);
  EXPECT_EQ(system.seconds() - began, 21);
  EXPECT_THAT(second.times(), ElementsAre(0, 3, 9));
}

}  // namespace
