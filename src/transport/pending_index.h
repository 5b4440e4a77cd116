// Finds the pending request with a given id without walking the queue, so that
// an answer is matched quickly with thousands of requests outstanding.
//
// It finds what a walk from the front would find: the first record in queue
// order whose PDU has the id now. A program may change the queue directly, use
// an id twice, or send a pending PDU again, here or through another handler.
// Then the queue is walked until the index has been rebuilt. A short queue is
// always walked: that is quicker than keeping an index. Without memory for the
// index the queue is walked too. One program may get different results from a
// long queue and a short one: a program that itself writes the id of another
// request, pending or past, into a pending PDU.

#ifndef OSTREL_SRC_PENDING_INDEX_H
#define OSTREL_SRC_PENDING_INDEX_H

#include <ostrel/timelist.h>
#include <ostrel/transaction.h>

#include <cstdint>
#include <unordered_map>

namespace ostrel {

class PendingIndex {
 public:
  explicit PendingIndex(timeoutList& queue) : queue_(queue) {}

  // Call this before a PDU gets another id.
  void beforeStamp(const veskPDU* pdu);

  // Puts a record into the queue, due in so many seconds. Throws when there is
  // no memory for its entry, and then changes nothing.
  void insert(long seconds, pendingRequest* record);

  // Takes the first record out of the queue, which is not empty.
  pendingRequest* pop();

  // Takes an entry out of the queue and returns its record.
  pendingRequest* remove(timeoutEntry* entry);

  // The first entry whose request has this id, or null. nextId is the id of the
  // next request: those just below it have been given out before.
  timeoutEntry* find(std::uint32_t id, std::uint32_t nextId);

 private:
  static constexpr std::uint64_t kNeverRight = ~std::uint64_t{0};

  bool isRight();
  void refresh();
  void file(timeoutEntry* entry);
  bool forget(timeoutEntry* entry);
  timeoutEntry* walk(std::uint32_t id);

  timeoutList& queue_;
  // Null where several entries share the id, or did.
  std::unordered_map<std::uint32_t, timeoutEntry*> entries_;
  // The queue's change count when the index was last right.
  std::uint64_t changes_ = kNeverRight;
  // The count of new ids in all handlers (stampsAnywhere) when the index was
  // built, or last known not to be affected.
  std::uint32_t stamps_ = 0;
  // Links followed since new ids in other handlers made the index doubtful.
  std::uint64_t walked_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_PENDING_INDEX_H
