// load fill COUNT          makes objects of the class 59.200.0.0
// load sets SECONDS MANY   sets attributes of the first of them, with so many
//                          requests outstanding; prints how many in a second
// load beside SEARCHES     starts searches that find nothing, and verifies an
//                          object one time after the other until all searches
//                          are answered; prints the number of verifies, and in
//                          ms the median and the longest of what they took, and
//                          what a search took
//
// Talks to the object server at 127.0.0.1. What is lost is asked again.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kPatience = 3000;  // milliseconds until what was lost is missed

// A socket with message ids of its own. Requests and answers fit a datagram.
class Peer {
 public:
  Peer() : socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in server = {};
    server.sin_family = AF_INET;
    server.sin_port = htons(ostrel::kObjectServerPort);
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&server), sizeof server) !=
        0)
      throw std::runtime_error("cannot connect");
  }
  ~Peer() { close(socket_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  int descriptor() const { return socket_; }

  void send(veskPDU& request, unsigned requestId) {
    request.requestId.value = requestId;
    unsigned char datagram[ostrel::kFragmentHeader + ostrel::kFragmentData] =
        {};
    const unsigned length = request.encode(
        reinterpret_cast<char*>(datagram) + ostrel::kFragmentHeader,
        ostrel::kFragmentData);
    const std::uint16_t id = messageId_++;
    const unsigned fields[] = {ostrel::kFragmentVersion, id, 1, 0, length >> 16,
                               length & 0xFFFF};
    std::size_t at = 0;
    for (const unsigned field : fields) {
      datagram[at++] = static_cast<unsigned char>(field >> 8);
      datagram[at++] = static_cast<unsigned char>(field & 0xFF);
    }
    if (::send(socket_, datagram, ostrel::kFragmentHeader + length, 0) < 0)
      throw std::runtime_error("cannot send");
  }

  // Whether an answer came within so many milliseconds.
  bool receive(int milliseconds) {
    pollfd ready = {socket_, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) <= 0) return false;
    char datagram[ostrel::kFragmentHeader + ostrel::kFragmentData];
    return recv(socket_, datagram, sizeof datagram, 0) > 0;
  }

 private:
  int socket_;
  std::uint16_t messageId_ = 0;
};

// Asks without a pause, until `more` says no. Returns how many were answered.
template <class More, class Ask>
int askMany(int outstanding, More more, Ask ask) {
  Peer peer;
  int asked = 0;
  int answered = 0;
  while (more(asked) || answered < asked) {
    for (; more(asked) && asked - answered < outstanding; ++asked)
      ask(peer, asked);
    if (!peer.receive(kPatience)) throw std::runtime_error("no answer");
    ++answered;
  }
  return answered;
}

int fill(int count) {
  constexpr int kOutstanding = 64;
  veskOid classOid("59.200.0.0");
  const int made = askMany(
      kOutstanding, [&](int asked) { return asked < count; },
      [&](Peer& peer, int i) {
        veskInt number(i);
        const std::string text = "the object " + std::to_string(i);
        veskString name(text.c_str());
        veskList attributes;
        veskAppendAttr(&attributes, "59.200.1", &number);
        veskAppendAttr(&attributes, "59.200.2", &name);
        veskCreatePDU request(classOid, &attributes);
        peer.send(request, static_cast<unsigned>(i));
        attributes.clear(1);
      });
  return made == count ? 0 : 1;
}

int sets(int seconds, int outstanding) {
  const auto start = Clock::now();
  const auto end = start + std::chrono::seconds(seconds);
  const int answered = askMany(
      outstanding, [&](int) { return Clock::now() < end; },
      [&](Peer& peer, int i) {
        veskOid oid("59.200.0.0");
        oid.component[3] = static_cast<unsigned>(i % outstanding) + 1;
        veskInt number(i);
        veskList attributes;
        veskAppendAttr(&attributes, "59.200.1", &number);
        veskSetPDU request(oid, &attributes);
        peer.send(request, static_cast<unsigned>(i));
        attributes.clear(1);
      });
  const std::chrono::duration<double> passed = Clock::now() - start;
  std::printf("%.0f\n", answered / passed.count());
  return 0;
}

int beside(int count) {
  veskOid classOid("59.200.0.0");
  veskAid text("59.200.2");
  veskString absent("nobody is called that");
  veskList conditions;
  veskAttributeValueOp condition(&text, &absent, 8);
  conditions.append(&condition);
  veskSearchPDU search(classOid, &conditions, 1U);
  std::vector<std::unique_ptr<Peer>> searching;
  const auto start = Clock::now();
  for (int i = 0; i < count; ++i) {
    searching.push_back(std::make_unique<Peer>());
    searching.back()->send(search, 1);
  }
  Peer peer;
  veskOid oid("59.200.0.1");
  veskVerifyPDU verify(oid);
  std::vector<double> waits;
  while (!searching.empty()) {
    const auto sent = Clock::now();
    peer.send(verify, static_cast<unsigned>(waits.size()));
    if (!peer.receive(kPatience)) throw std::runtime_error("no answer");
    waits.push_back(Milliseconds(Clock::now() - sent).count());
    searching.erase(
        std::remove_if(searching.begin(), searching.end(),
                       [](const auto& each) { return each->receive(0); }),
        searching.end());
  }
  const Milliseconds passed = Clock::now() - start;
  std::sort(waits.begin(), waits.end());
  std::printf("%zu %.1f %.1f %.1f\n", waits.size(), waits[waits.size() / 2],
              waits.back(), passed.count() / count);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  const auto number = [&](int at) { return std::atoi(argv[at]); };
  try {
    if (command == "fill" && argc == 3) return fill(number(2));
    if (command == "sets" && argc == 4) return sets(number(2), number(3));
    if (command == "beside" && argc == 3) return beside(number(2));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "load: %s\n", error.what());
    return 1;
  }
  return 2;
}
