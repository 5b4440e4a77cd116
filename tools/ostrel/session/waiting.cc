#include "session/waiting.h"

#include <poll.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "terminal/failure.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

// From then on a wait is announced.
constexpr std::chrono::seconds kSilence{1};

// The progress line is written again this often.
constexpr int kPollMilliseconds = 1000;

}  // namespace

std::chrono::steady_clock::duration Stopwatch::passed() const {
  return std::chrono::steady_clock::now() - start_;
}

bool Stopwatch::isLong() const { return passed() >= kSilence; }

std::string Stopwatch::secondsText() const {
  return plural(
      static_cast<long>(
          std::chrono::duration_cast<std::chrono::seconds>(passed()).count()),
      "second");
}

std::string plural(long count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

namespace {

// Waits for the ends, the last of which is that of signals. Returns whether the
// first can be read.
template <std::size_t count>
bool waitForEnds(pollfd (&ends)[count], int milliseconds) {
  const int ready = poll(ends, count, milliseconds);
  const int cause = errno;
  if (interrupted())
    throw Failure(kInterrupted, "interrupted before the answer came",
                  "A request that was sent may have been carried out.");
  if (ready < 0 && cause != EINTR)
    throw Failure(kSetup, std::string("cannot wait: ") + std::strerror(cause));
  return ready > 0 && (ends[0].revents & POLLIN) != 0;
}

}  // namespace

bool waitFor(int socket) {
  pollfd ends[] = {{socket, POLLIN, 0}, {signalEnd(), POLLIN, 0}};
  return waitForEnds(ends, kPollMilliseconds);
}

void waitForEither(int first, int second, int milliseconds) {
  pollfd ends[] = {
      {first, POLLIN, 0}, {second, POLLIN, 0}, {signalEnd(), POLLIN, 0}};
  waitForEnds(ends, milliseconds);
}

}  // namespace ostrel::tools::cli
