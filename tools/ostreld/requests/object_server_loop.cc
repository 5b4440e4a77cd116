#include "requests/object_server_loop.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>

#include "base/clock.h"
#include "base/log.h"
#include "net/rate_limit.h"
#include "net/signals.h"
#include "net/udp_socket.h"
#include "objects/host_manager.h"
#include "objects/principals.h"
#include "objects/registrations.h"
#include "requests/request_executor.h"
#include "requests/request_router.h"
#include "store/store.h"

namespace ostrel::tools::server {
namespace {

// Requests that are answered before signals and timers have their turn.
constexpr int kBatch = 64;
constexpr double kRetrySeconds = 10;
constexpr double kMillisecondsPerSecond = 1000;

// How often old answers are forgotten. It is the longest wait, too, so that a
// jump of the calendar's time is noticed.
constexpr std::chrono::seconds kTidy{10};

class ObjectServer {
 public:
  explicit ObjectServer(const ServeOptions& options)
      : clock_(options.clockRate),
        clockRate_(options.clockRate),
        socket_(options.listen, options.port, options.longestRequest),
        store_(options.store),
        registrations_(&store_, &clock_),
        host_(options.listen),
        dispatcher_(&store_, &registrations_, options.policy),
        service_(&store_, &registrations_, &dispatcher_, options.longestAnswer),
        rate_(options.requestsPerSecond),
        outbox_(&socket_) {
    dispatcher_.add(&host_);
    dispatcher_.add(&principals_);
  }

  int run() {
    for (;;) {
      int wait = runTimers();
      if (!outbox_.empty()) wait = 0;
      pollfd ready[] = {{socket_.socket, POLLIN, 0},
                        {signals_.descriptor(), POLLIN, 0}};
      poll(ready, 2, wait);
      if (ended() || !answerRequests()) return 0;
      outbox_.sendNext();
    }
  }

  sockaddr_in address() const { return socket_.address(); }

 private:
  // Returns the milliseconds until the next timer.
  int runTimers() {
    double wait = kRetrySeconds;
    try {
      wait = registrations_.tick();
      const auto now = std::chrono::steady_clock::now();
      if (now >= nextTidy_) {
        nextTidy_ = now + kTidy;
        service_.tick(now);
      }
    } catch (const StoreError& error) {
      log(Level::kError, error.what());
    }
    sendEvents();
    const double tidy = std::chrono::duration<double>(kTidy).count();
    wait = std::min(wait / clockRate_, tidy) * kMillisecondsPerSecond;
    return std::max(0, static_cast<int>(std::ceil(wait)));
  }

  bool ended() {
    while (const int signal = signals_.take()) {
      if (signal == SIGHUP) continue;
      log(Level::kInfo, "ended by a signal");
      return true;
    }
    return false;
  }

  // Returns whether the server goes on.
  bool answerRequests() {
    for (int i = 0; i < kBatch; ++i) {
      sockaddr_in from = {};
      std::string request;
      const auto taken = socket_.take(&from, &request);
      if (taken == UdpSocket::Taken::kNothing) break;
      if (taken == UdpSocket::Taken::kPart) continue;
      const auto now = std::chrono::steady_clock::now();
      if (!rate_.allows(from.sin_addr, now)) {
        log(Level::kDebug, "too many requests of " + text(from));
        continue;
      }
      std::string answer = service_.handle(from, request, now);
      rate_.charge(from.sin_addr, answer.size());
      if (!answer.empty()) outbox_.send(from, answer);
      sendEvents();
      if (ended()) return false;
    }
    return true;
  }

  void sendEvents() {
    for (Outgoing& event : registrations_.takeOutgoing())
      socket_.sendTo(event.to, event.bytes);
  }

  Signals signals_;
  SystemClock clock_;
  double clockRate_;
  UdpSocket socket_;
  Store store_;
  Registrations registrations_;
  HostManager host_;
  Principals principals_;
  Dispatcher dispatcher_;
  Service service_;
  RateLimit rate_;
  Outbox outbox_;
  std::chrono::steady_clock::time_point nextTidy_{};
};

}  // namespace

int serve(const ServeOptions& options) {
  ObjectServer server(options);
  log(Level::kInfo,
      "object server on " + text(server.address()) + ", objects in " +
          (options.store == ":memory:" ? "memory" : options.store));
  return server.run();
}

}  // namespace ostrel::tools::server
