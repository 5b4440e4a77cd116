// A server's socket: datagrams in and fragments out, several with one call of
// the system. It never waits.

#ifndef OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H
#define OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "net/fragment.h"
#include "net/message.h"

namespace ostrel::tools::server {

// A datagram that arrived.
struct Datagram {
  sockaddr_in from = {};
  std::string_view bytes;

  // When it reached this machine, where it may have waited for the server.
  std::chrono::steady_clock::time_point arrived;
};

// A message on its way out: what of it has been sent.
struct Parcel {
  sockaddr_in to = {};
  std::string bytes;
  std::uint16_t id = 0;
  std::size_t sent = 0;  // fragments

  std::size_t left() const { return fragmentsOf(bytes.size()) - sent; }
};

class UdpSocket {
 public:
  // Opens a socket on the address and port (host order). Throws
  // std::runtime_error with a sentence for the user.
  UdpSocket(in_addr address, std::uint16_t port);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  // Opens a socket for what is sent to a multicast group. It shares its port
  // with other sockets of the group.
  struct Group {
    in_addr address;
  };
  UdpSocket(Group group, std::uint16_t port);

  int descriptor() const { return descriptor_; }

  // What it is bound to, with the port that the system chose for port 0.
  sockaddr_in address() const;

  // Receives what is sent to the group on the interface with this address.
  // Returns whether that succeeded; the cause is in errno.
  bool join(in_addr group, in_addr interface);

  // The next datagram; its bytes live until the next call. Returns false when
  // all that had arrived at the last look was handed over. The call after that
  // looks again.
  bool receive(Datagram* datagram);

  // Whether receive() has a datagram that poll() no longer sees.
  bool hasMore() const { return next_ < arrived_; }

  // A message to send, with an id: the first is random, and each further one
  // is the next.
  Parcel parcel(const sockaddr_in& to, std::string bytes);

  // Sends up to so many further fragments. Returns false when it failed, with
  // the cause in errno; isBusy() tells whether it may succeed later.
  bool send(Parcel* parcel, std::size_t most);
  static bool isBusy(int error);

  // Sends so many parcels of one datagram each, in this order and until one
  // fails, but no more than fit a call. Returns how many it sent; the cause is
  // in errno.
  std::size_t sendSingles(const Parcel* parcels, std::size_t count);

  // Sends all fragments of all these. Returns how many of them failed.
  std::size_t sendAll(const std::vector<Parcel>& parcels);

 private:
  void openOn(in_addr address, std::uint16_t port, bool shared);
  void look();

  int descriptor_ = -1;
  std::uint16_t nextId_;
  struct Intake;
  std::unique_ptr<Intake> intake_;  // null before the first look
  std::size_t arrived_ = 0;
  std::size_t next_ = 0;
  bool drained_ = false;  // the last look saw all there was
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_UDP_SOCKET_H
