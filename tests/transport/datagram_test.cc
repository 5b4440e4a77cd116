#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/datagram.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/platform.h"
#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fake::Call;
using fake::fragment;
using fake::fragments;
using fake::pattern;
using fake::raw;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What one recv() gave.
struct Received {
  unsigned length;
  int error;
  bool hasData;
  std::string message;  // when a length was returned
};

class Datagrams : public ::testing::Test {
 protected:
  Datagrams() : system((fake::platform().reset(), fake::platform())) {
    handler.open(0);
  }
  ~Datagrams() override { handler.dropPartialMessages(); }

  void arrive(const std::string& bytes) { arrive(peer, bytes); }
  void arrive(const sockaddr_in& from, const std::string& bytes) {
    system.deliver(from, handler.socket, bytes);
  }

  Received recv() {
    void* data = nullptr;
    errno = 0;
    Received result{};
    result.length = handler.recv(nullptr, &data);
    result.error = errno;
    result.hasData = data != nullptr;
    if (result.length > 0) {
      result.message.assign(static_cast<char*>(data), result.length);
      std::free(data);
    } else if (result.error == EBADMSG) {
      std::free(data);
    }
    return result;
  }

  // Takes datagrams until a message is complete or none is left.
  std::string message() {
    while (system.queued(handler.socket) > 0) {
      const Received received = recv();
      if (received.length > 0) return received.message;
      EXPECT_EQ(received.error, ENODATA);
    }
    return "";
  }

  int send(const std::string& bytes) {
    std::string copy = bytes;
    return handler.send(&peer, copy.data(), static_cast<unsigned>(copy.size()));
  }

  veskDatagramReassemblyEntry* entry(unsigned i) {
    return static_cast<veskDatagramReassemblyEntry*>(
        handler.reassemblyList.index(i)->data);
  }

  // The sender and the id of each message that is not complete, in the order
  // of the list.
  std::vector<std::string> held() {
    std::vector<std::string> result;
    for (unsigned i = 0; i < handler.reassemblyList.count; ++i) {
      const std::string sender = fake::text(entry(i)->sender);
      result.push_back(sender.substr(0, sender.find(':')) + " " +
                       std::to_string(entry(i)->messageId));
    }
    return result;
  }

  fake::Platform& system;
  veskDatagramHandler handler;
  sockaddr_in peer = fake::endpoint("192.0.2.1", 5135);
  sockaddr_in other = fake::endpoint("192.0.2.2", 5135);
  sockaddr_in third = fake::endpoint("192.0.2.3", 5135);
};

// --- open and close

TEST_F(Datagrams, StartWithoutASocket) {
  veskDatagramHandler fresh;
  EXPECT_EQ(fresh.socket, -1);
  EXPECT_EQ(fresh.nextMessageId, 0);
  EXPECT_EQ(fresh.reassemblyList.count, 0U);
  EXPECT_EQ(fresh.close(), 0);
  EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(Datagrams, OpenBindsThePortAndAsksForRoom) {
  system.calls.clear();
  veskDatagramHandler server;
  const int socket = server.open(5135);
  EXPECT_EQ(socket, server.socket);
  EXPECT_EQ(system.bound.back(), 5135);
  EXPECT_THAT(system.calls,
              ElementsAre(Call::kOpen, Call::kBind, Call::kSetSendBuffer,
                          Call::kSetReceiveBuffer, Call::kIdentify));
  const auto& settings = system.settings;
  ASSERT_EQ(settings.size(), 4U);
  EXPECT_EQ(settings[2].value, 65536);
  EXPECT_EQ(settings[3].value, 65536);
}

TEST_F(Datagrams, OpenThatGetsNoSocketSaysWhy) {
  system.failNext(Call::kOpen, EMFILE);
  system.settings.clear();
  veskDatagramHandler server;
  EXPECT_EQ(server.open(0), -1);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(server.socket, -1);
  ASSERT_EQ(system.settings.size(), 2U);  // asked for all the same
  EXPECT_EQ(system.settings[0].socket, -1);
  EXPECT_EQ(system.settings[1].socket, -1);
}

TEST_F(Datagrams, OpenThatCannotBindClosesTheSocketAndSaysWhy) {
  system.failNext(Call::kBind, EADDRINUSE);
  veskDatagramHandler server;
  EXPECT_EQ(server.open(5135), -1);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(server.socket, -1);
  EXPECT_EQ(system.closed.size(), 1U);
  EXPECT_EQ(server.close(), 0);
  EXPECT_EQ(system.closed.size(), 1U);
}

TEST_F(Datagrams, OpenIgnoresRefusedBufferSizes) {
  system.failNext(Call::kSetSendBuffer, ENOBUFS);
  system.failNext(Call::kSetReceiveBuffer, ENOBUFS);
  veskDatagramHandler server;
  EXPECT_GE(server.open(0), 0);
}

TEST_F(Datagrams, OpenReleasesTheSocketOpenedBefore) {
  const int first = handler.socket;
  const int second = handler.open(0);
  EXPECT_NE(first, second);
  EXPECT_THAT(system.closed, ElementsAre(first));
  EXPECT_EQ(handler.close(), 1);
  EXPECT_THAT(system.closed, ElementsAre(first, second));
}

TEST_F(Datagrams, OpenLeavesTheNumberOfASocketClosedByOthersAlone) {
  ostrel::platform::closeSocket(handler.socket);
  system.closed.clear();
  system.nextDescriptor = handler.socket;  // free again
  const int second = handler.open(0);
  EXPECT_EQ(second, system.nextDescriptor - 1);
  EXPECT_THAT(system.closed, IsEmpty());
  EXPECT_TRUE(system.sockets.at(second).open);
  EXPECT_EQ(handler.close(), 1);
}

TEST_F(Datagrams, OpenLeavesWhatHasTakenTheNumberAlone) {
  ostrel::platform::closeSocket(handler.socket);
  system.nextDescriptor = handler.socket;
  veskDatagramHandler taker;
  const int taken = taker.open(0);
  ASSERT_EQ(taken, handler.socket);
  EXPECT_NE(handler.open(0), taken);
  EXPECT_TRUE(system.sockets.at(taken).open);
}

TEST_F(Datagrams, DestructorLeavesWhatHasTakenTheNumberAlone) {
  veskDatagramHandler taker;
  {
    veskDatagramHandler gone;
    system.nextDescriptor = gone.open(0);
    ostrel::platform::closeSocket(gone.socket);
    ASSERT_EQ(taker.open(0), gone.socket);
  }
  EXPECT_TRUE(system.sockets.at(taker.socket).open);
}

TEST_F(Datagrams, SocketThatTheSystemCannotTellIsClosedAllTheSame) {
  int first = -1;
  {
    veskDatagramHandler unknown;
    system.failNext(Call::kIdentify, ENOMEM);
    first = unknown.open(0);
  }
  EXPECT_THAT(system.closed, ElementsAre(first));
}

TEST_F(Datagrams, OpenOnThePortOfTheSocketOpenedBeforeFails) {
  const int first = handler.open(5135);
  EXPECT_GE(first, 0);
  EXPECT_EQ(handler.open(5135), -1);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(handler.socket, -1);
  EXPECT_THAT(system.closed, Contains(first));
  EXPECT_GE(handler.open(5135), 0);
}

TEST_F(Datagrams, CloseKeepsTheNumberAndNeverClosesItTwice) {
  const int socket = handler.socket;
  EXPECT_EQ(handler.close(), 1);
  EXPECT_EQ(handler.socket, socket);
  EXPECT_EQ(handler.close(), 0);
  EXPECT_EQ(errno, EBADF);
  {
    veskDatagramHandler destroyed;
    destroyed.open(0);
    destroyed.close();
  }
  EXPECT_THAT(system.closed, ElementsAre(socket, socket + 1));
}

TEST_F(Datagrams, CloseReportsWhatTheSystemReports) {
  system.failNext(Call::kClose, EIO);
  EXPECT_EQ(handler.close(), 0);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(handler.close(), 0);
  EXPECT_EQ(system.closed.size(), 1U);
}

TEST_F(Datagrams, OpenWorksAgainAfterClose) {
  handler.close();
  EXPECT_GE(handler.open(0), 0);
  EXPECT_EQ(handler.close(), 1);
}

TEST_F(Datagrams, DestructorClosesTheSocket) {
  int socket = -1;
  {
    veskDatagramHandler gone;
    socket = gone.open(0);
  }
  EXPECT_THAT(system.closed, ElementsAre(socket));
}

TEST_F(Datagrams, DestructorClosesASocketThatTheProgramPutThere) {
  veskDatagramHandler maker;
  const int socket = maker.open(0);
  maker.socket = -1;
  {
    veskDatagramHandler taker;
    taker.socket = socket;
  }
  EXPECT_THAT(system.closed, ElementsAre(socket));
}

TEST_F(Datagrams, KeepsEntriesAliveWhenDestroyed) {
  veskDatagramReassemblyEntry* left = nullptr;
  {
    veskDatagramHandler gone;
    gone.open(0);
    system.deliver(peer, gone.socket, fragment(1, 2, 0, 1500, 0, pattern(9)));
    void* data = nullptr;
    EXPECT_EQ(gone.recv(nullptr, &data), 0U);
    left = static_cast<veskDatagramReassemblyEntry*>(
        gone.reassemblyList.index(0)->data);
  }
  EXPECT_EQ(left->totalLength, 1500U);
  EXPECT_EQ(left->received[0], 1);
  std::free(left->buffer);
  delete left;
}

// --- send

TEST_F(Datagrams, SendWritesTheHeaderBeforeTheBytes) {
  EXPECT_EQ(send("abc"), 1);
  ASSERT_EQ(system.sent.size(), 1U);
  EXPECT_EQ(fake::digits(system.sent[0].bytes),
            "00 01 00 00 00 01 00 00 00 00 00 03 00 00 00 00 61 62 63");
  EXPECT_TRUE(fake::same(system.sent[0].to, peer));
}

TEST_F(Datagrams, SendOf1456BytesGoesAsOneFragment) {
  EXPECT_EQ(send(pattern(1456)), 1);
  ASSERT_EQ(system.sent.size(), 1U);
  EXPECT_EQ(system.sent[0].bytes,
            raw("0001 0000 0001 0000 000005B0 00000000") + pattern(1456));
}

TEST_F(Datagrams, SendOf1457BytesGoesAsTwoFragments) {
  const std::string message = pattern(1457);
  EXPECT_EQ(send(message), 1);
  ASSERT_EQ(system.sent.size(), 2U);
  EXPECT_EQ(system.sent[0].bytes, raw("0001 0000 0002 0000 000005B1 00000000") +
                                      message.substr(0, 1456));
  EXPECT_EQ(system.sent[1].bytes, raw("0001 0000 0002 0001 000005B1 000005B0") +
                                      message.substr(1456));
}

TEST_F(Datagrams, SendOfNothingSendsNothingButTakesAnId) {
  EXPECT_EQ(send(""), 1);
  EXPECT_EQ(handler.send(&peer, nullptr, 0), 1);
  EXPECT_THAT(system.sent, IsEmpty());
  EXPECT_EQ(handler.nextMessageId, 2);
  EXPECT_EQ(send("x"), 1);
  EXPECT_EQ(system.sent[0].bytes.substr(2, 2), raw("0002"));
}

TEST_F(Datagrams, MessageIdsWrapAround) {
  handler.nextMessageId = 65535;
  send("x");
  send("x");
  EXPECT_EQ(system.sent[0].bytes.substr(2, 2), raw("FFFF"));
  EXPECT_EQ(system.sent[1].bytes.substr(2, 2), raw("0000"));
}

TEST_F(Datagrams, SendPausesForTenTicksAfterEachTwentyFragments) {
  EXPECT_EQ(send(pattern(41 * 1456)), 1);
  EXPECT_THAT(system.pauses, ElementsAre(10U, 10U));
  std::vector<std::size_t> pausedAfter;
  std::size_t sent = 0;
  for (const Call call : system.calls) {
    if (call == Call::kSend) sent++;
    if (call == Call::kPause) pausedAfter.push_back(sent);
  }
  EXPECT_THAT(pausedAfter, ElementsAre(20U, 40U));
  // 10 ticks of 10 ms.
  EXPECT_EQ(system.sent[20].at - system.sent[19].at, 100 * 1000);
}

TEST_F(Datagrams, SendOfTwentyFragmentsPausesAfterTheLast) {
  EXPECT_EQ(send(pattern(20 * 1456)), 1);
  EXPECT_THAT(system.pauses, ElementsAre(10U));
  EXPECT_EQ(system.calls.back(), Call::kPause);
}

TEST_F(Datagrams, SendOfNineteenFragmentsDoesNotPause) {
  EXPECT_EQ(send(pattern(19 * 1456)), 1);
  EXPECT_THAT(system.pauses, IsEmpty());
}

TEST_F(Datagrams, SendTriesAgainWhileTheSystemIsShortOfBuffers) {
  system.failNext(Call::kSend, ENOBUFS, 3, 1);
  const std::string message = pattern(3000);
  EXPECT_EQ(send(message), 1);
  EXPECT_THAT(system.pauses, ElementsAre(10U, 10U, 10U));
  ASSERT_EQ(system.sent.size(), 3U);
  const std::vector<std::string> expected = fragments(0, message);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(system.sent[i].bytes, expected[i]);
  }
}

TEST_F(Datagrams, SendThatFailsStopsAtOnceAndLeavesTheCause) {
  system.failNext(Call::kSend, EHOSTUNREACH, 1, 1);
  EXPECT_EQ(send(pattern(4000)), 0);
  EXPECT_EQ(errno, EHOSTUNREACH);
  EXPECT_EQ(system.sent.size(), 1U);
  EXPECT_THAT(system.pauses, IsEmpty());
  EXPECT_EQ(handler.nextMessageId, 1);
}

TEST_F(Datagrams, SendWithoutASocketFails) {
  veskDatagramHandler fresh;
  char byte = 0;
  EXPECT_EQ(fresh.send(&peer, &byte, 1), 0);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(Datagrams, SendOfMoreThan65535FragmentsFails) {
  char byte = 0;  // never read
  EXPECT_EQ(handler.send(&peer, &byte, 65535U * 1456U + 1U), 0);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(handler.send(&peer, &byte, 4294967295U), 0);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_THAT(system.sent, IsEmpty());
  EXPECT_EQ(handler.nextMessageId, 2);
}

TEST_F(Datagrams, SendOf65535FragmentsArrivesWhole) {
  system.recording = false;
  veskDatagramHandler receiver;
  receiver.open(5135);
  void* data = nullptr;
  unsigned length = 0;
  // The pauses add up to more than a message may take; here they take no time.
  const std::int64_t start = system.clock;
  system.addPeer(
      "192.0.2.1", 5135, [&](fake::Peer&, const fake::Datagram& datagram) {
        system.clock = start;
        system.deliver(datagram.from, receiver.socket, datagram.bytes);
        length = receiver.recv(nullptr, &data);
      });
  const std::string message = pattern(65535U * 1456U);
  EXPECT_EQ(handler.send(&peer, const_cast<char*>(message.data()),
                         static_cast<unsigned>(message.size())),
            1);
  EXPECT_EQ(system.count(Call::kSend), 65535U);
  EXPECT_EQ(system.count(Call::kPause), 65535U / 20U);
  ASSERT_EQ(length, message.size());
  EXPECT_EQ(std::memcmp(data, message.data(), length), 0);
  std::free(data);
}

// --- recv

TEST_F(Datagrams, RecvHandsOverAMessageOfOneFragment) {
  arrive(raw("0001 0007 0001 0000 00000003 00000000 616263"));
  void* data = nullptr;
  sockaddr_in from = {};
  ASSERT_EQ(handler.recv(&from, &data), 3U);
  EXPECT_EQ(std::string(static_cast<char*>(data), 3), "abc");
  EXPECT_TRUE(fake::same(from, peer));
  std::free(data);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, RecvTakesOneDatagramOnly) {
  arrive(fragments(1, "abc")[0]);
  arrive(fragments(2, "def")[0]);
  EXPECT_EQ(recv().message, "abc");
  EXPECT_EQ(system.queued(handler.socket), 1U);
}

TEST_F(Datagrams, RecvStoresAFragmentAndReportsNoDataYet) {
  arrive(fragments(1, pattern(2000))[0]);
  void* data = &peer;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, ENODATA);
  EXPECT_EQ(data, nullptr);
  ASSERT_EQ(handler.reassemblyList.count, 1U);
  EXPECT_EQ(entry(0)->fragmentCount, 2);
  EXPECT_EQ(entry(0)->messageId, 1);
  EXPECT_TRUE(fake::same(entry(0)->sender, peer));
  EXPECT_EQ(entry(0)->totalLength, 2000U);
  EXPECT_EQ(entry(0)->expiry, system.seconds() + 60);
  EXPECT_EQ(entry(0)->received[0], 1);
  EXPECT_EQ(entry(0)->received[1], 0);
}

TEST_F(Datagrams, RecvPutsFragmentsTogetherInOrder) {
  const std::string sent = pattern(5000);
  for (const std::string& bytes : fragments(1, sent)) arrive(bytes);
  EXPECT_EQ(message(), sent);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, FragmentsInReverseOrderGiveTheSameMessage) {
  const std::string sent = pattern(5000);
  const std::vector<std::string> parts = fragments(1, sent);
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) arrive(*part);
  EXPECT_EQ(message(), sent);
}

TEST_F(Datagrams, DoubledFragmentsDoNoHarm) {
  const std::string sent = pattern(5000);
  for (const std::string& bytes : fragments(1, sent)) {
    arrive(bytes);
    arrive(bytes);
  }
  EXPECT_EQ(message(), sent);
  // The last fragment's double opens a message that never completes.
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(handler.reassemblyList.count, 1U);
}

TEST_F(Datagrams, LostFragmentLeavesTheMessageIncomplete) {
  const std::vector<std::string> parts = fragments(1, pattern(5000));
  arrive(parts[0]);
  arrive(parts[1]);
  arrive(parts[3]);
  EXPECT_EQ(message(), "");
  EXPECT_EQ(handler.reassemblyList.count, 1U);
}

TEST_F(Datagrams, TwoSendersWithTheSameIdAreKeptApart) {
  const std::string first = pattern(2000);
  const std::string second(2500, 'b');
  arrive(peer, fragments(9, first)[0]);
  arrive(other, fragments(9, second)[0]);
  arrive(fake::endpoint("192.0.2.1", 5136), fragments(9, second)[0]);
  EXPECT_EQ(message(), "");
  EXPECT_EQ(handler.reassemblyList.count, 3U);
  arrive(other, fragments(9, second)[1]);
  EXPECT_EQ(message(), second);
  arrive(peer, fragments(9, first)[1]);
  EXPECT_EQ(message(), first);
  EXPECT_EQ(handler.reassemblyList.count, 1U);
}

TEST_F(Datagrams, OneSendersMessagesMayInterleave) {
  const std::string first = pattern(2000);
  const std::string second(2500, 'b');
  arrive(fragments(1, first)[0]);
  arrive(fragments(2, second)[0]);
  arrive(fragments(2, second)[1]);
  arrive(fragments(1, first)[1]);
  EXPECT_EQ(message(), second);
  EXPECT_EQ(message(), first);
}

TEST_F(Datagrams, NewestMessageStandsFirstInTheList) {
  arrive(fragment(1, 2, 0, 1500, 0, "a"));
  arrive(fragment(2, 2, 0, 1500, 0, "a"));
  message();
  EXPECT_EQ(entry(0)->messageId, 2);
  EXPECT_EQ(entry(1)->messageId, 1);
}

TEST_F(Datagrams, ForeignDatagramLeavesAMessageUntouched) {
  const std::string sent = pattern(2000);
  arrive(fragments(1, sent)[0]);
  recv();
  arrive(other, fragments(1, std::string(2000, 'x'))[1]);
  recv();
  arrive(fragments(1, sent)[1]);
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, RecvStartsFromErrnoZero) {
  arrive(pattern(10));
  void* data = nullptr;
  errno = ENODATA;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EMSGSIZE);
}

TEST_F(Datagrams, DatagramShorterThanAHeaderIsTakenOffTheSocket) {
  for (std::size_t size = 0; size < 16; ++size) {
    arrive(std::string(size, '\1'));
    const Received received = recv();
    EXPECT_EQ(received.length, 0U);
    EXPECT_EQ(received.error, EMSGSIZE);
    EXPECT_FALSE(received.hasData);
    EXPECT_EQ(system.queued(handler.socket), 0U);
  }
}

TEST_F(Datagrams, ShortDatagramKeepsTheErrnoOfAFailedDiscard) {
  arrive("short");
  system.failNext(Call::kDiscard, EIO);
  EXPECT_EQ(recv().error, EIO);
}

TEST_F(Datagrams, DatagramOfAnotherVersionIsTakenOffTheSocket) {
  for (const unsigned version : {0U, 2U, 256U, 65535U}) {
    arrive(fragment(1, 1, 0, 3, 0, "abc", version));
    const Received received = recv();
    EXPECT_EQ(received.length, 0U);
    EXPECT_EQ(received.error, EPROTONOSUPPORT);
    EXPECT_EQ(system.queued(handler.socket), 0U);
  }
}

TEST_F(Datagrams, HeaderWithoutDataIsTooShort) {
  arrive(fragment(1, 1, 0, 3, 0, ""));
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EMSGSIZE);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(static_cast<char*>(data), 3), std::string(3, '\0'));
  std::free(data);
}

TEST_F(Datagrams, HeaderWithoutDataLeavesALongerMessageAsItWas) {
  arrive(fragments(1, pattern(2000))[0]);
  recv();
  arrive(fragment(1, 2, 1, 2000, 1456, ""));
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(data, entry(0)->buffer);
  EXPECT_EQ(entry(0)->received[1], 0);
}

TEST_F(Datagrams, CutMessageOfOneFragmentIsBad) {
  arrive(fragment(1, 1, 0, 5, 0, "abc"));
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EBADMSG);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(static_cast<char*>(data), 5), raw("6162630000"));
  std::free(data);
}

TEST_F(Datagrams, KeepsCuttingOffWhatASingleFragmentBringsTooMuch) {
  arrive(fragment(1, 1, 0, 3, 0, "abcdef"));
  EXPECT_EQ(recv().message, "abc");
}

TEST_F(Datagrams, KeepsIgnoringTheNumberOfASingleFragment) {
  arrive(fragment(1, 1, 9, 3, 0, "abc"));
  EXPECT_EQ(recv().message, "abc");
}

TEST_F(Datagrams, SingleFragmentWithAnOffsetIsBad) {
  arrive(fragment(1, 1, 0, 5, 2, "abc"));
  const Received received = recv();
  EXPECT_EQ(received.length, 0U);
  EXPECT_EQ(received.error, EBADMSG);
}

TEST_F(Datagrams, SingleFragmentMayFillADatagram) {
  const std::string sent = pattern(65491);
  arrive(fragment(1, 1, 0, sent.size(), 0, sent));
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, CutFragmentOfALongerMessageLeavesZeros) {
  std::string sent = pattern(2000);
  arrive(fragment(1, 2, 0, 2000, 0, sent.substr(0, 100)));
  arrive(fragment(1, 2, 1, 2000, 1456, sent.substr(1456)));
  sent.replace(100, 1356, 1356, '\0');
  EXPECT_EQ(message(), sent);
}

TEST_F(Datagrams, DataBeyondTheMessageIsCutOff) {
  arrive(fragment(1, 2, 1, 1500, 1456, pattern(1000)));
  arrive(fragment(1, 2, 0, 1500, 0, std::string(1456, 'a')));
  EXPECT_EQ(message(), std::string(1456, 'a') + pattern(44));
}

TEST_F(Datagrams, KeepsTrustingTheFirstFragmentsCountAndTotal) {
  const std::string sent = pattern(2000);
  arrive(fragments(1, sent)[0]);
  arrive(fragment(1, 900, 1, 77, 1456, sent.substr(1456)));
  EXPECT_EQ(message(), sent);
}

TEST_F(Datagrams, KeepsLettingOffsetsOverlap) {
  arrive(fragment(1, 2, 0, 8, 0, "abcdefgh"));
  arrive(fragment(1, 2, 1, 8, 2, "xy"));
  EXPECT_EQ(message(), "abxyefgh");
}

struct Refused {
  const char* name;
  const char* header;
};

class RefusedHeaders : public Datagrams,
                       public ::testing::WithParamInterface<Refused> {};

TEST_P(RefusedHeaders, AreTakenOffTheSocketAndStoreNothing) {
  const std::string sent = pattern(2000);
  arrive(fragments(0x0101, sent)[0]);
  recv();
  arrive(raw(GetParam().header) + std::string(1456, 'x'));
  void* data = &peer;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EBADMSG);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(system.queued(handler.socket), 0U);
  EXPECT_EQ(handler.reassemblyList.count, 1U);
  arrive(fragments(0x0101, sent)[1]);
  EXPECT_EQ(recv().message, sent);
}

INSTANTIATE_TEST_SUITE_P(
    Datagrams, RefusedHeaders,
    ::testing::Values(
        Refused{"NoFragments", "0001 0002 0000 0000 00000003 00000000"},
        Refused{"NoFragmentsOfAKnownMessage",
                "0001 0101 0000 0000 00000003 00000000"},
        Refused{"NumberOfANewMessage", "0001 0002 0002 0002 000007D0 00000000"},
        Refused{"LargestNumber", "0001 0002 0002 FFFF 000007D0 00000000"},
        Refused{"NumberOfAKnownMessage",
                "0001 0101 0002 0002 000007D0 000005B0"},
        Refused{"NumberBelowItsOwnCountOnly",
                "0001 0101 FFFF 0002 05B00000 000005B0"},
        Refused{"OffsetOfANewMessage", "0001 0002 0002 0001 000007D0 000007D1"},
        Refused{"OffsetOfAKnownMessage",
                "0001 0101 0002 0001 000007D0 000007D1"},
        Refused{"OffsetBelowItsOwnTotalOnly",
                "0001 0101 0002 0001 00000B60 000007D1"},
        Refused{"LargestOffset", "0001 0101 0002 0001 000007D0 FFFFFFFF"},
        Refused{"OffsetOfASingleFragment",
                "0001 0002 0001 0000 00000003 00000004"},
        Refused{"TotalThatTwoFragmentsCannotHold",
                "0001 0002 0002 0000 00000B61 00000000"},
        Refused{"LargestTotal", "0001 0002 FFFF 0000 FFFFFFFF 00000000"},
        Refused{"TotalThatNoDatagramHolds",
                "0001 0002 0001 0000 0000FFD4 00000000"},
        Refused{"LargestTotalOfASingleFragment",
                "0001 0002 0001 0000 FFFFFFFF 00000000"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Datagrams, LargestTotalThatFragmentsHoldIsAccepted) {
  arrive(fragment(1, 65535, 65534, 65535UL * 1456, 65534UL * 1456, "x"));
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(entry(0)->totalLength, 95418960U);
}

TEST_F(Datagrams, EmptyMessageOfOneFragmentIsTooShort) {
  arrive(fragment(1, 1, 0, 0, 0, "abc"));
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(system.queued(handler.socket), 0U);
  std::free(data);
}

TEST_F(Datagrams, FragmentAtTheVeryEndHasNoRoom) {
  arrive(fragment(1, 2, 1, 1500, 1500, "abc"));
  EXPECT_EQ(recv().error, EMSGSIZE);
  EXPECT_EQ(entry(0)->received[1], 0);
}

// --- calls that fail

TEST_F(Datagrams, KeepsExaminingTheHeaderAfterAFailedPeek) {
  arrive(fragments(1, "abc")[0]);
  system.failNext(Call::kPeek, EIO);
  EXPECT_EQ(recv().error, EPROTONOSUPPORT);  // it is all zeros
  EXPECT_EQ(system.queued(handler.socket), 0U);
}

TEST_F(Datagrams, SignalEndsThePeekAndCostsNoDatagram) {
  arrive(fragments(1, "abc")[0]);
  system.failNext(Call::kPeek, EINTR);
  void* data = &peer;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(data, &peer);
  EXPECT_EQ(recv().message, "abc");
}

TEST_F(Datagrams, KeepsMarkingAFragmentAfterAFailedRead) {
  const std::string sent = pattern(2000);
  arrive(fragments(1, sent)[0]);
  arrive(fragments(1, sent)[1]);
  system.failNext(Call::kReceive, EIO);
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(entry(0)->received[0], 1);
  // The datagram is still there, and is read again.
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, FailedReadThatCompletesAMessageLeavesZeros) {
  std::string sent = pattern(2000);
  arrive(fragments(1, sent)[0]);
  recv();
  arrive(fragments(1, sent)[1]);
  system.failNext(Call::kReceive, EIO);
  sent.replace(1456, 544, 544, '\0');
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, FailedReadOfASingleFragmentIsBad) {
  arrive(fragments(1, "abc")[0]);
  system.failNext(Call::kReceive, EIO);
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EBADMSG);
  EXPECT_EQ(std::string(static_cast<char*>(data), 3), std::string(3, '\0'));
  std::free(data);
}

TEST_F(Datagrams, FailedReadsThatCompleteAnEmptyMessageHandNothingOver) {
  arrive(fragment(1, 2, 0, 0, 0, "x"));
  system.failNext(Call::kReceive, EIO);
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(recv().error, EMSGSIZE);  // it was still queued
  arrive(fragment(1, 2, 1, 0, 0, "x"));
  system.failNext(Call::kReceive, EIO);
  const Received received = recv();
  EXPECT_EQ(received.length, 0U);
  EXPECT_EQ(received.error, EIO);
  EXPECT_FALSE(received.hasData);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, KeepsASingleFragmentQueuedWithoutMemory) {
  arrive(fragments(1, "abc")[0]);
  system.failNext(Call::kAllocate, ENOMEM);
  const Received received = recv();
  EXPECT_EQ(received.length, 0U);
  EXPECT_EQ(received.error, ENOMEM);
  EXPECT_FALSE(received.hasData);
  EXPECT_EQ(recv().message, "abc");
}

TEST_F(Datagrams, WithoutMemoryForABufferTheFragmentIsDropped) {
  arrive(fragments(1, pattern(2000))[0]);
  system.failNext(Call::kAllocate, ENOMEM);
  EXPECT_EQ(recv().error, ENOMEM);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
  EXPECT_EQ(system.queued(handler.socket), 0U);
}

TEST_F(Datagrams, WithoutMemoryTheLargestHolderMakesRoomForAFragment) {
  arrive(peer, fragment(1, 4, 0, 4000, 0, "x"));
  arrive(peer, fragment(2, 4, 0, 4000, 0, "x"));
  arrive(other, fragment(1, 4, 0, 5000, 0, "x"));
  message();
  system.failNext(Call::kAllocate, ENOMEM, 2);
  arrive(third, fragment(1, 2, 0, 2000, 0, "x"));
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_THAT(held(), ElementsAre("192.0.2.3 1", "192.0.2.1 2"));
}

TEST_F(Datagrams, WithoutMemoryTheLargestHolderMakesRoomForAMessage) {
  arrive(peer, fragment(1, 4, 0, 4000, 0, "x"));
  message();
  system.failNext(Call::kAllocate, ENOMEM);
  arrive(other, fragments(1, "abc")[0]);
  EXPECT_EQ(recv().message, "abc");
  EXPECT_THAT(held(), IsEmpty());
}

// Whoever is told of a lack of memory would not look for a buffer.
TEST_F(Datagrams, MemoryThatWasFoundInTheEndIsNotReportedAsMissing) {
  for (const unsigned count : {1U, 2U}) {
    arrive(peer, fragment(count, 4, 0, 4000, 0, "x"));
    message();
    system.failNext(Call::kAllocate, ENOMEM);
    arrive(other, fragment(1, count, 0, 3, 0, ""));
    void* data = nullptr;
    EXPECT_EQ(handler.recv(nullptr, &data), 0U);
    EXPECT_EQ(errno, EMSGSIZE);
    if (count == 1) std::free(data);
  }
}

TEST_F(Datagrams, ClaimThatNothingCanMakeRoomForCostsOthersNothing) {
  arrive(peer, fragment(1, 4, 0, 4000, 0, "x"));
  message();
  system.failNext(Call::kAllocate, ENOMEM);
  arrive(other, fragment(1, 65535, 1, 65535UL * 1456, 1456, "x"));
  EXPECT_EQ(recv().error, ENOMEM);
  EXPECT_THAT(held(), ElementsAre("192.0.2.1 1"));
}

TEST_F(Datagrams, WithoutMemoryForAnEntryTheFragmentIsDropped) {
  arrive(fragments(1, pattern(2000))[0]);
  system.failNext(Call::kAllocate, ENOMEM, 1, 1);
  const Received received = recv();
  EXPECT_EQ(received.error, ENOMEM);
  EXPECT_FALSE(received.hasData);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
  EXPECT_EQ(system.queued(handler.socket), 0U);
}

TEST_F(Datagrams, DroppingAFragmentForWantOfMemoryKeepsErrno) {
  arrive(fragments(1, pattern(2000))[0]);
  system.failNext(Call::kAllocate, ENOMEM, 1, 1);
  system.failNext(Call::kDiscard, EIO);
  EXPECT_EQ(recv().error, ENOMEM);
}

// --- expiry and bounds

TEST_F(Datagrams, MessageLivesSixtySecondsFromItsFirstFragment) {
  const std::string sent = pattern(4000);
  arrive(fragments(1, sent)[0]);
  recv();
  system.advance(30);
  arrive(fragments(1, sent)[1]);  // does not prolong it
  recv();
  system.advance(30);
  arrive(other, fragments(1, sent)[0]);
  recv();
  EXPECT_EQ(handler.reassemblyList.count, 2U);  // at 60 s it is still there
  system.advance(1);
  arrive(other, fragments(2, sent)[0]);
  recv();
  EXPECT_EQ(handler.reassemblyList.count, 2U);
  EXPECT_EQ(entry(0)->messageId, 2);
  EXPECT_TRUE(fake::same(entry(1)->sender, other));
}

TEST_F(Datagrams, SingleFragmentsDropNoExpiredMessage) {
  arrive(fragments(1, pattern(2000))[0]);
  recv();
  system.advance(100);
  arrive(fragments(2, "abc")[0]);
  EXPECT_EQ(recv().message, "abc");
  EXPECT_EQ(handler.reassemblyList.count, 1U);
  handler.tick();
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, FragmentThatCompletesAMessageDropsExpiredOnes) {
  const std::string sent = pattern(2000);
  arrive(other, fragments(1, sent)[0]);
  recv();
  system.advance(1);
  arrive(fragments(1, sent)[0]);
  recv();
  system.advance(60);  // the other's is a second too old now
  arrive(fragments(1, sent)[1]);
  EXPECT_EQ(recv().message, sent);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, LateFragmentStillCompletesItsMessage) {
  const std::string sent = pattern(2000);
  arrive(fragments(1, sent)[0]);
  recv();
  system.advance(100);
  arrive(fragments(1, sent)[1]);
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, LateFragmentThatCompletesNothingIsDroppedWithItsMessage) {
  const std::string sent = pattern(4000);
  arrive(fragments(1, sent)[0]);
  recv();
  system.advance(100);
  arrive(fragments(1, sent)[1]);
  EXPECT_EQ(recv().error, ENODATA);
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, FloodOfFirstFragmentsDropsTheOldest) {
  const std::string sent = pattern(2000);
  const unsigned most = veskDatagramHandler::kMaxPartialMessages;
  for (unsigned id = 0; id < most + 10; ++id) {
    arrive(fragments(id, sent)[0]);
    recv();
  }
  EXPECT_EQ(handler.reassemblyList.count, most);
  EXPECT_EQ(entry(0)->messageId, most + 9);
  EXPECT_EQ(entry(most - 1)->messageId, 10);
}

TEST_F(Datagrams, FloodOfLargeClaimsStaysWithinItsBound) {
  for (unsigned id = 0; id < 100; ++id) {
    arrive(fragment(id, 65535, 1, 65535UL * 1456, 1456, "x"));
    EXPECT_EQ(recv().error, ENODATA);
  }
  EXPECT_EQ(handler.reassemblyList.count, 1U);
  EXPECT_EQ(entry(0)->messageId, 99);
  for (unsigned id = 100; id < 200; ++id) {
    arrive(fragment(id, 20000, 0, 10UL * 1000 * 1000, 0, "x"));
    EXPECT_EQ(recv().error, ENODATA);
  }
  unsigned long held = 0;
  for (unsigned i = 0; i < handler.reassemblyList.count; ++i) {
    held += entry(i)->totalLength + entry(i)->fragmentCount;
  }
  EXPECT_EQ(handler.reassemblyList.count, 13U);
  EXPECT_LE(held, veskDatagramHandler::kMaxPartialBytes);
}

TEST_F(Datagrams, FloodOfFirstFragmentsCostsOtherSendersNothing) {
  const std::string sent = pattern(2000);
  arrive(other, fragments(7, sent)[0]);
  recv();
  for (unsigned id = 0; id < 3000; ++id) {
    arrive(fragments(id, sent)[0]);
    EXPECT_EQ(recv().error, ENODATA);
  }
  EXPECT_EQ(handler.reassemblyList.count,
            veskDatagramHandler::kMaxPartialMessages);
  arrive(other, fragments(7, sent)[1]);
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, FloodOfLargeClaimsCostsOtherSendersNothing) {
  const std::string sent = pattern(2000);
  arrive(other, fragments(7, sent)[0]);
  recv();
  for (unsigned id = 0; id < 100; ++id) {
    arrive(fragment(id, 20000, 0, 20UL * 1000 * 1000, 0, "x"));
    EXPECT_EQ(recv().error, ENODATA);
  }
  arrive(other, fragments(7, sent)[1]);
  EXPECT_EQ(recv().message, sent);
}

TEST_F(Datagrams, SenderOfFewLargeClaimsLosesThemToTheBoundOnBytes) {
  for (unsigned id = 0; id < 50; ++id) {
    arrive(peer, fragment(id, 2, 0, 2000, 0, "x"));
    recv();
  }
  arrive(other, fragment(1, 65535, 1, 65535UL * 1456, 1456, "x"));
  arrive(third, fragment(1, 65535, 1, 65535UL * 1456, 1456, "x"));
  message();
  EXPECT_EQ(handler.reassemblyList.count, 51U);
  EXPECT_EQ(held().front(), "192.0.2.3 1");
}

// The bound on messages is reached, and three senders open and complete
// messages as it falls out. What is left is compared with a plain count.
TEST_F(Datagrams, OpeningDropsTheOldestOfWhoeverHoldsMost) {
  const sockaddr_in senders[] = {peer, other, third};
  const std::string sent = pattern(1500);
  struct Open {
    std::size_t sender;
    unsigned id;
  };
  std::vector<Open> expected;  // the oldest first
  std::mt19937 random(1);
  unsigned completed = 0;
  for (unsigned id = 0; id < 5000; ++id) {
    if (!expected.empty() && random() % 4 == 0) {
      const auto chosen =
          expected.begin() + static_cast<long>(random() % expected.size());
      arrive(senders[chosen->sender], fragments(chosen->id, sent)[1]);
      EXPECT_EQ(recv().message, sent);
      expected.erase(chosen);
      completed++;
    }
    if (expected.size() == veskDatagramHandler::kMaxPartialMessages) {
      std::size_t counts[3] = {};
      for (const Open& open : expected) counts[open.sender]++;
      const std::size_t most = *std::max_element(counts, counts + 3);
      // Among equals, whose newest is the oldest.
      std::size_t loser = 3;
      for (auto open = expected.rbegin(); open != expected.rend(); ++open) {
        const bool seen = std::any_of(
            expected.rbegin(), open,
            [&](const Open& o) { return o.sender == open->sender; });
        if (!seen && counts[open->sender] == most) loser = open->sender;
      }
      expected.erase(
          std::find_if(expected.begin(), expected.end(),
                       [&](const Open& o) { return o.sender == loser; }));
    }
    const std::size_t sender = random() % 6 / 2 * (random() % 2);
    arrive(senders[sender], fragments(id, sent)[0]);
    EXPECT_EQ(recv().error, ENODATA);
    expected.push_back({sender, id});
    if (id % 100 != 0) continue;
    ASSERT_EQ(handler.reassemblyList.count, expected.size());
    for (unsigned i = 0; i < handler.reassemblyList.count; ++i) {
      const Open& open = expected[expected.size() - 1 - i];
      ASSERT_EQ(entry(i)->messageId, open.id);
      ASSERT_TRUE(fake::same(entry(i)->sender, senders[open.sender]));
    }
  }
  EXPECT_GT(completed, 500U);
}

TEST_F(Datagrams, DropPartialMessagesFreesThemAll) {
  arrive(fragments(1, pattern(2000))[0]);
  arrive(fragments(2, pattern(2000))[0]);
  message();
  handler.dropPartialMessages();
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Datagrams, ProgramsMayPutAnEntryOfTheirOwnInTheList) {
  auto* own = new veskDatagramReassemblyEntry(2, 7, &peer, std::malloc(10), 10,
                                              system.seconds() + 5);
  EXPECT_EQ(own->received[0], 0);
  EXPECT_EQ(own->received[1], 0);
  own->received[0] = 1;
  std::memset(own->buffer, 'o', 10);
  handler.reassemblyList.append(own);
  arrive(fragment(7, 2, 1, 10, 4, "abc"));
  EXPECT_EQ(recv().message, "ooooabcooo");
}

}  // namespace
