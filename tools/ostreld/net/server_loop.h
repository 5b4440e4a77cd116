// What both servers do all day: wait for requests, signals and timers; take
// requests within the rate of each sender; send answers and events within what
// their addresses may get.
//
// All happens in turns. Time and signals are looked at once in each, and a turn
// is short: kBatch requests, or kLongestBatch, then up to kTurn of work() and a
// few bursts of long answers.

#ifndef OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H
#define OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H

#include <netinet/in.h>
#include <poll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "net/event_outbox.h"
#include "net/message.h"
#include "net/outbox.h"
#include "net/rate_limit.h"
#include "net/reassembly.h"
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

  // For each address, in a second; 0: no limit.
  std::uint32_t requestsPerSecond = 0;
  std::uint32_t answerBytesPerSecond = 4000000;
  std::uint32_t eventBytesPerSecond = 1000000;
};

class Watchdog;

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
  // At most so many datagrams are taken in a turn, and none after so long.
  static constexpr int kBatch = 64;
  static constexpr std::chrono::milliseconds kLongestBatch{20};

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

  // From now on an address may cost this much; what it has used of a limit that
  // changes is forgotten. Changes nothing when it throws std::bad_alloc.
  void setRates(const ServerOptions& options);

  // Sends an answer, at the cost of whom it goes to. An empty one is none.
  void answer(const sockaddr_in& to, std::string& bytes);

  // Sends an event, at the cost of whom it goes to and of who registered.
  void sendEvent(const sockaddr_in& to, in_addr askedBy,
                 const std::string& bytes);

  UdpSocket& socket() { return socket_; }
  Counters& counters() { return counters_; }

  // Takes requests from another socket as well, which has to stay.
  void listenAlso(UdpSocket* socket) { sockets_.push_back(socket); }

  // Ends the wait when this descriptor can be read.
  void wakeFor(int descriptor) { descriptors_.push_back(descriptor); }

 private:
  // What stands in ready_, in this order: the signals, the sockets, and the
  // descriptors of wakeFor().
  bool turn(Watchdog* watchdog);
  void listDescriptors();
  void flush();
  void wait(int milliseconds);
  bool isReady(std::size_t at) const { return ready_[at].revents != 0; }
  bool ended();
  void takeRequests(UdpSocket& socket);
  void takeAll();

  // How long requests that take longer may keep others waiting.
  static constexpr std::chrono::milliseconds kTurn{5};

  Counters counters_;
  Signals signals_;
  UdpSocket socket_;
  RateLimit rate_;
  RateLimit answerBytes_;
  RateLimit eventBytes_;
  Reassembly reassembly_;
  Outbox outbox_;
  EventOutbox events_;
  std::vector<UdpSocket*> sockets_;
  std::vector<int> descriptors_;
  std::vector<pollfd> ready_;
  Time now_{};            // of the present turn
  bool working_ = false;  // there is more for work() to do
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_SERVER_LOOP_H
