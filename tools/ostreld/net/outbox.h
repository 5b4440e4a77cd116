// Answers on their way out of a server, long ones one at a time.

#ifndef OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H
#define OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H

#include <netinet/in.h>

#include <cstddef>
#include <deque>
#include <string>

#include "net/udp_socket.h"

namespace ostrel::tools::server {

// A long answer keeps the server from all else while it is sent, so that long
// ones wait here, and one of them is sent in a turn.
class Outbox {
 public:
  // How many wait, in all and for one address; more are dropped as if lost.
  static constexpr std::size_t kMost = 64;
  static constexpr std::size_t kMostOfOne = 4;

  // The socket has to outlive this object.
  explicit Outbox(UdpSocket* socket) : socket_(socket) {}

  // Sends a short answer now and a long one later.
  void send(const sockaddr_in& to, std::string& answer);

  // Sends one of those that wait, if any; addresses take turns.
  void sendNext();

  bool empty() const { return waiting_.empty(); }

 private:
  struct Answer {
    sockaddr_in to;
    std::string bytes;
  };

  UdpSocket* socket_;
  std::deque<Answer> waiting_;
  in_addr last_ = {};
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H
