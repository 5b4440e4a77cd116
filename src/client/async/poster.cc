#include "client/async/poster.h"

namespace ostrel {

Poster::Shared::~Shared() { platform::closeWakeup(wakeup); }

void Poster::Shared::close() {
  std::list<UniqueFunction<void()>> left;
  const std::lock_guard<std::mutex> lock(mutex);
  closed = true;
  left.swap(work);
  hasWork = false;
}

UniqueFunction<void()> Poster::Shared::take() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (work.empty()) return {};
  UniqueFunction<void()> first = std::move(work.front());
  work.pop_front();
  hasWork = !work.empty();
  return first;
}

bool Poster::post(UniqueFunction<void()> work) const {
  if (shared_ == nullptr || shared_->wakeup.writeEnd < 0) return false;
  {
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->closed) return false;
    shared_->work.push_back(std::move(work));
    shared_->hasWork = true;
  }
  platform::wake(shared_->wakeup);
  shared_->awake = true;
  return true;
}

void Poster::stop() const noexcept {
  if (shared_ == nullptr) return;
  shared_->stopped = true;
  platform::wake(shared_->wakeup);
  shared_->awake = true;
}

}  // namespace ostrel
