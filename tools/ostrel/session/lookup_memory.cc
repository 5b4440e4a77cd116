#include "session/lookup_memory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace ostrel::tools::cli {
namespace {

constexpr const char* kFolder = "ostrel";
constexpr const char* kFile = "no-principal";

// A file or folder that is open; closed at the end.
class Opened {
 public:
  explicit Opened(int descriptor) : descriptor_(descriptor) {}
  ~Opened() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  int get() const { return descriptor_; }

  // When it was changed, if nobody else can have done that.
  std::optional<std::time_t> ownTime(mode_t kind) const {
    struct stat about;
    if (descriptor_ < 0 || fstat(descriptor_, &about) != 0 ||
        (about.st_mode & S_IFMT) != kind || about.st_uid != geteuid() ||
        (about.st_mode & (S_IWGRP | S_IWOTH)) != 0)
      return std::nullopt;
    return about.st_mtime;
  }

 private:
  int descriptor_;
};

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// The folder of the user's session; under sudo it is another user's.
int openSession() {
  const char* path = std::getenv("XDG_RUNTIME_DIR");
  return path != nullptr && path[0] == '/' ? open(path, kOpenFolder) : -1;
}

// Calls `use` with the descriptor of our folder, when it is ours.
template <class Use>
void inFolder(bool make, Use use) {
  const Opened session(openSession());
  if (!session.ownTime(S_IFDIR)) return;
  if (make) mkdirat(session.get(), kFolder, S_IRWXU);
  const Opened folder(openat(session.get(), kFolder, kOpenFolder | O_NOFOLLOW));
  if (folder.ownTime(S_IFDIR)) use(folder.get());
}

// A FIFO in its place must not stop us.
constexpr int kOpenFile = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

}  // namespace

std::optional<long> failedLookupAge() {
  std::optional<long> result;
  inFolder(false, [&](int folder) {
    const Opened file(openat(folder, kFile, O_RDONLY | kOpenFile));
    const auto then = file.ownTime(S_IFREG);
    if (!then) return;
    // A clock that was set back does not make it last longer.
    const std::time_t age = std::time(nullptr) - *then;
    if (age >= 0 && age < kLookupMemory) result = static_cast<long>(age);
  });
  return result;
}

void rememberFailedLookup() {
  inFolder(true, [](int folder) {
    const Opened file(openat(folder, kFile, O_WRONLY | O_CREAT | kOpenFile,
                             S_IRUSR | S_IWUSR));
    if (file.ownTime(S_IFREG)) futimens(file.get(), nullptr);
  });
}

void forgetFailedLookup() {
  inFolder(false, [](int folder) { unlinkat(folder, kFile, 0); });
}

}  // namespace ostrel::tools::cli
