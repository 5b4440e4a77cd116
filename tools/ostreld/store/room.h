// What lies beside a store's file: the lock that keeps a second server away,
// and room that is kept for the time when the disk is full.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_ROOM_H
#define OSTREL_TOOLS_OSTRELD_STORE_ROOM_H

#include <cstdint>
#include <string>

namespace ostrel::tools::server {

// Held by the one server that uses a file; it ends with the process, however
// that ends. SQLite's own exclusive lock would keep readers away, too.
class StoreLock {
 public:
  // Locks PATH-lock. Throws StoreError when another server has it.
  explicit StoreLock(const std::string& path);
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  int file_;
};

// Removing objects needs room: what a change writes lies beside the store's
// file before it gets into it. So a file of 8 MiB is kept, PATH-reserve, and
// removed when hardly anything else is free.
class Room {
 public:
  // Bytes of the reserve: more than is in the log of changes when it is carried
  // over into the file. And what has to be free without it.
  static constexpr std::int64_t kReserve = 8 << 20;
  static constexpr std::int64_t kEnough = 2 << 20;

  // Looks how much is free.
  explicit Room(const std::string& path);

  // Makes the reserve, unless the disk is full already.
  void reserve();

  // Looks how much is free: gives the reserve back when that is hardly
  // anything, and takes it again when there is room for it.
  void look();

  // As look(), when writing has failed for want of room: a quota can be
  // exhausted on a disk that is not.
  void giveBack();

  // Whether the reserve has been given back: nothing may grow now.
  bool full() const { return full_; }

 private:
  std::int64_t available() const;
  bool take();

  std::string folder_;
  std::string reserve_;
  bool full_ = false;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_ROOM_H
