#include "net/udp_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <random>
#include <stdexcept>
#include <utility>

#include "common/addresses.h"

namespace ostrel::tools::server {
namespace {

// Room for a burst of requests; the system may give less.
constexpr int kReceiveBuffer = 1 << 20;
constexpr int kSendBuffer = 1 << 18;

// What a datagram may have waited for the server.
constexpr std::chrono::seconds kLongestWait{10};

using Nanoseconds = std::chrono::nanoseconds;

Nanoseconds since1970(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + Nanoseconds(time.tv_nsec);
}

// How long a datagram waited, by the system's note; none when it has none, or
// when the calendar was set in between.
Nanoseconds waited(msghdr& message, Nanoseconds now) {
  for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr;
       each = CMSG_NXTHDR(&message, each)) {
    if (each->cmsg_level != SOL_SOCKET || each->cmsg_type != SCM_TIMESTAMPNS)
      continue;
    timespec arrived = {};
    std::memcpy(&arrived, CMSG_DATA(each), sizeof arrived);
    const Nanoseconds time = now - since1970(arrived);
    return time.count() < 0 || time > kLongestWait ? Nanoseconds(0) : time;
  }
  return Nanoseconds(0);
}

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

constexpr std::size_t kAtOnce = 16;     // datagrams that one call takes
constexpr std::size_t kRoom = 1 << 16;  // bytes for each

// Datagrams that leave with one call.
class Burst {
 public:
  static constexpr std::size_t kMost = 20;

  bool full() const { return count_ == kMost; }
  std::size_t size() const { return count_; }

  // Adds a fragment of the parcel, which has to stay where it is.
  void add(const Parcel& parcel, std::size_t number) {
    Fragment fragment;
    fragment.id = parcel.id;
    fragment.count =
        static_cast<std::uint16_t>(fragmentsOf(parcel.bytes.size()));
    fragment.number = static_cast<std::uint16_t>(number);
    fragment.total = static_cast<std::uint32_t>(parcel.bytes.size());
    fragment.offset = static_cast<std::uint32_t>(number * kFragmentData);
    headers_[count_] = fragment.bytes();
    // The system reads these and does not write them.
    auto* to = const_cast<sockaddr_in*>(&parcel.to);
    auto* data = const_cast<char*>(parcel.bytes.data()) + fragment.offset;
    iovec* parts = &parts_[2 * count_];
    parts[0] = {headers_[count_].data(), kFragmentHeader};
    parts[1] = {data,
                std::min<std::size_t>(kFragmentData,
                                      parcel.bytes.size() - fragment.offset)};
    msghdr& message = messages_[count_].msg_hdr;
    message = {};
    message.msg_name = to;
    message.msg_namelen = sizeof *to;
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    count_++;
  }

  // Sends what was added from that position on, until one fails. Returns how
  // many were sent; the cause is in errno.
  std::size_t send(int descriptor, std::size_t from = 0) {
    const int sent =
        sendmmsg(descriptor, &messages_[from],
                 static_cast<unsigned>(count_ - from), MSG_DONTWAIT);
    return sent < 0 ? 0 : static_cast<std::size_t>(sent);
  }

  // Sends all, whatever fails, and is empty then. Returns how many failed.
  std::size_t flush(int descriptor) {
    std::size_t failed = 0;
    for (std::size_t at = 0; at < count_;) {
      const std::size_t sent = send(descriptor, at);
      failed += sent == 0 ? 1 : 0;
      at += std::max<std::size_t>(1, sent);
    }
    count_ = 0;
    return failed;
  }

 private:
  std::array<Fragment::Bytes, kMost> headers_;
  std::array<iovec, 2 * kMost> parts_;
  std::array<mmsghdr, kMost> messages_;
  std::size_t count_ = 0;
};

}  // namespace

// Where the system puts what it takes. What was written is made ready for the
// next call, and nothing else.
struct UdpSocket::Intake {
  // Room for the system's note of the time.
  union Note {
    char bytes[CMSG_SPACE(sizeof(timespec))];
    cmsghdr aligned;
  };

  Intake() : bytes(new char[kAtOnce * kRoom]) {
    for (std::size_t i = 0; i < kAtOnce; ++i) {
      rooms[i] = {&bytes[i * kRoom], kRoom};
      msghdr& message = messages[i].msg_hdr;
      message.msg_name = &datagrams[i].from;
      message.msg_namelen = sizeof datagrams[i].from;
      message.msg_iov = &rooms[i];
      message.msg_iovlen = 1;
      message.msg_control = notes[i].bytes;
      message.msg_controllen = sizeof notes[i].bytes;
    }
  }

  // Returns how many datagrams came.
  std::size_t take(int descriptor) {
    const int got =
        recvmmsg(descriptor, messages.data(), kAtOnce, MSG_DONTWAIT, nullptr);
    const auto count = got < 0 ? 0 : static_cast<std::size_t>(got);
    const auto now = std::chrono::steady_clock::now();
    timespec calendar = {};
    clock_gettime(CLOCK_REALTIME, &calendar);
    for (std::size_t i = 0; i < count; ++i) {
      msghdr& message = messages[i].msg_hdr;
      datagrams[i].bytes = {&bytes[i * kRoom], messages[i].msg_len};
      datagrams[i].arrived = now - waited(message, since1970(calendar));
      message.msg_namelen = sizeof datagrams[i].from;
      message.msg_controllen = sizeof notes[i].bytes;
    }
    return count;
  }

  // Not filled with zeros: memory that no datagram reaches is never touched.
  std::unique_ptr<char[]> bytes;
  std::array<Datagram, kAtOnce> datagrams;
  std::array<iovec, kAtOnce> rooms;
  std::array<mmsghdr, kAtOnce> messages = {};
  std::array<Note, kAtOnce> notes;
};

UdpSocket::UdpSocket(in_addr address, std::uint16_t port) {
  openOn(address, port, false);
}

UdpSocket::UdpSocket(Group group, std::uint16_t port) {
  openOn(group.address, port, true);
}

UdpSocket::~UdpSocket() { ::close(descriptor_); }

void UdpSocket::openOn(in_addr address, std::uint16_t port, bool shared) {
  nextId_ = static_cast<std::uint16_t>(std::random_device()());
  const sockaddr_in local = endpoint(address, port);
  const int descriptor =
      ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) throw std::runtime_error(explain(local));
  const int on = 1;
  if (shared) setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&local),
           sizeof local) != 0) {
    const std::string why = explain(local);
    ::close(descriptor);
    throw std::runtime_error(why);
  }
  // The first passes the system's bound, and needs a privilege.
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer,
                 sizeof kReceiveBuffer) != 0) {
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer,
               sizeof kReceiveBuffer);
  }
  setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBuffer,
             sizeof kSendBuffer);
  // Groups that other programs joined are not ours.
  const int off = 0;
  setsockopt(descriptor, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
  setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
  descriptor_ = descriptor;
}

sockaddr_in UdpSocket::address() const {
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(descriptor_, reinterpret_cast<sockaddr*>(&local), &length);
  return local;
}

bool UdpSocket::join(in_addr group, in_addr interface) {
  ip_mreq request = {};
  request.imr_multiaddr = group;
  request.imr_interface = interface;
  return setsockopt(descriptor_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                    sizeof request) == 0;
}

bool UdpSocket::receive(Datagram* datagram) {
  if (!hasMore() && !std::exchange(drained_, false)) look();
  if (!hasMore()) return false;
  *datagram = intake_->datagrams[next_++];
  return true;
}

void UdpSocket::look() {
  if (intake_ == nullptr) intake_ = std::make_unique<Intake>();
  next_ = 0;
  arrived_ = intake_->take(descriptor_);
  drained_ = arrived_ > 0 && arrived_ < kAtOnce;
}

Parcel UdpSocket::parcel(const sockaddr_in& to, std::string bytes) {
  return {to, std::move(bytes), nextId_++};
}

bool UdpSocket::isBusy(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

bool UdpSocket::send(Parcel* parcel, std::size_t most) {
  for (std::size_t left = std::min(most, parcel->left()); left > 0;) {
    Burst burst;
    while (!burst.full() && burst.size() < left)
      burst.add(*parcel, parcel->sent + burst.size());
    const std::size_t sent = burst.send(descriptor_);
    if (sent == 0) return false;
    parcel->sent += sent;
    left -= sent;
  }
  return true;
}

std::size_t UdpSocket::sendSingles(const Parcel* parcels, std::size_t count) {
  Burst burst;
  for (std::size_t i = 0; i < count && !burst.full(); ++i)
    burst.add(parcels[i], 0);
  return burst.send(descriptor_);
}

std::size_t UdpSocket::sendAll(const std::vector<Parcel>& parcels) {
  std::size_t failed = 0;
  Burst burst;
  for (const Parcel& parcel : parcels) {
    for (std::size_t i = parcel.sent; i < fragmentsOf(parcel.bytes.size());
         ++i) {
      burst.add(parcel, i);
      if (burst.full()) failed += burst.flush(descriptor_);
    }
  }
  return failed + burst.flush(descriptor_);
}

}  // namespace ostrel::tools::server
