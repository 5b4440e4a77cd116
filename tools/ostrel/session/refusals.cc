#include "session/refusals.h"

#include <linux/errqueue.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "common/addresses.h"

namespace ostrel::tools::cli {
namespace {

// What came with a message of the error queue: the cause, and who is asked.
constexpr std::size_t kControlRoom =
    CMSG_SPACE(sizeof(sock_extended_err) + sizeof(sockaddr_in));

bool saysClosed(msghdr& message) {
  for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr;
       each = CMSG_NXTHDR(&message, each)) {
    if (each->cmsg_level != IPPROTO_IP || each->cmsg_type != IP_RECVERR)
      continue;
    sock_extended_err error;
    std::memcpy(&error, CMSG_DATA(each), sizeof error);
    if (error.ee_origin == SO_EE_ORIGIN_ICMP && error.ee_errno == ECONNREFUSED)
      return true;
  }
  return false;
}

}  // namespace

// Where that cannot be had, the request is given up in its time.
void keepRefusals(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
}

bool takeRefusals(int socket, const sockaddr_in& to) {
  bool closed = false;
  for (;;) {
    sockaddr_in destination = {};
    alignas(cmsghdr) char control[kControlRoom];
    msghdr message = {};
    message.msg_name = &destination;
    message.msg_namelen = sizeof destination;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0)
      return closed;
    if (saysClosed(message) && sameEndpoint(destination, to)) closed = true;
  }
}

}  // namespace ostrel::tools::cli
