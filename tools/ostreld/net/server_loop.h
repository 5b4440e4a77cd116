// What both servers do all day: wait for requests, signals and timers; take
// requests within the rate of each sender; send answers, long ones one at a
// time.

#ifndef OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H
#define OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "net/outbox.h"
#include "net/rate_limit.h"
#include "net/signals.h"
#include "net/udp_socket.h"
#include "support/counters.h"

namespace ostrel::tools::server {

constexpr int kMillisecondsPerSecond = 1000;

struct ServerOptions {
  in_addr listen = {};
  std::uint16_t port = 0;
  std::size_t longestRequest = 0;         // bytes
  std::size_t longestAnswer = 256 << 10;  // bytes
  unsigned requestsPerSecond = 0;         // for each sender; 0: no limit
};

class ServerLoop {
 public:
  using Time = std::chrono::steady_clock::time_point;

  virtual ~ServerLoop() = default;
  ServerLoop(const ServerLoop&) = delete;
  ServerLoop& operator=(const ServerLoop&) = delete;

  // Serves until a signal ends it. Returns the exit code.
  int run();

  sockaddr_in address() const { return socket_.address(); }

 protected:
  // At most so many datagrams are taken before signals and timers have their
  // turn.
  static constexpr int kBatch = 64;

  // Opens the socket. Throws std::runtime_error with a sentence for the user.
  explicit ServerLoop(const ServerOptions& options);

  // Takes a request and sends its answer, now or later.
  virtual void handle(Message& request, Time now) = 0;

  // All requests that had arrived were handled: what was put off until then is
  // done now.
  virtual void finishBatch(Time) {}

  // Goes on with requests that take longer than a turn, until then. Returns
  // whether there is more to do.
  virtual bool work(Time) { return false; }

  // Does what is due. Returns the milliseconds until there is something again.
  virtual int runTimers() = 0;

  // Takes what has come to a descriptor given to wakeFor().
  virtual void receive() {}

  // SIGHUP came.
  virtual void reload() {}

  // Sends an answer, at the cost of whom it goes to. An empty one is none.
  void answer(const sockaddr_in& to, std::string& bytes);

  UdpSocket& socket() { return socket_; }
  Counters& counters() { return counters_; }

  // Takes requests from another socket as well, which has to stay.
  void listenAlso(UdpSocket* socket) { sockets_.push_back(socket); }

  // Ends the wait when this descriptor can be read.
  void wakeFor(int descriptor) { descriptors_.push_back(descriptor); }

 private:
  void wait(int milliseconds);
  bool ended();
  bool takeRequests(UdpSocket& socket);

  // How long requests that take longer may keep others waiting.
  static constexpr std::chrono::milliseconds kTurn{5};

  Counters counters_;
  Signals signals_;
  UdpSocket socket_;
  RateLimit rate_;
  Outbox outbox_;
  std::vector<UdpSocket*> sockets_;
  std::vector<int> descriptors_;
  bool working_ = false;  // there is more for work() to do
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H
