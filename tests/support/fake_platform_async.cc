// The part of the fake system that only the asynchronous client uses.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/platform_async.h"
#include "support/fake_platform.h"

namespace fake {
namespace {

constexpr long kReceiveMemory = 212992;

Platform::Socket* open(Call call, int socket) {
  if (!platform().enter(call)) return nullptr;
  return platform().socket(socket);
}

// A report that nobody has taken fails the next call of any kind.
bool failsForReport(const Platform::Socket& socket) {
  if (socket.refused.empty()) return false;
  errno = ECONNREFUSED;
  return true;
}

// Whether a datagram meets a closed port, which is reported at once.
bool meetsClosedPort(Platform::Socket* socket, const Datagram& datagram) {
  if (platform().closedPorts.count(text(datagram.to)) == 0) return false;
  socket->refused.push_back(datagram);
  return true;
}

}  // namespace
}  // namespace fake

namespace ostrel {
namespace platform {

using fake::Call;
using fake::Datagram;
using Fake = fake::Platform;

namespace {
Fake& system() { return fake::platform(); }
}  // namespace

long sendMany(int socket, const Departure* datagrams, std::size_t count) {
  const fake::InCall inCall;
  for (std::size_t i = 0; i < count; ++i) {
    Fake::Socket* found = fake::open(Call::kSend, socket);
    if (found == nullptr || fake::failsForReport(*found))
      return i == 0 ? -1 : static_cast<long>(i);
    const Departure& from = datagrams[i];
    std::string bytes(static_cast<const char*>(from.head), from.headSize);
    if (from.size > 0)
      bytes.append(static_cast<const char*>(from.data), from.size);
    Datagram datagram{system().addressOf(socket), from.to, bytes,
                      system().clock, found->ttl};
    if (ntohl(from.to.sin_addr.s_addr) >> 24 == 127)
      datagram.from.sin_addr = from.to.sin_addr;
    if (system().recording) system().sent.push_back(datagram);
    if (!fake::meetsClosedPort(found, datagram))
      system().send(datagram.from, datagram.to, bytes, found->ttl);
  }
  system().run();
  return static_cast<long>(count);
}

long receiveMany(int socket, Arrival* arrivals, std::size_t count,
                 std::uint32_t*) {
  const fake::InCall inCall;
  Fake::Socket* found = fake::open(Call::kReceive, socket);
  if (found == nullptr || fake::failsForReport(*found)) return -1;
  system().run();
  std::size_t got = 0;
  for (; got < count && !found->queue.empty(); ++got) {
    const Datagram& next = found->queue.front();
    arrivals[got].from = next.from;
    arrivals[got].size = next.bytes.size();
    std::memcpy(arrivals[got].room, next.bytes.data(),
                std::min(next.bytes.size(), arrivals[got].roomSize));
    found->queue.pop_front();
  }
  if (got > 0) return static_cast<long>(got);
  errno = EAGAIN;
  return -1;
}

int keepReports(int) { return 0; }

int takeReport(int socket, Report* report) {
  const fake::InCall inCall;
  Fake::Socket* found = system().socket(socket);
  if (found == nullptr || found->refused.empty()) return 0;
  const Datagram& next = found->refused.front();
  *report = {};
  report->to = next.to;
  report->error = ECONNREFUSED;
  report->size = std::min(next.bytes.size(), sizeof report->quoted);
  std::memcpy(report->quoted, next.bytes.data(), report->size);
  found->refused.pop_front();
  return 1;
}

long receiveBuffer(int) { return fake::kReceiveMemory; }

int localAddress(const sockaddr_in&, in_addr* address) {
  if (!system().enter(Call::kLocalAddress)) return -1;
  *address = system().host.sin_addr;
  return 0;
}

int randomBytes(void* block, std::size_t size) {
  if (!system().enter(Call::kRandom)) return -1;
  auto* bytes = static_cast<unsigned char*>(block);
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<unsigned char>(i * 37 + 11);
  return 0;
}

int openWakeup(Wakeup* wakeup) {
  const fake::InCall inCall;
  if (!system().enter(Call::kOpenWakeup)) return -1;
  wakeup->readEnd = wakeup->writeEnd = system().nextDescriptor++;
  system().descriptors.insert(wakeup->readEnd);
  return 0;
}
void wake(const Wakeup& wakeup) { system().awake.insert(wakeup.writeEnd); }
void hush(const Wakeup& wakeup) { system().awake.erase(wakeup.readEnd); }
void closeWakeup(const Wakeup& wakeup) {
  system().descriptors.erase(wakeup.readEnd);
}

int waitFor(int socket, bool, int wakeupEnd, std::int64_t microseconds) {
  const fake::InCall inCall;
  if (!system().enter(Call::kWait)) return -1;
  if (system().awake.count(wakeupEnd) != 0) return 1;
  Fake::Socket* found = socket < 0 ? nullptr : system().socket(socket);
  if (found != nullptr && !found->refused.empty()) return 1;
  const std::int64_t until = microseconds < 0
                                 ? std::numeric_limits<std::int64_t>::max()
                                 : system().clock + microseconds;
  if (found != nullptr && system().awaitDatagram(*found, until)) return 1;
  if (microseconds < 0) {
    std::fprintf(stderr, "fake platform: this wait would never end\n");
    std::abort();
  }
  system().clock = until;
  return 0;
}

int openReadiness(Readiness* readiness) {
  const fake::InCall inCall;
  if (!system().enter(Call::kOpenReadiness)) return -1;
  readiness->descriptor = system().nextDescriptor++;
  readiness->timer = system().nextDescriptor++;
  system().descriptors.insert(readiness->descriptor);
  return 0;
}
int watchDescriptor(const Readiness&, int) { return 0; }
int watchWrite(const Readiness&, int, bool) { return 0; }
int setTimer(const Readiness&, std::int64_t microseconds) {
  if (!system().enter(Call::kSetTimer)) return -1;
  system().timer = microseconds;
  return 0;
}
void closeReadiness(const Readiness& readiness) {
  system().descriptors.erase(readiness.descriptor);
}

}  // namespace platform
}  // namespace ostrel
