#include "support/fake_platform.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "base/platform.h"

namespace fake {
namespace {

constexpr std::int64_t kTick = 10 * 1000;  // microseconds
constexpr long kFirstSecond = 1000L * 1000 * 1000;
constexpr int kFirstDescriptor = 100;
constexpr unsigned short kFirstPort = 40000;
constexpr std::size_t kLargestDatagram = 65507;

bool isGroup(const in_addr& address) {
  return (ntohl(address.s_addr) & 0xf0000000U) == 0xe0000000U;
}

// How many calls are in progress, one inside the other: a script may call the
// library again.
unsigned depth = 0;

bool isLoopback(const in_addr& address) {
  return ntohl(address.s_addr) >> 24 == 127;
}

}  // namespace

InCall::InCall() { depth++; }
InCall::~InCall() { depth--; }

sockaddr_in endpoint(const char* address, unsigned short port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  if (inet_pton(AF_INET, address, &result.sin_addr) != 1) std::abort();
  return result;
}

std::string text(const sockaddr_in& address) {
  char dotted[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address.sin_addr, dotted, sizeof dotted);
  return std::string(dotted) + ":" + std::to_string(ntohs(address.sin_port));
}

bool same(const sockaddr_in& a, const sockaddr_in& b) {
  return a.sin_port == b.sin_port && a.sin_addr.s_addr == b.sin_addr.s_addr;
}

Policy lossy(unsigned seed, double loss, double duplication,
             std::int64_t spread) {
  auto random = std::make_shared<std::mt19937>(seed);
  // Written out, since the library's distributions differ between systems.
  auto below = [random](std::uint32_t n) { return (*random)() % n; };
  auto happens = [below](double chance) {
    return below(1000000) < static_cast<std::uint32_t>(chance * 1000000);
  };
  return [=](const Datagram& datagram) {
    std::vector<Delivery> deliveries;
    if (happens(loss)) return deliveries;
    const int copies = happens(duplication) ? 2 : 1;
    for (int i = 0; i < copies; ++i) {
      const auto delay = static_cast<std::int64_t>(
          spread > 0 ? below(static_cast<std::uint32_t>(spread)) : 0);
      deliveries.push_back({delay, datagram.bytes});
    }
    return deliveries;
  };
}

void Peer::send(const sockaddr_in& to, const std::string& bytes) const {
  platform().send(address, to, bytes);
}

Platform::Platform() { reset(); }

void Platform::reset() {
  clock = kFirstSecond * kSecond;
  host = endpoint("192.0.2.10", 0);
  hostName = "testhost";
  hosts.clear();
  hosts["testhost"] = host.sin_addr;
  user = 1000;
  nextDescriptor = kFirstDescriptor;
  nextPort = kFirstPort;
  nextInode = 1;
  policy = nullptr;
  atCall = nullptr;
  recording = true;
  sent.clear();
  pauses.clear();
  closed.clear();
  settings.clear();
  bound.clear();
  waits.clear();
  calls.clear();
  sockets.clear();
  closedPorts.clear();
  awake.clear();
  descriptors.clear();
  timer = -1;
  events_ = {};
  order_ = 0;
  peers_.clear();
  failures_.clear();
  counts_.assign(static_cast<std::size_t>(Call::kCalls), 0);
}

void Platform::advance(double seconds) {
  const std::int64_t until =
      clock + std::llround(seconds * static_cast<double>(kSecond));
  run();
  while (!events_.empty() && events_.top().at <= until) {
    clock = std::max(clock, events_.top().at);
    run();
  }
  clock = until;
}

Peer& Platform::addPeer(const char* address, unsigned short port,
                        Script script) {
  peers_.emplace_back();
  peers_.back().address = endpoint(address, port);
  peers_.back().script = std::move(script);
  return peers_.back();
}

Peer& Platform::addPeer(const char* address, unsigned short port,
                        const char* group, int hops, Script script) {
  Peer& peer = addPeer(address, port, std::move(script));
  peer.groups.insert(endpoint(group, 0).sin_addr.s_addr);
  peer.hops = hops;
  return peer;
}

void Platform::send(const sockaddr_in& from, const sockaddr_in& to,
                    const std::string& bytes, unsigned char ttl) {
  Datagram datagram{from, to, bytes, clock, ttl};
  if (!policy) {
    events_.push({clock, order_++, std::move(datagram)});
    return;
  }
  for (Delivery& delivery : policy(datagram)) {
    Datagram copy{from, to, std::move(delivery.bytes), clock, ttl};
    events_.push({clock + delivery.delay, order_++, std::move(copy)});
  }
}

void Platform::deliver(const sockaddr_in& from, int socket,
                       const std::string& bytes) {
  sockets.at(socket).queue.push_back(
      {from, addressOf(socket), bytes, clock, 1});
}

void Platform::run() {
  while (!events_.empty() && events_.top().at <= clock) {
    const Datagram datagram = events_.top().datagram;
    events_.pop();
    arrive(datagram);
  }
}

bool Platform::isHere(const in_addr& address) const {
  return address.s_addr == host.sin_addr.s_addr || isLoopback(address);
}

void Platform::arrive(const Datagram& datagram) {
  const in_addr& to = datagram.to.sin_addr;
  if (isHere(to)) {
    for (auto& [descriptor, socket] : sockets) {
      if (!socket.open || socket.name.sin_port != datagram.to.sin_port)
        continue;
      socket.queue.push_back(datagram);
      return;
    }
  }
  // A script may add peers. The elements of a deque do not move then.
  for (std::size_t i = 0; i < peers_.size(); ++i) {
    Peer& peer = peers_[i];
    const bool reached = isGroup(to)
                             ? peer.address.sin_port == datagram.to.sin_port &&
                                   peer.groups.count(to.s_addr) != 0 &&
                                   datagram.ttl >= peer.hops
                             : same(peer.address, datagram.to);
    if (!reached) continue;
    peer.received++;
    if (peer.script) peer.script(peer, datagram);
  }
}

sockaddr_in Platform::addressOf(int socket) const {
  sockaddr_in address = host;
  address.sin_port = sockets.at(socket).name.sin_port;
  return address;
}

std::size_t Platform::queued(int socket) const {
  return sockets.at(socket).queue.size();
}

void Platform::failNext(Call call, int error, unsigned times, unsigned skip) {
  failures_[call].push_back({error, times, skip});
}

unsigned long Platform::count(Call call) const {
  return counts_[static_cast<std::size_t>(call)];
}

bool Platform::enter(Call call) {
  if (atCall) atCall(call);
  counts_[static_cast<std::size_t>(call)]++;
  if (recording) calls.push_back(call);
  if (failures_.empty()) return true;
  std::deque<Failure>& waiting = failures_[call];
  if (waiting.empty()) return true;
  Failure& failure = waiting.front();
  if (failure.skip > 0) {
    failure.skip--;
    return true;
  }
  errno = failure.error;
  if (--failure.times == 0) waiting.pop_front();
  return false;
}

Platform::Socket* Platform::socket(int descriptor) {
  const auto found = sockets.find(descriptor);
  if (found != sockets.end() && found->second.open) return &found->second;
  errno = EBADF;
  return nullptr;
}

bool Platform::awaitDatagram(Socket& socket, std::int64_t until) {
  run();
  while (socket.queue.empty()) {
    if (events_.empty() || events_.top().at > until) return false;
    clock = std::max(clock, events_.top().at);
    run();
  }
  return true;
}

bool inside() { return depth > 0; }

Platform& platform() {
  static Platform the;
  return the;
}

}  // namespace fake

namespace ostrel {
namespace platform {

using fake::Call;
using fake::Datagram;
using fake::InCall;
using Fake = fake::Platform;

namespace {

Fake& system() { return fake::platform(); }

std::size_t copyOut(const std::string& bytes, std::size_t from, void* to,
                    std::size_t room) {
  const std::size_t size =
      from >= bytes.size() ? 0 : std::min(room, bytes.size() - from);
  if (size > 0) std::memcpy(to, bytes.data() + from, size);
  return size;
}

// The socket that a call takes a datagram off; null when the call fails.
Fake::Socket* withDatagram(Call call, int socket) {
  if (!system().enter(call)) return nullptr;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return nullptr;
  system().run();
  if (!found->queue.empty()) return found;
  errno = EAGAIN;
  return nullptr;
}

void setting(Call call, int socket, int value) {
  if (system().recording) system().settings.push_back({call, socket, value});
}

}  // namespace

void* allocate(std::size_t size) {
  const InCall inCall;
  if (!system().enter(Call::kAllocate)) return nullptr;
  return std::calloc(1, size == 0 ? 1 : size);
}

long now() { return system().seconds(); }

std::int64_t elapsed() { return system().clock; }

void pause(unsigned ticks) {
  const InCall inCall;
  system().enter(Call::kPause);
  if (system().recording) system().pauses.push_back(ticks);
  system().clock += ticks * fake::kTick;
}

int openSocket() {
  const InCall inCall;
  if (!system().enter(Call::kOpen)) return -1;
  const int descriptor = system().nextDescriptor++;
  Fake::Socket& made = system().sockets[descriptor] = {};
  made.name = fake::endpoint("0.0.0.0", 0);
  made.inode = system().nextInode++;
  return descriptor;
}

int bindSocket(int socket, const sockaddr_in& address) {
  const InCall inCall;
  if (!system().enter(Call::kBind)) return -1;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  for (const auto& [descriptor, other] : system().sockets) {
    if (other.open && other.bound && address.sin_port != 0 &&
        other.name.sin_port == address.sin_port) {
      errno = EADDRINUSE;
      return -1;
    }
  }
  if (system().recording) system().bound.push_back(ntohs(address.sin_port));
  found->name = address;
  found->bound = true;
  if (address.sin_port == 0) found->name.sin_port = htons(system().nextPort++);
  return 0;
}

int setSendBuffer(int socket, int bytes) {
  const InCall inCall;
  setting(Call::kSetSendBuffer, socket, bytes);
  if (!system().enter(Call::kSetSendBuffer)) return -1;
  return system().socket(socket) == nullptr ? -1 : 0;
}

int setReceiveBuffer(int socket, int bytes) {
  const InCall inCall;
  setting(Call::kSetReceiveBuffer, socket, bytes);
  if (!system().enter(Call::kSetReceiveBuffer)) return -1;
  return system().socket(socket) == nullptr ? -1 : 0;
}

int setMulticastTtl(int socket, unsigned char ttl) {
  const InCall inCall;
  setting(Call::kSetMulticastTtl, socket, ttl);
  if (!system().enter(Call::kSetMulticastTtl)) return -1;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  found->ttl = ttl;
  return 0;
}

int socketName(int socket, sockaddr_in* address) {
  const InCall inCall;
  if (!system().enter(Call::kSocketName)) return -1;
  const Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  *address = found->name;
  return 0;
}

int closeSocket(int socket) {
  const InCall inCall;
  if (system().recording) system().closed.push_back(socket);
  const bool works = system().enter(Call::kClose);
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  // As in the system, a close that reports a failure has closed the socket.
  found->open = false;
  found->queue.clear();
  return works ? 0 : -1;
}

int identify(int descriptor, Identity* identity) {
  const InCall inCall;
  if (!system().enter(Call::kIdentify)) return -1;
  const Fake::Socket* found = system().socket(descriptor);
  if (found == nullptr) return -1;
  *identity = {1, found->inode};
  return 0;
}

long sendParts(int socket, const sockaddr_in& to, const void* header,
               std::size_t headerSize, const void* data, std::size_t dataSize) {
  const InCall inCall;
  if (!system().enter(Call::kSend)) return -1;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  if (headerSize + dataSize > fake::kLargestDatagram) {
    errno = EMSGSIZE;
    return -1;
  }
  std::string bytes(static_cast<const char*>(header), headerSize);
  if (dataSize > 0) bytes.append(static_cast<const char*>(data), dataSize);
  if (!found->bound) {
    found->bound = true;
    found->name.sin_port = htons(system().nextPort++);
  }
  sockaddr_in from = system().addressOf(socket);
  if (fake::isLoopback(to.sin_addr)) from.sin_addr = to.sin_addr;
  if (system().recording) {
    system().sent.push_back({from, to, bytes, system().clock, found->ttl});
  }
  system().send(from, to, bytes, found->ttl);
  system().run();
  return static_cast<long>(headerSize + dataSize);
}

long peek(int socket, sockaddr_in* from, void* header, std::size_t size) {
  const InCall inCall;
  if (!system().enter(Call::kPeek)) return -1;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  if (!system().awaitDatagram(*found,
                              std::numeric_limits<std::int64_t>::max())) {
    std::fprintf(stderr, "fake platform: this peek would block for ever\n");
    std::abort();
  }
  const Datagram& next = found->queue.front();
  *from = next.from;
  return static_cast<long>(copyOut(next.bytes, 0, header, size));
}

long receiveParts(int socket, void* header, std::size_t headerSize, void* data,
                  std::size_t dataSize) {
  const InCall inCall;
  Fake::Socket* found = withDatagram(Call::kReceive, socket);
  if (found == nullptr) return -1;
  const std::string& bytes = found->queue.front().bytes;
  const std::size_t size = copyOut(bytes, 0, header, headerSize) +
                           copyOut(bytes, headerSize, data, dataSize);
  found->queue.pop_front();
  return static_cast<long>(size);
}

int discard(int socket) {
  const InCall inCall;
  Fake::Socket* found = withDatagram(Call::kDiscard, socket);
  if (found == nullptr) return -1;
  found->queue.pop_front();
  return 0;
}

int waitReadable(int socket, long seconds, long microseconds) {
  const InCall inCall;
  if (system().recording) {
    system().waits.push_back({socket, seconds, microseconds});
  }
  if (!system().enter(Call::kWait)) return -1;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr) return -1;
  std::int64_t until = system().clock;
  if (seconds >= 0 && microseconds >= 0) {
    until += seconds * Fake::kSecond + microseconds;
  }
  if (system().awaitDatagram(*found, until)) return 1;
  system().clock = until;
  return 0;
}

int hostName(char* buffer, std::size_t size) {
  const InCall inCall;
  if (!system().enter(Call::kHostName)) return -1;
  if (size > 0) {
    buffer[copyOut(system().hostName, 0, buffer, size - 1)] = '\0';
  }
  return 0;
}

bool resolveHost(const char* name, in_addr* address) {
  const InCall inCall;
  if (!system().enter(Call::kResolve)) return false;
  const auto found = system().hosts.find(name);
  if (found == system().hosts.end()) return false;
  *address = found->second;
  return true;
}

long effectiveUser() { return system().user; }

}  // namespace platform
}  // namespace ostrel
