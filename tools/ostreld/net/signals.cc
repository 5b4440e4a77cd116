#include "net/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace ostrel::tools::server {

Signals::Signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, signal);
  // A log whose reader has gone is no reason to end.
  std::signal(SIGPIPE, SIG_IGN);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  descriptor_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  if (descriptor_ < 0)
    throw std::system_error(errno, std::generic_category(), "signalfd");
}

Signals::~Signals() { close(descriptor_); }

int Signals::take() {
  signalfd_siginfo info = {};
  if (read(descriptor_, &info, sizeof info) != sizeof info) return 0;
  return static_cast<int>(info.ssi_signo);
}

}  // namespace ostrel::tools::server
