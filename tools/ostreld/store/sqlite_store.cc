#include "store/sqlite_store.h"

#include <iterator>

namespace ostrel::tools::server {
namespace {

constexpr std::int64_t kSchemaVersion = 2;

constexpr std::int64_t kFirstVersion = 1;

// The table of answers. A request may be long, so that it is in no index: its
// first bytes (sender, kind, id) find it, and then all of it is compared.
constexpr const char* kAnswerTable =
    "CREATE TABLE answer (request BLOB NOT NULL, expires INTEGER NOT NULL,"
    "  answer BLOB NOT NULL);"
    "CREATE INDEX answer_request ON answer (substr(request, 1, 32));"
    "CREATE INDEX answer_expires ON answer (expires);"
    "PRAGMA user_version = 2";

// "ostr": what tells our files from those of other programs.
constexpr std::int64_t kApplicationId = 0x6F737472;

constexpr std::size_t kComponentBytes = 4;
constexpr std::size_t kClassBytes = 2 * kComponentBytes;

// Identifiers are stored most significant byte first: their order as bytes is
// their order as numbers.
void appendNumber(std::string* key, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    key->push_back(static_cast<char>(number >> shift & 0xFF));
}

template <class Identifier>
std::string keyOf(const Identifier& id) {
  std::string key;
  for (const std::uint32_t number : id.component) appendNumber(&key, number);
  return key;
}

// The last identifier that a class can have.
std::string lastKeyOf(const veskOid& classOid) {
  std::string last = keyOf(classOid);
  const std::size_t length = last.size();
  last.resize(kClassBytes);
  last.resize(length, '\xFF');
  return last;
}

template <class Identifier>
Identifier fromKey(std::string_view key) {
  Identifier id;
  id.valid = 1;
  for (std::size_t i = 0; i < std::size(id.component); ++i) {
    std::uint32_t number = 0;
    for (std::size_t at = 0; at < kComponentBytes; ++at) {
      const std::size_t position = i * kComponentBytes + at;
      const auto byte = position < key.size()
                            ? static_cast<unsigned char>(key[position])
                            : 0U;
      number = number << 8 | byte;
    }
    id.component[i] = number;
  }
  return id;
}

}  // namespace

SqliteStore::Schema::Schema(Database& database, const std::string& path) {
  try {
    prepare(database);
  } catch (const StoreError&) {
    if (sqlite3_errcode(database.handle()) != SQLITE_BUSY) throw;
    throw StoreError("the store " + path +
                     " is used by another server (database is locked)");
  }
}

// The version of the tables, 0 when there are none. A file of another program
// is refused before anything is written to it.
std::int64_t SqliteStore::Schema::version(Database& database) {
  const std::int64_t version = database.number("PRAGMA user_version");
  const std::int64_t application = database.number("PRAGMA application_id");
  const bool empty = database.number("SELECT count(*) FROM sqlite_master") == 0;
  // At first our files had no mark.
  const bool unmarked =
      application == 0 && version == kFirstVersion &&
      database.number(
          "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND"
          " name IN ('object', 'attribute', 'counter', 'answer')") == 4;
  const bool fresh = application == 0 && version == 0 && empty;
  if (application != kApplicationId && !unmarked && !fresh)
    database.refuse("it is a database of another program");
  if (version > kSchemaVersion)
    database.refuse("it was written by a later version of ostreld");
  return version;
}

void SqliteStore::Schema::prepare(Database& database) {
  // A second server on the same file would not know of this one's
  // registrations, so the file is ours alone.
  database.execute("PRAGMA locking_mode = EXCLUSIVE");
  version(database);
  // In a file that has tables already this changes nothing.
  database.execute("PRAGMA auto_vacuum = INCREMENTAL");
  database.execute("PRAGMA journal_mode = WAL");
  database.execute("PRAGMA synchronous = FULL");
  database.execute("PRAGMA journal_size_limit = 16777216");
  database.execute("BEGIN IMMEDIATE");
  const std::int64_t found = version(database);
  if (found == 0) {
    database.execute(
        "CREATE TABLE object (oid BLOB PRIMARY KEY) WITHOUT ROWID;"
        "CREATE TABLE attribute (oid BLOB, aid BLOB, value BLOB NOT NULL,"
        "  PRIMARY KEY (oid, aid)) WITHOUT ROWID;"
        "CREATE TABLE counter (class BLOB PRIMARY KEY, last INTEGER NOT NULL)"
        "  WITHOUT ROWID;");
    database.execute(kAnswerTable);
  }
  if (found == kFirstVersion) {
    database.execute(
        "DROP INDEX answer_expires;"
        "ALTER TABLE answer RENAME TO former;");
    database.execute(kAnswerTable);
    database.execute(
        "INSERT INTO answer SELECT request, expires, answer FROM former;"
        "DROP TABLE former");
  }
  const std::string mark =
      "PRAGMA application_id = " + std::to_string(kApplicationId);
  database.execute(mark.c_str());
  database.execute("COMMIT");
}

SqliteStore::SqliteStore(const std::string& path)
    : database_(path),
      schema_(database_, path),
      classesQuery_(database_,
                    "SELECT DISTINCT substr(oid, 1, 8) FROM object ORDER BY 1"),
      listQuery_(database_,
                 "SELECT oid FROM object WHERE oid BETWEEN ? AND ?"
                 " ORDER BY oid"),
      pageQuery_(database_,
                 "SELECT oid FROM object WHERE oid > ? AND oid <= ?"
                 " ORDER BY oid LIMIT ?"),
      objectQuery_(database_, "SELECT 1 FROM object WHERE oid = ?"),
      attributesQuery_(database_,
                       "SELECT aid, value FROM attribute WHERE oid = ?"
                       " ORDER BY aid"),
      insertObject_(database_, "INSERT INTO object VALUES (?)"),
      removeObject_(database_, "DELETE FROM object WHERE oid = ?"),
      removeAttributes_(database_, "DELETE FROM attribute WHERE oid = ?"),
      writeAttribute_(database_, "REPLACE INTO attribute VALUES (?, ?, ?)"),
      takeNumber_(database_,
                  "INSERT INTO counter VALUES (?, 1)"
                  " ON CONFLICT DO UPDATE SET last = last + 1 RETURNING last"),
      keepAnswer_(database_, "INSERT INTO answer VALUES (?, ?, ?)"),
      forgetAnswers_(database_, "DELETE FROM answer WHERE expires < ?"),
      answerQuery_(database_,
                   "SELECT answer FROM answer WHERE substr(request, 1, 32) ="
                   " substr(?1, 1, 32) AND request = ?1 AND expires >= ?2") {}

std::vector<veskOid> SqliteStore::classes() {
  std::vector<veskOid> result;
  Rows rows(classesQuery_);
  while (rows.next()) result.push_back(fromKey<veskOid>(rows.bytes(0)));
  return result;
}

std::vector<veskOid> SqliteStore::objects(const veskOid& classOid) {
  const std::string first = keyOf(classOid);
  const std::string last = lastKeyOf(classOid);
  std::vector<veskOid> result;
  Rows rows(listQuery_, std::string_view(first), std::string_view(last));
  while (rows.next()) result.push_back(fromKey<veskOid>(rows.bytes(0)));
  return result;
}

std::vector<veskOid> SqliteStore::objects(const veskOid& classOid,
                                          const veskOid& after,
                                          std::size_t most) {
  const std::string first = keyOf(after);
  const std::string last = lastKeyOf(classOid);
  std::vector<veskOid> result;
  Rows rows(pageQuery_, std::string_view(first), std::string_view(last),
            static_cast<std::int64_t>(most));
  while (rows.next()) result.push_back(fromKey<veskOid>(rows.bytes(0)));
  return result;
}

bool SqliteStore::has(const veskOid& oid) {
  const std::string key = keyOf(oid);
  Rows rows(objectQuery_, std::string_view(key));
  return rows.next();
}

std::vector<Store::Entry> SqliteStore::read(const veskOid& oid) {
  const std::string key = keyOf(oid);
  std::vector<Entry> result;
  Rows rows(attributesQuery_, std::string_view(key));
  while (rows.next()) {
    result.push_back(
        {fromKey<veskAid>(rows.bytes(0)), std::string(rows.bytes(1))});
  }
  return result;
}

void SqliteStore::insert(const veskOid& oid) {
  const std::string key = keyOf(oid);
  Rows(insertObject_, std::string_view(key)).finish();
}

void SqliteStore::write(const veskOid& oid, const veskAid& id,
                        std::string_view value) {
  const std::string oidKey = keyOf(oid);
  const std::string aidKey = keyOf(id);
  Rows(writeAttribute_, std::string_view(oidKey), std::string_view(aidKey),
       value)
      .finish();
}

void SqliteStore::remove(const veskOid& oid) {
  const std::string key = keyOf(oid);
  Transaction transaction(*this);
  Rows(removeAttributes_, std::string_view(key)).finish();
  Rows(removeObject_, std::string_view(key)).finish();
  transaction.commit();
}

std::uint64_t SqliteStore::takeNumber(const veskOid& classOid) {
  const std::string classKey = keyOf(classOid).substr(0, kClassBytes);
  Rows rows(takeNumber_, std::string_view(classKey));
  if (!rows.next()) database_.fail("no number for a new object");
  return static_cast<std::uint64_t>(rows.number(0));
}

void SqliteStore::keepAnswer(std::string_view request, std::string_view answer,
                             std::int64_t expires) {
  Rows(keepAnswer_, request, expires, answer).finish();
}

std::optional<std::string> SqliteStore::answer(std::string_view request,
                                               std::int64_t now) {
  Rows rows(answerQuery_, request, now);
  if (!rows.next()) return std::nullopt;
  return std::string(rows.bytes(0));
}

void SqliteStore::forgetAnswers(std::int64_t now) {
  Rows(forgetAnswers_, now).finish();
}

void SqliteStore::shrink() {
  database_.execute("PRAGMA incremental_vacuum(8192)");
}

void SqliteStore::begin() { database_.execute("BEGIN IMMEDIATE"); }

void SqliteStore::commit() { database_.execute("COMMIT"); }

void SqliteStore::rollback() noexcept {
  // There is nothing to do about a rollback that fails: the next BEGIN will.
  if (database_.inTransaction())
    sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteStore::savepoint() { database_.execute("SAVEPOINT request"); }

void SqliteStore::release() { database_.execute("RELEASE request"); }

void SqliteStore::rollBackTo() noexcept {
  // SQLite rolls the whole transaction back after some errors.
  if (!database_.inTransaction()) return;
  sqlite3_exec(database_.handle(), "ROLLBACK TO request; RELEASE request",
               nullptr, nullptr, nullptr);
}

}  // namespace ostrel::tools::server
