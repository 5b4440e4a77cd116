#include "client/async/socket.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <string_view>

#include "base/platform.h"

namespace ostrel {
namespace {

// Asked for; the system may give less.
constexpr int kSendBuffer = 256 * 1024;
constexpr std::size_t kLeastReceive = 65536;

// How often in a row a call is made again because of an error that was not its
// own.
constexpr unsigned kMostAgain = 64;

PeerAddress peerOf(const sockaddr_in& address) {
  return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

sockaddr_in addressOf(const PeerAddress& peer) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(peer.port);
  address.sin_addr.s_addr = htonl(peer.host);
  return address;
}

bool isFull(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

}  // namespace

EngineSocket::~EngineSocket() { close(); }

int EngineSocket::open() {
  rooms_.reset(new (std::nothrow) char[platform::kMostAtOnce * kRoom]);
  if (rooms_ == nullptr) return ENOMEM;
  descriptor_ = platform::openSocket();
  if (descriptor_ < 0) return errno;
  sockaddr_in any = {};
  any.sin_family = AF_INET;
  any.sin_addr.s_addr = htonl(INADDR_ANY);
  sockaddr_in name = {};
  // Port 0: the system picks one at random.
  if (platform::bindSocket(descriptor_, any) != 0 ||
      platform::socketName(descriptor_, &name) != 0) {
    const int error = errno;
    close();
    return error;
  }
  port_ = ntohs(name.sin_port);
  platform::setSendBuffer(descriptor_, kSendBuffer);

  platform::keepReports(descriptor_);
  const long bytes = platform::receiveBuffer(descriptor_);
  receiveBytes_ = bytes > 0 ? static_cast<std::size_t>(bytes) : kLeastReceive;
  for (std::size_t i = 0; i < platform::kMostAtOnce; ++i)
    arrivals_[i] = {{}, rooms_.get() + i * kRoom, kRoom, 0};
  return 0;
}

void EngineSocket::close() {
  if (descriptor_ >= 0) platform::closeSocket(descriptor_);
  descriptor_ = -1;
}

void EngineSocket::setTtl(std::uint8_t ttl) {
  if (ttl == 0 || ttl == ttl_) return;
  if (platform::setMulticastTtl(descriptor_, ttl) == 0) ttl_ = ttl;
}

// Fills the batch. Datagrams to groups may need other settings, so each goes by
// itself.
std::size_t EngineSocket::prepare(Engine& engine) {
  std::size_t count = engine.peek(batch_, tap_ ? 1 : platform::kMostAtOnce);
  for (std::size_t i = 0; i < count; ++i) {
    if (batch_[i].ttl == 0) continue;
    count = i == 0 ? 1 : i;
    setTtl(i == 0 ? batch_[0].ttl : std::uint8_t{0});
  }
  for (std::size_t i = 0; i < count; ++i) {
    const Outgoing& from = batch_[i];
    departures_[i] = {addressOf(from.to), from.head, from.headSize, from.data,
                      from.size};
  }
  return count;
}

bool EngineSocket::mayGo(const Outgoing& datagram) {
  if (!tap_) return true;
  std::string bytes(datagram.head, datagram.headSize);
  if (datagram.size != 0) bytes.append(datagram.data, datagram.size);
  return tap_({false, Endpoint(datagram.to.host, datagram.to.port), bytes});
}

bool EngineSocket::mayCome(const platform::Arrival& arrival) {
  if (!tap_) return true;
  const std::string_view bytes(static_cast<const char*>(arrival.room),
                               std::min(arrival.size, kRoom));
  return tap_({true, Endpoint(arrival.from), bytes});
}

void EngineSocket::send(Engine& engine) {
  blocked_ = false;
  unsigned again = 0;
  while (engine.hasOutgoing()) {
    const std::size_t count = prepare(engine);
    if (!mayGo(batch_[0])) {
      engine.sent(batch_, 1, platform::elapsed());
      continue;
    }
    const long sent = platform::sendMany(descriptor_, departures_, count);
    if (sent > 0) {
      engine.sent(batch_, static_cast<std::size_t>(sent), platform::elapsed());
      again = 0;
      // What stopped it may have been a report, which no later call mentions.
      if (static_cast<std::size_t>(sent) < count) takeReports(engine);
      continue;
    }
    const int error = sent < 0 ? errno : EAGAIN;
    if (isFull(error)) {
      blocked_ = true;
      return;
    }
    // The system reports what became of earlier datagrams by failing a later
    // call. So each call is made once more before its datagram is at fault.
    const bool reported = takeReports(engine);
    if (again++ < (reported ? kMostAgain : 1) || error == EINTR) continue;
    again = 0;
    engine.unsendable(batch_[0], error);
  }
}

bool EngineSocket::takeReports(Engine& engine) {
  bool any = false;
  platform::Report report;
  while (platform::takeReport(descriptor_, &report) == 1) {
    any = true;
    // Of others the cause may pass: a route that is being repaired for
    // instance.
    if (report.error == ECONNREFUSED)
      engine.portClosed(peerOf(report.to), report.quoted, report.size);
  }
  return any;
}

bool EngineSocket::receive(Engine& engine, unsigned batches) {
  unsigned again = 0;
  bool any = false;
  while (batches > 0) {
    std::uint32_t dropped = dropped_;
    const long got =
        platform::receiveMany(descriptor_, arrivals_, wanted_, &dropped);
    if (got < 0) {
      const int error = errno;
      // A socket with nothing but reports counts as readable, too.
      const bool reported = !any && takeReports(engine);
      if (isFull(error) || again++ == kMostAgain) return false;
      if (!reported && error != EINTR && again > 1) return false;
      continue;
    }
    any = true;
    engine.kernelDropped(dropped - dropped_);
    dropped_ = dropped;
    const Moment now = platform::elapsed();
    for (long i = 0; i < got; ++i) {
      const platform::Arrival& arrival = arrivals_[i];
      if (!mayCome(arrival)) continue;
      const std::size_t size =
          arrival.size > kRoom ? 0 : arrival.size;  // cut off: malformed
      engine.receive(peerOf(arrival.from), static_cast<char*>(arrival.room),
                     size, now);
    }
    // Preparing for many takes longer than taking one.
    const bool full = static_cast<std::size_t>(got) == wanted_;
    wanted_ = std::min(std::max(static_cast<std::size_t>(got) * 2, kFewest),
                       platform::kMostAtOnce);
    if (!full) return false;
    batches--;
  }
  return true;
}

}  // namespace ostrel
