#include "store/schema.h"

#include <ostrel/encoding.h>
#include <ostrel/type.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "store/index_key.h"

namespace ostrel::tools::server {
namespace {

constexpr std::int64_t kSchemaVersion = 4;

constexpr std::int64_t kFirstVersion = 1;
constexpr std::int64_t kMessagesVersion = 3;
constexpr std::int64_t kIndexVersion = 4;

// The table of answers. A request may be long, so that it is in no index: its
// first bytes (sender, kind, id) and a hash find it, and then all of it is
// compared. The first bytes keep what comes together together. They may be the
// same in many requests, since strangers choose them; so the hash has a key,
// which lasts as long as the file.
constexpr const char* kAnswerTable =
    "CREATE TABLE answer_key (high INTEGER NOT NULL, low INTEGER NOT NULL);"
    "CREATE TABLE answer (hash INTEGER NOT NULL, request BLOB NOT NULL,"
    "  message INTEGER, arrived INTEGER NOT NULL, answer BLOB NOT NULL);"
    "CREATE INDEX answer_request ON answer (substr(request, 1, 16), hash);"
    "CREATE INDEX answer_arrived ON answer (arrived);";

// Before kMessagesVersion an answer had the second of its end, 61 after the
// arrival, and nobody knew the id of the message.
constexpr const char* kFormerAnswers =
    "SELECT request, (expires - 61) * 1000, answer FROM former";

HashKey makeAnswerKey(Database& database) {
  const HashKey key = randomHashKey();
  Statement statement(database, "INSERT INTO answer_key VALUES (?, ?)");
  Rows(statement, static_cast<std::int64_t>(key[0]),
       static_cast<std::int64_t>(key[1]))
      .finish();
  return key;
}

// "ostr": what tells our files from those of other programs.
constexpr std::int64_t kApplicationId = 0x6F737472;

// What is not indexed has no key.
constexpr const char* kObjectTables =
    "CREATE TABLE object (oid BLOB PRIMARY KEY) WITHOUT ROWID;"
    "CREATE TABLE attribute (oid BLOB, aid BLOB, value BLOB NOT NULL,"
    "  key BLOB, PRIMARY KEY (oid, aid)) WITHOUT ROWID;"
    "CREATE TABLE counter (class BLOB PRIMARY KEY, last INTEGER NOT NULL)"
    "  WITHOUT ROWID;";

// What the index leaves out is in the file, so that a change of it is noticed.
constexpr const char* kIndex =
    "CREATE INDEX attribute_key ON attribute (aid, key) WHERE key IS NOT NULL;"
    "CREATE TABLE unindexed (prefix BLOB PRIMARY KEY) WITHOUT ROWID;";

// Before kIndexVersion values were kept in the form in which they arrived.
constexpr const char* kFormerAttributes =
    "ALTER TABLE attribute ADD COLUMN key BLOB;"
    "UPDATE attribute SET value = canonical_value(value),"
    "  key = index_key(aid, value);";

std::string_view bytesOf(sqlite3_value* value) {
  const void* data = sqlite3_value_blob(value);
  const int length = sqlite3_value_bytes(value);
  if (data == nullptr || length <= 0) return {};
  return {static_cast<const char*>(data), static_cast<std::size_t>(length)};
}

void giveBytes(sqlite3_context* context, std::string_view bytes) {
  sqlite3_result_blob64(context, bytes.empty() ? "" : bytes.data(),
                        bytes.size(), SQLITE_TRANSIENT);  // NOLINT: a cast
}

// index_key(aid, value) in SQL.
void giveIndexKey(sqlite3_context* context, int, sqlite3_value** values) {
  const auto* unindexed =
      static_cast<const Unindexed*>(sqlite3_user_data(context));
  if (unindexed->has(bytesOf(values[0]))) return sqlite3_result_null(context);
  const auto key = indexKeyOf(bytesOf(values[1]));
  if (!key) return sqlite3_result_null(context);
  giveBytes(context, *key);
}

// canonical_value(value) in SQL; what is no value stays as it is.
void giveCanonical(sqlite3_context* context, int, sqlite3_value** values) {
  std::string bytes(bytesOf(values[0]));
  const unsigned used =
      canonicalizeValue(bytes.data(), static_cast<unsigned>(bytes.size()));
  if (used != 0) bytes.resize(used);
  giveBytes(context, bytes);
}

void addFunctions(Database& database, const Unindexed& unindexed) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
  auto* given = const_cast<Unindexed*>(&unindexed);
  if (sqlite3_create_function_v2(database.handle(), "index_key", 2, kFlags,
                                 given, giveIndexKey, nullptr, nullptr,
                                 nullptr) != SQLITE_OK ||
      sqlite3_create_function_v2(database.handle(), "canonical_value", 1,
                                 kFlags, nullptr, giveCanonical, nullptr,
                                 nullptr, nullptr) != SQLITE_OK) {
    database.fail("functions");
  }
}

std::set<std::string> unindexedIn(Database& database) {
  std::set<std::string> result;
  Statement statement(database, "SELECT prefix FROM unindexed");
  Rows rows(statement);
  while (rows.next()) result.emplace(rows.bytes(0));
  return result;
}

// Gives the attributes that begin so their keys, or takes them.
void index(Database& database, const std::string& prefix) {
  Statement statement(database,
                      "UPDATE attribute SET key = index_key(aid, value)"
                      " WHERE aid BETWEEN ? AND ?");
  const std::string last = prefix + std::string(kAttributeBytes, '\xFF');
  Rows(statement, std::string_view(prefix), std::string_view(last)).finish();
}

// Brings the index up to date with what it has to leave out now.
void indexAnew(Database& database, const Unindexed& unindexed) {
  const auto former = unindexedIn(database);
  std::vector<std::string> changed;
  std::set_symmetric_difference(former.begin(), former.end(),
                                unindexed.all().begin(), unindexed.all().end(),
                                std::back_inserter(changed));
  if (changed.empty()) return;
  database.execute("BEGIN IMMEDIATE; DELETE FROM unindexed");
  for (const std::string& prefix : changed) index(database, prefix);
  {
    Statement keep(database, "INSERT INTO unindexed VALUES (?)");
    for (const std::string& prefix : unindexed.all())
      Rows(keep, std::string_view(prefix)).finish();
  }
  database.execute("COMMIT");
}

// The version of the tables, 0 when there are none. A file of another program
// is refused before anything is written to it.
std::int64_t versionOf(Database& database) {
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

// A page that was damaged is found before more is written to it. This takes
// 2.6 s for a million objects of ten attributes each.
void checkPages(Database& database) {
  Statement statement(database, "PRAGMA quick_check(1)");
  Rows rows(statement);
  if (!rows.next() || rows.bytes(0) == "ok") return;
  database.refuse("it is damaged: " + std::string(rows.bytes(0)) +
                  " (ostreld check says more)");
}

// The table of answers in files of former versions.
void renewAnswers(Database& database) {
  database.execute("ALTER TABLE answer RENAME TO former");
  for (const char* index : {"answer_request", "answer_expires"}) {
    const std::string sql = std::string("DROP INDEX IF EXISTS ") + index;
    database.execute(sql.c_str());
  }
  database.execute(kAnswerTable);
  const HashKey key = makeAnswerKey(database);
  {
    Statement former(database, kFormerAnswers);
    Statement keep(database, kKeepAnswer);
    Rows rows(former);
    while (rows.next())
      Rows(keep, hashNumber(key, rows.bytes(0)), rows.bytes(0), kUnknownMessage,
           rows.number(1), rows.bytes(2))
          .finish();
  }
  database.execute("DROP TABLE former");
}

// Brings a file of any former version, or an empty one, up to date.
void upgrade(Database& database) {
  database.execute("BEGIN IMMEDIATE");
  const std::int64_t found = versionOf(database);
  if (found == 0) {
    database.execute(kObjectTables);
    database.execute(kAnswerTable);
    makeAnswerKey(database);
    database.execute(kIndex);
  }
  if (found >= kFirstVersion && found < kMessagesVersion)
    renewAnswers(database);
  if (found >= kFirstVersion && found < kIndexVersion) {
    database.execute(kFormerAttributes);
    database.execute(kIndex);
  }
  const std::string mark =
      "PRAGMA user_version = " + std::to_string(kSchemaVersion) +
      "; PRAGMA application_id = " + std::to_string(kApplicationId);
  database.execute(mark.c_str());
  database.execute("COMMIT");
}

void prepare(Database& database, bool check, const Unindexed& unindexed) {
  versionOf(database);
  // In a file that has tables already this changes nothing.
  database.execute("PRAGMA auto_vacuum = INCREMENTAL");
  database.execute("PRAGMA journal_mode = WAL");
  database.execute("PRAGMA synchronous = FULL");
  database.execute("PRAGMA journal_size_limit = 16777216");
  if (check) checkPages(database);
  addFunctions(database, unindexed);
  // On a full disk there is no room for a change that changes nothing.
  if (versionOf(database) != kSchemaVersion) upgrade(database);
  indexAnew(database, unindexed);
}

}  // namespace

void Unindexed::add(const std::string& text) {
  veskOid oid(text.c_str());
  veskAid aid(text.c_str());
  const bool attribute = aid.valid != 0 && aid.component[2] != 0;
  const bool named = attribute || (oid.valid != 0 && oid.component[2] == 0 &&
                                   oid.component[3] == 0);
  if (!named)
    throw std::invalid_argument("neither a class nor an attribute: " + text);
  std::string prefix;
  if (attribute)
    for (const std::uint32_t number : aid.component)
      appendNumber(&prefix, number);
  else
    for (std::size_t i = 0; i < 2; ++i) appendNumber(&prefix, oid.component[i]);
  all_.insert(prefix);
}

bool Unindexed::has(std::string_view attribute) const {
  return all_.count(std::string(attribute)) != 0 ||
         all_.count(std::string(attribute.substr(0, kClassBytes))) != 0;
}

Schema::Schema(Database& database, const std::string& path, bool checkPages,
               const Unindexed& unindexed) {
  try {
    prepare(database, checkPages, unindexed);
  } catch (const StoreError&) {
    if (sqlite3_errcode(database.handle()) != SQLITE_BUSY) throw;
    throw StoreError("the store " + path +
                     " is used by another server (database is locked)");
  }
}

void requireStore(Database& database) {
  const std::int64_t version = versionOf(database);
  if (version == 0) database.refuse("it is no store");
  if (version < kSchemaVersion)
    database.refuse("it is of a former version: serve it once");
}

HashKey answerKey(Database& database) {
  Statement statement(database, "SELECT high, low FROM answer_key");
  Rows rows(statement);
  if (!rows.next()) database.refuse("a table has lost its row");
  return {static_cast<std::uint64_t>(rows.number(0)),
          static_cast<std::uint64_t>(rows.number(1))};
}

std::int64_t hashNumber(const HashKey& key, std::string_view request) {
  return static_cast<std::int64_t>(keyedHash(key, request));
}

void appendNumber(std::string* bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes->push_back(static_cast<char>(number >> shift & 0xFF));
}

}  // namespace ostrel::tools::server
