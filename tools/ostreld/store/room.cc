#include "store/room.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>

#include "store/store.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// The same name for one file, whatever links lead to it.
std::string realPath(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::weakly_canonical(path, error);
  return error ? path : real.string();
}

int openBeside(const std::string& path) {
  return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

}  // namespace

StoreLock::StoreLock(const std::string& path)
    : file_(openBeside(realPath(path) + "-lock")) {
  if (file_ < 0) {
    throw StoreError("cannot open the store " + path + ": " +
                     std::strerror(errno) + " (" + path + "-lock)");
  }
  if (flock(file_, LOCK_EX | LOCK_NB) == 0) return;
  close(file_);
  throw StoreError("the store " + path +
                   " is used by another server (database is locked)");
}

StoreLock::~StoreLock() { close(file_); }

Room::Room(const std::string& path) : reserve_(realPath(path) + "-reserve") {
  folder_ = std::filesystem::path(reserve_).parent_path().string();
  look();
}

void Room::reserve() {
  if (!full_ && !take()) giveBack();
}

void Room::look() {
  const std::int64_t free = available();
  if (!full_ && free < kEnough) return giveBack();
  if (!full_ || free < kEnough + kReserve || !take()) return;
  full_ = false;
  log(Level::kInfo, "there is room for the store " + folder_ + " again");
}

void Room::giveBack() {
  if (!full_) {
    log(Level::kError, "the disk of the store in " + folder_ +
                           " is full: objects can be removed, and all other"
                           " changes are refused until there is room");
  }
  full_ = true;
  unlink(reserve_.c_str());
}

std::int64_t Room::available() const {
  struct statvfs system = {};
  if (statvfs(folder_.c_str(), &system) != 0)
    return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(system.f_bavail) *
         static_cast<std::int64_t>(system.f_frsize);
}

bool Room::take() {
  const int file = openBeside(reserve_);
  if (file < 0) return false;
  const bool taken = posix_fallocate(file, 0, kReserve) == 0;
  close(file);
  if (!taken) unlink(reserve_.c_str());
  return taken;
}

}  // namespace ostrel::tools::server
