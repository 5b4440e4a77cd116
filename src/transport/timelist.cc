// The timer queue: a ring of deltas. Entries that are due together form a run,
// which is passed in one step.

#include <ostrel/timelist.h>

#include <new>

#include "base/check.h"
#include "base/platform.h"
#include "base/pool.h"
#include "base/ring.h"
#include "base/seconds.h"

using ostrel::addSeconds;
using ostrel::subtractSeconds;

void* timeoutEntry::operator new(std::size_t size) {
  return ostrel::Pool::allocate(size);
}

void timeoutEntry::operator delete(void* block, std::size_t size) noexcept {
  ostrel::Pool::release(block, size);
}

timeoutList::timeoutList()
    : anchor(),
      lastTickTime(ostrel::platform::now()),
      count(0),
      cachedIndex(0),
      cachedEntry(nullptr),
      changes_(0),
      steps_(0) {
  anchor.next = &anchor;
  anchor.previous = &anchor;
}

timeoutList::~timeoutList() = default;

timeoutEntry* timeoutList::insert(long seconds, void* item) {
  tick(nullptr);
  // The search looks only at the first entry of each run: the others are due at
  // the same time.
  long total = 0;
  timeoutEntry* after = anchor.next;
  for (; after != &anchor; after = after->runLast_->next) {
    steps_++;
    total = addSeconds(total, after->delta);
    if (seconds < total) break;
  }
  const long before = subtractSeconds(total, after->delta);
  auto* entry = new timeoutEntry;
  entry->delta = subtractSeconds(seconds, before);
  entry->data = item;
  link(entry, after);
  if (after != &anchor)
    after->delta = subtractSeconds(after->delta, entry->delta);
  return entry;
}

int timeoutList::tick(long* next) {
  const long now = ostrel::platform::now();
  if (count == 0) {
    lastTickTime = now;
    return 0;
  }
  timeoutEntry* first = anchor.next;
  first->delta =
      subtractSeconds(first->delta, ostrel::secondsBetween(lastTickTime, now));
  lastTickTime = now;
  anchor.delta = 0;
  if (next != nullptr) *next = first->delta;
  return first->delta <= 0 ? 1 : 0;
}

void* timeoutList::pop() {
  if (count == 0) return nullptr;
  timeoutEntry* first = anchor.next;
  void* item = first->data;
  // Kept: the anchor takes the delta when no entry is left.
  timeoutEntry* successor = first->next;
  successor->delta = addSeconds(successor->delta, first->delta);
  unlink(first);
  return item;
}

void timeoutList::remove(void* item) {
  timeoutEntry* next = nullptr;
  for (timeoutEntry* entry = anchor.next; entry != &anchor; entry = next) {
    next = entry->next;
    if (entry->data == item) unlink(entry);
  }
}

void timeoutList::remove(unsigned int i) { unlink(index(i)); }

void timeoutList::removeEntry(timeoutEntry* entry) { unlink(entry); }

timeoutEntry* timeoutList::index(unsigned int i) {
  OSTREL_CHECK(i < count, "timelist", 141);
  return ostrel::ringIndex<&timeoutEntry::previous>(
      anchor, i, count, cachedIndex, cachedEntry, &steps_);
}

void timeoutList::clear(unsigned int freeItems) {
  while (count > 0) {
    timeoutEntry* first = anchor.next;
    if (freeItems != 0) ::operator delete(first->data);
    unlink(first);
  }
}

// Puts a new entry before `after`, which is the anchor or the first of a run.
void timeoutList::link(timeoutEntry* entry, timeoutEntry* after) {
  timeoutEntry* before = after->previous;
  entry->previous = before;
  entry->next = after;
  before->next = entry;
  after->previous = entry;
  entry->runFirst_ = entry;
  entry->runLast_ = entry;
  if (before != &anchor && entry->delta == 0) {
    // It is due together with the run before it and becomes that run's last.
    entry->runFirst_ = before->runFirst_;
    entry->runLast_ = nullptr;
    before->runFirst_ = nullptr;
    entry->runFirst_->runLast_ = entry;
  }
  count++;
  changed();
}

void timeoutList::unlink(timeoutEntry* entry) {
  timeoutEntry* before = entry->previous;
  timeoutEntry* first = entry->runFirst_;  // null unless it ends its run
  timeoutEntry* last = entry->runLast_;    // null unless it begins its run
  if (last != nullptr && last != entry) {
    // The removed entry's delta separated the rest of the run from the run
    // before. Now both are due together and become one. Without a run before,
    // the rest stays a run.
    timeoutEntry* begins = entry->next;
    if (before != &anchor) {
      begins = before->runFirst_;
      before->runFirst_ = nullptr;
    }
    begins->runLast_ = last;
    last->runFirst_ = begins;
  } else if (first != nullptr && first != entry) {
    before->runFirst_ = first;
    first->runLast_ = before;
  }
  before->next = entry->next;
  entry->next->previous = before;
  delete entry;
  count--;
  changed();
}

void timeoutList::changed() {
  cachedEntry = nullptr;
  changes_++;
}
