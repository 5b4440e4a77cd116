#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fake::Call;
using fake::fragment;
using fake::fragments;
using fake::pattern;
using fake::raw;

// Answers to request 5 with no members of their own, and the request itself.
const std::string kRemoveResponse = raw("2B 03 00 43 01 05 0A 00");
const std::string kRemoveRequest =
    raw("1E 03 00 43 01 05 0A 00 0A 01 01 3B 01 06 00 00");

class Messages : public ::testing::Test {
 protected:
  Messages()
      : system((fake::platform().reset(), fake::platform())),
        oid("59.6.0.0"),
        request(oid) {
    handler.open(0);
    request.requestId = veskUnsignedInt(5);
  }

  void arrive(const std::string& message, unsigned id = 1) {
    for (const std::string& bytes : fragments(id, message)) {
      system.deliver(peer, handler.socket, bytes);
    }
  }

  // One recv() into a PDU pointer that must change only when it should.
  int recv() {
    veskType::destroyDecoded(pdu);
    pdu = nullptr;
    return handler.recv(&from, &pdu);
  }
  ~Messages() override { veskType::destroyDecoded(pdu); }

  fake::Platform& system;
  veskMessageHandler handler;
  sockaddr_in peer = fake::endpoint("192.0.2.1", 5135);
  sockaddr_in from = {};
  veskOid oid;
  veskRemovePDU request;
  veskPDU* pdu = nullptr;
};

// A PDU whose encoding takes `size` bytes and asks for no more room.
class SizedPDU : public veskPDU {
 public:
  explicit SizedPDU(unsigned bytes) : veskPDU(27), size(bytes) {}
  unsigned encode(char* buffer, unsigned length) override {
    attempts++;
    if (length < size) return 0;
    std::memset(buffer, 'p', size);
    return size;
  }

  unsigned size;
  int attempts = 0;
};

TEST_F(Messages, StartWithoutABuffer) {
  EXPECT_EQ(handler.encodeBuffer, nullptr);
  EXPECT_EQ(handler.encodeBufferSize, 1024U);
}

TEST_F(Messages, OpenAndCloseAreTheDatagramHandlers) {
  veskMessageHandler other;
  const int socket = other.open(5140);
  EXPECT_EQ(socket, other.socket);
  EXPECT_EQ(system.bound.back(), 5140);
  EXPECT_EQ(other.close(), 1);
  EXPECT_EQ(other.close(), 0);
}

TEST_F(Messages, SendPutsTheEncodedPDUOnTheNetwork) {
  EXPECT_EQ(handler.send(&peer, &request), 0);
  ASSERT_EQ(system.sent.size(), 1U);
  EXPECT_EQ(system.sent[0].bytes,
            raw("0001 0000 0001 0000 00000010 00000000") + kRemoveRequest);
}

TEST_F(Messages, BufferDoublesUntilThePDUFitsAndStaysThatLarge) {
  SizedPDU large(3000);
  EXPECT_EQ(handler.send(&peer, &large), 0);
  EXPECT_EQ(large.attempts, 3);
  EXPECT_EQ(handler.encodeBufferSize, 4096U);
  const char* buffer = handler.encodeBuffer;
  EXPECT_EQ(handler.send(&peer, &request), 0);
  EXPECT_EQ(handler.encodeBufferSize, 4096U);
  EXPECT_EQ(handler.encodeBuffer, buffer);
}

TEST_F(Messages, PDUThatFillsTheBufferNeedsNoLargerOne) {
  SizedPDU full(1024);
  EXPECT_EQ(handler.send(&peer, &full), 0);
  EXPECT_EQ(handler.encodeBufferSize, 1024U);
  SizedPDU more(1025);
  EXPECT_EQ(handler.send(&peer, &more), 0);
  EXPECT_EQ(handler.encodeBufferSize, 2048U);
}

TEST_F(Messages, LargestMessageStillGoesOut) {
  system.recording = false;
  SizedPDU largest(65535U * 1456U);
  EXPECT_EQ(handler.send(&peer, &largest), 0);
  EXPECT_EQ(system.count(Call::kSend), 65535U);
}

TEST_F(Messages, MessageOfMoreThan65535FragmentsIsANetworkError) {
  SizedPDU large(65535U * 1456U + 1);
  EXPECT_EQ(handler.send(&peer, &large), 10);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(system.count(Call::kSend), 0U);
}

TEST_F(Messages, PDUThatNeverEncodesIsAnErrorAndGivesItsRoomBack) {
  veskGetPDU nothing(oid, nullptr);
  EXPECT_EQ(handler.send(&peer, &nothing), 11);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(handler.encodeBufferSize, 1024U);
  EXPECT_TRUE(system.sent.empty());
  EXPECT_EQ(handler.nextMessageId, 0);
  EXPECT_EQ(handler.send(&peer, &request), 0);
}

TEST_F(Messages, PDUWithAnAddressOfNoKnownFamilyIsAnError) {
  veskAddress address;
  address.family = 9;
  veskList list;
  list.append(&address);
  veskGetPDU get(oid, &list);
  EXPECT_EQ(handler.send(&peer, &get), 11);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(Messages, BufferOfTheLargestSizeIsTriedOnce) {
  SizedPDU large(3000);
  EXPECT_EQ(handler.send(&peer, &large), 0);
  SizedPDU endless(4294967295U);
  EXPECT_EQ(handler.send(&peer, &endless), 11);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(endless.attempts, 16);  // 4096 doubled up to 128 MiB
  EXPECT_EQ(handler.encodeBufferSize, 4096U);
}

TEST_F(Messages, SizeOfZeroStillLeadsToABuffer) {
  handler.encodeBufferSize = 0;
  EXPECT_EQ(handler.send(&peer, &request), 0);
  EXPECT_EQ(handler.encodeBufferSize, 1024U);
}

TEST_F(Messages, WithoutMemoryForTheFirstBufferSendFails) {
  system.failNext(Call::kAllocate, ENOMEM);
  EXPECT_EQ(handler.send(&peer, &request), 11);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(handler.encodeBuffer, nullptr);
  EXPECT_EQ(handler.encodeBufferSize, 1024U);
  EXPECT_EQ(handler.send(&peer, &request), 0);
}

TEST_F(Messages, WithoutMemoryForALargerBufferNoBufferIsLeft) {
  system.failNext(Call::kAllocate, ENOMEM, 1, 1);
  SizedPDU large(3000);
  EXPECT_EQ(handler.send(&peer, &large), 11);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(handler.encodeBuffer, nullptr);
  EXPECT_EQ(handler.encodeBufferSize, 2048U);
  EXPECT_EQ(handler.send(&peer, &large), 0);
  EXPECT_EQ(handler.encodeBufferSize, 4096U);
}

TEST_F(Messages, SendThatTheNetworkRefusesIsANetworkError) {
  system.failNext(Call::kSend, ENETUNREACH);
  EXPECT_EQ(handler.send(&peer, &request), 10);
  EXPECT_EQ(errno, ENETUNREACH);
}

TEST_F(Messages, RecvHandsOverThePDUAndTellsTheSender) {
  arrive(kRemoveRequest);
  EXPECT_EQ(recv(), 0);
  ASSERT_NE(pdu, nullptr);
  EXPECT_EQ(pdu->tag, 30);
  EXPECT_EQ(pdu->requestId.value, 5U);
  auto* remove = dynamic_cast<veskRemovePDU*>(pdu);
  ASSERT_NE(remove, nullptr);
  EXPECT_TRUE(remove->oid == oid);
  EXPECT_TRUE(fake::same(from, peer));
}

TEST_F(Messages, RecvTakesNoSenderAsWell) {
  arrive(kRemoveResponse);
  EXPECT_EQ(handler.recv(nullptr, &pdu), 0);
  EXPECT_NE(pdu, nullptr);
}

TEST_F(Messages, RecvOfAFragmentLeavesThePDUPointerAsItWas) {
  arrive(kRemoveRequest + pattern(2000));
  veskPDU* const before = &request;
  veskPDU* given = before;
  EXPECT_EQ(handler.recv(&from, &given), 0);
  EXPECT_EQ(given, before);
  EXPECT_EQ(handler.recv(&from, &given), 0);
  EXPECT_NE(given, before);
  veskType::destroyDecoded(given);
}

TEST_F(Messages, KeepsIgnoringWhatFollowsThePDU) {
  arrive(kRemoveResponse + "trailing");
  EXPECT_EQ(recv(), 0);
  EXPECT_NE(pdu, nullptr);
}

TEST_F(Messages, RefusedDatagramIsANetworkErrorAndLeavesThePointer) {
  for (const std::string& bytes :
       {std::string(10, 'x'), fragment(1, 1, 0, 5, 0, "abcde", 2),
        fragment(1, 1, 0, 5, 0, ""), fragment(1, 1, 0, 5, 0, "abc"),
        fragment(1, 2, 2, 2000, 0, "abc"), fragment(1, 2, 0, 2000, 0, "")}) {
    system.deliver(peer, handler.socket, bytes);
    veskPDU* given = &request;
    EXPECT_EQ(handler.recv(&from, &given), 10);
    EXPECT_EQ(given, &request);
    EXPECT_EQ(system.queued(handler.socket), 0U);
  }
}

TEST_F(Messages, StaleErrnoDoesNotHideARefusedDatagram) {
  system.deliver(peer, handler.socket, "short");
  errno = ENODATA;
  EXPECT_EQ(recv(), 10);
  EXPECT_EQ(errno, EMSGSIZE);
}

TEST_F(Messages, BufferThatAReassemblyHoldsIsNotFreed) {
  const std::string message = kRemoveResponse + pattern(1600);
  system.deliver(peer, handler.socket, fragments(1, message)[0]);
  EXPECT_EQ(recv(), 0);
  // A header without data of the same message: *data is set, and not ours.
  system.deliver(peer, handler.socket,
                 fragment(1, 2, 1, message.size(), 1456, ""));
  EXPECT_EQ(recv(), 10);
  EXPECT_EQ(errno, EMSGSIZE);
  system.deliver(peer, handler.socket, fragments(1, message)[1]);
  EXPECT_EQ(recv(), 0);
  EXPECT_NE(pdu, nullptr);
}

TEST_F(Messages, MessageOfNoBytesThatCompletesByFailedReadsIsFreed) {
  system.deliver(peer, handler.socket, fragment(1, 2, 0, 0, 0, "x"));
  system.deliver(peer, handler.socket, fragment(1, 2, 1, 0, 0, "x"));
  system.failNext(Call::kReceive, EIO);
  EXPECT_EQ(recv(), 0);  // marks fragment 0, which stays queued
  EXPECT_EQ(recv(), 10);
  system.failNext(Call::kReceive, EIO);
  EXPECT_EQ(recv(), 10);  // complete: 0 bytes long
  EXPECT_EQ(handler.reassemblyList.count, 0U);
}

TEST_F(Messages, WithoutMemoryTheMessageStaysQueued) {
  arrive(kRemoveResponse);
  system.failNext(Call::kAllocate, ENOMEM);
  EXPECT_EQ(recv(), 10);
  EXPECT_EQ(recv(), 0);
  EXPECT_NE(pdu, nullptr);
}

TEST_F(Messages, WithoutMemoryTwiceTheMessageIsPassedOver) {
  arrive(kRemoveResponse);
  arrive(kRemoveRequest);
  system.failNext(Call::kAllocate, ENOMEM, 2);
  EXPECT_EQ(recv(), 10);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(recv(), 10);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(recv(), 0);
  ASSERT_NE(pdu, nullptr);
  EXPECT_EQ(pdu->tag, 30);
}

TEST_F(Messages, ShortageOfMemoryStopsNobodyForGood) {
  for (unsigned id = 0; id < 200; ++id) {
    const unsigned count = id % 2 == 0 ? 65535 : 1;
    const unsigned long total = id % 2 == 0 ? 65535UL * 1456 : 65491;
    system.deliver(peer, handler.socket, fragment(id, count, 0, total, 0, "x"));
  }
  system.failNext(Call::kAllocate, ENOMEM, 1000);
  for (int i = 0; i < 300; ++i) EXPECT_EQ(recv(), 10);
  EXPECT_EQ(system.queued(handler.socket), 0U);
}

struct NoPDU {
  const char* name;
  const char* bytes;
};

class NoPDUs : public Messages, public ::testing::WithParamInterface<NoPDU> {};

TEST_P(NoPDUs, AreDestroyedAndReportedAsUndecodable) {
  arrive(raw(GetParam().bytes));
  veskPDU* given = &request;
  EXPECT_EQ(handler.recv(&from, &given), 11);
  EXPECT_EQ(errno, EBADMSG);
  EXPECT_EQ(given, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, NoPDUs,
    ::testing::Values(
        NoPDU{"NullValue", "00"}, NoPDU{"Integer", "03 01 05"},
        NoPDU{"Text", "09 43 01 03 61 62 63"},
        NoPDU{"ListWithItems", "80 43 01 02 03 01 05 09 43 01 01 61"},
        NoPDU{"ListInAList", "80 43 01 01 80 43 01 01 09 43 01 01 61"},
        NoPDU{"ListCutShort", "80 43 01 02 09 43 01 01 61"},
        NoPDU{"UnknownTag", "FF"}, NoPDU{"PlainPDU", "1B 03 00 43 00 0A 00"},
        NoPDU{"PlainResponse", "24 03 00 43 00 0A 00 80 43 00"},
        NoPDU{"PDUCutInItsHeader", "2B 03 00 43"},
        NoPDU{"PDUCutInItsList",
              "1F 03 00 43 00 0A 00 0A 00 80 43 01 02"
              "09 43 01 01 61"},
        NoPDU{"PDUWithAnUnknownElement",
              "1F 03 00 43 00 0A 00 0A 00 80 43 01 02 09 43 01 01 61 FF"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Messages, DestructorFreesBufferAndIncompleteMessages) {
  veskMessageHandler other;
  const int socket = other.open(0);
  system.deliver(peer, socket, fragments(1, pattern(2000))[0]);
  veskPDU* none = nullptr;
  EXPECT_EQ(other.recv(nullptr, &none), 0);
  EXPECT_EQ(other.send(&peer, &request), 0);
  // The leak check sees whether it does.
}

TEST_F(Messages, TravelFromHandlerToHandler) {
  veskMessageHandler server;
  server.open(5135);
  const sockaddr_in to = system.addressOf(server.socket);
  veskList list;
  veskString text(pattern(5000).c_str(), 5000);
  list.append(&text);
  veskSetPDU set(oid, &list);
  set.status = veskInt(7);
  EXPECT_EQ(handler.send(&to, &set), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(server.recv(&from, &pdu), 0);
  auto* arrived = dynamic_cast<veskSetPDU*>(pdu);
  ASSERT_NE(arrived, nullptr);
  EXPECT_EQ(arrived->status.value, 7);
  ASSERT_EQ(arrived->list->count, 1U);
  EXPECT_EQ(arrived->list->at(0)->compare(text), 0);
}

}  // namespace
