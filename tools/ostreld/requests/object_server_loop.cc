#include "requests/object_server_loop.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cmath>
#include <ctime>

#include "common/addresses.h"
#include "machine/host_manager.h"
#include "machine/principals.h"
#include "objects/registrations.h"
#include "objects/stored_objects.h"
#include "requests/request_executor.h"
#include "requests/request_router.h"
#include "store/sqlite_store.h"
#include "support/clock.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr double kRetrySeconds = 10;

// How often old answers are forgotten. It is the longest wait, too, so that a
// jump of the calendar's time is noticed.
constexpr std::chrono::seconds kTidy{10};

// What a datagram may have waited for the server.
constexpr std::chrono::seconds kLongestWait{10};

class ObjectServer : public ServerLoop {
 public:
  explicit ObjectServer(const ObjectServerOptions& options)
      : ServerLoop(options),
        clock_(options.clockRate),
        clockRate_(options.clockRate),
        store_(options.store),
        objects_(&store_),
        registrations_(&objects_, &clock_, &counters(), options.registrations),
        host_(options.listen, &counters()),
        router_(&objects_, &registrations_, options.policy),
        executor_(&store_, &registrations_, &router_, &counters(),
                  options.longestAnswer, options.mostValues) {
    router_.add(&host_);
    router_.add(&principals_);
    // From the first time on, the system notes when datagrams arrive.
    arrival({});
  }

 private:
  void handle(Message& request, Time now) override {
    executor_.handle(request, arrival(now));
    send();
  }

  void finishBatch(Time) override {
    executor_.finishBatch();
    send();
  }

  // When the last datagram reached this machine. It may have waited here while
  // the server was busy, and what was doubled on its way is told by the time
  // between the two.
  Time arrival(Time now) {
    timespec arrived = {};
    timespec present = {};
    if (ioctl(socket().socket, SIOCGSTAMPNS, &arrived) != 0 ||
        clock_gettime(CLOCK_REALTIME, &present) != 0)
      return now;
    const auto waited =
        std::chrono::seconds(present.tv_sec - arrived.tv_sec) +
        std::chrono::nanoseconds(present.tv_nsec - arrived.tv_nsec);
    // The calendar may have been set in between.
    if (waited.count() < 0 || waited > kLongestWait) return now;
    return now - std::chrono::duration_cast<Time::duration>(waited);
  }

  int runTimers() override {
    double wait = kRetrySeconds;
    try {
      wait = registrations_.tick();
      const Time now = std::chrono::steady_clock::now();
      if (now >= nextTidy_) {
        nextTidy_ = now + kTidy;
        executor_.tick(now);
      }
    } catch (const StoreError& error) {
      log(Level::kError, error.what());
    }
    send();
    const double tidy = std::chrono::duration<double>(kTidy).count();
    wait = std::min(wait / clockRate_, tidy) * kMillisecondsPerSecond;
    return std::max(0, static_cast<int>(std::ceil(wait)));
  }

  // What a batch has not kept yet is not sent.
  void send() {
    for (Answer& each : executor_.takeAnswers()) answer(each.to, each.bytes);
    if (executor_.inBatch()) return;
    for (Outgoing& event : registrations_.takeOutgoing())
      socket().sendTo(event.to, *event.bytes);
  }

  SystemClock clock_;
  double clockRate_;
  SqliteStore store_;
  StoredObjects objects_;
  Registrations registrations_;
  HostManager host_;
  Principals principals_;
  RequestRouter router_;
  RequestExecutor executor_;
  Time nextTidy_{};
};

}  // namespace

int serveObjects(const ObjectServerOptions& options) {
  ObjectServer server(options);
  log(Level::kInfo,
      "object server on " + endpointText(server.address()) + ", objects in " +
          (options.store == kInMemory ? "memory" : options.store));
  return server.run();
}

}  // namespace ostrel::tools::server
