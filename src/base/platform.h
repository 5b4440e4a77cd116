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

// Zeroed memory for a message, which free() releases; a block of its own even
// for 0 bytes. Null when there is none left.
void* allocate(std::size_t size);

// Calendar time in whole seconds.
long now();

// Microseconds since some moment before the program began; nobody sets this
// clock.
std::int64_t elapsed();

// Sleeps for a number of scheduler clock ticks of 10 ms.
void pause(unsigned ticks);

// A new IPv4 datagram socket.
int openSocket();

int bindSocket(int socket, const sockaddr_in& address);

// Asks for `bytes` of room for what waits to be sent, and for what has arrived.
int setSendBuffer(int socket, int bytes);
int setReceiveBuffer(int socket, int bytes);

// How many networks a multicast datagram sent here may cross.
int setMulticastTtl(int socket, unsigned char ttl);

// Stores the socket's own address and port.
int socketName(int socket, sockaddr_in* address);

int closeSocket(int socket);

// What tells a descriptor's socket from whatever else may have its number
// later.
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

// Takes the next datagram: its first headerSize bytes into `header`, what
// follows into `data`, and what has no room there is lost. Returns the bytes
// stored. Never blocks: with nothing queued it fails with EAGAIN.
long receiveParts(int socket, void* header, std::size_t headerSize, void* data,
                  std::size_t dataSize);

// Takes the next datagram and drops it. Never blocks, as receiveParts().
int discard(int socket);

// Waits until something can be read from the socket, whatever its number is,
// for at most the given time; one that is not above zero only looks. Returns 1
// when there is, 0 when the time has passed, -1 on failure (EINTR: a signal).
int waitReadable(int socket, long seconds, long microseconds);

// Stores this host's name with its NUL. Of a name that does not fit, the
// beginning is stored, still with a NUL.
int hostName(char* buffer, std::size_t size);

// Stores the first IPv4 address of a host, in network byte order: the first in
// the resolver's own order. False when the name has none.
bool resolveHost(const char* name, in_addr* address);

// The effective user id of the process.
long effectiveUser();

}  // namespace platform
}  // namespace ostrel

#endif  // OSTREL_SRC_PLATFORM_H
