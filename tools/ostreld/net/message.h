// A message as it arrived: its sender, and the id that the sender gave it,
// which counts up with each message and each retransmission.

#ifndef OSTREL_TOOLS_OSTRELD_NET_MESSAGE_H
#define OSTREL_TOOLS_OSTRELD_NET_MESSAGE_H

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace ostrel::tools::server {

struct Message {
  sockaddr_in from = {};
  std::uint16_t id = 0;
  std::string bytes;

  // When its last datagram reached this machine.
  std::chrono::steady_clock::time_point arrived{};
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_MESSAGE_H
