#include "session/host_lookup.h"

#include <netdb.h>

#include <chrono>
#include <future>
#include <thread>
#include <utility>

#include "common/addresses.h"
#include "format/bytes.h"
#include "session/waiting.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

// How often a signal is looked for while a name is looked up.
constexpr auto kTurn = std::chrono::milliseconds(50);

// A name server may take long, and no signal ends that: it is asked beside.
HostLookup lookUpPatiently(const std::string& host, Output& output) {
  std::promise<HostLookup> promise;
  std::future<HostLookup> result = promise.get_future();
  std::thread([host, promised = std::move(promise)]() mutable {
    promised.set_value(lookUpHost(host));
  }).detach();
  const Stopwatch watch;
  while (result.wait_for(kTurn) != std::future_status::ready) {
    if (interrupted())
      throw Failure(kInterrupted, "interrupted while the host '" +
                                      escaped(host) + "' was looked up");
    if (watch.isLong())
      output.progress("looking up the host '" + escaped(host) + "', " +
                      watch.secondsText());
  }
  output.endProgress();
  return result.get();
}

}  // namespace

in_addr resolve(const std::string& host, Output& output) {
  if (const auto address = parseAddress(host)) return *address;
  const HostLookup found = lookUpPatiently(host, output);
  if (found.code != 0)
    throw Failure(kSetup,
                  "there is no IPv4 address for the host '" + escaped(host) +
                      "': " + gai_strerror(found.code),
                  "Give --server the host's address, such as 10.0.0.1.");
  return found.address;
}

}  // namespace ostrel::tools::cli
