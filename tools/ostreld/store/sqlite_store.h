// Objects in a file: an embedded SQLite database. What a transaction, or a call
// outside one, changed is on the disk when it has returned: a process killed at
// any moment loses nothing of that. One server uses a file at a time; others
// may read it. On a full disk objects can be removed, and whatever would grow
// is refused until there is room.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_SQLITE_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_SQLITE_STORE_H

#include <optional>
#include <string>

#include "store/room.h"
#include "store/schema.h"
#include "store/sqlite.h"
#include "store/store.h"
#include "support/keyed_hash.h"

namespace ostrel::tools::server {

// The path of a database that ends with the process.
constexpr const char* kInMemory = ":memory:";

class SqliteStore : public Store {
 public:
  // Whether the pages of the file are looked at before it is used.
  enum class Check { kPages, kNothing };

  // Opens or makes the file. Throws StoreError, also when a page is damaged:
  // what is written to such a file may damage more of it.
  explicit SqliteStore(const std::string& path, Check check = Check::kPages,
                       Unindexed unindexed = {});

  std::vector<veskOid> classes() override;
  std::vector<veskOid> objects(const veskOid& classOid) override;
  std::vector<veskOid> objects(const veskOid& classOid, const veskOid& after,
                               std::size_t most) override;
  std::optional<std::vector<veskOid>> candidates(const veskOid& classOid,
                                                 const veskAid& id,
                                                 const KeyRange& keys,
                                                 std::size_t most) override;
  bool has(const veskOid& oid) override;
  std::shared_ptr<const Record> read(const veskOid& oid) override;
  std::optional<veskOid> classAfter(const veskOid& classOid) override;
  std::optional<std::string> value(const veskOid& oid,
                                   const veskAid& id) override;
  void scan(const veskOid& classOid, const veskOid& after, const veskAid& id,
            const Each& each) override;
  void insert(const veskOid& oid) override;
  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override;
  void remove(const veskOid& oid) override;
  std::uint64_t takeNumber(const veskOid& classOid) override;
  void keepAnswer(std::string_view request, const Answered& answer) override;
  std::optional<Answered> answer(std::string_view request) override;
  void forgetAnswers(std::int64_t first, std::int64_t last) override;

  // Files of the first versions do not shrink.
  void shrink() override;

  Database& database() { return database_; }

 private:
  void begin() override;
  void commit() override;
  void rollback() noexcept override;
  bool inTransaction() const override { return database_.inTransaction(); }
  void savepoint() override;
  void release() override;
  void rollBackTo() noexcept override;
  std::int64_t hashOf(std::string_view request) const;

  void demandRoom();

  // Neither is there for a database in memory.
  std::optional<StoreLock> lock_;
  std::optional<Room> room_;
  Unindexed unindexed_;
  Database database_;

  // It has to be there before statements are prepared.
  Schema schema_;
  Statement classesQuery_;
  Statement listQuery_;
  Statement pageQuery_;
  Statement nextQuery_;
  Statement valueQuery_;
  Statement scanQuery_;
  Statement objectQuery_;
  Statement attributesQuery_;
  Statement insertObject_;
  Statement removeObject_;
  Statement removeAttributes_;
  Statement writeAttribute_;
  Statement equalQuery_;
  Statement rangeQuery_;
  Statement takeNumber_;
  Statement dropAnswer_;
  Statement keepAnswer_;
  Statement forgetAnswers_;
  Statement answerQuery_;
  Statement savepoint_;
  Statement release_;
  HashKey answerKey_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_SQLITE_STORE_H
