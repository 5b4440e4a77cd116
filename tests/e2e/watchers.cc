// watchers COUNT HOST BYTES
//
// Makes an object of the class 59.200.0.0 with a text of so many bytes,
// registers COUNT times with the server on 127.0.0.1 for what is created there,
// to be sent to HOST, which is an address of this machine, and clones the
// object once. Prints
//
//   registered NUMBER refused NUMBER last CODE milliseconds NUMBER
//   datagrams NUMBER bytes NUMBER milliseconds NUMBER
//
// where the second line is what arrived within two seconds, and how long after
// the answer to the clone the last of it did.

#include <arpa/inet.h>
#include <ostrel/names.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// What arrives at a port, counted as it comes.
class Receiver {
 public:
  explicit Receiver(const char* host)
      : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, host, &address.sin_addr);
    socklen_t length = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_, plain, length) != 0 ||
        getsockname(socket_, plain, &length) != 0) {
      std::perror(host);
      std::exit(1);
    }
    // A burst is to be counted, not to be lost here.
    const int room = 64 << 20;
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
    port = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
  }
  ~Receiver() {
    ended_ = true;
    thread_.join();
    close(socket_);
  }

  unsigned short port = 0;
  std::atomic<long> datagrams{0};
  std::atomic<long> bytes{0};
  std::atomic<Clock::time_point> last{};

 private:
  void run() {
    char buffer[65536];
    while (!ended_) {
      pollfd ready = {socket_, POLLIN, 0};
      if (poll(&ready, 1, 100) <= 0) continue;
      bytes += recv(socket_, buffer, sizeof buffer, 0);
      ++datagrams;
      last = Clock::now();
    }
  }

  int socket_;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

double since(Clock::time_point start, Clock::time_point end = Clock::now()) {
  return Milliseconds(end - start).count();
}

void registerAll(veskQueryHandler& handler, veskAddress& server, long count,
                 const char* host, unsigned short portNumber) {
  veskOid watched("59.200.0.0"), registrations(ostrel::kRegistrationClass);
  veskAid event(ostrel::kEventCreated);
  veskAddress to(host);
  veskUnsignedShort port(portNumber);
  veskList attributes;
  veskAppendAttr(&attributes, ostrel::kRegistrationObject, &watched);
  veskAppendAttr(&attributes, ostrel::kRegistrationEvent, &event);
  veskAppendAttr(&attributes, ostrel::kRegistrationAddress, &to);
  veskAppendAttr(&attributes, ostrel::kRegistrationPort, &port);
  long made = 0;
  int last = 0;
  const auto start = Clock::now();
  for (long i = 0; i < count; ++i) {
    veskOid oid;
    veskList errors;
    last = handler.create(&server, registrations, attributes, oid, &errors);
    if (last == 0) ++made;
    errors.destroyDecodedElements();
  }
  std::printf("registered %ld refused %ld last %d milliseconds %.0f\n", made,
              count - made, last, since(start));
  attributes.clear(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  Receiver receiver(argv[2]);
  veskQueryHandler handler;
  veskAddress server("127.0.0.1");
  veskOid classOid("59.200.0.0"), object, copy;
  veskString text(std::string(std::strtoul(argv[3], nullptr, 10), 'x').c_str());
  veskList attributes, none, errors;
  veskAppendAttr(&attributes, "59.200.1", &text);
  int code = handler.create(&server, classOid, attributes, object, &errors);
  registerAll(handler, server, std::atol(argv[1]), argv[2], receiver.port);
  if (code == 0) code = handler.clone(&server, object, none, copy, &errors);
  const auto cloned = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const long datagrams = receiver.datagrams;
  std::printf("datagrams %ld bytes %ld milliseconds %.1f\n", datagrams,
              receiver.bytes.load(),
              datagrams == 0 ? 0 : since(cloned, receiver.last));
  attributes.clear(1);
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return code;
}
