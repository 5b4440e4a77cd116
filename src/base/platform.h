// Every call that reaches the system: the clock, the pause, sockets, names, the
// user, and memory whose size a peer decides. Nothing else in the library calls
// the system, so that tests put a clock and a network of their own in place of
// platform.cc when they link.
//
// Calls that return an int or a long give -1 on failure, with the cause in
// errno; those that succeed leave errno alone.

#ifndef OSTREL_SRC_PLATFORM_H
#define OSTREL_SRC_PLATFORM_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

namespace ostrel {
namespace platform {

// Zeroed memory for a message; free() releases it. Even for 0 bytes it is a
// block of its own. Null when memory has run out.
void* allocate(std::size_t size);

// Calendar time in whole seconds.
long now();

// Microseconds since some moment before the program began. This clock is never
// set.
std::int64_t elapsed();

// Sleeps for a number of scheduler clock ticks of 10 ms.
void pause(unsigned ticks);

// A new IPv4 datagram socket.
int openSocket();

int bindSocket(int socket, const sockaddr_in& address);

// Asks for a send buffer, and a receive buffer, of `bytes`.
int setSendBuffer(int socket, int bytes);
int setReceiveBuffer(int socket, int bytes);

// Sets the TTL of multicast datagrams that are sent here.
int setMulticastTtl(int socket, unsigned char ttl);

// Stores the socket's own address and port.
int socketName(int socket, sockaddr_in* address);

int closeSocket(int socket);

// Identifies a descriptor's socket: its number may later belong to another
// file.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

// Stores what is open under this number now, a socket or anything else.
int identify(int descriptor, Identity* identity);

// Sends one datagram, the header followed by the data, and returns its length.
// May block while the socket's buffer is full.
long sendParts(int socket, const sockaddr_in& to, const void* header,
               std::size_t headerSize, const void* data, std::size_t dataSize);

// Reads the first `size` bytes of the next datagram and its sender, and leaves
// it queued. Blocks until there is one. Returns the bytes stored.
long peek(int socket, sockaddr_in* from, void* header, std::size_t size);

// Takes the next datagram: its first headerSize bytes go into `header`, the
// following ones into `data`. Bytes that do not fit are lost. Returns the bytes
// stored. Never blocks: with nothing queued it fails with EAGAIN.
long receiveParts(int socket, void* header, std::size_t headerSize, void* data,
                  std::size_t dataSize);

// Takes the next datagram and drops it. Never blocks, as receiveParts().
int discard(int socket);

// Waits until the socket can be read, for at most the given time; any
// descriptor number will do. With a time of zero or less it only looks. Returns
// 1 when there is, 0 when the time has passed, -1 on failure (EINTR: a signal).
int waitReadable(int socket, long seconds, long microseconds);

// Stores this host's name with its NUL. A name that does not fit is cut off,
// and still ends with a NUL.
int hostName(char* buffer, std::size_t size);

// Stores the first IPv4 address of a host, in network byte order: the first in
// the resolver's own order. False when the name has none.
bool resolveHost(const char* name, in_addr* address);

// The effective user id of the process.
long effectiveUser();

}  // namespace platform
}  // namespace ostrel

#endif  // OSTREL_SRC_PLATFORM_H
