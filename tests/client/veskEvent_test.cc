#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <ostrel/veskError.h>
#include <ostrel/veskEvent.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/platform.h"
#include "support/bytes.h"
#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using fake::Call;
using ostrel::test::textOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

constexpr int kNoError = 0;
constexpr int kArgListError = -1;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;
constexpr long kUser = 1000;

// Pieces of PDUs.
#define SOURCE " 0A 01 01 3B 01 07 00 01 01 "        // 59.7.0.1
#define REGISTRATION " 0A 01 01 3B 01 06 00 01 03 "  // 59.6.0.3

const char kRegistered[] = "25" SUCCESS NONE REGISTRATION;
const char kRemoved[] = "2B" SUCCESS;
const char kAnEvent[] = "22" HEADER SOURCE EVENT " 80 43 01 01 03 01 2A ";

class EventHandler : public ::testing::Test {
 protected:
  EventHandler() : system((fake::platform().reset(), fake::platform())) {}

  fake::Platform& system;
};

// A handler that works in the name of a known principal, on 192.0.2.10, which
// has an object server of its own.
class OpenEventHandler : public EventHandler {
 protected:
  OpenEventHandler() {
    handler.open();
    handler.currentAccess = "59.110.1.1";
    handler.currentAccess.id = kUser;
    errors.append(new veskError(7, 7));
  }
  ~OpenEventHandler() override {
    EXPECT_EQ(handler.transactionHandler->pending.count, 0U);
    handler.events.clear(1);
    handler.principalCache.clear(1);
    errors.clear(1);
    args.clear(1);
  }

  int reg(veskAddress* to = nullptr) {
    return handler.reg(object, event, &regOid, &errors, to);
  }

  // Has a registration 59.6.0.3 made.
  void haveRegistration() {
    here.then(kRegistered);
    ASSERT_EQ(reg(), kNoError);
    here.requests.clear();
    system.sent.clear();
  }

  // Receives a message of the server at 192.0.2.1.
  int receive(const std::string& message) {
    const sockaddr_in sender = fake::endpoint("192.0.2.1", 4444);
    for (const std::string& bytes :
         fake::fragments(3, fake::raw(message.c_str())))
      system.deliver(sender, handler.eventSocket, bytes);
    int code = 0;
    do {
      code = receive();
    } while (system.queued(handler.eventSocket) > 0);
    return code;
  }
  int receive() { return handler.receive(&from, &oid, &event, &args); }

  void expectNoEvent() {
    EXPECT_EQ(textOf(event), "Invalid");
    EXPECT_EQ(textOf(oid), "1.1.1.1");
    EXPECT_EQ(textOf(from), "10.0.0.1");
    EXPECT_EQ(args.count, 0U);
  }

  veskEventHandler handler;
  fake::Server here{"192.0.2.10", fake::kObjectPort};
  fake::Server server{"192.0.2.1", fake::kObjectPort};
  veskAddress address{"192.0.2.1"};
  veskOid object{"59.7.0.1"};
  veskAid event{"59.7.5"};
  veskOid regOid{"1.2.3.4"};
  veskList errors;
  veskAddress from{"10.0.0.1"};
  veskOid oid{"1.1.1.1"};
  veskList args;
};

// --- the handler itself

TEST_F(EventHandler, HasARequestSocketFromTheStartAndNoEventSocket) {
  veskEventHandler handler;
  EXPECT_GE(handler.requestSocket, 100);
  EXPECT_EQ(handler.eventSocket, -1);
  EXPECT_EQ(handler.debug, 0);
  EXPECT_EQ(handler.myPort.value, 0);
  EXPECT_EQ(handler.events.count, 0U);
  EXPECT_EQ(handler.principalCache.count, 0U);
  EXPECT_EQ(handler.spareList.count, 0U);
}

TEST_F(EventHandler, KnowsItsHostByItsName) {
  veskEventHandler handler;
  EXPECT_EQ(textOf(handler.myHost), "192.0.2.10");
}

TEST_F(EventHandler, KeepsQuietAboutAHostWithoutAnAddress) {
  system.hosts.clear();
  CaptureStderr();
  veskEventHandler handler;
  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(handler.myHost.family, 0);
}

TEST_F(EventHandler, DoesWithoutAHostName) {
  system.failNext(Call::kHostName, EFAULT);
  veskEventHandler handler;
  EXPECT_EQ(handler.myHost.family, 0);
  EXPECT_EQ(system.count(Call::kResolve), 0U);
}

TEST_F(EventHandler, TakesTheBeginningOfALongHostName) {
  system.hostName = std::string(200, 'h');
  system.hosts[std::string(63, 'h')] = fake::endpoint("192.0.2.7", 0).sin_addr;
  veskEventHandler handler;
  EXPECT_EQ(textOf(handler.myHost), "192.0.2.7");
}

TEST_F(EventHandler, ReportsARequestSocketThatDoesNotOpen) {
  system.failNext(Call::kOpen, EMFILE, 2);
  CaptureStderr();
  veskEventHandler handler;
  EXPECT_EQ(handler.comminit(), kNetworkError);
  EXPECT_EQ(errno, EMFILE);
  const std::string line =
      "ostrelEventHandler: Error opeing transaction handler for event "
      "config: " +
      std::string(std::strerror(EMFILE)) + "\n";
  EXPECT_EQ(GetCapturedStderr(), line + line);
  EXPECT_EQ(handler.requestSocket, -1);
}

TEST_F(EventHandler, ComminitLeavesANumberThatOthersClosedAlone) {
  veskEventHandler handler;
  ostrel::platform::closeSocket(handler.requestSocket);
  system.closed.clear();
  system.nextDescriptor = handler.requestSocket;  // free again
  EXPECT_EQ(handler.comminit(), kNoError);
  EXPECT_THAT(system.closed, ::testing::IsEmpty());
  EXPECT_TRUE(system.sockets.at(handler.requestSocket).open);
}

TEST_F(EventHandler, ComminitOpensAnotherRequestSocket) {
  veskEventHandler handler;
  const int first = handler.requestSocket;
  EXPECT_EQ(handler.comminit(), kNoError);
  EXPECT_NE(handler.requestSocket, first);
  EXPECT_THAT(system.closed, ElementsAre(first));
}

TEST_F(EventHandler, OpensAtAPortThatItThenKnows) {
  veskEventHandler handler;
  const int socket = handler.open();
  EXPECT_EQ(socket, handler.eventSocket);
  EXPECT_THAT(system.bound, ElementsAre(0, 0));
  EXPECT_EQ(handler.myPort.value,
            ntohs(system.sockets.at(socket).name.sin_port));
  EXPECT_NE(handler.myPort.value, 0);
}

TEST_F(EventHandler, ReportsAnEventSocketThatDoesNotOpen) {
  veskEventHandler handler;
  system.failNext(Call::kOpen, EMFILE);
  CaptureStderr();
  EXPECT_EQ(handler.open(), -1);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelEventHandler::open: cannot open event receive socket: " +
                std::string(std::strerror(EMFILE)) + "\n");
  EXPECT_EQ(handler.eventSocket, -1);
}

TEST_F(EventHandler, OpenKeepsReturningTenForAPortThatCannotBeTold) {
  veskEventHandler handler;
  system.failNext(Call::kSocketName, ENOBUFS);
  CaptureStderr();
  EXPECT_EQ(handler.open(), kNetworkError);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelEventHandler::open: cannot get my port name.: " +
                std::string(std::strerror(ENOBUFS)) + "\n");
  EXPECT_GE(handler.eventSocket, 0);
  EXPECT_EQ(handler.myPort.value, 0);
}

TEST_F(EventHandler, ClosesTheEventSocketOnce) {
  veskEventHandler handler;
  EXPECT_EQ(handler.close(), 0);
  const int socket = handler.open();
  EXPECT_EQ(handler.close(), 1);
  EXPECT_EQ(handler.close(), 0);
  EXPECT_THAT(system.closed, ElementsAre(socket));
}

TEST_F(EventHandler, ClosesBothSocketsInTheEnd) {
  int sockets[2] = {};
  {
    veskEventHandler handler;
    sockets[0] = handler.requestSocket;
    sockets[1] = handler.open();
  }
  EXPECT_THAT(system.closed, ElementsAre(sockets[0], sockets[1]));
}

TEST_F(EventHandler, KeepsRecordsAndRegistrationsAliveInTheEnd) {
  veskOid id("59.6.0.3");
  auto* record = new veskObject(&id);
  auto* principal = new idMap;
  {
    veskEventHandler handler;
    handler.events.append(record);
    handler.principalCache.append(principal);
  }
  EXPECT_EQ(textOf(*record), "59.6.0.3 : ");
  EXPECT_EQ(principal->id, 0);
  EXPECT_THAT(system.sent, IsEmpty());
  delete record;
  delete principal;
}

TEST_F(EventHandler, SwitchesDebugOutputOnAndOff) {
  veskEventHandler handler;
  handler.setEventDebugOn();
  EXPECT_EQ(handler.debug, 1);
  handler.setEventDebugOff();
  EXPECT_EQ(handler.debug, 0);
}

// --- reg

TEST_F(OpenEventHandler, RegCreatesARegistrationOnThisHost) {
  handler.transactionHandler->nextRequestId = 9;
  handler.myPort.value = 0x9c41;
  here.then(kRegistered);
  EXPECT_EQ(reg(), kNoError);
  ASSERT_THAT(here.requests, SizeIs(1));
  EXPECT_EQ(here.requests[0].pdu,
            "1C 03 00 43 01 09 0A 01 01 3B 01 6E 01 01 01 01 "
            "0A 01 01 3B 01 06 00 00 "
            "80 43 01 05 "
            "17 0B 01 01 3B 01 01 01 01 01 0F 02 C0 00 02 0A "
            "17 0B 01 01 3B 01 06 01 01 01 0A 01 01 3B 01 07 00 01 01 "
            "17 0B 01 01 3B 01 06 01 02 01 0B 01 01 3B 01 07 01 05 "
            "17 0B 01 01 3B 01 06 01 03 01 0F 02 C0 00 02 0A "
            "17 0B 01 01 3B 01 06 01 04 01 42 9C 41");
  EXPECT_EQ(textOf(regOid), "59.6.0.3");
}

TEST_F(OpenEventHandler, RegKeepsARecordOfTheRegistration) {
  handler.myPort.value = 40001;
  here.then(kRegistered);
  EXPECT_EQ(reg(), kNoError);
  EXPECT_EQ(textOf(handler.events),
            "59.6.0.3 : 59.1.1 = 192.0.2.10, 59.6.1 = 59.7.0.1, "
            "59.6.2 = 59.7.5, 59.6.3 = 192.0.2.10, 59.6.4 = 40001");
  EXPECT_EQ(textOf(errors), "index 7 : 7(Required Attribute)");
}

TEST_F(OpenEventHandler, RegWithAServerNamesItAndStillThisHostForDelivery) {
  server.then(kRegistered);
  EXPECT_EQ(reg(&address), kNoError);
  const std::string text = textOf(handler.events);
  EXPECT_NE(text.find("59.1.1 = 192.0.2.1,"), std::string::npos) << text;
  EXPECT_NE(text.find("59.6.3 = 192.0.2.10,"), std::string::npos) << text;
  EXPECT_THAT(here.requests, IsEmpty());
}

TEST_F(OpenEventHandler, RegCarriesTheRealPortInItsEncoding) {
  here.then(kRegistered);
  reg();
  char port[8];
  std::snprintf(port, sizeof port, "%02X %02X",
                static_cast<unsigned>(handler.myPort.value >> 8),
                static_cast<unsigned>(handler.myPort.value & 0xff));
  const std::string& pdu = here.requests[0].pdu;
  EXPECT_EQ(pdu.substr(pdu.size() - 8), "42 " + std::string(port));
}

TEST_F(EventHandler, RegBeforeOpenTellsPortZero) {
  fake::Server here("192.0.2.10", fake::kObjectPort);
  here.then("29" SUCCESS NONE NONE).then(kRegistered);
  fake::Server local("127.0.0.1", fake::kObjectPort);
  local.then("29" SUCCESS NONE NONE);
  veskEventHandler handler;
  veskOid object("59.7.0.1");
  veskAid event("59.7.5");
  veskOid regOid;
  EXPECT_EQ(handler.reg(object, event, &regOid, nullptr, nullptr),
            kCodingError);
  EXPECT_EQ(handler.reg(object, event, &regOid, nullptr, nullptr), kNoError);
  const std::string& pdu = here.requests.back().pdu;
  EXPECT_EQ(pdu.substr(pdu.size() - 8), "42 00 00");
  handler.events.clear(1);
  handler.principalCache.clear(1);
}

TEST_F(OpenEventHandler, RegHandsBackErrorsAndKeepsNoRecord) {
  here.then("25" PARTIAL ERRORS REGISTRATION);
  EXPECT_EQ(reg(), kArgListError);
  EXPECT_EQ(textOf(errors), "index 1 : 5(Permission Denied)");
  EXPECT_EQ(textOf(regOid), "1.2.3.4");
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, RegDropsErrorsThatNobodyAskedFor) {
  here.then("25" SUCCESS ERRORS REGISTRATION);
  EXPECT_EQ(handler.reg(object, event, &regOid, nullptr, nullptr), kNoError);
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, RegWithMinusOneAndNoErrorsIsARegistration) {
  here.then("25" PARTIAL NONE REGISTRATION);
  EXPECT_EQ(reg(), kArgListError);
  EXPECT_EQ(textOf(regOid), "59.6.0.3");
  EXPECT_EQ(handler.events.count, 1U);
}

TEST_F(OpenEventHandler, RegReturnsTheStatusOfARefusal) {
  here.then("25" REFUSED ERRORS REGISTRATION);
  EXPECT_EQ(reg(), 5);
  EXPECT_EQ(textOf(regOid), "1.2.3.4");
  EXPECT_EQ(textOf(errors), "index 7 : 7(Required Attribute)");
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, RegTakesNoAnswerOfAnotherClass) {
  here.then("29" SUCCESS NONE NONE);
  EXPECT_EQ(reg(), kCodingError);
  EXPECT_EQ(textOf(regOid), "1.2.3.4");
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, RegWithoutAnAnswerGivesUp) {
  EXPECT_EQ(reg(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(here.times(), ElementsAre(0, 3, 9));
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, RegWithoutAnIPv4AddressFails) {
  veskAddress nowhere;
  EXPECT_EQ(reg(&nowhere), kAddressError);
  handler.myHost = nowhere;
  EXPECT_EQ(reg(), kAddressError);
  EXPECT_THAT(system.sent, IsEmpty());
}

TEST_F(EventHandler, WithoutARequestSocketCanNeitherRegNorUnreg) {
  system.failNext(Call::kOpen, EMFILE);
  CaptureStderr();
  veskEventHandler handler;
  GetCapturedStderr();
  veskOid object("59.7.0.1");
  veskAid event("59.7.5");
  veskOid regOid;
  errno = ETIMEDOUT;
  EXPECT_EQ(handler.reg(object, event, &regOid, nullptr, nullptr),
            kNetworkError);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(handler.unreg(regOid, nullptr), kNetworkError);
  EXPECT_THAT(system.sent, IsEmpty());
}

// --- unreg

TEST_F(OpenEventHandler, UnregRemovesTheRegistrationHereAndThere) {
  haveRegistration();
  handler.transactionHandler->nextRequestId = 3;
  here.then(kRemoved);
  EXPECT_EQ(handler.unreg(regOid, nullptr), kNoError);
  ASSERT_THAT(here.requests, SizeIs(1));
  EXPECT_EQ(here.requests[0].pdu,
            "1E 03 00 43 01 03 0A 01 01 3B 01 6E 01 01 01 01 "
            "0A 01 01 3B 01 06 00 01 03");
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, UnregGoesToTheServerThatIsNamed) {
  haveRegistration();
  server.then(kRemoved);
  EXPECT_EQ(handler.unreg(regOid, &address), kNoError);
  EXPECT_THAT(here.requests, IsEmpty());
}

TEST_F(OpenEventHandler, UnregKeepsForgettingWhatTheServerRefusesToRemove) {
  haveRegistration();
  here.then("2B" REFUSED);
  EXPECT_EQ(handler.unreg(regOid, nullptr), 5);
  EXPECT_EQ(handler.events.count, 0U);
}

TEST_F(OpenEventHandler, UnregForgetsTheOneRegistrationOnly) {
  haveRegistration();
  here.then("25" SUCCESS NONE " 0A 01 01 3B 01 06 00 01 04");
  reg();
  here.then("25" SUCCESS NONE " 0A 01 01 3B 01 06 00 01 05");
  reg();
  veskOid middle("59.6.0.4");
  here.then(kRemoved);
  EXPECT_EQ(handler.unreg(middle, nullptr), kNoError);
  ASSERT_EQ(handler.events.count, 2U);
  EXPECT_EQ(textOf(handler.events.at<veskObject>(0)->oid), "59.6.0.3");
  EXPECT_EQ(textOf(handler.events.at<veskObject>(1)->oid), "59.6.0.5");
}

TEST_F(OpenEventHandler, UnregWithoutAnAnswerForgetsNothing) {
  haveRegistration();
  EXPECT_EQ(handler.unreg(regOid, nullptr), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  here.then("29" SUCCESS NONE NONE);
  EXPECT_EQ(handler.unreg(regOid, nullptr), kCodingError);
  EXPECT_EQ(handler.events.count, 1U);
}

TEST_F(OpenEventHandler, UnregReportsWhatItDidWhenDebugging) {
  haveRegistration();
  handler.setEventDebugOn();
  const std::string record = textOf(*handler.events.at(0));
  here.then(kRemoved);
  CaptureStderr();
  handler.unreg(regOid, nullptr);
  EXPECT_EQ(GetCapturedStderr(),
            "veskEventHander:unregistered for event " + record + "\n");
}

TEST_F(OpenEventHandler, UnregReportsARefusalWhenDebugging) {
  haveRegistration();
  handler.setEventDebugOn();
  const std::string record = textOf(*handler.events.at(0));
  here.then("2B" REFUSED);
  CaptureStderr();
  handler.unreg(regOid, nullptr);
  EXPECT_EQ(GetCapturedStderr(),
            "veskEventHander:cannot unregister for event " + record +
                ":5(Permission Denied)\n");
}

TEST_F(OpenEventHandler,
       UnregReportsARegistrationThatItDoesNotKnowWhenDebugging) {
  handler.setEventDebugOn();
  here.then("2B" REFUSED);
  CaptureStderr();
  EXPECT_EQ(handler.unreg(regOid, nullptr), 5);
  EXPECT_EQ(GetCapturedStderr(),
            "veskEventHander:unreg: cannot find event 1.2.3.4 in list\n");
}

TEST_F(OpenEventHandler, UnregKeepsReportingANetworkErrorWithoutALineEnd) {
  handler.setEventDebugOn();
  CaptureStderr();
  EXPECT_EQ(handler.unreg(regOid, nullptr), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(GetCapturedStderr(),
            "veskEventHandler::unreg: cannot remove event 1.2.3.4: network "
            "error");
}

TEST_F(OpenEventHandler, SaysNothingWithoutDebug) {
  haveRegistration();
  CaptureStderr();
  here.then("2B" REFUSED).then("2B" REFUSED);
  handler.unreg(regOid, nullptr);
  handler.unreg(regOid, nullptr);
  handler.unreg(regOid, nullptr);
  server.then("28" REFUSED NONE);
  receive("22" HEADER REGISTRATION NOTIFY_EXPIRE NONE);
  receive("22" HEADER REGISTRATION NOTIFY_EXPIRE NONE);
  receive(kAnEvent);
  EXPECT_EQ(GetCapturedStderr(), "");
}

// --- receive

TEST_F(OpenEventHandler, ReceiveHandsOverAnEvent) {
  EXPECT_EQ(receive(kAnEvent), kNoError);
  EXPECT_EQ(textOf(event), "59.7.5");
  EXPECT_EQ(textOf(oid), "59.7.0.1");
  EXPECT_EQ(textOf(from), "192.0.2.1");
  EXPECT_EQ(textOf(args), "42");
}

TEST_F(OpenEventHandler, ReceiveHandsOverAnEventOfManyFragments) {
  std::string message = "22" HEADER SOURCE EVENT " 80 43 01 01 09 43 02 0B B8";
  for (int i = 0; i < 3000; ++i) message += " 78";
  EXPECT_EQ(receive(message), kNoError);
  EXPECT_EQ(textOf(args), std::string(3000, 'x'));
}

TEST_F(OpenEventHandler, ReceiveHasNoEventYetWithPartOfOne) {
  const std::string message(3000, 'x');
  system.deliver(fake::endpoint("192.0.2.1", 4444), handler.eventSocket,
                 fake::fragments(3, message)[0]);
  EXPECT_EQ(receive(), kNoError);
  expectNoEvent();
}

TEST_F(OpenEventHandler, SignalEndsReceiveAndCostsNoEvent) {
  system.deliver(fake::endpoint("192.0.2.1", 4444), handler.eventSocket,
                 fake::fragments(3, fake::raw(kAnEvent))[0]);
  system.failNext(Call::kPeek, EINTR);
  EXPECT_EQ(receive(), kNetworkError);
  EXPECT_EQ(errno, EINTR);
  expectNoEvent();
  EXPECT_EQ(receive(), kNoError);
  EXPECT_EQ(textOf(event), "59.7.5");
}

TEST_F(OpenEventHandler, ReceiveKeepsFormerArgumentsAlive) {
  auto* former = new veskInt(1);
  args.append(former);
  EXPECT_EQ(receive(kAnEvent), kNoError);
  EXPECT_EQ(textOf(args), "42");
  EXPECT_EQ(former->value, 1);
  delete former;
}

TEST_F(OpenEventHandler, ReceiveHandsOverNoArgumentsWithAnEventThatHasNone) {
  auto* former = new veskInt(1);
  args.append(former);
  EXPECT_EQ(receive("22" HEADER SOURCE EVENT NONE), kNoError);
  EXPECT_EQ(args.count, 0U);
  delete former;
}

TEST_F(OpenEventHandler, ReceiveHandsOverEventsWithoutAValidIdentifier) {
  EXPECT_EQ(receive("22" HEADER SOURCE " 0B 00 80 43 01 01 03 01 2A"),
            kNoError);
  EXPECT_EQ(textOf(event), "Invalid");
  EXPECT_EQ(textOf(args), "42");
}

TEST_F(OpenEventHandler, ReceiveReportsEventsWhenDebugging) {
  handler.setEventDebugOn();
  CaptureStderr();
  receive(kAnEvent);
  EXPECT_EQ(GetCapturedStderr(),
            "eventHandler::receive: got event 59.7.5 for object 59.7.0.1 from "
            "192.0.2.1.\n");
}

TEST_F(OpenEventHandler, ReceiveDropsPDUsThatAreNoEvents) {
  for (const char* message :
       {"27" HEADER NONE " 80 43 01 01 09 43 01 01 78",
        "1F" HEADER SOURCE " 80 43 01 01 03 01 05", "2B" HEADER}) {
    EXPECT_EQ(receive(message), kNoError) << message;
    expectNoEvent();
  }
}

TEST_F(OpenEventHandler, ReceiveFailsWithWhatIsNoPDU) {
  for (const char* message : {"03 01 05", "22 03 00", "80 43 01 01 03 01 05"}) {
    EXPECT_EQ(receive(message), kNetworkError) << message;
    expectNoEvent();
  }
}

TEST_F(OpenEventHandler, ReceiveFailsWithABadDatagram) {
  system.deliver(fake::endpoint("192.0.2.1", 4444), handler.eventSocket, "x");
  EXPECT_EQ(receive(), kNetworkError);
  EXPECT_EQ(errno, EMSGSIZE);
  expectNoEvent();
}

TEST_F(EventHandler, ReceiveFailsBeforeOpen) {
  veskEventHandler handler;
  veskAddress from;
  veskOid oid;
  veskAid event("59.7.5");
  veskList args;
  EXPECT_EQ(handler.receive(&from, &oid, &event, &args), kNetworkError);
  EXPECT_EQ(textOf(event), "Invalid");
}

// --- renewal

TEST_F(OpenEventHandler, AnExpiryNoticeRenewsForAnHourBeyondItsTime) {
  server.then("28" SUCCESS NONE);
  EXPECT_EQ(receive("22" HEADER REGISTRATION NOTIFY_EXPIRE
                    " 80 43 01 01 0C 02 03 E8"),
            kNoError);
  expectNoEvent();
  ASSERT_THAT(server.requests, SizeIs(1));
  EXPECT_EQ(server.requests[0].pdu,
            "20 03 00 43 00 0A 01 01 3B 01 6E 01 01 01 01 "
            "0A 01 01 3B 01 06 00 01 03 80 43 01 01 "
            "17 0B 01 01 3B 01 06 01 05 01 0C 02 11 F8");  // 4600
  EXPECT_EQ(fake::text(system.sent.back().to), "192.0.2.1:5135");
}

TEST_F(OpenEventHandler, AnExpiryNoticeRenewsByAnyOfTheIntegerFamily) {
  struct {
    const char* value;
    const char* renewed;
  } const rows[] = {
      {"03 01 05", "0C 02 0E 15"},           // int 5: 3605
      {"43 01 05", "0C 02 0E 15"},           // unsigned int
      {"04 01 05", "0C 02 0E 15"},           // long
      {"44 01 05", "0C 02 0E 15"},           // unsigned long
      {"07 01 05", "0C 02 0E 15"},           // bool
      {"0C 01 05", "0C 02 0E 15"},           // time
      {"03 04 FF FF FF FF", "0C 02 0E 0F"},  // -1: 3599
  };
  for (const auto& row : rows) {
    server.then("28" SUCCESS NONE);
    receive("22" HEADER REGISTRATION NOTIFY_EXPIRE " 80 43 01 02 " +
            std::string(row.value) + " 03 01 63");
    const std::string& pdu = server.requests.back().pdu;
    EXPECT_EQ(pdu.substr(pdu.size() - std::strlen(row.renewed)), row.renewed)
        << row.value;
  }
}

TEST_F(OpenEventHandler, AnExpiryNoticeWithoutATimeRenewsWithZero) {
  for (const char* list :
       {NONE, " 80 43 01 01 09 43 01 01 78",
        " 80 43 01 01 06 3F F0 00 00 00 00 00 00",
        " 80 43 01 01 80 43 01 01 03 01 05", " 80 43 01 01 00",
        " 80 43 01 01 01 05", " 80 43 01 01 41 05", " 80 43 01 01 02 00 05",
        " 80 43 01 01 42 00 05"}) {
    server.then("28" SUCCESS NONE);
    EXPECT_EQ(
        receive("22" HEADER REGISTRATION NOTIFY_EXPIRE + std::string(list)),
        kNoError);
    const std::string& pdu = server.requests.back().pdu;
    EXPECT_EQ(pdu.substr(pdu.size() - 5), "0C 00") << list;
    expectNoEvent();
  }
}

TEST_F(OpenEventHandler, RenewalChangesNoRecord) {
  haveRegistration();
  const std::string before = textOf(handler.events);
  server.then("28" SUCCESS NONE);
  receive("22" HEADER REGISTRATION NOTIFY_EXPIRE " 80 43 01 01 0C 02 03 E8");
  EXPECT_EQ(textOf(handler.events), before);
}

TEST_F(OpenEventHandler, RenewalReportsTheNoticeWhenDebugging) {
  handler.setEventDebugOn();
  server.then("28" SUCCESS NONE);
  CaptureStderr();
  receive("22" HEADER REGISTRATION NOTIFY_EXPIRE " 80 43 01 01 0C 02 03 E8");
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelEventHandler::receive: got notifyExpire from '59.6.0.3' at "
            "'192.0.2.1'\n");
}

TEST_F(OpenEventHandler, RenewalReportsAMissingTimeWhenDebugging) {
  handler.setEventDebugOn();
  server.then("28" SUCCESS NONE);
  CaptureStderr();
  receive("22" HEADER REGISTRATION NOTIFY_EXPIRE NONE);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelEventHandler::receive: got notifyExpire from '59.6.0.3' at "
            "'192.0.2.1'\n"
            "ostrelEventHandler::receive: expire time arg missing.\n");
}

TEST_F(OpenEventHandler, RenewalWithoutAnAnswerIsReportedOnlyWhenDebugging) {
  handler.setEventDebugOn();
  CaptureStderr();
  EXPECT_EQ(receive("22" HEADER REGISTRATION NOTIFY_EXPIRE
                    " 80 43 01 01 0C 02 03 E8"),
            kNoError);
  expectNoEvent();
  const std::string output = GetCapturedStderr();
  EXPECT_EQ(output.substr(output.find('\n') + 1),
            "ostrelEventHander::receive: error setting notifExpire time: " +
                std::string(std::strerror(ETIMEDOUT)) + "\n");
  EXPECT_THAT(server.times(), ElementsAre(0, 3, 9));
}

TEST_F(OpenEventHandler, RenewalThatIsAnsweredByAnotherClassIsReported) {
  handler.setEventDebugOn();
  server.then("29" SUCCESS NONE " 80 43 01 01 03 01 05");
  CaptureStderr();
  EXPECT_EQ(receive("22" HEADER REGISTRATION NOTIFY_EXPIRE
                    " 80 43 01 01 0C 02 03 E8"),
            kNoError);
  const std::string output = GetCapturedStderr();
  EXPECT_EQ(output.substr(output.find('\n') + 1),
            "ostrelEventHander::receive: error setting notifExpire time: " +
                std::string(std::strerror(EBADMSG)) + "\n");
}

TEST_F(OpenEventHandler, RenewalKeepsReportingEveryStatusInTheSameWords) {
  handler.setEventDebugOn();
  struct {
    const char* answer;
    const char* line;
  } const rows[] = {
      {"28" REFUSED NONE,
       "veskEventHandler::receive: pdu error: 5(Permission Denied)\n"},
      {"28" PARTIAL ERRORS,
       "veskEventHandler::receive: pdu error: -1(Ostrel Arg List Error) index "
       "1 : 5(Permission Denied)\n"},
  };
  for (const auto& row : rows) {
    server.then(row.answer);
    CaptureStderr();
    EXPECT_EQ(receive("22" HEADER REGISTRATION NOTIFY_EXPIRE
                      " 80 43 01 01 0C 02 03 E8"),
              kNoError);
    const std::string output = GetCapturedStderr();
    EXPECT_EQ(output.substr(output.find('\n') + 1), row.line);
    expectNoEvent();
  }
}

TEST_F(OpenEventHandler, RenewalLeavesFromTheSocketThatComminitOpened) {
  handler.comminit();
  server.then("28" SUCCESS NONE);
  EXPECT_EQ(receive("22" HEADER REGISTRATION NOTIFY_EXPIRE NONE), kNoError);
  ASSERT_THAT(server.requests, SizeIs(1));
  EXPECT_EQ(server.requests[0].from.sin_port,
            system.sockets.at(handler.requestSocket).name.sin_port);
}

// --- findEvent, printEventList, setAccess

TEST_F(OpenEventHandler, FindEventTellsTheFirstRecordWithAnIdentifier) {
  veskOid first("59.6.0.3");
  veskOid second("59.6.0.4");
  handler.events.append(new veskInt(5));  // not a registration
  handler.events.append(new veskObject(&first));
  handler.events.append(new veskObject(&second));
  handler.events.append(new veskObject(&second));
  int index = 9;
  EXPECT_EQ(handler.findEvent(second, &index), handler.events.at(2));
  EXPECT_EQ(index, 2);
  EXPECT_EQ(handler.findEvent(first, &index), handler.events.at(1));
  EXPECT_EQ(index, 1);
  EXPECT_EQ(handler.findEvent(object, &index), nullptr);
  EXPECT_EQ(index, -1);
}

TEST_F(OpenEventHandler, PrintEventListPrintsAllRegistrations) {
  CaptureStdout();
  handler.printEventList();
  EXPECT_EQ(GetCapturedStdout(), "veskEventHandler: current events:\n\n");
  veskOid id("59.6.0.3");
  handler.events.append(new veskObject(&id));
  CaptureStdout();
  handler.printEventList();
  EXPECT_EQ(GetCapturedStdout(),
            "veskEventHandler: current events:\n59.6.0.3 : \n");
}

TEST_F(OpenEventHandler, LooksThePrincipalUpOnceForEachUser) {
  fake::Server local("127.0.0.1", fake::kObjectPort);
  local.then("29" SUCCESS NONE " 80 43 01 01 0A 01 01 3B 01 6E 00 01 09")
      .then("27" SUCCESS NONE " 80 43 01 01 0A 01 01 3B 01 6E 01 01 01 02");
  system.user = 2000;
  EXPECT_EQ(handler.setAccess(), kNoError);
  EXPECT_EQ(handler.setAccess(), kNoError);
  EXPECT_EQ(textOf(handler.currentAccess), "59.110.1.2");
  EXPECT_EQ(handler.currentAccess.id, 2000);
  EXPECT_EQ(handler.principalCache.count, 1U);
  EXPECT_THAT(local.requests, SizeIs(2));
  system.user = 3000;
  local.then("29" REFUSED NONE NONE);
  EXPECT_EQ(handler.setAccess(), 5);
  EXPECT_EQ(handler.currentAccess.id, 2000);
}

}  // namespace
