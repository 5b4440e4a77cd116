// What the tests of the servers' network share: a client's socket on loopback.

#ifndef OSTREL_TESTS_TOOLS_OSTRELD_NET_TEST_H
#define OSTREL_TESTS_TOOLS_OSTRELD_NET_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/datagram.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdlib>
#include <string>

#include "common/addresses.h"
#include "net/udp_socket.h"

namespace ostrel::tools::server {

// The library, as a peer.
class Peer {
 public:
  explicit Peer(const char* host = "127.0.0.1") {
    handler_.open(0);
    sockaddr_in local = endpoint(*parseAddress(host), 0);
    // On an address of its own.
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local);
    handler_.close();
    handler_.socket = descriptor;
    socklen_t length = sizeof address;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
  }
  ~Peer() {
    handler_.dropPartialMessages();
    handler_.close();
  }

  void send(const sockaddr_in& to, std::string message) {
    handler_.send(&to, message.data(), static_cast<unsigned>(message.size()));
  }

  void sendRaw(const sockaddr_in& to, const std::string& datagram) {
    sendto(handler_.socket, datagram.data(), datagram.size(), 0,
           reinterpret_cast<const sockaddr*>(&to), sizeof to);
  }

  // How many datagrams are there. They are gone then.
  unsigned drain() {
    unsigned count = 0;
    char byte = 0;
    while (::recv(handler_.socket, &byte, 1, MSG_DONTWAIT) >= 0) count++;
    return count;
  }

  // The first bytes of the next datagram; "" when there is none.
  std::string takeRaw() {
    char bytes[64];
    const ssize_t got =
        ::recv(handler_.socket, bytes, sizeof bytes, MSG_DONTWAIT);
    return got < 0 ? "" : std::string(bytes, static_cast<std::size_t>(got));
  }

  // Takes all datagrams that are there. Returns the message that they complete;
  // "" when there is none.
  std::string take() {
    char byte = 0;
    while (::recv(handler_.socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0) {
      void* data = nullptr;
      const unsigned length = handler_.recv(nullptr, &data);
      if (length == 0) continue;
      const std::string message(static_cast<const char*>(data), length);
      std::free(data);
      return message;
    }
    return "";
  }

  sockaddr_in address = {};

 private:
  veskDatagramHandler handler_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TESTS_TOOLS_OSTRELD_NET_TEST_H
