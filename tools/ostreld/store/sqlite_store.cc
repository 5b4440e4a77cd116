#include "store/sqlite_store.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "support/limits.h"

namespace ostrel::tools::server {
namespace {

bool inFile(const std::string& path) { return path != kInMemory; }

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

template <class Numbers>
Numbers numbersIn(std::string_view key) {
  Numbers numbers;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    std::uint32_t number = 0;
    for (std::size_t at = 0; at < kComponentBytes; ++at) {
      const std::size_t position = i * kComponentBytes + at;
      const auto byte = position < key.size()
                            ? static_cast<unsigned char>(key[position])
                            : 0U;
      number = number << 8 | byte;
    }
    numbers[i] = number;
  }
  return numbers;
}

// The object's or class's identifier.
veskOid oidIn(std::string_view key) {
  const auto numbers = numbersIn<std::array<std::uint32_t, 4>>(key);
  veskOid oid;
  oid.valid = 1;
  std::copy(numbers.begin(), numbers.end(), std::begin(oid.component));
  return oid;
}

}  // namespace

SqliteStore::SqliteStore(const std::string& path, Check check,
                         Unindexed unindexed)
    : lock_(inFile(path) ? std::make_optional<StoreLock>(path) : std::nullopt),
      room_(inFile(path) ? std::make_optional<Room>(path) : std::nullopt),
      unindexed_(std::move(unindexed)),
      database_(path),
      schema_(database_, path, check == Check::kPages, unindexed_),
      classesQuery_(database_,
                    "SELECT DISTINCT substr(oid, 1, 8) FROM object ORDER BY 1"),
      listQuery_(database_,
                 "SELECT oid FROM object WHERE oid BETWEEN ? AND ?"
                 " ORDER BY oid"),
      pageQuery_(database_,
                 "SELECT oid FROM object WHERE oid > ? AND oid <= ?"
                 " ORDER BY oid LIMIT ?"),
      nextQuery_(database_,
                 "SELECT oid FROM object WHERE oid > ? ORDER BY oid LIMIT 1"),
      valueQuery_(database_,
                  "SELECT value FROM attribute WHERE oid = ? AND aid = ?"),
      // One row for each object, so that whoever scans can stop at any of them.
      scanQuery_(database_,
                 "SELECT object.oid, value FROM object LEFT JOIN attribute"
                 " ON attribute.oid = object.oid AND aid = ?"
                 " WHERE object.oid > ? AND object.oid <= ?"
                 " ORDER BY object.oid"),
      objectQuery_(database_, "SELECT 1 FROM object WHERE oid = ?"),
      attributesQuery_(database_,
                       "SELECT aid, value FROM attribute WHERE oid = ?"
                       " ORDER BY aid"),
      insertObject_(database_, "INSERT INTO object VALUES (?)"),
      removeObject_(database_, "DELETE FROM object WHERE oid = ?"),
      removeAttributes_(database_, "DELETE FROM attribute WHERE oid = ?"),
      writeAttribute_(database_, "REPLACE INTO attribute VALUES (?, ?, ?, ?)"),
      equalQuery_(database_,
                  "SELECT oid FROM attribute INDEXED BY attribute_key"
                  " WHERE aid = ? AND key = ? AND oid BETWEEN ? AND ?"
                  " ORDER BY oid LIMIT ?"),
      rangeQuery_(database_,
                  "SELECT oid FROM attribute INDEXED BY attribute_key"
                  " WHERE aid = ? AND key BETWEEN ? AND ? LIMIT ?"),
      takeNumber_(database_,
                  "INSERT INTO counter VALUES (?, 1)"
                  " ON CONFLICT DO UPDATE SET last = last + 1 RETURNING last"),
      dropAnswer_(database_,
                  "DELETE FROM answer WHERE substr(request, 1, 16) ="
                  " substr(?2, 1, 16) AND hash = ?1 AND request = ?2"),
      keepAnswer_(database_, kKeepAnswer),
      forgetAnswers_(database_,
                     "DELETE FROM answer WHERE arrived < ? OR arrived > ?"),
      answerQuery_(database_,
                   "SELECT message, arrived, answer FROM answer"
                   " WHERE substr(request, 1, 16) = substr(?2, 1, 16)"
                   " AND hash = ?1 AND request = ?2"),
      savepoint_(database_, "SAVEPOINT request"),
      release_(database_, "RELEASE request"),
      answerKey_(answerKey(database_)) {
  if (room_) room_->reserve();
}

std::vector<veskOid> SqliteStore::classes() {
  std::vector<veskOid> result;
  Rows rows(classesQuery_);
  while (rows.next()) result.push_back(oidIn(rows.bytes(0)));
  return result;
}

std::vector<veskOid> SqliteStore::objects(const veskOid& classOid) {
  const std::string first = keyOf(classOid);
  const std::string last = lastKeyOf(classOid);
  std::vector<veskOid> result;
  Rows rows(listQuery_, std::string_view(first), std::string_view(last));
  while (rows.next()) result.push_back(oidIn(rows.bytes(0)));
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
  while (rows.next()) result.push_back(oidIn(rows.bytes(0)));
  return result;
}

std::optional<std::vector<veskOid>> SqliteStore::candidates(
    const veskOid& classOid, const veskAid& id, const KeyRange& keys,
    std::size_t most) {
  const std::string aidKey = keyOf(id);
  if (unindexed_.has(aidKey)) return std::nullopt;
  const std::string first = keyOf(classOid);
  const std::string last = lastKeyOf(classOid);
  const auto limit = static_cast<std::int64_t>(most) + 1;
  std::vector<std::string> found;
  const auto take = [&](Rows&& rows) {
    while (rows.next()) found.emplace_back(rows.bytes(0));
  };
  if (keys.first == keys.last)
    take(Rows(equalQuery_, std::string_view(aidKey),
              std::string_view(keys.first), std::string_view(first),
              std::string_view(last), limit));
  else
    take(Rows(rangeQuery_, std::string_view(aidKey),
              std::string_view(keys.first), std::string_view(keys.last),
              limit));
  if (found.size() > most) return std::nullopt;
  // They come in the order of their values.
  std::sort(found.begin(), found.end());
  std::vector<veskOid> result;
  for (const std::string& key : found)
    if (first <= key && key <= last) result.push_back(oidIn(key));
  return result;
}

bool SqliteStore::has(const veskOid& oid) {
  const std::string key = keyOf(oid);
  Rows rows(objectQuery_, std::string_view(key));
  return rows.next();
}

std::shared_ptr<const Record> SqliteStore::read(const veskOid& oid) {
  const std::string key = keyOf(oid);
  auto record = std::make_shared<Record>();
  Rows rows(attributesQuery_, std::string_view(key));
  while (rows.next()) {
    const std::string_view value = rows.bytes(1);
    // Files of former versions may have such objects.
    if (record->length() + value.size() > kLongestObject)
      database_.refuse("an object is longer than a server may read");
    record->append(numbersIn<Record::Key>(rows.bytes(0)), value);
  }
  if (record->count() == 0 && !has(oid)) return nullptr;
  return record;
}

std::optional<veskOid> SqliteStore::classAfter(const veskOid& classOid) {
  const std::string last = lastKeyOf(classOid);
  Rows rows(nextQuery_, std::string_view(last));
  if (!rows.next()) return std::nullopt;
  auto next = oidIn(rows.bytes(0));
  next.component[2] = next.component[3] = 0;
  return next;
}

std::optional<std::string> SqliteStore::value(const veskOid& oid,
                                              const veskAid& id) {
  const std::string oidKey = keyOf(oid);
  const std::string aidKey = keyOf(id);
  Rows rows(valueQuery_, std::string_view(oidKey), std::string_view(aidKey));
  if (!rows.next()) return std::nullopt;
  return std::string(rows.bytes(0));
}

void SqliteStore::scan(const veskOid& classOid, const veskOid& after,
                       const veskAid& id, const Each& each) {
  const std::string aidKey = keyOf(id);
  const std::string first = keyOf(after);
  const std::string last = lastKeyOf(classOid);
  Rows rows(scanQuery_, std::string_view(aidKey), std::string_view(first),
            std::string_view(last));
  while (rows.next() && each(oidIn(rows.bytes(0)), rows.bytes(1))) {
  }
}

// What is refused while the disk is full. Between begin() and commit() that
// does not change.
void SqliteStore::demandRoom() {
  if (!room_) return;
  if (!database_.inTransaction()) room_->look();
  if (room_->full()) database_.refuse("the disk is full");
}

void SqliteStore::insert(const veskOid& oid) {
  demandRoom();
  const std::string key = keyOf(oid);
  Rows(insertObject_, std::string_view(key)).finish();
}

void SqliteStore::write(const veskOid& oid, const veskAid& id,
                        std::string_view value) {
  demandRoom();
  const std::string oidKey = keyOf(oid);
  const std::string aidKey = keyOf(id);
  const auto key = unindexed_.has(aidKey) ? std::nullopt : indexKeyOf(value);
  Rows(writeAttribute_, std::string_view(oidKey), std::string_view(aidKey),
       value, key)
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

std::int64_t SqliteStore::hashOf(std::string_view request) const {
  return hashNumber(answerKey_, request);
}

void SqliteStore::keepAnswer(std::string_view request, const Answered& answer) {
  const std::int64_t hash = hashOf(request);
  const std::int64_t message = answer.message.value_or(kUnknownMessage);
  Rows(dropAnswer_, hash, request).finish();
  Rows(keepAnswer_, hash, request, message, answer.arrived,
       std::string_view(answer.bytes))
      .finish();
}

std::optional<Store::Answered> SqliteStore::answer(std::string_view request) {
  Rows rows(answerQuery_, hashOf(request), request);
  if (!rows.next()) return std::nullopt;
  Answered result = {std::nullopt, rows.number(1), std::string(rows.bytes(2))};
  if (rows.number(0) != kUnknownMessage)
    result.message = static_cast<std::uint16_t>(rows.number(0));
  return result;
}

void SqliteStore::forgetAnswers(std::int64_t first, std::int64_t last) {
  Transaction transaction(*this);
  Rows(forgetAnswers_, first, last).finish();
  transaction.commit();
}

void SqliteStore::shrink() {
  database_.execute("PRAGMA incremental_vacuum(8192)");
}

void SqliteStore::begin() {
  if (room_) room_->look();
  database_.execute("BEGIN IMMEDIATE");
}

void SqliteStore::commit() {
  database_.execute("COMMIT");
  if (!room_ || !room_->full()) return;
  // What was written goes into the file at once, so that the next change can
  // use its room.
  sqlite3_wal_checkpoint_v2(database_.handle(), nullptr,
                            SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
}

void SqliteStore::rollback() noexcept {
  if (room_ && sqlite3_errcode(database_.handle()) == SQLITE_FULL)
    room_->giveBack();
  // There is nothing to do about a rollback that fails: the next BEGIN will.
  if (database_.inTransaction())
    sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteStore::savepoint() { Rows(savepoint_).finish(); }

void SqliteStore::release() { Rows(release_).finish(); }

void SqliteStore::rollBackTo() noexcept {
  // SQLite rolls the whole transaction back after some errors.
  if (!database_.inTransaction()) return;
  sqlite3_exec(database_.handle(), "ROLLBACK TO request; RELEASE request",
               nullptr, nullptr, nullptr);
}

}  // namespace ostrel::tools::server
