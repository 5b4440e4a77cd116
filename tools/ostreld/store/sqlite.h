// The few calls of SQLite that the store makes, as classes that clean up after
// themselves. Every failure is a StoreError.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_SQLITE_H
#define OSTREL_TOOLS_OSTRELD_STORE_SQLITE_H

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "store/store.h"

namespace ostrel::tools::server {

class Database {
 public:
  // What is done with a file: kWrite makes one that is not there.
  enum class Use { kWrite, kRead };

  explicit Database(const std::string& path, Use use = Use::kWrite);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Runs statements that have neither parameters nor results of interest.
  void execute(const char* sql);

  // The one number that a query gives.
  std::int64_t number(const char* sql);

  bool inTransaction() const;
  sqlite3* handle() const { return handle_; }

  // Throws with the file's name and SQLite's own words for what went wrong
  // last.
  [[noreturn]] void fail(const std::string& what) const;

  // Throws with the file's name and a reason of our own.
  [[noreturn]] void refuse(const std::string& why) const;

 private:
  std::string path_;
  sqlite3* handle_ = nullptr;
};

// A prepared statement.
class Statement {
 public:
  Statement(Database& database, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

 private:
  friend class Rows;

  Database& database_;
  sqlite3_stmt* statement_ = nullptr;
};

// One run of a statement: binds what is given, in order, and walks the rows.
// Bytes are bound without a copy and have to live as long as the run.
class Rows {
 public:
  template <class... Values>
  explicit Rows(Statement& statement, const Values&... values)
      : statement_(statement) {
    int at = 0;
    (bind(++at, values), ...);
  }
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // Goes to the first or next row; false behind the last one.
  bool next();

  // Runs a statement that has no rows.
  void finish();

  // A column of the row; bytes live until the next call of next().
  std::string_view bytes(int column) const;
  std::int64_t number(int column) const;

 private:
  void bind(int at, std::string_view bytes);
  void bind(int at, const std::optional<std::string>& bytes);  // or nothing
  void bind(int at, std::int64_t number);
  void check(int code);

  Statement& statement_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_SQLITE_H
