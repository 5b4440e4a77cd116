#include "bulk/line_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "format/bytes.h"
#include "terminal/failure.h"

namespace ostrel::tools::cli {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;

// More than the longest request has in any form. Whoever writes no newline at
// all does not fill the memory.
constexpr std::size_t kLongestLine = std::size_t{1} << 28;

[[noreturn]] void throwUnread(const std::string& name, int cause) {
  throw Failure(kSetup,
                "cannot read " + escaped(name) + ": " + std::strerror(cause));
}

}  // namespace

LineReader::LineReader(const std::vector<std::string>& files) {
  if (files.empty()) open("-");
  for (const std::string& name : files) open(name);
}

LineReader::~LineReader() {
  for (const File& file : files_)
    if (file.isOurs) close(file.descriptor);
}

void LineReader::open(const std::string& name) {
  const bool isStandard = name == "-";
  File file = {STDIN_FILENO,
               !isStandard,
               isStandard ? "the standard input" : "'" + name + "'",
               {}};
  if (!isStandard) file.descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file.descriptor < 0) throwUnread(file.name, errno);
  files_.push_back(file);
  struct stat about;
  if (fstat(file.descriptor, &about) == 0 && S_ISREG(about.st_mode))
    files_.back().size = static_cast<std::uint64_t>(about.st_size);
}

int LineReader::descriptor() const {
  return atEnd() ? -1 : files_[at_].descriptor;
}

std::optional<double> LineReader::share() const {
  std::uint64_t all = 0;
  for (const File& file : files_) {
    if (!file.size) return std::nullopt;
    all += *file.size;
  }
  if (all == 0) return std::nullopt;
  return std::min(1.0, static_cast<double>(bytes_) / static_cast<double>(all));
}

// Reads what is there. Returns whether that was anything, or an end.
bool LineReader::fill() {
  const File& file = files_[at_];
  pollfd end = {file.descriptor, POLLIN, 0};
  if (poll(&end, 1, 0) <= 0) return false;
  buffer_.erase(0, taken_);
  taken_ = 0;
  const std::size_t used = buffer_.size();
  buffer_.resize(used + kBlock);
  const ssize_t length = read(file.descriptor, &buffer_[used], kBlock);
  const int cause = errno;
  buffer_.resize(used + static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  if (length > 0) return true;
  if (length < 0 && (cause == EINTR || cause == EAGAIN)) return false;
  if (length < 0) throwUnread(file.name, cause);
  ++at_;
  // The last line of a file may have no newline.
  if (!buffer_.empty() && buffer_.back() != '\n') buffer_ += '\n';
  return true;
}

std::optional<std::string> LineReader::next() {
  for (;;) {
    const std::size_t end = buffer_.find('\n', taken_ + searched_);
    if (end != buffer_.npos) {
      std::string line = buffer_.substr(taken_, end - taken_);
      taken_ = end + 1;
      searched_ = 0;
      ++number_;
      bytes_ += line.size() + 1;
      return line;
    }
    searched_ = buffer_.size() - taken_;
    if (searched_ > kLongestLine)
      throw Failure(kDecode, "line " + std::to_string(number_ + 1) + " of " +
                                 escaped(files_[at_].name) + " is too long");
    if (atEnd() || !fill()) return std::nullopt;
  }
}

}  // namespace ostrel::tools::cli
