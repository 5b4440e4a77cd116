#include "bulk/load_state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "format/object_json.h"
#include "terminal/failure.h"

namespace ostrel::tools::cli {
namespace {

// No input has more lines; a number in the file does not decide how much memory
// is taken.
constexpr std::uint64_t kMostLines = 100000000;

constexpr mode_t kReadByAll = 0666;  // less what the umask takes away

[[noreturn]] void throwCannot(const char* what, const std::string& name) {
  const int cause = errno;
  throw Failure(kSetup, std::string("cannot ") + what + " '" + escaped(name) +
                            "': " + std::strerror(cause));
}

std::string contentsOf(int file, const std::string& name) {
  constexpr std::size_t kStep = std::size_t{1} << 16;
  std::string text;
  for (;;) {
    const std::size_t used = text.size();
    text.resize(used + kStep);
    const ssize_t length = read(file, &text[used], kStep);
    if (length < 0) throwCannot("read", name);
    text.resize(used + static_cast<std::size_t>(length));
    if (length == 0) return text;
  }
}

}  // namespace

LoadState::~LoadState() {
  if (file_ >= 0) close(file_);
}

void LoadState::open(const std::string& name) {
  name_ = name;
  file_ =
      ::open(name.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kReadByAll);
  if (file_ < 0) throwCannot("open", name);
  // Two loads with one state would make everything twice.
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) throwCannot("lock", name);
    throw Failure(kSetup, "another load uses '" + escaped(name) + "'");
  }
  const std::string text = contentsOf(file_, name);
  std::size_t begin = 0;
  std::uint64_t number = 0;
  for (;;) {
    const std::size_t end = text.find('\n', begin);
    if (end == text.npos) break;
    take(text.substr(begin, end - begin), ++number);
    begin = end + 1;
  }
  if (begin != text.size() && ftruncate(file_, static_cast<off_t>(begin)) != 0)
    throwCannot("cut", name);
}

void LoadState::take(const std::string& line, std::uint64_t number) {
  try {
    const Json json = objectFrom(line);
    const auto at = json.at("line").get<std::uint64_t>();
    const Oid object = oidFrom(json.at("object"));
    if (at == 0 || at > kMostLines) throw TextError("no line has this number");
    if (done_.size() <= at) done_.resize(at + 1);
    if (!done_[at].valid()) ++count_;
    done_[at] = object;
  } catch (const std::exception& error) {
    throw Failure(
        kUsage,
        "'" + escaped(name_) + "' holds no state of a load: line " +
            std::to_string(number) + ": " + error.what(),
        "A load that begins anew needs a file that is not there yet.");
  }
}

bool LoadState::isDone(std::uint64_t line, const Oid& object) const {
  if (line >= done_.size() || !done_[line].valid()) return false;
  if (done_[line] == object) return true;
  throw Failure(kUsage,
                "'" + escaped(name_) + "' belongs to another input: line " +
                    std::to_string(line) + " was " + done_[line].text() +
                    ", and is " + object.text() + " now",
                "A load that begins anew needs a file that is not there yet.");
}

void LoadState::add(std::uint64_t line, const Oid& object, const Oid& now) {
  ++count_;
  if (file_ < 0) return;
  unsaved_ += "{\"line\":" + std::to_string(line) + ",\"object\":\"" +
              object.text() + "\",\"oid\":\"" + now.text() + "\"}\n";
}

void LoadState::save() {
  std::string_view left = unsaved_;
  while (!left.empty()) {
    const ssize_t written = write(file_, left.data(), left.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throwCannot("write", name_);
    left.remove_prefix(static_cast<std::size_t>(written));
  }
  unsaved_.clear();
}

}  // namespace ostrel::tools::cli
