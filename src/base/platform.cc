// The system calls themselves. What they do to the library is described in
// platform.h; this file only translates.

#include "base/platform.h"

#include <netdb.h>
#include <ostrel/codes.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace ostrel {
namespace platform {
namespace {

constexpr long kTickNanoseconds = 10L * 1000 * 1000;
constexpr unsigned kTicksInSecond = 100;
constexpr std::size_t kSmallBlock = kFragmentData;
constexpr long kMicrosecondsInSecond = 1000L * 1000;

// The resolver's buffer for a host: its first size, and its largest.
constexpr std::size_t kFirstHostRoom = 1024;
constexpr std::size_t kMostHostRoom = 1024 * 1024;

const sockaddr* generic(const sockaddr_in* address) {
  return reinterpret_cast<const sockaddr*>(address);
}

sockaddr* generic(sockaddr_in* address) {
  return reinterpret_cast<sockaddr*>(address);
}

long receive(int socket, sockaddr_in* from, iovec* parts, std::size_t count,
             int flags) {
  msghdr message = {};
  message.msg_name = from;
  message.msg_namelen = from == nullptr ? 0 : sizeof *from;
  message.msg_iov = parts;
  message.msg_iovlen = count;
  return ::recvmsg(socket, &message, flags);
}

}  // namespace

void* allocate(std::size_t size) {
  // The C library gives zeros by itself where that is cheap: large blocks come
  // as fresh pages. Small ones are quicker from malloc.
  if (size > kSmallBlock) return std::calloc(1, size);
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) std::memset(block, 0, size);
  return block;
}

long now() { return static_cast<long>(std::time(nullptr)); }

std::int64_t elapsed() {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
}

void pause(unsigned ticks) {
  timespec left = {};
  left.tv_sec = static_cast<std::time_t>(ticks / kTicksInSecond);
  left.tv_nsec = static_cast<long>(ticks % kTicksInSecond) * kTickNanoseconds;
  const int before = errno;
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
  errno = before;
}

int openSocket() { return ::socket(AF_INET, SOCK_DGRAM, 0); }

int bindSocket(int socket, const sockaddr_in& address) {
  return ::bind(socket, generic(&address), sizeof address);
}

int setSendBuffer(int socket, int bytes) {
  return ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
}

int setReceiveBuffer(int socket, int bytes) {
  return ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

int setMulticastTtl(int socket, unsigned char ttl) {
  return ::setsockopt(socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl);
}

int socketName(int socket, sockaddr_in* address) {
  socklen_t size = sizeof *address;
  return ::getsockname(socket, generic(address), &size);
}

int closeSocket(int socket) { return ::close(socket); }

int identify(int descriptor, Identity* identity) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0) return -1;
  identity->device = status.st_dev;
  identity->inode = status.st_ino;
  return 0;
}

long sendParts(int socket, const sockaddr_in& to, const void* header,
               std::size_t headerSize, const void* data, std::size_t dataSize) {
  // The structures of sendmsg carry no const; it writes nothing through them.
  iovec parts[] = {{const_cast<void*>(header), headerSize},
                   {const_cast<void*>(data), dataSize}};
  msghdr message = {};
  message.msg_name = const_cast<sockaddr_in*>(&to);
  message.msg_namelen = sizeof to;
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  return ::sendmsg(socket, &message, 0);
}

long peek(int socket, sockaddr_in* from, void* header, std::size_t size) {
  iovec part = {header, size};
  return receive(socket, from, &part, 1, MSG_PEEK);
}

long receiveParts(int socket, void* header, std::size_t headerSize, void* data,
                  std::size_t dataSize) {
  iovec parts[] = {{header, headerSize}, {data, dataSize}};
  return receive(socket, nullptr, parts, 2, MSG_DONTWAIT);
}

int discard(int socket) {
  char first = 0;
  return ::recv(socket, &first, sizeof first, MSG_DONTWAIT) < 0 ? -1 : 0;
}

// poll, unlike select, has no highest descriptor.
int waitReadable(int socket, long seconds, long microseconds) {
  timespec limit = {};
  if (seconds >= 0 && microseconds >= 0) {
    limit.tv_sec = static_cast<std::time_t>(seconds);
    limit.tv_sec += microseconds / kMicrosecondsInSecond;
    limit.tv_nsec = microseconds % kMicrosecondsInSecond * 1000;
  }
  pollfd readable = {socket, POLLIN, 0};
  if (socket >= 0) {
    const int result = ::ppoll(&readable, 1, &limit, nullptr);
    if (result <= 0 || (readable.revents & POLLNVAL) == 0) return result;
  }
  errno = EBADF;
  return -1;
}

int hostName(char* buffer, std::size_t size) {
  if (size == 0) return 0;
  const int before = errno;
  buffer[size - 1] = '\0';
  int result = ::gethostname(buffer, size - 1);
  if (result != 0 && errno == ENAMETOOLONG) {
    errno = before;
    result = 0;
  }
  return result;
}

#if defined(__GLIBC__)

bool resolveHost(const char* name, in_addr* address) {
  // getaddrinfo() would sort the addresses, and which one came first would
  // depend on the routes of the moment.
  for (std::size_t size = kFirstHostRoom; size <= kMostHostRoom; size *= 2) {
    auto* room = static_cast<char*>(std::malloc(size));
    if (room == nullptr) return false;
    hostent entry = {};
    hostent* found = nullptr;
    int error = 0;
    const int result =
        ::gethostbyname_r(name, &entry, room, size, &found, &error);
    const bool has = result == 0 && found != nullptr &&
                     found->h_addrtype == AF_INET &&
                     found->h_addr_list[0] != nullptr;
    if (has) std::memcpy(address, found->h_addr_list[0], sizeof *address);
    std::free(room);
    if (result != ERANGE) return has;
  }
  return false;
}

#else

bool resolveHost(const char* name, in_addr* address) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(name, nullptr, &wanted, &found) != 0) return false;
  *address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  ::freeaddrinfo(found);
  return true;
}

#endif

long effectiveUser() { return static_cast<long>(::geteuid()); }

}  // namespace platform
}  // namespace ostrel
