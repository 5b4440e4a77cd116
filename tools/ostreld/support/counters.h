// What the server counts: whatever it drops, refuses, repeats or gives up. The
// host's object shows the counts to everybody.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_COUNTERS_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_COUNTERS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ostrel::tools::server {

// In the order of their attributes, 59.1.40 and so on: a new one comes last,
// and into the table of docs/object-server.md.
enum class Counter {
  kRequests,          // taken, before anything was judged
  kRepeats,           // answered with the answer that was given before
  kMalformed,         // what was no request, and requests with too much in it
  kTooLong,           // requests longer than the longest that is taken
  kOverRate,          // requests and openings beyond the rate of their sender
  kPartialsDropped,   // messages that were never complete
  kReadingRefused,    // requests from where nobody may read
  kChangesRefused,    // changes by whom the policy does not let change
  kOutOfTime,         // requests that exceeded their budget of work
  kAnswersOverBytes,  // answers beyond the bytes of an address in a second
  kAnswersDropped,    // long answers for which there was no room to wait
  kEventsSent,
  kEventsDropped,  // events beyond what their address may get
  kRegistrationsRefused,
  kStoreErrors,  // requests that failed because the store did
  kOutOfMemory,  // requests that failed because memory ran out
  kCount
};

class Counters {
 public:
  void add(Counter counter) { values_[static_cast<std::size_t>(counter)]++; }
  std::uint64_t value(Counter counter) const {
    return values_[static_cast<std::size_t>(counter)];
  }

 private:
  static constexpr auto kCount = static_cast<std::size_t>(Counter::kCount);
  std::array<std::uint64_t, kCount> values_ = {};
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_COUNTERS_H
