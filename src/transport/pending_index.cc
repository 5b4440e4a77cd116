#include "transport/pending_index.h"

#include <ostrel/veskPDU.h>

#include <atomic>
#include <new>

namespace ostrel {
namespace {

// How often any handler of the process has given a new id to a PDU that had
// one. Such a PDU may be pending in another handler; the id of that handler's
// record then changes too.
std::atomic<std::uint32_t> stampsAnywhere{0};

// Rebuilding an index costs about as much as so many walks of its queue.
constexpr std::uint64_t kWalksOfOneRefresh = 8;

constexpr unsigned kShortQueue = 8;

// The id of a PDU that was never sent. A pending PDU may have it too: it is
// also the first id of each handler.
constexpr std::uint32_t kFreshId = 0;
constexpr std::uint32_t kHalfOfAllIds = 0x80000000;

pendingRequest* recordOf(const timeoutEntry* entry) {
  return static_cast<pendingRequest*>(entry->data);
}

std::uint32_t idOf(const timeoutEntry* entry) {
  return recordOf(entry)->request->requestId.value;
}

// Whether an id was given out recently: it comes before the next one.
bool wasGivenOut(std::uint32_t id, std::uint32_t nextId) {
  return id != nextId && nextId - id <= kHalfOfAllIds;
}

}  // namespace

void PendingIndex::beforeStamp(const veskPDU* pdu) {
  const std::uint32_t id = pdu->requestId.value;
  if (id != kFreshId) {
    const std::uint32_t before = stampsAnywhere.fetch_add(1);
    if (stamps_ == before) stamps_ = before + 1;  // looked at here and now
  }
  if (changes_ != queue_.changes()) return;
  const auto found = entries_.find(id);
  if (found == entries_.end()) return;
  if (found->second != nullptr && recordOf(found->second)->request != pdu) {
    return;
  }
  // The PDU may be pending already; then the id of its record changes too.
  changes_ = kNeverRight;
}

void PendingIndex::insert(long seconds, pendingRequest* record) {
  const bool right = changes_ == queue_.changes();
  timeoutEntry* entry = queue_.insert(seconds, record);
  try {
    if (right) {
      file(entry);
      changes_ = queue_.changes();
    } else if (queue_.count == kShortQueue + 1) {
      refresh();
    }
  } catch (const std::bad_alloc&) {
    changes_ = kNeverRight;
  }
}

pendingRequest* PendingIndex::pop() {
  const bool right = forget(queue_.anchor.next);
  auto* record = static_cast<pendingRequest*>(queue_.pop());
  if (right) changes_ = queue_.changes();
  return record;
}

pendingRequest* PendingIndex::remove(timeoutEntry* entry) {
  const bool right = forget(entry);
  pendingRequest* record = recordOf(entry);
  queue_.removeEntry(entry);
  if (right) changes_ = queue_.changes();
  return record;
}

timeoutEntry* PendingIndex::find(std::uint32_t id, std::uint32_t nextId) {
  if (queue_.count <= kShortQueue) {
    changes_ = kNeverRight;
    return walk(id);
  }
  if (!isRight()) return walk(id);
  const auto found = entries_.find(id);
  if (found == entries_.end()) {
    // An id that was given out is no longer pending. Any other id can only be
    // one that the program wrote into a pending PDU itself.
    return wasGivenOut(id, nextId) ? nullptr : walk(id);
  }
  timeoutEntry* entry = found->second;
  if (entry != nullptr && idOf(entry) == id) return entry;
  entry = walk(id);
  if (entry == nullptr) entries_.erase(found);
  return entry;
}

// Whether the index is usable. Rebuilds it if that is worth it.
bool PendingIndex::isRight() {
  bool right = changes_ == queue_.changes();
  if (right && stamps_ != stampsAnywhere.load()) {
    if (walked_ < kWalksOfOneRefresh * queue_.count) return false;
    right = false;
  }
  if (right) {
    // Changes of this id in other handlers are not counted.
    const auto first = entries_.find(kFreshId);
    right = first == entries_.end() ||
            (first->second != nullptr && idOf(first->second) == kFreshId);
  }
  try {
    if (!right) refresh();
  } catch (const std::bad_alloc&) {
    changes_ = kNeverRight;
    return false;
  }
  return true;
}

void PendingIndex::refresh() {
  entries_.clear();
  stamps_ = stampsAnywhere.load();
  walked_ = 0;
  for (unsigned i = 0; i < queue_.count; ++i) file(queue_.index(i));
  changes_ = queue_.changes();
}

void PendingIndex::file(timeoutEntry* entry) {
  const auto [place, isNew] = entries_.emplace(idOf(entry), entry);
  if (!isNew) place->second = nullptr;
}

// Takes an entry out of the index. Returns whether the index is still right. It
// is not when the entry's id has changed since it was filed, or is shared.
bool PendingIndex::forget(timeoutEntry* entry) {
  if (changes_ != queue_.changes()) return false;
  const auto found = entries_.find(idOf(entry));
  if (found == entries_.end() || found->second != entry) {
    changes_ = kNeverRight;
    return false;
  }
  entries_.erase(found);
  return true;
}

timeoutEntry* PendingIndex::walk(std::uint32_t id) {
  for (unsigned i = 0; i < queue_.count; ++i) {
    timeoutEntry* entry = queue_.index(i);
    walked_++;
    if (idOf(entry) == id) return entry;
  }
  return nullptr;
}

}  // namespace ostrel
