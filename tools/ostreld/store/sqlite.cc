#include "store/sqlite.h"

namespace ostrel::tools::server {
namespace {

constexpr int kBusy = 1000;  // milliseconds

}  // namespace

Database::Database(const std::string& path, Use use) : path_(path) {
  const int flags = use == Use::kRead
                        ? SQLITE_OPEN_READONLY
                        : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  if (sqlite3_open_v2(path.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX,
                      nullptr) == SQLITE_OK) {
    // Whoever reads the file holds nobody up, but for moments.
    sqlite3_busy_timeout(handle_, kBusy);
    return;
  }
  const std::string cause = sqlite3_errmsg(handle_);
  sqlite3_close(handle_);
  throw StoreError("cannot open the store " + path + ": " + cause);
}

Database::~Database() { sqlite3_close(handle_); }

void Database::execute(const char* sql) {
  if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    fail(sql);
}

std::int64_t Database::number(const char* sql) {
  Statement statement(*this, sql);
  Rows rows(statement);
  return rows.next() ? rows.number(0) : 0;
}

bool Database::inTransaction() const {
  return sqlite3_get_autocommit(handle_) == 0;
}

void Database::fail(const std::string& what) const {
  refuse(what + ": " + sqlite3_errmsg(handle_));
}

void Database::refuse(const std::string& why) const {
  throw StoreError("cannot use the store " + path_ + ": " + why);
}

Statement::Statement(Database& database, const char* sql)
    : database_(database) {
  if (sqlite3_prepare_v3(database.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                         &statement_, nullptr) != SQLITE_OK) {
    database.fail(sql);
  }
}

Statement::~Statement() { sqlite3_finalize(statement_); }

Rows::~Rows() {
  sqlite3_reset(statement_.statement_);
  sqlite3_clear_bindings(statement_.statement_);
}

bool Rows::next() {
  const int code = sqlite3_step(statement_.statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  statement_.database_.fail(sqlite3_sql(statement_.statement_));
}

void Rows::finish() {
  while (next()) {
  }
}

std::string_view Rows::bytes(int column) const {
  const void* data = sqlite3_column_blob(statement_.statement_, column);
  const int length = sqlite3_column_bytes(statement_.statement_, column);
  if (data == nullptr || length <= 0) return {};
  return {static_cast<const char*>(data), static_cast<std::size_t>(length)};
}

std::int64_t Rows::number(int column) const {
  return sqlite3_column_int64(statement_.statement_, column);
}

void Rows::bind(int at, std::string_view bytes) {
  // Bytes without a length would be bound as a missing value.
  const char* data = bytes.empty() ? "" : bytes.data();
  check(sqlite3_bind_blob64(statement_.statement_, at, data, bytes.size(),
                            nullptr));  // SQLITE_STATIC
}

void Rows::bind(int at, const std::optional<std::string>& bytes) {
  if (bytes) return bind(at, std::string_view(*bytes));
  check(sqlite3_bind_null(statement_.statement_, at));
}

void Rows::bind(int at, std::int64_t number) {
  check(sqlite3_bind_int64(statement_.statement_, at, number));
}

void Rows::check(int code) {
  if (code != SQLITE_OK)
    statement_.database_.fail(sqlite3_sql(statement_.statement_));
}

}  // namespace ostrel::tools::server
