// A server's socket: the library's fragments on an address of our choice, with
// a bound on what a request may claim.

#ifndef OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H
#define OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H

#include <netinet/in.h>
#include <ostrel/codes.h>
#include <ostrel/datagram.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace ostrel::tools::server {

// A message as it arrived: its sender, and the id that the sender gave it,
// which counts up with each message and each retransmission.
struct Message {
  sockaddr_in from = {};
  std::uint16_t id = 0;
  std::string bytes;
};

class UdpSocket : public veskDatagramHandler {
 public:
  // The longest message, in bytes, that leaves at once: the library rests for
  // 100 ms after every 20 datagrams.
  static constexpr std::size_t kQuickMessage = 19 * kFragmentData;

  // Opens a socket on the address and port (host order). Throws
  // std::runtime_error with a sentence for the user.
  UdpSocket(in_addr address, std::uint16_t port, std::size_t longestMessage);
  ~UdpSocket();

  // Opens a socket for what is sent to a multicast group. It shares its port
  // with other sockets of the group.
  struct Group {
    in_addr address;
  };
  UdpSocket(Group group, std::uint16_t port, std::size_t longestMessage);

  // What it is bound to, with the port that the system chose for port 0.
  sockaddr_in address() const;

  // Receives what is sent to the group on the interface with this address.
  // Returns whether that succeeded; the cause is in errno.
  bool join(in_addr group, in_addr interface);

  enum class Taken { kNothing, kPart, kMessage };

  // Takes one datagram, never waiting for one. kPart: there was one and it
  // completed no message.
  Taken take(Message* message);

  // Whether all of it was handed to the system.
  bool sendTo(const sockaddr_in& to, std::string& message);

 private:
  void openOn(in_addr address, std::uint16_t port, bool shared);

  std::size_t longestMessage_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H
