#include "net/server_loop.h"

#include <poll.h>

#include <csignal>

#include "common/addresses.h"
#include "support/log.h"
#include "support/service_manager.h"

namespace ostrel::tools::server {

ServerLoop::ServerLoop(const ServerOptions& options)
    : socket_(options.listen, options.port, options.longestRequest),
      rate_(options.requestsPerSecond),
      outbox_(&socket_),
      sockets_{&socket_} {}

int ServerLoop::run() {
  Watchdog watchdog;
  tellReady();
  for (;;) {
    const int milliseconds =
        watchdog.alive(runTimers(), std::chrono::steady_clock::now());
    wait(outbox_.empty() && !working_ ? milliseconds : 0);
    if (ended()) return 0;
    receive();
    for (UdpSocket* socket : sockets_)
      if (!takeRequests(*socket)) return 0;
    const Time now = std::chrono::steady_clock::now();
    finishBatch(now);
    working_ = work(now + kTurn);
    outbox_.sendNext();
  }
}

void ServerLoop::wait(int milliseconds) {
  std::vector<pollfd> ready = {{signals_.descriptor(), POLLIN, 0}};
  for (const UdpSocket* socket : sockets_)
    ready.push_back({socket->socket, POLLIN, 0});
  for (const int descriptor : descriptors_)
    ready.push_back({descriptor, POLLIN, 0});
  poll(ready.data(), ready.size(), milliseconds);
}

bool ServerLoop::ended() {
  while (const int signal = signals_.take()) {
    if (signal != SIGHUP) {
      log(Level::kInfo, "ended by a signal");
      tellStopping();
      return true;
    }
    tellReloading();
    reload();
    tellReady();
  }
  return false;
}

// Returns whether the server goes on.
bool ServerLoop::takeRequests(UdpSocket& socket) {
  for (int i = 0; i < kBatch; ++i) {
    Message request;
    const auto taken = socket.take(&request);
    if (taken == UdpSocket::Taken::kNothing) break;
    if (taken == UdpSocket::Taken::kPart) continue;
    const Time now = std::chrono::steady_clock::now();
    if (!rate_.allows(request.from.sin_addr, now)) {
      log(Level::kDebug, "too many requests of " + endpointText(request.from));
      continue;
    }
    handle(request, now);
    if (ended()) return false;
  }
  return true;
}

void ServerLoop::answer(const sockaddr_in& to, std::string& bytes) {
  rate_.charge(to.sin_addr, bytes.size());
  if (!bytes.empty()) outbox_.send(to, bytes);
}

}  // namespace ostrel::tools::server
