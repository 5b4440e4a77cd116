// Requests of the directory to object servers: sends each, again while no
// answer comes, and gives up in the end. Takes answers from the servers that
// were asked and from nobody else: what a stranger sends is dropped before any
// of it is kept or decoded.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_ASKING_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_ASKING_H

#include <netinet/in.h>
#include <ostrel/veskPDU.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "common/owned.h"
#include "net/reassembly.h"
#include "net/udp_socket.h"
#include "support/counters.h"

namespace ostrel::tools::server {

// How long a silent server is waited for: so long at first, twice as long after
// each of so many repetitions.
struct Patience {
  std::chrono::milliseconds timeout{1000};
  int retries = 1;
};

class Asking {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // The socket and the counters have to outlive this object. A longer answer
  // than `longestAnswer` bytes is not taken.
  Asking(UdpSocket* socket, std::size_t longestAnswer, Counters* counters);

  // For requests from now on.
  void setPatience(Patience patience) { patience_ = patience; }

  // Numbers the request and sends it. Returns 0; or the code of its failure,
  // and then no answer is awaited.
  int ask(const sockaddr_in& server, veskPDU* request, Time now);

  // Takes one datagram, never waiting for one. Returns whether there was one.
  // When it completes an answer, *answer receives that, and the request has
  // ended.
  bool receive(Time now, Owned<veskPDU>* answer);

  // Asks again whom it is time to ask again. Returns the id of a request that
  // is given up, and has ended: call again.
  std::optional<std::uint32_t> tick(Time now);

  // When tick() has something to do; never, when nothing is awaited.
  std::optional<Time> nextDue() const;

 private:
  struct Question {
    sockaddr_in server;
    std::string bytes;
    Time due;
    std::chrono::milliseconds timeout;
    int retriesLeft;
  };

  bool send(const Question& question);
  bool isAwaited(const sockaddr_in& from) const;
  void end(std::uint32_t id);

  UdpSocket* socket_;
  Patience patience_;
  Counters* counters_;
  Reassembly reassembly_;
  std::uint32_t nextId_;
  std::unordered_map<std::uint32_t, Question> questions_;  // by request id
  std::set<std::pair<Time, std::uint32_t>> due_;
  std::unordered_map<std::uint64_t, std::size_t> awaited_;  // by endpoint
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_ASKING_H
