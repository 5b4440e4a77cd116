// The client services over real sockets and real multicast, in a network
// namespace of its own: what the system does, where the in-memory network could
// only repeat what its author believes. The servers are written from bytes.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskEvent.h>
#include <ostrel/veskQuery.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/bytes.h"
#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using ostrel::test::textOf;
using ::testing::SizeIs;

constexpr int kNoError = 0;
constexpr int kNetworkError = 10;

#define VALUE " 80 43 01 01 17 0B 00 01 03 01 05 "

sockaddr_in endpoint(const char* address, unsigned short port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  EXPECT_EQ(::inet_pton(AF_INET, address, &result.sin_addr), 1);
  return result;
}

// A server in a thread of its own: answers each request with the next of its
// answers; an empty one is silence.
class Server {
 public:
  Server(const char* address, unsigned short port,
         std::vector<std::string> answers)
      : socket_(::socket(AF_INET, SOCK_DGRAM, 0)),
        answers_(std::move(answers)) {
    const sockaddr_in name = endpoint(address, port);
    EXPECT_EQ(
        ::bind(socket_, reinterpret_cast<const sockaddr*>(&name), sizeof name),
        0)
        << std::strerror(errno);
  }
  ~Server() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    ::close(socket_);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void join(const char* group) {
    ip_mreq membership = {};
    membership.imr_multiaddr = endpoint(group, 0).sin_addr;
    membership.imr_interface = endpoint("127.0.0.1", 0).sin_addr;
    EXPECT_EQ(::setsockopt(socket_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership,
                           sizeof membership),
              0)
        << std::strerror(errno);
  }
  void start() {
    thread_ = std::thread([this] { serve(); });
  }

  // Sends a message of the server's own.
  void send(const sockaddr_in& to, const std::string& message) {
    for (const std::string& bytes :
         fake::fragments(1, fake::raw(message.c_str()))) {
      ::sendto(socket_, bytes.data(), bytes.size(), 0,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
  }

  std::vector<fake::Request> requests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }

 private:
  void serve() {
    while (!stop_) {
      pollfd readable = {socket_, POLLIN, 0};
      if (::poll(&readable, 1, 20) <= 0) continue;
      std::string bytes(65536, '\0');
      sockaddr_in from = {};
      socklen_t size = sizeof from;
      const ssize_t got = ::recvfrom(socket_, bytes.data(), bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&from), &size);
      // The requests of these tests are short: one fragment each.
      if (got <= static_cast<ssize_t>(fake::kHeader)) continue;
      answer(
          from,
          bytes.substr(0, static_cast<std::size_t>(got)).substr(fake::kHeader));
    }
  }

  void answer(const sockaddr_in& from, const std::string& pdu) {
    const fake::Request request = {from, fake::digits(pdu),
                                   fake::requestId(pdu), 0};
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request);
    if (requests_.size() > answers_.size()) return;
    const std::string& next = answers_[requests_.size() - 1];
    if (!next.empty()) send(from, fake::withId(next, request));
  }

  int socket_;
  std::vector<std::string> answers_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
  std::mutex mutex_;
  std::vector<fake::Request> requests_;
};

class Loopback : public ::testing::Test {
 protected:
  Loopback() {
    handler.currentAccess = "59.110.1.1";
    handler.currentAccess.id = static_cast<long>(::geteuid());
    const char* const names[] = {"59.6.1", nullptr};
    veskMakeAttrList(names, &attrs);
  }
  ~Loopback() override {
    attrs.clear(1);
    handler.principalCache.clear(1);
  }

  int get() { return handler.get(&address, object, attrs, nullptr); }

  veskQueryHandler handler;
  veskAddress address{"127.0.0.1"};
  veskOid object{"59.6.0.1"};
  veskList attrs;
};

TEST_F(Loopback, GetMakesARoundTrip) {
  Server server("127.0.0.1", fake::kObjectPort, {"27" SUCCESS NONE VALUE});
  server.start();
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(attrs), "59.6.1 = 5");
  ASSERT_THAT(server.requests(), SizeIs(1));
  EXPECT_EQ(server.requests()[0].pdu,
            "1F 03 00 43 00 0A 01 01 3B 01 6E 01 01 01 01 "
            "0A 01 01 3B 01 06 00 01 01 "
            "80 43 01 01 17 0B 01 01 3B 01 06 01 01 00");
}

TEST_F(Loopback, GetTakesAnAnswerOfManyFragments) {
  std::string answer =
      "27" SUCCESS NONE " 80 43 01 01 17 0B 00 01 09 43 02 75 30";
  for (int i = 0; i < 30000; ++i) answer += " 78";
  Server server("127.0.0.1", fake::kObjectPort, {answer});
  server.start();
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(*attrs.at<veskAttribute>(0)->value),
            std::string(30000, 'x'));
}

TEST_F(Loopback, GetIsSentAgainUntilItIsAnswered) {
  handler.transactionHandler->initialTimeout = 1;
  Server server("127.0.0.1", fake::kObjectPort, {"", "27" SUCCESS NONE VALUE});
  server.start();
  EXPECT_EQ(get(), kNoError);
  ASSERT_THAT(server.requests(), SizeIs(2));
  EXPECT_EQ(server.requests()[0].pdu, server.requests()[1].pdu);
}

TEST_F(Loopback, GetGivesUpWithoutAServer) {
  handler.transactionHandler->initialTimeout = 1;
  handler.transactionHandler->retries = 0;
  EXPECT_EQ(get(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Loopback, ThePrincipalOfTheUserIsLookedUp) {
  handler.currentAccess = "";
  Server server("127.0.0.1", fake::kObjectPort,
                {"29" SUCCESS NONE " 80 43 01 01 0A 01 01 3B 01 6E 00 01 09",
                 "27" SUCCESS NONE " 80 43 01 01 0A 01 01 3B 01 6E 01 01 01 02",
                 "2B" SUCCESS});
  server.start();
  EXPECT_EQ(handler.remove(&address, object), kNoError);
  EXPECT_EQ(textOf(handler.currentAccess), "59.110.1.2");
  EXPECT_THAT(server.requests(), SizeIs(3));
}

TEST_F(Loopback, ADirectoryServerIsFoundByMulticast) {
  Server server(
      "0.0.0.0", fake::kDirectoryPort,
      {"2F" SUCCESS NONE NONE NONE,
       "2F" SUCCESS NONE NONE " 80 43 01 01 0A 01 01 3B 01 06 00 01 01"});
  server.join("224.0.1.2");
  server.start();
  veskList results;
  veskList list2;
  veskAddress answeredBy;
  EXPECT_EQ(handler.DSsearch(nullptr, object, attrs, results, list2,
                             &answeredBy, nullptr, nullptr),
            kNoError);
  EXPECT_EQ(textOf(results), "59.6.0.1");
  EXPECT_EQ(answeredBy.family, 2);
  ASSERT_THAT(server.requests(), SizeIs(2));
  EXPECT_EQ(server.requests()[0].pdu,
            "2E 03 00 43 00 0A 00 0A 00 80 43 00 80 43 00");
  results.clear(1);
}

TEST(LoopbackEvents, AreRegisteredReceivedRenewedAndUnregistered) {
  Server server("127.0.0.1", fake::kObjectPort,
                {"25" SUCCESS NONE " 0A 01 01 3B 01 06 00 01 03",
                 "28" SUCCESS NONE, "2B" SUCCESS});
  server.start();
  veskEventHandler handler;
  handler.myHost = "127.0.0.1";
  handler.currentAccess = "59.110.1.1";
  handler.currentAccess.id = static_cast<long>(::geteuid());
  ASSERT_GE(handler.open(), 0);
  veskOid object("59.7.0.1");
  veskAid wanted("59.7.5");
  veskOid registration;
  ASSERT_EQ(handler.reg(object, wanted, &registration, nullptr, nullptr),
            kNoError);
  EXPECT_EQ(textOf(registration), "59.6.0.3");

  // The port is the last member of the registration.
  const std::string request = server.requests()[0].pdu;
  const std::string member =
      fake::raw(request.substr(request.size() - 8).c_str());
  const auto port = static_cast<unsigned short>(fake::numberAt(member, 1, 2));
  const sockaddr_in listener = endpoint("127.0.0.1", port);
  server.send(listener,
              "22 03 00 43 00 0A 00 0A 01 01 3B 01 07 00 01 01 "
              "0B 01 01 3B 01 07 01 05 80 43 01 01 03 01 2A");
  server.send(listener,
              "22 03 00 43 00 0A 00 0A 01 01 3B 01 06 00 01 03 "
              "0B 01 01 3B 01 06 01 06 80 43 01 01 0C 02 03 E8");

  veskAddress from;
  veskOid oid;
  veskAid event;
  veskList args;
  EXPECT_EQ(handler.receive(&from, &oid, &event, &args), kNoError);
  EXPECT_EQ(textOf(event), "59.7.5");
  EXPECT_EQ(textOf(oid), "59.7.0.1");
  EXPECT_EQ(textOf(from), "127.0.0.1");
  EXPECT_EQ(textOf(args), "42");
  EXPECT_EQ(handler.receive(&from, &oid, &event, &args), kNoError);
  EXPECT_EQ(textOf(event), "Invalid");
  EXPECT_EQ(handler.unreg(registration, nullptr), kNoError);

  const std::vector<fake::Request> requests = server.requests();
  ASSERT_THAT(requests, SizeIs(3));
  EXPECT_EQ(requests[1].pdu.substr(0, 2), "20");
  EXPECT_EQ(requests[1].pdu.substr(requests[1].pdu.size() - 11), "0C 02 11 F8");
  EXPECT_EQ(requests[2].pdu.substr(0, 2), "1E");
  args.clear(1);
}

#if !defined(__SANITIZE_ADDRESS__)

// Sends a message of 95 MB, a get response to request 99 that brings so many
// null values, to a handler that waits for request 0, with room for little more
// than those bytes. Returns 0 when it was dropped as an answer that nobody
// waits for, and the one that is awaited taken.
int dropLargestAnswer() {
  constexpr rlim_t kRoom = 200 * 1024 * 1024;
  constexpr unsigned kCount = 65535;
  constexpr unsigned kFragment = 1456;
  constexpr unsigned long kTotal = 1UL * kCount * kFragment;
  const rlimit limit = {kRoom, kRoom};
  if (::setrlimit(RLIMIT_AS, &limit) != 0) return 2;
  veskTransactionHandler handler;
  const int socket = handler.open();
  sockaddr_in name = endpoint("127.0.0.1", 0);
  socklen_t size = sizeof name;
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
  name.sin_addr = endpoint("127.0.0.1", 0).sin_addr;
  const int server = ::socket(AF_INET, SOCK_DGRAM, 0);
  const auto send = [&](const std::string& bytes) {
    ::sendto(server, bytes.data(), bytes.size(), 0,
             reinterpret_cast<const sockaddr*>(&name), sizeof name);
  };
  veskOid object("59.6.0.1");
  veskRemovePDU request(object);
  const sockaddr_in nobody = endpoint("127.0.0.1", fake::kObjectPort);
  if (handler.send(&nobody, &request) != kNoError) return 3;

  veskPDU* pdu = nullptr;
  int code = -1;
  std::string head = fake::raw("27 03 00 43 01 63 0A 00 80 43 00 80 43 04");
  fake::appendNumber(head, kTotal - head.size() - 4, 4);
  head.resize(kFragment);
  const std::string nulls(kFragment, '\0');
  for (unsigned i = 0; i < kCount; ++i) {
    send(fake::fragment(1, kCount, i, kTotal, 1UL * i * kFragment,
                        i == 0 ? head : nulls));
    code = handler.recv(nullptr, &pdu);
    if (code != kNoError || pdu != nullptr) return 4;
  }
  send(fake::fragments(2, fake::raw("2B 03 00 43 00 0A 00"))[0]);
  code = handler.recv(nullptr, &pdu);
  return code == kNoError && pdu != nullptr ? 0 : 5;
}

TEST(LoopbackRequests, AnswerThatNobodyWaitsForCostsItsBytesAlone) {
  EXPECT_EXIT(::_exit(dropLargestAnswer()), ::testing::ExitedWithCode(0), "");
}

#endif

}  // namespace
