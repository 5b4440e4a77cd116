// A store in front of another one: it holds the objects that were read last, so
// that reading them again costs nothing there. What is held is what the store
// has: an object is dropped before it is changed, and not held again before the
// transaction that changed it has ended, in whichever way.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_CACHED_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_CACHED_STORE_H

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>

#include "store/store.h"
#include "support/keyed_hash.h"

namespace ostrel::tools::server {

class CachedStore : public Store {
 public:
  // Holds objects of `mostBytes` in all; the one that was not read for longest
  // goes first. The store has to outlive this object, and nobody else may
  // change it.
  CachedStore(Store* store, std::size_t mostBytes);

  std::vector<veskOid> classes() override;
  std::vector<veskOid> objects(const veskOid& classOid) override;
  std::vector<veskOid> objects(const veskOid& classOid, const veskOid& after,
                               std::size_t most) override;
  std::optional<std::vector<veskOid>> candidates(const veskOid& classOid,
                                                 const veskAid& id,
                                                 const KeyRange& keys,
                                                 std::size_t most) override;
  std::optional<veskOid> classAfter(const veskOid& classOid) override;
  std::optional<std::string> value(const veskOid& oid,
                                   const veskAid& id) override;
  void scan(const veskOid& classOid, const veskOid& after, const veskAid& id,
            const Each& each) override;
  bool has(const veskOid& oid) override;
  std::shared_ptr<const Record> read(const veskOid& oid) override;
  void insert(const veskOid& oid) override;
  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override;
  void remove(const veskOid& oid) override;
  std::uint64_t takeNumber(const veskOid& classOid) override;
  void keepAnswer(std::string_view request, const Answered& answer) override;
  std::optional<Answered> answer(std::string_view request) override;
  void forgetAnswers(std::int64_t first, std::int64_t last) override;
  void shrink() override;

  // What is held, about, in bytes.
  std::size_t bytes() const { return bytes_; }

 private:
  using Key = std::array<std::uint32_t, 4>;

  // Classes are chosen by strangers.
  struct Hash {
    Hash() : secret(randomHashKey()) {}
    std::size_t operator()(const Key& key) const;

    HashKey secret;
  };
  struct Held {
    Key key;
    std::shared_ptr<const Record> record;
  };

  void begin() override;
  void commit() override;
  void rollback() noexcept override;
  bool inTransaction() const override;
  void savepoint() override;
  void release() override;
  void rollBackTo() noexcept override;

  static Key keyOf(const veskOid& oid);
  void change(const veskOid& oid);
  void hold(const Key& key, std::shared_ptr<const Record> record);
  void drop(const Key& key);

  Store* store_;
  std::size_t mostBytes_;
  std::size_t bytes_ = 0;
  std::list<Held> held_;  // what was read last at the front
  std::unordered_map<Key, std::list<Held>::iterator, Hash> byKey_;

  // The transaction in the store below that belongs to the one here, what it
  // changed, and its savepoints.
  std::optional<Transaction> transaction_;
  std::set<Key> changed_;
  std::list<Savepoint> savepoints_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_CACHED_STORE_H
