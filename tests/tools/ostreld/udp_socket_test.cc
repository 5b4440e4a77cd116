#include "net/udp_socket.h"

#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "net_test.h"

namespace ostrel::tools::server {
namespace {

using testing::HasSubstr;

class UdpSocketTest : public testing::Test {
 protected:
  UdpSocketTest() : server(loopbackAddress(), 0) {}

  // The next datagram's bytes, after it has come.
  std::string receive() {
    pollfd ready = {server.descriptor(), POLLIN, 0};
    if (!server.hasMore()) poll(&ready, 1, 1000);
    Datagram datagram;
    while (!server.receive(&datagram)) {
    }
    EXPECT_TRUE(sameEndpoint(datagram.from, client.address));
    return std::string(datagram.bytes);
  }

  UdpSocket server;
  Peer client;
};

TEST_F(UdpSocketTest, NeverWaits) {
  Datagram datagram;
  EXPECT_FALSE(server.receive(&datagram));
  EXPECT_FALSE(server.receive(&datagram));
}

TEST_F(UdpSocketTest, TakesDatagramsAsTheyAre) {
  client.sendRaw(server.address(), "question");
  EXPECT_EQ(receive(), "question");
  client.sendRaw(server.address(), "");
  EXPECT_EQ(receive(), "");
  const std::string longest(65507, 'x');
  client.sendRaw(server.address(), longest);
  EXPECT_EQ(receive(), longest);
}

TEST_F(UdpSocketTest, TakesManyWithOneLookAndSaysOnceThatItSawAll) {
  for (int i = 0; i < 20; ++i)
    client.sendRaw(server.address(), std::to_string(i));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(receive(), std::to_string(i));
  Datagram datagram;
  client.sendRaw(server.address(), "late");
  EXPECT_FALSE(server.hasMore());
  EXPECT_FALSE(server.receive(&datagram));
  EXPECT_TRUE(server.receive(&datagram));
}

TEST_F(UdpSocketTest, SendsWhatTheLibraryPutsTogether) {
  for (const std::size_t size : {1U, 1456U, 1457U, 27664U, 30000U}) {
    const std::string message(size, 'm');
    Parcel parcel = server.parcel(client.address, message);
    EXPECT_TRUE(server.send(&parcel, parcel.left()));
    EXPECT_EQ(parcel.left(), 0U);
    EXPECT_EQ(client.take(), message);
  }
}

TEST_F(UdpSocketTest, SendsNoMoreFragmentsThanIsSaid) {
  const std::string message(1456 * 30, 'm');
  Parcel parcel = server.parcel(client.address, message);
  EXPECT_TRUE(server.send(&parcel, 25));
  EXPECT_EQ(parcel.left(), 5U);
  EXPECT_EQ(client.drain(), 25U);
  EXPECT_TRUE(server.send(&parcel, 25));
  EXPECT_EQ(client.drain(), 5U);
}

TEST_F(UdpSocketTest, IdsBeginAnywhereAndCountUp) {
  const auto first = server.parcel(client.address, "m").id;
  for (unsigned i = 1; i <= 65536; ++i) {
    ASSERT_EQ(server.parcel(client.address, "m").id,
              static_cast<std::uint16_t>(first + i));
  }
  // Of ten sockets not all begin with the same.
  bool differs = false;
  for (int i = 0; i < 10; ++i) {
    UdpSocket other(loopbackAddress(), 0);
    differs = differs || other.parcel(client.address, "m").id != first;
  }
  EXPECT_TRUE(differs);
}

TEST_F(UdpSocketTest, AFailureHasItsCause) {
  Parcel parcel = server.parcel(endpoint(loopbackAddress(), 0), "message");
  EXPECT_FALSE(server.send(&parcel, 1));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(UdpSocket::isBusy(EINVAL));
  EXPECT_TRUE(UdpSocket::isBusy(EAGAIN));
  EXPECT_EQ(parcel.left(), 1U);
}

TEST_F(UdpSocketTest, SendsManyMessagesAndCountsThoseThatFail) {
  std::vector<Parcel> parcels;
  for (int i = 0; i < 50; ++i)
    parcels.push_back(server.parcel(client.address, "short"));
  parcels[3].to.sin_port = 0;
  parcels[49].to.sin_port = 0;
  parcels.push_back(server.parcel(client.address, std::string(3000, 'l')));
  EXPECT_EQ(server.sendAll(parcels), 2U);
  EXPECT_EQ(client.drain(), 48U + 3U);
}

TEST_F(UdpSocketTest, APortInUseIsSaidClearly) {
  try {
    UdpSocket second(loopbackAddress(), ntohs(server.address().sin_port));
    FAIL() << "opened twice";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("is in use"));
  }
}

TEST_F(UdpSocketTest, AnAddressOfAnotherMachineIsSaidClearly) {
  try {
    UdpSocket elsewhere(*parseAddress("192.0.2.7"), 0);
    FAIL() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("no address 192.0.2.7"));
  }
}

TEST_F(UdpSocketTest, ClosesItsDescriptor) {
  int descriptor = -1;
  {
    UdpSocket other(loopbackAddress(), 0);
    descriptor = other.descriptor();
  }
  EXPECT_EQ(close(descriptor), -1);
}

TEST_F(UdpSocketTest, KnowsThePortThatTheSystemChose) {
  EXPECT_EQ(server.address().sin_addr.s_addr, loopbackAddress().s_addr);
  EXPECT_NE(server.address().sin_port, 0);
}

}  // namespace
}  // namespace ostrel::tools::server
