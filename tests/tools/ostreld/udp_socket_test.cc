#include "net/udp_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/outbox.h"
#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::HasSubstr;

constexpr std::size_t kLongest = 5000;

class UdpSocketTest : public testing::Test {
 protected:
  UdpSocketTest() : server(local().sin_addr, 0, kLongest) {
    client.open(0);
    socklen_t length = sizeof to;
    getsockname(server.socket, reinterpret_cast<sockaddr*>(&to), &length);
  }

  void send(std::string bytes) {
    client.send(&to, bytes.data(), static_cast<unsigned>(bytes.size()));
    pollfd ready = {server.socket, POLLIN, 0};
    poll(&ready, 1, 1000);
  }

  void sendRaw(const std::string& datagram) {
    sendto(client.socket, datagram.data(), datagram.size(), 0,
           reinterpret_cast<const sockaddr*>(&to), sizeof to);
    pollfd ready = {server.socket, POLLIN, 0};
    poll(&ready, 1, 1000);
  }

  UdpSocket::Taken take() {
    Message taken;
    const auto result = server.take(&taken);
    if (result == UdpSocket::Taken::kMessage) {
      from = taken.from;
      id = taken.id;
      message = taken.bytes;
    }
    return result;
  }

  UdpSocket server;
  veskDatagramHandler client;
  sockaddr_in to = {};
  sockaddr_in from = {};
  std::uint16_t id = 0;
  std::string message;
};

TEST_F(UdpSocketTest, NeverWaits) {
  EXPECT_EQ(take(), UdpSocket::Taken::kNothing);
}

TEST_F(UdpSocketTest, TakesAMessageAndAnswersIt) {
  send("question");
  ASSERT_EQ(take(), UdpSocket::Taken::kMessage);
  EXPECT_EQ(message, "question");
  std::string answer = "answer";
  EXPECT_TRUE(server.sendTo(from, answer));
  void* data = nullptr;
  EXPECT_EQ(client.recv(nullptr, &data), answer.size());
  std::free(data);
}

TEST_F(UdpSocketTest, PutsFragmentsTogether) {
  const std::string longMessage(kLongest, 'x');
  send(longMessage);
  EXPECT_EQ(take(), UdpSocket::Taken::kPart);
  UdpSocket::Taken taken = UdpSocket::Taken::kPart;
  while (taken == UdpSocket::Taken::kPart) taken = take();
  ASSERT_EQ(taken, UdpSocket::Taken::kMessage);
  EXPECT_EQ(message, longMessage);
}

TEST_F(UdpSocketTest, KeepsNothingOfAMessageThatClaimsToBeTooLong) {
  send(std::string(kLongest + 1, 'x'));
  UdpSocket::Taken taken = UdpSocket::Taken::kPart;
  while (taken == UdpSocket::Taken::kPart) taken = take();
  EXPECT_EQ(taken, UdpSocket::Taken::kNothing);
  EXPECT_EQ(server.reassemblyList.count, 0U);
}

TEST_F(UdpSocketTest, DropsWhatIsNoFragment) {
  sendRaw("");
  EXPECT_EQ(take(), UdpSocket::Taken::kPart);
  sendRaw("short");
  EXPECT_EQ(take(), UdpSocket::Taken::kPart);
  sendRaw(std::string(16, '\0') + "of no version");
  EXPECT_EQ(take(), UdpSocket::Taken::kPart);
  EXPECT_EQ(take(), UdpSocket::Taken::kNothing);
}

TEST_F(UdpSocketTest, APortInUseIsSaidClearly) {
  try {
    UdpSocket second(local().sin_addr, ntohs(to.sin_port), kLongest);
    FAIL() << "opened twice";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("is in use"));
  }
}

TEST_F(UdpSocketTest, AnAddressOfAnotherMachineIsSaidClearly) {
  try {
    UdpSocket elsewhere(remote().sin_addr, 0, kLongest);
    FAIL() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("no address 192.0.2.7"));
  }
}

TEST_F(UdpSocketTest, ClosesItsDescriptor) {
  int descriptor = -1;
  {
    UdpSocket other(local().sin_addr, 0, kLongest);
    descriptor = other.socket;
  }
  EXPECT_EQ(close(descriptor), -1);
}

TEST_F(UdpSocketTest, LongAnswersWaitAndShortOnesDoNot) {
  sockaddr_in asker = {};
  socklen_t length = sizeof asker;
  getsockname(client.socket, reinterpret_cast<sockaddr*>(&asker), &length);
  asker.sin_addr = local().sin_addr;
  Outbox outbox(&server);
  std::string longAnswer(UdpSocket::kQuickMessage + 1, 'l');
  std::string shortAnswer = "s";
  outbox.send(asker, longAnswer);
  outbox.send(asker, shortAnswer);
  EXPECT_FALSE(outbox.empty());
  void* data = nullptr;
  EXPECT_EQ(client.recv(nullptr, &data), shortAnswer.size());
  std::free(data);
  outbox.sendNext();
  EXPECT_TRUE(outbox.empty());
  unsigned got = 0;
  while (got == 0) got = client.recv(nullptr, &data);
  EXPECT_EQ(got, UdpSocket::kQuickMessage + 1);
  std::free(data);
}

TEST_F(UdpSocketTest, LongAnswersThatWaitAreBounded) {
  Outbox outbox(&server);
  const auto send = [&](const char* host, char letter) {
    std::string answer(UdpSocket::kQuickMessage + 1, letter);
    outbox.send(addressOf(host, 9), answer);
  };
  for (const char letter : {'a', 'a', 'b', 'c', 'd', 'e', 'f'})
    send("127.0.0.1", letter);
  std::size_t sent = 0;
  for (; !outbox.empty(); ++sent) outbox.sendNext();
  EXPECT_EQ(sent, Outbox::kMostOfOne);
}

TEST_F(UdpSocketTest, KnowsThePortThatTheSystemChose) {
  EXPECT_EQ(server.address().sin_port, to.sin_port);
}

}  // namespace
}  // namespace ostrel::tools::server
