// A hundred thousand requests over a network that loses, doubles and reorders:
// each must end in its own answer or be given up, and nothing may be left.

#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "base/platform.h"
#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fake::raw;

constexpr unsigned kRequests = 100000;
constexpr unsigned kOutstanding = 1000;
constexpr std::uint32_t kLongAnswers = 20;  // one in so many is long

// A get server that works on bytes: it answers with the identifier of the
// object asked for as the only value, before a long text now and then.
class EchoServer {
 public:
  void take(const fake::Peer& peer, const fake::Datagram& datagram) {
    const std::string request = assembler_.take(datagram);
    if (request.empty()) return;
    // 1F, status 03 00, request id 43 L..., principal 0A 00, object 0A 01...,
    // attributes 80 43 00.
    const std::size_t idSize = 2 + static_cast<unsigned char>(request.at(4));
    const std::string id = request.substr(3, idSize);
    const std::size_t object = 3 + idSize + 2;
    const std::string oid = request.substr(object, request.size() - object - 3);
    std::string answer = raw("27 03 00") + id + raw("0A 00 80 43 00");
    if (++answers_ % kLongAnswers == 0) {
      answer += raw("80 43 01 02") + oid + raw("09 43 02 0F A0") +
                fake::pattern(4000);
    } else {
      answer += raw("80 43 01 01") + oid;
    }
    fake::sendMessage(peer, datagram.from, answers_ & 0xffff, answer);
  }

 private:
  fake::Assembler assembler_;
  unsigned answers_ = 0;
};

struct Request {
  explicit Request(std::uint32_t number)
      : oid(makeOid(number)), pdu(oid, &attributes) {}
  static veskOid makeOid(std::uint32_t number) {
    veskOid oid("59.6.0.0");
    oid.component[2] = number / 1000 + 1;
    oid.component[3] = number % 1000;
    return oid;
  }

  veskOid oid;
  veskList attributes;
  veskGetPDU pdu;
};

TEST(TransportSoak, EveryRequestEndsInItsOwnAnswerOrIsGivenUp) {
  fake::Platform& system = fake::platform();
  system.reset();
  system.recording = false;
  system.policy = fake::lossy(1, 0.2, 0.1, 2 * fake::Platform::kSecond);
  EchoServer server;
  system.addPeer("192.0.2.1", 5135,
                 [&server](fake::Peer& peer, const fake::Datagram& datagram) {
                   server.take(peer, datagram);
                 });
  const sockaddr_in to = fake::endpoint("192.0.2.1", 5135);

  veskTransactionHandler handler;
  const int socket = handler.open();
  std::vector<std::unique_ptr<Request>> requests(kRequests);
  unsigned sent = 0;
  unsigned answered = 0;
  unsigned givenUp = 0;
  unsigned wrong = 0;
  auto end = [&requests](veskPDU* pdu) { requests[pdu->requestId.value] = {}; };

  while (answered + givenUp < kRequests) {
    while (sent < kRequests && sent - answered - givenUp < kOutstanding) {
      requests[sent] = std::make_unique<Request>(sent);
      ASSERT_EQ(handler.send(&to, &requests[sent]->pdu), 0);
      sent++;
    }
    long seconds = 0;
    int code = 0;
    veskPDU* pdu = nullptr;
    handler.tick(&seconds, &code, &pdu);
    if (pdu != nullptr) {
      ASSERT_EQ(code, 10);
      ASSERT_EQ(errno, ETIMEDOUT);
      ASSERT_EQ(pdu, &requests[pdu->requestId.value]->pdu);
      end(pdu);
      givenUp++;
      continue;
    }
    const int ready = ostrel::platform::waitReadable(socket, seconds, 0);
    ASSERT_GE(ready, 0);
    if (ready == 0) continue;
    ASSERT_EQ(handler.recv(nullptr, &pdu), 0);
    if (pdu == nullptr) continue;
    const auto* answer = dynamic_cast<veskGetRespPDU*>(pdu);
    ASSERT_NE(answer, nullptr);
    const Request* request = requests[pdu->requestId.value].get();
    auto* oid = answer->list->at<veskOid>(0);
    ASSERT_NE(request, nullptr);
    ASSERT_NE(oid, nullptr);
    veskOid expected(request->oid);
    if (!(*oid == expected)) wrong++;
    end(pdu);
    veskType::destroyDecoded(pdu);
    answered++;
  }

  EXPECT_EQ(wrong, 0U);
  EXPECT_EQ(handler.pending.count, 0U);
  EXPECT_EQ(answered + givenUp, kRequests);
  // Three rounds, each way with one loss in five: about 1 in 20 fails.
  EXPECT_GT(givenUp, kRequests / 100);
  EXPECT_LT(givenUp, kRequests / 10);
  RecordProperty("answered", static_cast<int>(answered));
  RecordProperty("givenUp", static_cast<int>(givenUp));

  // What is still on its way finds nobody waiting.
  while (ostrel::platform::waitReadable(socket, 60, 0) == 1) {
    veskPDU* pdu = nullptr;
    handler.recv(nullptr, &pdu);
    ASSERT_EQ(pdu, nullptr);
  }
}

}  // namespace
