#include "output.h"

#include <unistd.h>

#include <cstdio>

#include "bytes.h"

namespace cli {

Output::Output(const Settings& settings)
    : settings_(settings), terminal_(isatty(STDERR_FILENO) == 1) {}

void Output::result(const std::string& text, const Json& json) {
  endProgress();
  const std::string written = settings_.json ? line(json) + "\n" : text;
  std::fwrite(written.data(), 1, written.size(), stdout);
  std::fflush(stdout);
}

void Output::failure(const Failure& failure, const Json& about) {
  if (!settings_.json) {
    error("ostrel: " + std::string(failure.what()) + "\n");
    if (!failure.hint.empty() && !settings_.quiet)
      error("        " + failure.hint + "\n");
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
  if (!settings_.json) error("ostrel: " + text + "\n");
}

void Output::note(const std::string& text) {
  if (!settings_.quiet && !settings_.json) error(text + "\n");
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

bool Output::broken() const { return std::ferror(stdout) != 0; }

void Output::error(const std::string& text) {
  endProgress();
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace cli
