// The asynchronous client on real sockets: its descriptor in loops of programs,
// posters, closed ports, and a thousand servers. Runs in a network namespace of
// its own.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <ostrel/client.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "support/fragments.h"

namespace {

using namespace ostrel;

RequestOptions nobody() {
  RequestOptions options;
  options.principal = Oid();
  return options;
}

// A server in a thread of its own: it answers verifies on one port of all
// loopback addresses, from the address that was asked.
class Servers {
 public:
  explicit Servers(bool answering = true) : answering_(answering) {
    socket_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    socklen_t size = sizeof name;
    ::bind(socket_, reinterpret_cast<sockaddr*>(&name), sizeof name);
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&name), &size);
    port_ = ntohs(name.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~Servers() {
    stop_ = true;
    thread_.join();
    ::close(socket_);
  }
  std::uint16_t port() const { return port_; }

  // The server with this number.
  Endpoint at(unsigned n) const { return Endpoint(0x7f010000U + n + 1, port_); }

 private:
  void serve() {
    while (!stop_) {
      pollfd readable = {socket_, POLLIN, 0};
      if (::poll(&readable, 1, 10) <= 0) continue;
      char bytes[2048];
      char control[256];
      sockaddr_in from = {};
      iovec part = {bytes, sizeof bytes};
      msghdr message = {};
      message.msg_name = &from;
      message.msg_namelen = sizeof from;
      message.msg_iov = &part;
      message.msg_iovlen = 1;
      message.msg_control = control;
      message.msg_controllen = sizeof control;
      const ssize_t got = ::recvmsg(socket_, &message, 0);
      if (got < 16 + 10 || !answering_) continue;
      // A verify's answer is its header: tag, status, id, principal.
      const std::string request(bytes, static_cast<std::size_t>(got));
      const std::size_t idSize =
          2 + static_cast<unsigned char>(request[16 + 4]);
      const std::string pdu = fake::raw("2D 03 00") +
                              request.substr(16 + 3, idSize) +
                              fake::raw("0A 00");
      const std::string answer = fake::fragments(7, pdu).front();
      part = {const_cast<char*>(answer.data()), answer.size()};
      // The control part, which says to which address it came, is sent back.
      for (cmsghdr* at = CMSG_FIRSTHDR(&message); at != nullptr;
           at = CMSG_NXTHDR(&message, at)) {
        auto* info = reinterpret_cast<in_pktinfo*>(CMSG_DATA(at));
        info->ipi_spec_dst = info->ipi_addr;
        info->ipi_ifindex = 0;
      }
      ::sendmsg(socket_, &message, 0);
    }
  }

  bool answering_;
  int socket_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

std::uint64_t counter(const Client& client, const std::string& name) {
  std::uint64_t found = 0;
  client.eachCounter([&](const char* one, std::uint64_t count) {
    if (name == one) found = count;
  });
  return found;
}

TEST(AsyncLoopback, AThousandServersAnswer) {
  const Servers servers;
  Client client;
  unsigned answered = 0;
  for (unsigned n = 0; n < 10; ++n) {
    for (unsigned i = 0; i < 1000; ++i) {
      client.verify(
          servers.at(i), "59.7.0.1",
          [&](const Result<Done>& done) { answered += done ? 1U : 0U; },
          nobody());
    }
  }
  client.run();
  EXPECT_EQ(answered, 10000U);
  RecordProperty("kernel_dropped",
                 std::to_string(counter(client, "kernel_dropped")));
}

TEST(AsyncLoopback, AClosedPortFailsAtOnceAndHealthySendsAreMadeAgain) {
  const Servers servers;
  std::uint16_t closedPort = 0;
  {
    const Servers gone;
    closedPort = gone.port();
  }
  Client client;
  unsigned answered = 0;
  unsigned closed = 0;
  // The system reports fifty closed ports in a burst.
  for (unsigned i = 0; i < 40; ++i) {
    client.verify(
        Endpoint(0x7f020001U + i, closedPort), "59.7.0.1",
        [&](const Result<Done>& done) {
          closed += !done && done.error().kind() == Failure::portClosed;
        },
        nobody());
    client.verify(
        servers.at(0), "59.7.0.1",
        [&](const Result<Done>& done) { answered += done ? 1U : 0U; },
        nobody());
  }
  const auto began = std::chrono::steady_clock::now();
  client.run();
  EXPECT_EQ(answered, 40U);
  EXPECT_EQ(closed, 40U);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(2));
}

// Drives a client by its descriptor and poll alone.
void driveByPoll(Client& client) {
  while (client.outstanding() > 0) {
    pollfd readable = {client.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&readable, 1, 5000), 1);
    client.process(3);
  }
}

TEST(AsyncLoopback, ThePollOfAProgramDrivesItByOneDescriptor) {
  const Servers servers;
  Client client;
  const int descriptor = client.descriptor();
  ASSERT_GE(descriptor, 0);
  unsigned answered = 0;
  for (unsigned i = 0; i < 100; ++i) {
    client.verify(
        servers.at(i), "59.7.0.1",
        [&](const Result<Done>& done) { answered += done ? 1U : 0U; },
        nobody());
  }
  driveByPoll(client);
  EXPECT_EQ(answered, 100U);
  EXPECT_EQ(client.descriptor(), descriptor);
  // With nothing to do it is quiet.
  pollfd readable = {descriptor, POLLIN, 0};
  client.process();
  EXPECT_EQ(::poll(&readable, 1, 0), 0);
}

TEST(AsyncLoopback, TheDescriptorTellsTimes) {
  const Servers silent(false);
  Client client;
  RequestOptions options = nobody();
  options.firstWait = Millis(20);
  options.transmissions = 2;
  client.descriptor();
  bool ended = false;
  client.verify(
      silent.at(0), "59.7.0.1",
      [&](const Result<Done>& done) {
        ended = true;
        EXPECT_EQ(done.error().kind(), Failure::noAnswer);
      },
      options);
  const auto began = std::chrono::steady_clock::now();
  driveByPoll(client);
  EXPECT_TRUE(ended);
  EXPECT_GE(std::chrono::steady_clock::now() - began, Millis(59));
  EXPECT_EQ(counter(client, "retransmissions"), 1U);
}

TEST(AsyncLoopback, TheDescriptorFitsIntoAnotherEpoll) {
  const Servers servers;
  Client client;
  const int outer = ::epoll_create1(0);
  epoll_event event = {};
  event.events = EPOLLIN;
  ASSERT_EQ(::epoll_ctl(outer, EPOLL_CTL_ADD, client.descriptor(), &event), 0);
  auto request = client.verify(servers.at(0), "59.7.0.1", {}, nobody());
  while (!request.done()) {
    ASSERT_EQ(::epoll_wait(outer, &event, 1, 5000), 1);
    client.process();
  }
  EXPECT_TRUE(request.wait());
  ::close(outer);
}

TEST(AsyncLoopback, PostersHandOverWorkFromManyThreads) {
  const Servers servers;
  Client client;
  const Poster poster = client.poster();
  std::atomic<unsigned> answered{0};
  std::vector<std::thread> threads;
  // Keeps run() from ending before the work comes.
  auto waits = client.verify(
      Endpoint(0x7f030001U, servers.port()), "1.1", [](auto&&) {}, nobody());
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (unsigned i = 0; i < 50; ++i) {
        EXPECT_TRUE(poster.post([&, i] {
          client.verify(
              servers.at(i), "59.7.0.1",
              [&](const Result<Done>& done) {
                if (done && ++answered == 200) poster.stop();
              },
              nobody());
        }));
      }
    });
  }
  while (answered < 200) client.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(answered, 200U);
  waits.forget();
  client.close();
  auto alive = std::make_shared<int>(1);
  EXPECT_FALSE(poster.post([alive] {}));
  EXPECT_EQ(alive.use_count(), 1);
}

TEST(AsyncLoopback, APosterWakesALoopThatWaits) {
  const Servers silent(false);
  Client client;
  const Poster poster = client.poster();
  client.verify(
      silent.at(0), "59.7.0.1", [](auto&&) {}, nobody());
  std::thread other([poster] {
    std::this_thread::sleep_for(Millis(20));
    poster.stop();
  });
  const auto began = std::chrono::steady_clock::now();
  client.run();
  EXPECT_LT(std::chrono::steady_clock::now() - began, Millis(2000));
  EXPECT_EQ(client.outstanding(), 1U);
  other.join();
  // The descriptor tells posts as well.
  pollfd readable = {client.descriptor(), POLLIN, 0};
  client.process();
  while (::poll(&readable, 1, 0) == 1) client.process();
  bool done = false;
  EXPECT_TRUE(poster.post([&] { done = true; }));
  ASSERT_EQ(::poll(&readable, 1, 1000), 1);
  client.process();
  EXPECT_TRUE(done);
}

const Poster* signalled = nullptr;

TEST(AsyncLoopback, ASignalHandlerMayStopTheLoop) {
  const Servers silent(false);
  Client client;
  const Poster poster = client.poster();
  signalled = &poster;
  std::signal(SIGALRM, [](int) { signalled->stop(); });
  client.verify(
      silent.at(0), "59.7.0.1", [](auto&&) {}, nobody());
  ::ualarm(20000, 0);
  client.run();
  EXPECT_EQ(client.outstanding(), 1U);
  std::signal(SIGALRM, SIG_DFL);
}

TEST(AsyncLoopback, EachClientHasAPortOfItsOwnThatTheSystemPicks) {
  // Two clients that begin together do not share request ids either.
  const Servers servers;
  Client one;
  Client other;
  EXPECT_TRUE(one.verify(servers.at(0), "59.7.0.1", {}, nobody()).wait());
  EXPECT_TRUE(other.verify(servers.at(0), "59.7.0.1", {}, nobody()).wait());
}

}  // namespace
