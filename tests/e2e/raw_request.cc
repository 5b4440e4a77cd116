// raw_request < FILE
//
// Sends the bytes of a file, whatever they are, as one message to the object
// server of this machine, and prints the answer's bytes in hexadecimal, or "no
// answer" after a second.

#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/datagram.h>
#include <poll.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>

namespace {

constexpr int kWait = 1000;  // milliseconds

}  // namespace

int main() {
  std::string request{std::istreambuf_iterator<char>(std::cin), {}};
  veskDatagramHandler handler;
  if (handler.open(0) < 0) return 1;
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  to.sin_port = htons(ostrel::kObjectServerPort);
  if (handler.send(&to, request.data(),
                   static_cast<unsigned>(request.size())) == 0) {
    return 1;
  }
  pollfd readable = {handler.socket, POLLIN, 0};
  while (poll(&readable, 1, kWait) > 0) {
    sockaddr_in from = {};
    void* data = nullptr;
    const unsigned length = handler.recv(&from, &data);
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned i = 0; i < length; ++i)
      std::printf("%s%02x", i == 0 ? "" : " ", unsigned{bytes[i]});
    std::free(data);
    if (length == 0) continue;
    std::puts("");
    return 0;
  }
  std::puts("no answer");
}
