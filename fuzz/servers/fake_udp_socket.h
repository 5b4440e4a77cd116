// A server's socket without the system: linked into a fuzzer, these stand in
// place of net/udp_socket.cc. What is sent goes to `sent`, and what is to
// arrive is put into `arriving`.

#ifndef OSTREL_FUZZ_SERVERS_FAKE_UDP_SOCKET_H
#define OSTREL_FUZZ_SERVERS_FAKE_UDP_SOCKET_H

#include <cerrno>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "net/udp_socket.h"

namespace fuzz {

struct Arriving {
  sockaddr_in from;
  std::string bytes;
};

// Of the one socket that there is.
struct FakeNetwork {
  static inline std::vector<ostrel::tools::server::Parcel> sent;
  static inline std::deque<Arriving> arriving;
  static inline int failure = 0;  // of the next call that sends: its errno

  static void reset() {
    sent = {};
    arriving = {};
    failure = 0;
  }
};

}  // namespace fuzz

namespace ostrel::tools::server {

struct UdpSocket::Intake {
  fuzz::Arriving last;
};

UdpSocket::UdpSocket(in_addr, std::uint16_t) : nextId_(0) {
  intake_ = std::make_unique<Intake>();
}

UdpSocket::~UdpSocket() = default;

bool UdpSocket::receive(Datagram* datagram) {
  auto& arriving = fuzz::FakeNetwork::arriving;
  if (arriving.empty()) return false;
  intake_->last = std::move(arriving.front());
  arriving.pop_front();
  datagram->from = intake_->last.from;
  datagram->bytes = intake_->last.bytes;
  return true;
}

Parcel UdpSocket::parcel(const sockaddr_in& to, std::string bytes) {
  return {to, std::move(bytes), nextId_++};
}

bool UdpSocket::isBusy(int error) { return error == EAGAIN; }

bool UdpSocket::send(Parcel* parcel, std::size_t) {
  errno = std::exchange(fuzz::FakeNetwork::failure, 0);
  if (errno != 0) return false;
  parcel->sent += parcel->left();
  fuzz::FakeNetwork::sent.push_back(*parcel);
  return true;
}

}  // namespace ostrel::tools::server

#endif  // OSTREL_FUZZ_SERVERS_FAKE_UDP_SOCKET_H
