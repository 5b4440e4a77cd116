#include "base/platform_async.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#if defined(__linux__)
#include <linux/errqueue.h>
#include <linux/types.h>
#include <sys/random.h>
#endif
#if defined(__linux__) && !defined(OSTREL_PORTABLE)
#define OSTREL_HAS_MMSG 1
#define OSTREL_HAS_EPOLL 1
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#endif

namespace ostrel {
namespace platform {
namespace {

constexpr std::int64_t kMicrosecondsInSecond = 1000 * 1000;
constexpr long kNanosecondsInMicrosecond = 1000;

timespec timeOf(std::int64_t microseconds) {
  timespec time = {};
  time.tv_sec = static_cast<std::time_t>(microseconds / kMicrosecondsInSecond);
  time.tv_nsec = static_cast<long>(microseconds % kMicrosecondsInSecond) *
                 kNanosecondsInMicrosecond;
  return time;
}

// A message header with its parts.
void describe(const Departure& datagram, iovec (&parts)[2], msghdr* message) {
  // The structures carry no const; nothing is written through them.
  parts[0] = {const_cast<void*>(datagram.head), datagram.headSize};
  parts[1] = {const_cast<void*>(datagram.data), datagram.size};
  *message = {};
  message->msg_name = const_cast<sockaddr_in*>(&datagram.to);
  message->msg_namelen = sizeof datagram.to;
  message->msg_iov = parts;
  message->msg_iovlen = datagram.size > 0 ? 2 : 1;
}

#if defined(SO_RXQ_OVFL)
struct Control {
  alignas(cmsghdr) char bytes[CMSG_SPACE(sizeof(std::uint32_t))];
};

void readDrops(msghdr* message, std::uint32_t* dropped) {
  for (cmsghdr* part = CMSG_FIRSTHDR(message); part != nullptr;
       part = CMSG_NXTHDR(message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SO_RXQ_OVFL)
      continue;
    std::memcpy(dropped, CMSG_DATA(part), sizeof *dropped);
  }
}
#else
struct Control {
  char bytes[1];
};
void readDrops(msghdr*, std::uint32_t*) {}
#endif

void describe(Arrival& arrival, iovec* part, Control* control,
              msghdr* message) {
  *part = {arrival.room, arrival.roomSize};
  *message = {};
  message->msg_name = &arrival.from;
  message->msg_namelen = sizeof arrival.from;
  message->msg_iov = part;
  message->msg_iovlen = 1;
  message->msg_control = control->bytes;
  message->msg_controllen = sizeof control->bytes;
}

}  // namespace

#if defined(OSTREL_HAS_MMSG)

long sendMany(int socket, const Departure* datagrams, std::size_t count) {
  iovec parts[kMostAtOnce][2];
  mmsghdr messages[kMostAtOnce];
  count = std::min(count, kMostAtOnce);
  for (std::size_t i = 0; i < count; ++i)
    describe(datagrams[i], parts[i], &messages[i].msg_hdr);
  return ::sendmmsg(socket, messages, static_cast<unsigned>(count),
                    MSG_DONTWAIT | MSG_NOSIGNAL);
}

long receiveMany(int socket, Arrival* arrivals, std::size_t count,
                 std::uint32_t* dropped) {
  iovec parts[kMostAtOnce];
  Control controls[kMostAtOnce];
  mmsghdr messages[kMostAtOnce];
  count = std::min(count, kMostAtOnce);
  for (std::size_t i = 0; i < count; ++i)
    describe(arrivals[i], &parts[i], &controls[i], &messages[i].msg_hdr);
  const int got = ::recvmmsg(socket, messages, static_cast<unsigned>(count),
                             MSG_DONTWAIT | MSG_TRUNC, nullptr);
  for (int i = 0; i < got; ++i) {
    arrivals[i].size = messages[i].msg_len;
    readDrops(&messages[i].msg_hdr, dropped);
  }
  return got;
}

#else

long sendMany(int socket, const Departure* datagrams, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    iovec parts[2];
    msghdr message;
    describe(datagrams[i], parts, &message);
    if (::sendmsg(socket, &message, MSG_DONTWAIT) < 0)
      return i == 0 ? -1 : static_cast<long>(i);
  }
  return static_cast<long>(count);
}

long receiveMany(int socket, Arrival* arrivals, std::size_t count,
                 std::uint32_t* dropped) {
  for (std::size_t i = 0; i < count; ++i) {
    iovec part;
    Control control;
    msghdr message;
    describe(arrivals[i], &part, &control, &message);
    const ssize_t got = ::recvmsg(socket, &message, MSG_DONTWAIT);
    if (got < 0) return i == 0 ? -1 : static_cast<long>(i);
    arrivals[i].size = static_cast<std::size_t>(got);
    if ((message.msg_flags & MSG_TRUNC) != 0)
      arrivals[i].size = arrivals[i].roomSize + 1;
    readDrops(&message, dropped);
  }
  return static_cast<long>(count);
}

#endif

#if defined(__linux__)

int keepReports(int socket) {
  const int on = 1;
  const int reports =
      ::setsockopt(socket, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
  const int drops =
      ::setsockopt(socket, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
  return reports == 0 || drops == 0 ? 0 : -1;
}

int takeReport(int socket, Report* report) {
  union {
    char bytes[512];
    cmsghdr align;
  } control;
  *report = {};
  iovec part = {report->quoted, sizeof report->quoted};
  msghdr message = {};
  message.msg_name = &report->to;
  message.msg_namelen = sizeof report->to;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  const ssize_t got = ::recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
  if (got < 0) return 0;
  report->size = static_cast<std::size_t>(got);
  for (cmsghdr* at = CMSG_FIRSTHDR(&message); at != nullptr;
       at = CMSG_NXTHDR(&message, at)) {
    if (at->cmsg_level != IPPROTO_IP || at->cmsg_type != IP_RECVERR) continue;
    sock_extended_err cause;
    std::memcpy(&cause, CMSG_DATA(at), sizeof cause);
    report->error = static_cast<int>(cause.ee_errno);
  }
  return 1;
}

int randomBytes(void* block, std::size_t size) {
  const ssize_t got = ::getrandom(block, size, 0);
  return got == static_cast<ssize_t>(size) ? 0 : -1;
}

#else

int keepReports(int) {
  errno = ENOSYS;
  return -1;
}

int takeReport(int, Report*) { return 0; }

int randomBytes(void* block, std::size_t size) {
  std::FILE* source = std::fopen("/dev/urandom", "rb");
  if (source == nullptr) return -1;
  const std::size_t got = std::fread(block, 1, size, source);
  std::fclose(source);
  return got == size ? 0 : -1;
}

#endif

long receiveBuffer(int socket) {
  int bytes = 0;
  socklen_t size = sizeof bytes;
  if (::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, &size) != 0)
    return -1;
  return bytes;
}

int localAddress(const sockaddr_in& peer, in_addr* address) {
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (socket < 0) return -1;
  sockaddr_in name = {};
  socklen_t size = sizeof name;
  int result =
      ::connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
  if (result == 0)
    result = ::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
  const int error = errno;
  ::close(socket);
  errno = error;
  *address = name.sin_addr;
  return result;
}

int waitFor(int socket, bool write, int wakeupEnd, std::int64_t microseconds) {
  const short events = static_cast<short>(write ? POLLIN | POLLOUT : POLLIN);
  pollfd watched[] = {{socket, events, 0}, {wakeupEnd, POLLIN, 0}};
  const timespec limit = timeOf(std::max<std::int64_t>(microseconds, 0));
  const int result =
      ::ppoll(watched, 2, microseconds < 0 ? nullptr : &limit, nullptr);
  return result > 0 ? 1 : result;
}

void wake(const Wakeup& wakeup) {
  const int before = errno;
  const std::uint64_t one = 1;
  // Full means that it is awake already.
  if (::write(wakeup.writeEnd, &one, sizeof one) < 0) errno = before;
  errno = before;
}

void hush(const Wakeup& wakeup) {
  const int before = errno;
  std::uint64_t words[64];
  while (::read(wakeup.readEnd, words, sizeof words) ==
         static_cast<ssize_t>(sizeof words)) {
  }
  errno = before;
}

void closeWakeup(const Wakeup& wakeup) {
  if (wakeup.writeEnd >= 0 && wakeup.writeEnd != wakeup.readEnd)
    ::close(wakeup.writeEnd);
  if (wakeup.readEnd >= 0) ::close(wakeup.readEnd);
}

#if defined(OSTREL_HAS_EPOLL)

int openWakeup(Wakeup* wakeup) {
  const int descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  wakeup->readEnd = wakeup->writeEnd = descriptor;
  return descriptor < 0 ? -1 : 0;
}

int openReadiness(Readiness* readiness) {
  readiness->descriptor = ::epoll_create1(EPOLL_CLOEXEC);
  if (readiness->descriptor < 0) return -1;
  readiness->timer =
      ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  if (readiness->timer >= 0 &&
      watchDescriptor(*readiness, readiness->timer) == 0)
    return 0;
  const int error = errno;
  closeReadiness(*readiness);
  *readiness = {};
  errno = error;
  return -1;
}

int watchDescriptor(const Readiness& readiness, int descriptor) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  return ::epoll_ctl(readiness.descriptor, EPOLL_CTL_ADD, descriptor, &event);
}

int watchWrite(const Readiness& readiness, int socket, bool write) {
  epoll_event event = {};
  event.events = EPOLLIN;
  if (write) event.events |= EPOLLOUT;
  event.data.fd = socket;
  return ::epoll_ctl(readiness.descriptor, EPOLL_CTL_MOD, socket, &event);
}

int setTimer(const Readiness& readiness, std::int64_t microseconds) {
  itimerspec setting = {};
  if (microseconds >= 0) {
    // A time of zero would turn the timer off.
    setting.it_value = timeOf(microseconds);
    if (microseconds == 0) setting.it_value.tv_nsec = 1;
  }
  return ::timerfd_settime(readiness.timer, 0, &setting, nullptr);
}

void closeReadiness(const Readiness& readiness) {
  if (readiness.timer >= 0) ::close(readiness.timer);
  if (readiness.descriptor >= 0) ::close(readiness.descriptor);
}

#else

namespace {

int makeQuiet(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0)
    return -1;
  return ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

}  // namespace

int openWakeup(Wakeup* wakeup) {
  int ends[2];
  if (::pipe(ends) != 0) return -1;
  *wakeup = {ends[0], ends[1]};
  return makeQuiet(ends[0]) == 0 && makeQuiet(ends[1]) == 0 ? 0 : -1;
}

int openReadiness(Readiness*) {
  errno = ENOSYS;
  return -1;
}
int watchDescriptor(const Readiness&, int) { return -1; }
int watchWrite(const Readiness&, int, bool) { return -1; }
int setTimer(const Readiness&, std::int64_t) { return -1; }
void closeReadiness(const Readiness&) {}

#endif

}  // namespace platform
}  // namespace ostrel
