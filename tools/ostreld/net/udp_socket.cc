#include "net/udp_socket.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include "common/addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// Room for a burst of requests; the system may give less.
constexpr int kReceiveBuffer = 1 << 20;
constexpr int kSendBuffer = 1 << 18;

// A datagram's header as the library describes it: the message's id and the
// length of the whole message.
constexpr std::size_t kIdOffset = 2;
constexpr std::size_t kTotalOffset = 8;

std::string explain(const sockaddr_in& address) {
  const std::string where = endpointText(address);
  switch (errno) {
    case EADDRINUSE:
      return "port " + where +
             " is in use: another server may be running there (--listen "
             "chooses another address, --port another port)";
    case EADDRNOTAVAIL:
      return "this machine has no address " + addressText(address.sin_addr);
    case EACCES:
      return "not allowed to listen on " + where;
    default:
      return "cannot listen on " + where + ": " + std::strerror(errno);
  }
}

struct Free {
  void operator()(void* block) const { std::free(block); }
};

}  // namespace

UdpSocket::UdpSocket(in_addr address, std::uint16_t port,
                     std::size_t longestMessage)
    : longestMessage_(longestMessage) {
  openOn(address, port, false);
}

UdpSocket::UdpSocket(Group group, std::uint16_t port,
                     std::size_t longestMessage)
    : longestMessage_(longestMessage) {
  openOn(group.address, port, true);
}

UdpSocket::~UdpSocket() { dropPartialMessages(); }

void UdpSocket::openOn(in_addr address, std::uint16_t port, bool shared) {
  const sockaddr_in local = endpoint(address, port);
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) throw std::runtime_error(explain(local));
  const int on = 1;
  if (shared) setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&local),
           sizeof local) != 0) {
    const std::string why = explain(local);
    ::close(descriptor);
    throw std::runtime_error(why);
  }
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer,
             sizeof kReceiveBuffer);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBuffer,
             sizeof kSendBuffer);
  // Groups that other programs joined are not ours.
  const int off = 0;
  setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
  // The library's open() listens on every address; its calls work on any
  // descriptor that stands here, and close it.
  socket = descriptor;
}

sockaddr_in UdpSocket::address() const {
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(socket, reinterpret_cast<sockaddr*>(&local), &length);
  return local;
}

bool UdpSocket::join(in_addr group, in_addr interface) {
  ip_mreq request = {};
  request.imr_multiaddr = group;
  request.imr_interface = interface;
  return setsockopt(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                    sizeof request) == 0;
}

UdpSocket::Taken UdpSocket::take(Message* message) {
  unsigned char header[kFragmentHeader] = {};
  const ssize_t got =
      ::recv(socket, header, sizeof header, MSG_PEEK | MSG_DONTWAIT);
  if (got < 0) return Taken::kNothing;
  std::uint16_t id = 0;
  std::memcpy(&id, header + kIdOffset, sizeof id);
  std::uint32_t total = 0;
  std::memcpy(&total, header + kTotalOffset, sizeof total);
  if (ntohl(total) > longestMessage_) {
    ::recv(socket, header, sizeof header, MSG_DONTWAIT);
    log(Level::kWarning, "dropped a request of more than " +
                             std::to_string(longestMessage_) + " bytes");
    return Taken::kPart;
  }
  void* data = nullptr;
  bool owned = false;
  const unsigned length =
      veskDatagramHandler::take(&message->from, &data, &owned);
  const std::unique_ptr<void, Free> buffer(owned ? data : nullptr);
  if (length == 0 || data == nullptr) return Taken::kPart;
  message->id = ntohs(id);
  message->bytes.assign(static_cast<const char*>(data), length);
  return Taken::kMessage;
}

bool UdpSocket::sendTo(const sockaddr_in& to, std::string& message) {
  if (send(&to, message.data(), static_cast<unsigned>(message.size())) != 0)
    return true;
  log(Level::kDebug,
      "cannot send to " + endpointText(to) + ": " + std::strerror(errno));
  return false;
}

}  // namespace ostrel::tools::server
