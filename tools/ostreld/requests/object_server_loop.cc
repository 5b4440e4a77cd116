#include "requests/object_server_loop.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include "common/addresses.h"
#include "machine/host_manager.h"
#include "machine/principals.h"
#include "objects/registrations.h"
#include "objects/stored_objects.h"
#include "requests/request_executor.h"
#include "requests/request_router.h"
#include "store/cached_store.h"
#include "store/sqlite_store.h"
#include "support/clock.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr double kRetrySeconds = 10;

// How often old answers are forgotten. It is the longest wait, too, so that a
// jump of the calendar's time is noticed.
constexpr std::chrono::seconds kTidy{10};

class ObjectServer : public ServerLoop {
 public:
  ObjectServer(const ObjectServerOptions& options,
               const RereadObjectServerOptions& reread)
      : ServerLoop(options),
        reread_(reread),
        clock_(options.clockRate),
        clockRate_(options.clockRate),
        file_(options.store,
              options.checkPages ? SqliteStore::Check::kPages
                                 : SqliteStore::Check::kNothing,
              options.unindexed),
        store_(&file_, options.cacheBytes),
        objects_(&store_, options.mostValues),
        registrations_(&objects_, &clock_, &counters(), options.registrations),
        host_(options.listen, &counters()),
        router_(&objects_, &registrations_, options.policy),
        executor_(&store_, &registrations_, &router_, &counters(),
                  {options.longestAnswer, options.budget, options.mostValues}) {
    router_.add(&host_);
    router_.add(&principals_);
  }

 private:
  void handle(Message& request, Time) override {
    executor_.handle(request, request.arrived);
    send();
  }

  void finishBatch(Time) override {
    executor_.finishBatch();
    send();
  }

  bool work(Time until) override {
    const bool more = executor_.work(until);
    send();
    return more;
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

  // What cannot be read leaves everything as it was.
  void reload() override {
    // Whoever sent the signal wants to see what came of it, every time.
    logRepeats();
    try {
      reread_([this](const ObjectServerOptions& options) {
        setRates(options);
        router_.setPolicy(options.policy);
        registrations_.setRules(options.registrations);
        executor_.setLimits(options.longestAnswer, options.budget);
      });
    } catch (const std::exception& error) {
      log(Level::kError, std::string(error.what()) + "; nothing was changed");
    }
  }

  // What a batch has not kept yet is not sent.
  void send() {
    for (Answer& each : executor_.takeAnswers()) answer(each.to, each.bytes);
    if (executor_.inBatch()) return;
    for (Outgoing& event : registrations_.takeOutgoing())
      sendEvent(event.to, event.askedBy, *event.bytes);
  }

  RereadObjectServerOptions reread_;
  SystemClock clock_;
  double clockRate_;
  SqliteStore file_;
  CachedStore store_;
  StoredObjects objects_;
  Registrations registrations_;
  HostManager host_;
  Principals principals_;
  RequestRouter router_;
  RequestExecutor executor_;
  Time nextTidy_{};
};

}  // namespace

int serveObjects(const ObjectServerOptions& options,
                 const RereadObjectServerOptions& reread) {
  ObjectServer server(options, reread);
  log(Level::kInfo,
      "object server on " + endpointText(server.address()) + ", objects in " +
          (options.store == kInMemory ? "memory" : options.store));
  return server.run();
}

}  // namespace ostrel::tools::server
