// What posters share with their client: the work that other threads hand over,
// and how to wake the client's thread.

#ifndef OSTREL_SRC_ASYNC_POSTER_H
#define OSTREL_SRC_ASYNC_POSTER_H

#include <ostrel/client.h>

#include <atomic>
#include <list>
#include <mutex>

#include "base/platform_async.h"

namespace ostrel {

struct [[gnu::visibility("hidden")]] Poster::Shared {
  Shared() = default;
  ~Shared();
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  // The client takes no more: what is left is destroyed.
  void close();

  // The next work; an empty function when there is none.
  UniqueFunction<void()> take();

  std::mutex mutex;
  std::list<UniqueFunction<void()>> work;
  bool closed = false;
  std::atomic<bool> hasWork{false};
  std::atomic<bool> stopped{false};
  // Set after the wake-up, so that nobody takes it back before.
  std::atomic<bool> awake{false};
  // Opened before the first poster is handed out, closed with the last one: a
  // signal handler may use it at any time.
  platform::Wakeup wakeup;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_ASYNC_POSTER_H
