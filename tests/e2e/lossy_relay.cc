// lossy_relay LOST
// lossy_relay LOST% DOUBLED%
//
// Stands between clients and an object server: takes requests at
// 127.0.0.1:5135 and hands them to 127.0.0.2:5135. With one number it serves
// one client and loses the first LOST answers to each request, so that they are
// sent again. With two it serves many, and loses and doubles so many in a
// hundred datagrams, on both ways.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>

namespace {

constexpr std::size_t kLargestDatagram = 65536;

extern "C" void end(int) { _exit(0); }

sockaddr_in endpoint(const char* host, unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, host, &address.sin_addr);
  return address;
}

int openAt(const char* host, unsigned short port) {
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in address = endpoint(host, port);
  if (socket < 0 || bind(socket, reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) != 0)
    std::exit(1);
  return socket;
}

std::string receive(int socket, sockaddr_in* from) {
  std::string bytes(kLargestDatagram, '\0');
  socklen_t length = sizeof *from;
  const ssize_t size = recvfrom(socket, bytes.data(), bytes.size(), 0,
                                reinterpret_cast<sockaddr*>(from), &length);
  bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return bytes;
}

void sendTo(int socket, const sockaddr_in& to, const std::string& bytes) {
  sendto(socket, bytes.data(), bytes.size(), 0,
         reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

// How often each datagram is handed on: not at all, once or twice.
class Chance {
 public:
  Chance(int lost, int doubled) : lost_(lost), doubled_(doubled) {}

  int times() {
    if (draw() < lost_) return 0;
    return draw() < doubled_ ? 2 : 1;
  }

 private:
  int draw() { return std::uniform_int_distribution<int>(0, 99)(source_); }

  int lost_;
  int doubled_;
  std::mt19937 source_{10};
};

// Each client has a socket toward the server, so that the server can tell them
// apart, and answers find back.
void relayMany(int front, Chance chance) {
  const sockaddr_in server = endpoint("127.0.0.2", ostrel::kObjectServerPort);
  std::map<std::pair<std::uint32_t, std::uint16_t>, std::size_t> known;
  std::vector<sockaddr_in> clients(1);
  std::vector<pollfd> ends = {{front, POLLIN, 0}};
  while (true) {
    poll(ends.data(), ends.size(), -1);
    for (std::size_t i = ends.size() - 1; i > 0; --i) {
      if (ends[i].revents == 0) continue;
      sockaddr_in from = {};
      const std::string answer = receive(ends[i].fd, &from);
      for (int left = chance.times(); left > 0; --left)
        sendTo(front, clients[i], answer);
    }
    if (ends[0].revents == 0) continue;
    sockaddr_in from = {};
    const std::string request = receive(front, &from);
    const auto [client, isNew] =
        known.try_emplace({from.sin_addr.s_addr, from.sin_port}, ends.size());
    if (isNew) {
      ends.push_back({openAt("127.0.0.1", 0), POLLIN, 0});
      clients.push_back(from);
    }
    for (int left = chance.times(); left > 0; --left)
      sendTo(ends[client->second].fd, server, request);
  }
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGTERM, end);
  const int lost = argc > 1 ? std::atoi(argv[1]) : 0;
  const int front = openAt("127.0.0.1", ostrel::kObjectServerPort);
  if (argc > 2) {
    std::puts("ready");
    std::fflush(stdout);
    relayMany(front, {lost, std::atoi(argv[2])});
  }
  // One client at a time: what comes back goes to whoever asked last.
  const int back = openAt("127.0.0.1", 0);
  const sockaddr_in server = endpoint("127.0.0.2", ostrel::kObjectServerPort);
  std::puts("ready");
  std::fflush(stdout);
  sockaddr_in client = {};
  std::map<std::string, int> answers;  // to each request
  std::string asked;
  while (true) {
    pollfd ends[] = {{front, POLLIN, 0}, {back, POLLIN, 0}};
    poll(ends, 2, -1);
    if (ends[0].revents != 0) {
      const std::string request = receive(front, &client);
      // Retransmissions differ in the datagram's header alone.
      asked = request.size() > ostrel::kFragmentHeader
                  ? request.substr(ostrel::kFragmentHeader)
                  : "";
      sendTo(back, server, request);
    }
    if (ends[1].revents != 0) {
      sockaddr_in from = {};
      const std::string answer = receive(back, &from);
      if (answers[asked]++ >= lost) sendTo(front, client, answer);
    }
  }
}
