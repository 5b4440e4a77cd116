// flood ATTACK ARGUMENT...
//
// What a stranger may try against a server on 127.0.0.1, for floods.bats. Every
// address of 127.0.0.0/8 is this machine's, so that any of them can be forged.
// Each attack prints what came of it.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

constexpr const char* kVictim = "127.1.0.1";
constexpr int kReceiveBuffer = 8 << 20;

sockaddr_in endpoint(const char* host, unsigned port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(static_cast<std::uint16_t>(port));
  inet_pton(AF_INET, host, &result.sin_addr);
  return result;
}

sockaddr_in server(unsigned port = ostrel::kObjectServerPort) {
  return endpoint("127.0.0.1", port);
}

std::string fragment(unsigned id, unsigned count, unsigned number,
                     std::uint32_t total, const std::string& data) {
  const std::uint16_t shorts[] = {htons(1),
                                  htons(static_cast<std::uint16_t>(id)),
                                  htons(static_cast<std::uint16_t>(count)),
                                  htons(static_cast<std::uint16_t>(number))};
  const std::uint32_t longs[] = {htonl(total),
                                 htonl(number * ostrel::kFragmentData)};
  std::string result(reinterpret_cast<const char*>(shorts), sizeof shorts);
  result.append(reinterpret_cast<const char*>(longs), sizeof longs);
  return result + data;
}

// A request that is short, as one datagram.
std::string request(veskPDU& pdu, unsigned id) {
  pdu.requestId.value = id;
  std::string bytes(ostrel::kFragmentData, '\0');
  bytes.resize(pdu.encode(bytes.data(), static_cast<unsigned>(bytes.size())));
  return fragment(id, 1, 0, static_cast<std::uint32_t>(bytes.size()), bytes);
}

std::string verifyRequest(unsigned id) {
  veskOid host("59.1.0.1");
  veskVerifyPDU pdu(host);
  return request(pdu, id);
}

std::string getRequest(const char* object, unsigned id) {
  veskOid oid(object);
  veskList all;
  veskGetPDU pdu(oid, &all);
  return request(pdu, id);
}

std::string setRequest(const char* object, unsigned id) {
  veskOid oid(object);
  const std::string text(1000, 'x');
  veskList one;
  veskAtAppendAttr(&one, "59.200.1", new veskString(text.c_str()));
  veskSetPDU pdu(oid, &one);
  const std::string bytes = request(pdu, id);
  one.clear(1);
  return bytes;
}

class Socket {
 public:
  explicit Socket(const char* host, unsigned port = 0)
      : fd_(socket(AF_INET, SOCK_DGRAM, 0)) {
    const int on = 1;
    setsockopt(fd_, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer,
               sizeof kReceiveBuffer);
    const sockaddr_in local = endpoint(host, port);
    if (bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
      std::perror("bind");
  }
  ~Socket() { close(fd_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void send(const std::string& datagram, const sockaddr_in& to = server()) {
    sendto(fd_, datagram.data(), datagram.size(), 0,
           reinterpret_cast<const sockaddr*>(&to), sizeof to);
  }

  // The same from another address of this machine.
  void sendAs(in_addr from, const std::string& datagram) {
    sockaddr_in to = server();
    iovec part = {const_cast<char*>(datagram.data()), datagram.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info = {};
    info.ipi_spec_dst = from;
    std::memcpy(CMSG_DATA(header), &info, sizeof info);
    sendmsg(fd_, &message, 0);
  }

  bool waitFor(std::chrono::milliseconds time) {
    pollfd ready = {fd_, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(time.count())) == 1;
  }

  // Takes what is there. Returns the number of datagrams.
  unsigned drain() {
    unsigned count = 0;
    for (; take(); ++count) {
    }
    return count;
  }

  // The most datagrams and bytes (of messages) that came in one second.
  struct Most {
    std::size_t datagrams = 0;
    std::size_t bytes = 0;
  };
  Most most() const {
    Most result;
    std::size_t first = 0;
    std::size_t bytes = 0;
    for (std::size_t last = 0; last < arrived_.size(); ++last) {
      bytes += arrived_[last].bytes;
      while (arrived_[last].at - arrived_[first].at >= 1.0)
        bytes -= arrived_[first++].bytes;
      result.datagrams = std::max(result.datagrams, last - first + 1);
      result.bytes = std::max(result.bytes, bytes);
    }
    return result;
  }

 private:
  struct Arrival {
    double at;  // as the system says
    std::size_t bytes;
  };

  bool take() {
    char bytes[2048];
    iovec part = {bytes, sizeof bytes};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(timespec))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t got = recvmsg(fd_, &message, MSG_DONTWAIT);
    if (got < 0) return false;
    timespec at = {};
    std::memcpy(&at, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof at);
    arrived_.push_back(
        {static_cast<double>(at.tv_sec) + static_cast<double>(at.tv_nsec) / 1e9,
         static_cast<std::size_t>(got) - ostrel::kFragmentHeader});
    return true;
  }

  int fd_;
  std::deque<Arrival> arrived_;
};

using Words = std::vector<const char*>;

void report(const Socket& victim) {
  std::printf("datagrams %zu\nbytes %zu\n", victim.most().datagrams,
              victim.most().bytes);
}

// Repeats something for so many seconds.
void repeat(double seconds, const std::function<void()>& round) {
  const auto end = Clock::now() + Seconds(seconds);
  while (Clock::now() < end) round();
}

// Asks in the victim's name, and in the names of ever more others between, so
// that a table of senders overflows.
void others(const Words& words) {
  Socket victim(kVictim);
  Socket crowd("0.0.0.0");
  unsigned id = 0;
  std::uint32_t sender = 0x7f020000;
  repeat(std::atof(words[0]), [&] {
    for (int i = 0; i < 300; ++i) victim.send(verifyRequest(id++));
    for (int i = 0; i < 4200; ++i) {
      crowd.sendAs({htonl(sender++)}, verifyRequest(id++));
      // No faster than the server reads.
      if (i % 20 == 0) usleep(500);
    }
    sender = 0x7f020000 + sender % 20000;
    victim.drain();
    crowd.drain();
  });
  victim.drain();
  report(victim);
}

// Opens messages from many ports, so many a second, and never completes them.
void openings(const Words& words) {
  // More than the messages that a server keeps.
  constexpr int kPorts = 1500;
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  std::deque<Socket> strangers;
  for (int i = 0; i < kPorts; ++i) strangers.emplace_back(words[0]);
  std::puts("ready");
  std::fflush(stdout);
  const double perSecond = std::atof(words[1]);
  // Short ones, so that they do not fill the server's socket alone.
  const std::string data(1, 's');
  unsigned id = 0;
  const auto begin = Clock::now();
  repeat(std::atof(words[2]), [&] {
    const double due = Seconds(Clock::now() - begin).count() * perSecond;
    for (; id < due; ++id)
      strangers[id % kPorts].send(fragment(id, 2, 0, 2000, data));
    usleep(1000);
  });
  std::printf("openings %u\n", id);
}

// Asks for an object in the victim's name, as often as it can.
void answers(const Words& words) {
  Socket victim(kVictim);
  unsigned id = 0;
  repeat(std::atof(words[1]), [&] {
    victim.send(getRequest(words[0], id++));
    usleep(200);
    victim.drain();
  });
  victim.drain();
  report(victim);
}

// Changes an object as often as it can; a victim is registered at a port.
void events(const Words& words) {
  Socket victim(kVictim, static_cast<unsigned>(std::atoi(words[1])));
  Socket writer("127.0.0.3");
  unsigned id = 0;
  repeat(std::atof(words[2]), [&] {
    writer.send(setRequest(words[0], id++));
    usleep(200);
    writer.drain();
    victim.drain();
  });
  usleep(100000);
  victim.drain();
  report(victim);
}

// Sends so many MiB of messages that lack a fragment to a port.
void incomplete(const Words& words) {
  const auto to = server(static_cast<unsigned>(std::atoi(words[0])));
  const unsigned mebibytes = static_cast<unsigned>(std::atoi(words[1]));
  const auto total = static_cast<std::uint32_t>(std::atoi(words[2]));
  const unsigned count =
      (total + ostrel::kFragmentData - 1) / ostrel::kFragmentData;
  const std::string data(ostrel::kFragmentData, 's');
  Socket stranger("127.0.0.9");
  std::size_t sent = 0;
  for (unsigned id = 0; sent < mebibytes * (std::size_t{1} << 20); ++id) {
    for (unsigned i = 0; i + 1 < count; ++i) {
      stranger.send(fragment(id, count, i, total, data), to);
      sent += data.size();
      if (sent % (100 * data.size()) == 0) usleep(1000);
    }
  }
  std::printf("bytes %zu\n", sent);
}

// Has the server send a long answer to eight ports, and ends it meanwhile.
void end(const Words& words) {
  const auto pid = static_cast<pid_t>(std::atoi(words[1]));
  std::deque<Socket> clients;
  for (int i = 0; i < 8; ++i)
    clients.emplace_back(i % 2 == 0 ? "127.0.0.3" : "127.0.0.4");
  for (Socket& client : clients) client.send(getRequest(words[0], 1));
  for (Socket& client : clients) client.waitFor(1s);
  usleep(50000);
  pollfd process = {static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), POLLIN,
                    0};
  const auto begin = Clock::now();
  kill(pid, SIGTERM);
  const bool ended = poll(&process, 1, 5000) == 1;
  const Seconds took = Clock::now() - begin;
  unsigned got = 0;
  for (Socket& client : clients) got += client.drain();
  std::printf("milliseconds %.0f\ndatagrams %u\n",
              ended ? took.count() * 1000 : 9999, got);
}

// Asks short questions while a long answer is on its way.
void beside(const Words& words) {
  Socket reader("127.0.0.3");
  Socket client("127.0.0.4");
  reader.send(getRequest(words[0], 1));
  reader.waitFor(1s);
  double worst = 0;
  unsigned lost = 0;
  for (unsigned id = 0; id < 40; ++id) {
    const auto begin = Clock::now();
    client.send(verifyRequest(id));
    lost += client.waitFor(1s) ? 0U : 1U;
    worst = std::max(worst, Seconds(Clock::now() - begin).count() * 1000);
    client.drain();
    usleep(5000);
  }
  const unsigned before = reader.drain();
  while (reader.waitFor(300ms)) reader.drain();
  std::printf("milliseconds %.0f\nlost %u\nbefore %u\nafter %zu\n", worst, lost,
              before, reader.most().datagrams);
}

const std::map<std::string, void (*)(const Words&)> kAttacks = {
    {"answers", answers}, {"beside", beside},         {"end", end},
    {"events", events},   {"incomplete", incomplete}, {"openings", openings},
    {"others", others}};

}  // namespace

int main(int count, char** texts) {
  if (count < 2) return 2;
  const auto attack = kAttacks.find(texts[1]);
  if (attack == kAttacks.end()) return 2;
  Words words(texts + 2, texts + count);
  attack->second(words);
  return 0;
}
