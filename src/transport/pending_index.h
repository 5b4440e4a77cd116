// Finds the pending request with a given id without walking the queue: the way
// of every answer, with thousands of requests outstanding.
//
// What it finds is what a walk from the front would find, the first record in
// queue order whose PDU has the id now. So the queue may be changed behind its
// back, ids may be shared, and a PDU that is pending may be sent again, here or
// through another handler: the queue is then walked until the index has been
// made anew. A short queue is always walked, which is quicker than keeping an
// index of it. Without memory for the index the queue is walked, too. Only a
// program that itself writes the id of another request, pending or past, into a
// pending PDU may get another result from a long queue than from a short one.

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

  // To be called before a PDU gets another id.
  void beforeStamp(const veskPDU* pdu);

  // Puts a record into the queue, due in so many seconds. Throws when there is
  // no memory for its entry; nothing has changed then.
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
  // Of the queue, when the index was last right.
  std::uint64_t changes_ = kNeverRight;
  // Of all handlers' stamps on PDUs that had an id, when the index was made or
  // last known not to be concerned.
  std::uint32_t stamps_ = 0;
  // Links followed since stamps of other handlers made the index doubtful.
  std::uint64_t walked_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_PENDING_INDEX_H
