// What keeps objects: an interface, so that the rest of the server does not
// know where. What is kept is plain: identifiers, attributes and values in
// their wire encoding; what may be written, and by whom, is decided above.
//
// Every call throws StoreError when the store cannot be used. A change is kept
// when the call, or the transaction around it, has returned.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_STORE_H

#include <ostrel/type.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "store/index_key.h"
#include "store/record.h"

namespace ostrel::tools::server {

class StoreError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Store {
 public:
  Store() = default;
  virtual ~Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The classes that have objects now, in ascending order.
  virtual std::vector<veskOid> classes() = 0;

  // The first class that has objects behind that one.
  virtual std::optional<veskOid> classAfter(const veskOid& classOid) = 0;

  // The objects of a class, in ascending order.
  virtual std::vector<veskOid> objects(const veskOid& classOid) = 0;

  // The same, but only those behind `after`, an object of the class or the
  // class itself, and `most` of them at the most.
  virtual std::vector<veskOid> objects(const veskOid& classOid,
                                       const veskOid& after,
                                       std::size_t most) = 0;
  virtual bool has(const veskOid& oid) = 0;

  // The objects of a class, in ascending order, that may have a value of this
  // attribute with a key in this range: no other has one, but these have to be
  // looked at. Nothing when no index knows, or there are more than `most`: then
  // looking at all objects may be quicker.
  virtual std::optional<std::vector<veskOid>> candidates(
      const veskOid& classOid, const veskAid& id, const KeyRange& keys,
      std::size_t most) = 0;

  // An object with its attributes; null when it is not there.
  virtual std::shared_ptr<const Record> read(const veskOid& oid) = 0;

  // An attribute's encoding, if the object has it.
  virtual std::optional<std::string> value(const veskOid& oid,
                                           const veskAid& id) = 0;

  // Hands over the objects of a class behind `after`, in ascending order, each
  // with the encoding of an attribute, empty where it has none; until there are
  // no more or `each` returns false. The bytes live until that returns, which
  // may read from the store but not scan it.
  using Each = std::function<bool(const veskOid& oid, std::string_view value)>;
  virtual void scan(const veskOid& classOid, const veskOid& after,
                    const veskAid& id, const Each& each) = 0;

  // Makes an object without attributes, which is not there yet.
  virtual void insert(const veskOid& oid) = 0;

  // Writes an attribute of an object that is there, in place of one with that
  // identifier.
  virtual void write(const veskOid& oid, const veskAid& id,
                     std::string_view value) = 0;

  // Removes an object with its attributes.
  virtual void remove(const veskOid& oid) = 0;

  // The next number of a class, from 1; none is ever given out again.
  virtual std::uint64_t takeNumber(const veskOid& classOid) = 0;

  // An answer that was given, the id of the message that asked for it, and when
  // that message arrived, in milliseconds.
  struct Answered {
    std::optional<std::uint16_t> message;  // none in files of former versions
    std::int64_t arrived;
    std::string bytes;
  };

  // Answers that were given, so that a request that is sent again is not
  // executed again. Each request has one; a later one takes its place.
  virtual void keepAnswer(std::string_view request, const Answered& answer) = 0;
  virtual std::optional<Answered> answer(std::string_view request) = 0;

  // Forgets the answers to what arrived before `first` or after `last`.
  virtual void forgetAnswers(std::int64_t first, std::int64_t last) = 0;

  // Gives room that is no longer used back to the system.
  virtual void shrink() {}

 private:
  friend class Transaction;
  friend class Savepoint;

  // Changes between begin() and commit() are kept together; rollback() undoes
  // them, and does not throw. Both end what begin() began; a commit() that
  // throws leaves it to rollback().
  virtual void begin() = 0;
  virtual void commit() = 0;
  virtual void rollback() noexcept = 0;

  // Whether what begin() began is still there: some failures undo all of it.
  virtual bool inTransaction() const = 0;

  // Inside a transaction: rollBackTo() undoes what was changed since the
  // savepoint, and does not throw. Either ends the savepoint; they nest.
  virtual void savepoint() = 0;
  virtual void release() = 0;
  virtual void rollBackTo() noexcept = 0;

  bool open_ = false;  // there is a Transaction
};

// Groups changes: all of them are kept by commit(), none without it. One that
// is opened inside another is a part of that one.
class Transaction {
 public:
  explicit Transaction(Store& store);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

  // Whether a failure undid it already, the changes before it included.
  bool lost() const;

 private:
  Store& store_;
  bool open_;  // this one is the outermost, and did not end
};

// A part of a transaction that can fail alone: without keep() its changes are
// undone, and those before it stay.
class Savepoint {
 public:
  explicit Savepoint(Store& store);
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  void keep();

 private:
  Store& store_;
  bool open_ = true;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_STORE_H
