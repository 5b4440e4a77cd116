// The CPU time of a client for each request, with so many outstanding: the
// asynchronous client beside plain loops over send, poll, peek and recv, and
// beside a bare loop of sendmmsg and recvmmsg that matches answers by an index
// in the request id. All in one process and in turns, medians of the rounds.
//
//   async_round_trips [ROUNDS [REQUESTS]]
//
// The servers are another process on a thousand loopback addresses. Run it in a
// network namespace of its own.

#include <netinet/in.h>
#include <ostrel/client.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

namespace {

constexpr unsigned kServers = 1000;
constexpr std::size_t kBatch = 64;
constexpr std::size_t kHeader = 16;

// A verify without a principal, as one fragment: its id is 4 bytes at kIdAt.
constexpr unsigned char kVerify[] = {
    0, 1,    0, 1, 0, 1, 0, 0,    0, 0,    0, 19, 0,  0, 0, 0, 0x2c, 3,
    0, 0x43, 4, 0, 0, 0, 0, 0x0a, 0, 0x0a, 1, 1,  59, 1, 7, 0, 1,    1};
constexpr std::size_t kIdAt = kHeader + 5;

sockaddr_in addressOf(unsigned server, std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(0x7f010001U + server % kServers);
  return address;
}

struct Slots {
  mmsghdr messages[kBatch];
  iovec parts[kBatch];
  sockaddr_in names[kBatch];
  char bytes[kBatch][256];
  char control[kBatch][64];

  void prepare(std::size_t i, std::size_t size) {
    parts[i] = {bytes[i], size};
    messages[i] = {};
    messages[i].msg_hdr.msg_name = &names[i];
    messages[i].msg_hdr.msg_namelen = sizeof names[i];
    messages[i].msg_hdr.msg_iov = &parts[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
};

// Answers verifies for ever, from the address that was asked.
[[noreturn]] void serve(int socket) {
  static Slots slots;
  for (;;) {
    for (std::size_t i = 0; i < kBatch; ++i) {
      slots.prepare(i, sizeof slots.bytes[i]);
      slots.messages[i].msg_hdr.msg_control = slots.control[i];
      slots.messages[i].msg_hdr.msg_controllen = sizeof slots.control[i];
    }
    const int got =
        ::recvmmsg(socket, slots.messages, kBatch, MSG_WAITFORONE, nullptr);
    for (int i = 0; i < got; ++i) {
      auto* bytes = reinterpret_cast<unsigned char*>(slots.bytes[i]);
      const std::size_t size = kHeader + 6 + bytes[kHeader + 4];
      bytes[kHeader] = 0x2d;
      bytes[size - 1 + 1] = 0;  // the principal: none
      bytes[size - 1] = 0x0a;
      bytes[11] = static_cast<unsigned char>(size + 1 - kHeader);
      slots.parts[i].iov_len = size + 1;
      for (cmsghdr* at = CMSG_FIRSTHDR(&slots.messages[i].msg_hdr);
           at != nullptr; at = CMSG_NXTHDR(&slots.messages[i].msg_hdr, at)) {
        auto* info = reinterpret_cast<in_pktinfo*>(CMSG_DATA(at));
        info->ipi_spec_dst = info->ipi_addr;
        info->ipi_ifindex = 0;
      }
    }
    for (int done = 0; done < got;) {
      const int sent = ::sendmmsg(socket, slots.messages + done,
                                  static_cast<unsigned>(got - done), 0);
      done += sent > 0 ? sent : 1;
    }
  }
}

int newSocket() {
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const int bytes = 1024 * 1024;
  ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  sockaddr_in any = {};
  any.sin_family = AF_INET;
  ::bind(socket, reinterpret_cast<sockaddr*>(&any), sizeof any);
  return socket;
}

double cpuMicroseconds() {
  rusage usage = {};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto of = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e6 +
           static_cast<double>(time.tv_usec);
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

void fill(char* to, std::uint32_t id) {
  std::memcpy(to, kVerify, sizeof kVerify);
  id |= 0x80000000;  // four bytes, always
  for (std::size_t i = 0; i < 4; ++i)
    to[kIdAt + i] = static_cast<char>(id >> (24 - 8 * i) & 0xff);
}

// What one system does: `total` requests, `outstanding` at a time.
using System = std::function<void(std::uint16_t port, unsigned outstanding,
                                  unsigned total)>;

// Without a loss: a window of requests, datagram by datagram.
void plainCalls(std::uint16_t port, unsigned outstanding, unsigned total) {
  static const int socket = newSocket();
  unsigned sent = 0;
  unsigned received = 0;
  while (received < total) {
    while (sent < total && sent - received < std::min(outstanding, 500U)) {
      char bytes[sizeof kVerify];
      fill(bytes, sent);
      const sockaddr_in to = addressOf(sent, port);
      ::sendto(socket, bytes, sizeof bytes, 0,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
      sent++;
    }
    pollfd readable = {socket, POLLIN, 0};
    if (::poll(&readable, 1, 1000) != 1) {
      std::fprintf(stderr, "plain calls: %u lost\n", sent - received);
      return;
    }
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    char bytes[2048];
    ::recvfrom(socket, bytes, kHeader, MSG_PEEK,
               reinterpret_cast<sockaddr*>(&from), &size);
    if (::recv(socket, bytes, sizeof bytes, MSG_DONTWAIT) > 0) received++;
  }
}

void bareBatches(std::uint16_t port, unsigned outstanding, unsigned total) {
  static const int socket = newSocket();
  static Slots out;
  static Slots in;
  unsigned sent = 0;
  unsigned received = 0;
  while (received < total) {
    unsigned room = std::min(outstanding, 500U) - (sent - received);
    room = std::min({room, total - sent, static_cast<unsigned>(kBatch)});
    for (unsigned i = 0; i < room; ++i) {
      out.prepare(i, sizeof kVerify);
      fill(out.bytes[i], sent + i);
      out.names[i] = addressOf(sent + i, port);
    }
    if (room > 0) {
      const int done = ::sendmmsg(socket, out.messages, room, 0);
      if (done > 0) sent += static_cast<unsigned>(done);
      if (sent < total && sent - received < std::min(outstanding, 500U))
        continue;
    }
    pollfd readable = {socket, POLLIN, 0};
    if (::poll(&readable, 1, 1000) != 1) {
      std::fprintf(stderr, "bare batches: %u lost\n", sent - received);
      return;
    }
    for (std::size_t i = 0; i < kBatch; ++i) in.prepare(i, sizeof in.bytes[i]);
    const int got =
        ::recvmmsg(socket, in.messages, kBatch, MSG_DONTWAIT, nullptr);
    if (got > 0) received += static_cast<unsigned>(got);
  }
}

std::uint64_t retransmissions = 0;
std::uint64_t kernelDrops = 0;

void asynchronous(std::uint16_t port, unsigned outstanding, unsigned total) {
  using namespace ostrel;
  static Client client;
  struct State {
    std::uint16_t port;
    unsigned total;
    unsigned asked = 0;
    unsigned failed = 0;
    RequestOptions options;

    void ask() {
      if (asked == total) return;
      client.verify(
          Endpoint(0x7f010001U + asked++ % kServers, port), Oid(59, 1, 7, 0),
          [this](Result<Done>&& done) {
            if (!done) failed++;
            ask();
          },
          options);
    }
  } state{port, total, 0, 0, {}};
  state.options.principal = Oid();
  for (unsigned i = 0; i < outstanding; ++i) state.ask();
  client.run();
  if (state.failed > 0)
    std::fprintf(stderr, "asynchronous: %u failed\n", state.failed);
  client.eachCounter([](const char* name, std::uint64_t count) {
    if (std::strcmp(name, "retransmissions") == 0) retransmissions = count;
    if (std::strcmp(name, "kernel_dropped") == 0) kernelDrops = count;
  });
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 9;
  const unsigned total =
      argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 20000;
  const int socket = newSocket();
  const int on = 1;
  ::setsockopt(socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
  sockaddr_in name = {};
  socklen_t size = sizeof name;
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
  const pid_t servers = ::fork();
  if (servers == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(socket);
  }
  ::close(socket);

  const std::uint16_t port = ntohs(name.sin_port);
  const struct {
    const char* name;
    System run;
  } systems[] = {{"send, poll, peek, read", plainCalls},
                 {"sendmmsg, recvmmsg", bareBatches},
                 {"ostrel::Client", asynchronous}};
  constexpr std::size_t kSystems = std::size(systems);
  std::printf("CPU microseconds for each request, medians of %d rounds\n",
              rounds);
  for (const unsigned outstanding : {1U, 10U, 100U, 1000U, 10000U}) {
    std::vector<double> times[kSystems];
    for (int round = 0; round < rounds; ++round) {
      for (std::size_t i = 0; i < kSystems; ++i) {
        const double before = cpuMicroseconds();
        systems[i].run(port, outstanding, total);
        times[i].push_back((cpuMicroseconds() - before) / total);
      }
    }
    std::printf("%6u outstanding:", outstanding);
    for (std::size_t i = 0; i < kSystems; ++i)
      std::printf("  %s %.2f", systems[i].name, median(times[i]));
    std::printf("\n");
  }
  std::printf("retransmissions %llu, kernel drops %llu\n",
              static_cast<unsigned long long>(retransmissions),
              static_cast<unsigned long long>(kernelDrops));
  ::kill(servers, SIGKILL);
  return EXIT_SUCCESS;
}
