// Datagrams over real sockets on loopback: what the network sees and what the
// system gives back, where the in-memory network could only repeat what its
// author believes.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "base/platform.h"
#include "support/fragments.h"

namespace {

using fake::fragment;
using fake::fragments;
using fake::pattern;
namespace platform = ostrel::platform;

sockaddr_in loopback(unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A socket used with bare system calls.
class BareSocket {
 public:
  BareSocket() : descriptor(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address = loopback(0);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<sockaddr*>(&address),
                     sizeof address),
              0);
    socklen_t size = sizeof name;
    ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &size);
  }
  ~BareSocket() { ::close(descriptor); }
  BareSocket(const BareSocket&) = delete;
  BareSocket& operator=(const BareSocket&) = delete;

  void send(const sockaddr_in& to, const std::string& bytes) const {
    EXPECT_EQ(::sendto(descriptor, bytes.data(), bytes.size(), 0,
                       reinterpret_cast<const sockaddr*>(&to), sizeof to),
              static_cast<ssize_t>(bytes.size()));
  }
  std::string receive() const {
    std::string bytes(65536, '\0');
    const ssize_t got = ::recv(descriptor, bytes.data(), bytes.size(), 0);
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
  }

  int descriptor;
  sockaddr_in name = {};
};

class DatagramSocket : public ::testing::Test {
 protected:
  DatagramSocket() {
    EXPECT_GE(handler.open(0), 0);
    sockaddr_in own = {};
    EXPECT_EQ(platform::socketName(handler.socket, &own), 0);
    name = loopback(ntohs(own.sin_port));
  }
  ~DatagramSocket() override { handler.dropPartialMessages(); }

  // The message that the next datagrams complete.
  std::string receive() {
    void* data = nullptr;
    unsigned length = 0;
    while (length == 0) {
      length = handler.recv(&sender, &data);
      if (length == 0 && errno != ENODATA) return "";
    }
    std::string message(static_cast<char*>(data), length);
    std::free(data);
    return message;
  }

  bool readable() { return platform::waitReadable(handler.socket, 0, 0) == 1; }

  veskDatagramHandler handler;
  BareSocket peer;
  sockaddr_in name = {};
  sockaddr_in sender = {};
};

TEST_F(DatagramSocket, SendPutsTheseBytesOnTheNetwork) {
  std::string message = pattern(1459);
  handler.nextMessageId = 0x1234;
  ASSERT_EQ(handler.send(&peer.name, message.data(), 1459), 1);
  EXPECT_EQ(peer.receive(), fake::raw("0001 1234 0002 0000 000005B3 00000000") +
                                message.substr(0, 1456));
  EXPECT_EQ(peer.receive(), fake::raw("0001 1234 0002 0001 000005B3 000005B0") +
                                message.substr(1456));
}

TEST_F(DatagramSocket, RecvPutsFragmentsTogetherAndTellsTheSender) {
  const std::string message = pattern(3000);
  for (const std::string& bytes : fragments(7, message)) peer.send(name, bytes);
  EXPECT_EQ(receive(), message);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(&sender), sizeof sender),
            std::string(reinterpret_cast<char*>(&peer.name), sizeof sender));
}

TEST_F(DatagramSocket, TwoHandlersExchangeALongMessage) {
  veskDatagramHandler other;
  ASSERT_GE(other.open(0), 0);
  std::string message = pattern(19 * 1456);
  ASSERT_EQ(
      other.send(&name, message.data(), static_cast<unsigned>(message.size())),
      1);
  EXPECT_EQ(receive(), message);
}

TEST_F(DatagramSocket, RefusedDatagramsAreTakenOffTheSocket) {
  void* data = nullptr;
  for (const std::string& bytes :
       {std::string(), std::string(10, 'x'), fragment(1, 1, 0, 1, 0, "x", 2),
        fragment(1, 0, 0, 1, 0, "x"), fragment(1, 2, 2, 1500, 0, "x")}) {
    peer.send(name, bytes);
    ASSERT_TRUE(readable());
    EXPECT_EQ(handler.recv(nullptr, &data), 0U);
    EXPECT_NE(errno, ENODATA);
    EXPECT_FALSE(readable());
  }
  peer.send(name, fragments(1, "abc")[0]);
  EXPECT_EQ(receive(), "abc");
}

TEST_F(DatagramSocket, DataBeyondTheMessageIsCutOffByTheRead) {
  peer.send(name, fragment(1, 1, 0, 3, 0, "abcdef"));
  EXPECT_EQ(receive(), "abc");
  peer.send(name, fragment(1, 1, 0, 0, 0, "abcdef"));
  void* data = nullptr;
  EXPECT_EQ(handler.recv(nullptr, &data), 0U);
  EXPECT_EQ(errno, EMSGSIZE);
  std::free(data);
  EXPECT_FALSE(readable());
}

TEST_F(DatagramSocket, LargestDatagramArrives) {
  const std::string message = pattern(65491);
  peer.send(name, fragment(1, 1, 0, message.size(), 0, message));
  EXPECT_EQ(receive(), message);
}

TEST_F(DatagramSocket, PortThatIsTakenIsReported) {
  veskDatagramHandler other;
  EXPECT_EQ(other.open(ntohs(name.sin_port)), -1);
  EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(DatagramSocket, ClosedHandlerDoesNotCloseItsNumberAgain) {
  veskDatagramHandler other;
  const int number = other.open(0);
  EXPECT_EQ(other.close(), 1);
  const BareSocket taker;  // takes the number that has become free
  ASSERT_EQ(taker.descriptor, number);
  EXPECT_EQ(other.close(), 0);
  {
    veskDatagramHandler gone;
    gone.socket = -1;
  }
  EXPECT_EQ(::fcntl(taker.descriptor, F_GETFD) >= 0, true);
}

TEST_F(DatagramSocket, OpenLeavesAFileThatGotItsNumberAlone) {
  const int number = handler.socket;
  ::close(number);
  const int file = ::open("/dev/null", O_RDONLY);
  ASSERT_EQ(file, number);
  EXPECT_NE(handler.open(0), number);
  EXPECT_GE(::fcntl(file, F_GETFD), 0);
  ::close(file);
}

TEST_F(DatagramSocket, OpenAfterAForeignCloseKeepsTheNewSocketOpen) {
  ::close(handler.socket);
  ASSERT_GE(handler.open(0), 0);
  EXPECT_GE(::fcntl(handler.socket, F_GETFD), 0);
  EXPECT_EQ(handler.close(), 1);
}

// The signal finds the call waiting, or is sent again until it does.
TEST_F(DatagramSocket, SignalEndsABlockingRecvAndCostsNoDatagram) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before = {};
  ::sigaction(SIGUSR1, &action, &before);
  const pthread_t waiting = ::pthread_self();
  std::atomic<bool> ended{false};
  std::thread interrupter([&] {
    while (!ended) {
      ::pthread_kill(waiting, SIGUSR1);
      ::usleep(1000);
    }
  });
  void* data = nullptr;
  const unsigned length = handler.recv(nullptr, &data);
  const int cause = errno;
  ended = true;
  interrupter.join();
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(cause, EINTR);
  EXPECT_EQ(data, nullptr);
  peer.send(name, fragments(1, "abc")[0]);
  EXPECT_EQ(receive(), "abc");
  ::sigaction(SIGUSR1, &before, nullptr);
}

#if !defined(__SANITIZE_ADDRESS__)

// Serves 200 datagrams of 17 bytes with little memory, each the beginning of a
// long message, and then a message. Returns 0 when that arrives.
int serveWithLittleMemory(veskMessageHandler& handler, const BareSocket& peer,
                          const sockaddr_in& name) {
  constexpr rlim_t kLittle = 40 * 1024 * 1024;
  const rlimit limit = {kLittle, kLittle};
  if (::setrlimit(RLIMIT_AS, &limit) != 0) return 2;
  veskPDU* pdu = nullptr;
  for (unsigned id = 0; id < 200; ++id) {
    const unsigned long total = 1456UL * (id % 3 == 0 ? 65535 : 20000);
    const unsigned count = static_cast<unsigned>(total / 1456);
    peer.send(name, fragment(id, count, 1, total, 1456, "x"));
    handler.recv(nullptr, &pdu);
  }
  peer.send(name, fragments(1, fake::raw("2B 03 00 43 00 0A 00"))[0]);
  return handler.recv(nullptr, &pdu) == 0 && pdu != nullptr ? 0 : 1;
}

TEST_F(DatagramSocket, LittleMemoryAndLargeClaimsStopNoServer) {
  veskMessageHandler server;
  ASSERT_GE(server.open(0), 0);
  sockaddr_in own = {};
  EXPECT_EQ(platform::socketName(server.socket, &own), 0);
  own = loopback(ntohs(own.sin_port));
  EXPECT_EXIT(::_exit(serveWithLittleMemory(server, peer, own)),
              ::testing::ExitedWithCode(0), "");
}

#endif

}  // namespace
