#include "terminal/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <initializer_list>

namespace ostrel::tools::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kSameSignal = std::chrono::seconds(1);

// Signals write a byte to the second end; whoever waits also waits for the
// first.
int signalPipe[2] = {-1, -1};
volatile std::sig_atomic_t signalled = 0;
Clock::time_point forgetUntil;

void onSignal(int) {
  const int saved = errno;
  signalled = 1;
  const char byte = 0;
  // A full pipe has told already.
  if (write(signalPipe[1], &byte, 1) < 0) errno = saved;
  errno = saved;
}

void forget() {
  char bytes[16];
  while (read(signalPipe[0], bytes, sizeof bytes) > 0) continue;
  signalled = 0;
}

}  // namespace

void catchSignals() {
  if (signalPipe[0] != -1) return;
  if (pipe2(signalPipe, O_NONBLOCK | O_CLOEXEC) != 0) return;
  // Without SA_RESTART, so that a write that blocks ends as well.
  struct sigaction action = {};
  action.sa_handler = onSignal;
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    sigaction(number, &action, nullptr);
  // Whoever stops reading the output is noticed when writing fails.
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

bool interrupted() {
  if (signalled != 0 && Clock::now() < forgetUntil) forget();
  return signalled != 0;
}

void forgetSignals() {
  forgetUntil = Clock::now() + kSameSignal;
  forget();
}

int signalEnd() { return signalPipe[0]; }

}  // namespace ostrel::tools::cli
