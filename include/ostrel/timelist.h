// The timer queue of the transport: items in the order in which they are due.
// It calls nobody; its owner asks tick() whether the first one is due. All
// times are whole seconds of the calendar clock.

#ifndef OSTREL_TIMELIST_H
#define OSTREL_TIMELIST_H

#include <ostrel/export.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

class timeoutList;

// One item in the queue. The list makes and frees its entries.
//
// Everyone may read `delta`. Others than the list may change only the delta of
// the first entry, to move the whole queue in time.
class OSTREL_API timeoutEntry {
 public:
  timeoutEntry* next;      // the list's anchor after the last entry
  timeoutEntry* previous;  // the list's anchor before the first entry
  long delta;              // seconds after the preceding entry falls due; for
                           // the first, after the list's last tick
  void* data;              // the item, which is not the entry's

  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size) noexcept;

 private:
  friend class timeoutList;

  // Entries that are due together are a run. Its first and last entry point at
  // each other; in the entries between both pointers are null.
  timeoutEntry* runLast_;   // of the first in a run: the last one
  timeoutEntry* runFirst_;  // of the last in a run: the first one
};

// A ring of entries around the anchor. Entry k is due at lastTickTime plus the
// deltas of the entries 0 to k.
//
// An insert passes over all entries that are due together in one step. So its
// steps are as many as there are different due times before the new entry. One
// thread at a time, for index() as well.
class OSTREL_API timeoutList {
 public:
  timeoutList();

  // Kept: frees no entry and no item. Call clear() first.
  ~timeoutList();

  timeoutList(const timeoutList&) = delete;
  timeoutList& operator=(const timeoutList&) = delete;

  // Adds an item that is due `seconds` from now (0 or less: at once), after
  // those that are due at the same time. Returns its entry, which is valid
  // until it is removed. Throws std::bad_alloc when there is no memory for an
  // entry; the queue is then as it was. Kept: when pop() has emptied the queue,
  // time counts from when the popped entry was due, until a tick() of a queue
  // that is not empty.
  timeoutEntry* insert(long seconds, void* item);

  // Brings the first entry's delta up to date and stores it in *next, unless
  // next is null: the seconds until that entry is due, or 0 or less when it is
  // due now. Returns 1 when it is due now. With an empty queue it returns 0 and
  // does not change *next.
  int tick(long* next);

  // Takes the first entry out and returns its item, due or not; null when the
  // queue is empty. The other entries keep their due times.
  void* pop();

  // Takes out every entry that holds this very pointer. Kept: as with
  // remove(unsigned), later entries become due earlier.
  void remove(void* item);

  // Takes out the entry at position i, counted from 0; stops the process as
  // index() does when there is none. Kept: unlike pop(), this makes every later
  // entry due earlier, by the removed entry's delta.
  void remove(unsigned int i);

  // The same for a position in any other integer type.
  template <class Position,
            std::enable_if_t<std::is_integral_v<Position>, int> = 0>
  void remove(Position i) {
    remove(static_cast<unsigned int>(i));
  }

  // The same for an entry of this list, without counting to its position.
  void removeEntry(timeoutEntry* entry);

  // The entry at position i; 0 is the first that is due. Stops the process with
  // the assertion "i < count" when the queue is not that long.
  timeoutEntry* index(unsigned int i);

  // Takes all entries out. A non-zero argument frees each item as well, with
  // plain operator delete and without running a destructor.
  void clear(unsigned int freeItems);

  // Counts up with every change of the queue's entries. Others can tell by it
  // whether what they know about the queue still holds.
  std::uint64_t changes() const { return changes_; }

  // The steps that insert() and index() have taken along the ring, for
  // measurements.
  unsigned long steps() const { return steps_; }

  // Readable by everyone, changed by the list alone.
  timeoutEntry anchor;        // before the first and after the last entry; its
                              // delta carries the lateness of the last pop()
  long lastTickTime;          // when the first entry's delta was last right
  std::uint32_t count;        // how many entries there are
  std::uint32_t cachedIndex;  // position of cachedEntry, while that is not null
  timeoutEntry* cachedEntry;  // what index() returned last; null: nothing kept

 private:
  void link(timeoutEntry* entry, timeoutEntry* after);
  void unlink(timeoutEntry* entry);
  void changed();

  std::uint64_t changes_;
  unsigned long steps_;
};

#endif  // OSTREL_TIMELIST_H
