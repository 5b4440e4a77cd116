// The calls to the system that the asynchronous client adds: many datagrams at
// once, reports of closed ports, waiting for several things, and wake-ups from
// other threads. As platform.h: -1 is failure, with the cause in errno; tests
// put a network of their own in place.
//
// Where the system has no call for many datagrams, or is told to do without
// (OSTREL_PORTABLE), they go one by one. Without epoll there is no descriptor
// that stands for a whole client.

#ifndef OSTREL_SRC_PLATFORM_ASYNC_H
#define OSTREL_SRC_PLATFORM_ASYNC_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

namespace ostrel {
namespace platform {

constexpr std::size_t kMostAtOnce = 64;

// One datagram to send: two parts, the first never empty.
struct Departure {
  sockaddr_in to;
  const void* head;
  std::size_t headSize;
  const void* data;
  std::size_t size;
};

// Sends up to kMostAtOnce datagrams in order, without blocking. Returns how
// many have been sent; -1 when the first could not be. An error that the system
// kept from before fails a call, too: then nothing is wrong with the datagram.
long sendMany(int socket, const Departure* datagrams, std::size_t count);

// Room for one datagram, and what arrived there.
struct Arrival {
  sockaddr_in from;
  void* room;
  std::size_t roomSize;
  std::size_t size;  // more than roomSize: its end was cut off
};

// Takes up to kMostAtOnce datagrams without blocking. Returns how many; -1 with
// EAGAIN when there is none. *dropped receives how many the socket has lost so
// far for want of room, if the system says.
long receiveMany(int socket, Arrival* arrivals, std::size_t count,
                 std::uint32_t* dropped);

// Has the system keep reports about datagrams that did not arrive, and count
// those it dropped. Returns 0, or -1 where it can do neither.
int keepReports(int socket);

// A report: where the datagram went, why it did not get there, and its first
// bytes as far as the reporter quoted them.
struct Report {
  sockaddr_in to;
  int error;
  std::size_t size;
  char quoted[64];
};

// Takes the next report. Returns 1, or 0 when there is none.
int takeReport(int socket, Report* report);

// What the receive buffer of a socket holds, in bytes; -1 on failure.
long receiveBuffer(int socket);

// This machine's address as a peer sees it. Sends nothing.
int localAddress(const sockaddr_in& peer, in_addr* address);

// Fills a block with random bytes that nobody can guess.
int randomBytes(void* block, std::size_t size);

// Something that other threads and signal handlers make readable.
struct Wakeup {
  int readEnd = -1;
  int writeEnd = -1;  // the same descriptor where there is but one
};
int openWakeup(Wakeup* wakeup);
void wake(const Wakeup& wakeup);  // async-signal-safe, keeps errno
void hush(const Wakeup& wakeup);  // until the next wake()
void closeWakeup(const Wakeup& wakeup);

// Waits until the socket can be read, or written if `write`, or has a report,
// or the wake-up has been waked; for at most `microseconds`, or for ever if
// that is negative. Either descriptor may be -1. Returns 1, 0 when the time has
// passed, -1 on failure (EINTR: a signal).
int waitFor(int socket, bool write, int wakeupEnd, std::int64_t microseconds);

// One descriptor that is readable when the socket, the wake-up or the timer is.
struct Readiness {
  int descriptor = -1;
  int timer = -1;
};
int openReadiness(Readiness* readiness);
int watchDescriptor(const Readiness& readiness, int descriptor);
// Whether the socket counts as ready when it can be written as well.
int watchWrite(const Readiness& readiness, int socket, bool write);
// Makes the timer ready after so many microseconds, 0: at once, negative:
// never.
int setTimer(const Readiness& readiness, std::int64_t microseconds);
void closeReadiness(const Readiness& readiness);

}  // namespace platform
}  // namespace ostrel

#endif  // OSTREL_SRC_PLATFORM_ASYNC_H
