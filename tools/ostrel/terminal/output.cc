#include "terminal/output.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "format/bytes.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {

Output::Output(const Settings& settings)
    : settings_(settings), terminal_(isatty(STDERR_FILENO) == 1) {}

void Output::result(const std::string& text, const Json& json) {
  endProgress();
  write(settings_.json ? line(json) + "\n" : prefixed(text));
}

std::string Output::prefixed(const std::string& text) const {
  if (prefix_.empty()) return text;
  std::string result;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    result += prefix_ + text.substr(at, end - at);
    at = end;
  }
  return result;
}

// A pipe that can be written to takes PIPE_BUF bytes at least. What nobody
// reads is waited for until a signal comes.
void Output::write(std::string_view text) {
  while (!text.empty() && !broken()) {
    pollfd ends[] = {{STDOUT_FILENO, POLLOUT, 0}, {signalEnd(), POLLIN, 0}};
    poll(ends, 2, -1);
    if (ends[0].revents == 0) {
      if (interrupted()) writeError_ = EINTR;
      continue;
    }
    const ssize_t written =
        ::write(STDOUT_FILENO, text.data(),
                std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written >= 0)
      text.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR && errno != EAGAIN)
      writeError_ = errno;
  }
}

void Output::failure(const Failure& failure, const Json& about) {
  if (!settings_.json) {
    error("ostrel: " + prefix_ + failure.what() + "\n");
    hint(failure.hint);
    return;
  }
  Json json = about;
  json["failure"] = exitName(failure.exit);
  json["status"] = failure.code != 0 ? codeJson(failure.code) : Json(nullptr);
  json["message"] = failure.what();
  json["hint"] = failure.hint.empty() ? Json(nullptr) : Json(failure.hint);
  result("", json);
}

void Output::itemFailure(const std::string& text) {
  if (!settings_.json) error("ostrel: " + prefix_ + text + "\n");
}

void Output::hint(const std::string& text) {
  if (!text.empty()) note("        " + text);
}

void Output::note(const std::string& text) {
  if (!settings_.quiet && !settings_.json) error(text + "\n");
}

void Output::announce(const std::string& text) {
  note("ostrel: " + text);
  if (!settings_.json) return;
  Json json;
  json["note"] = text;
  error(line(json) + "\n");
}

void Output::trace(const std::string& text, const Json& json) {
  error(settings_.json ? line(json) + "\n" : text);
}

void Output::progress(const std::string& text) {
  if (!terminal_ || settings_.quiet) return;
  // To the beginning of the line, and clear it.
  std::fprintf(stderr, "\r\x1b[K%s", text.c_str());
  std::fflush(stderr);
  inProgress_ = true;
}

void Output::endProgress() {
  if (!inProgress_) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  inProgress_ = false;
}

Exit Output::finish(Exit exit) {
  endProgress();
  // A reader that went away has seen enough.
  if (!broken() || writeError_ == EPIPE) return exit;
  if (writeError_ == EINTR) {
    error("ostrel: interrupted before all results were written\n");
    return kInterrupted;
  }
  error("ostrel: the results cannot be written: " +
        std::string(std::strerror(writeError_)) + "\n");
  if (!settings_.quiet)
    error("        What was asked for may have been carried out.\n");
  return exit == kDone ? kSetup : exit;
}

void Output::error(const std::string& text) {
  endProgress();
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace ostrel::tools::cli
