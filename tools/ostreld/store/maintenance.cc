#include "store/maintenance.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/encoding.h"
#include "store/schema.h"
#include "store/sqlite.h"

namespace ostrel::tools::server {
namespace {

constexpr std::size_t kMostFindings = 100;

using Findings = std::vector<std::string>;

void add(Findings* findings, std::string finding) {
  if (findings->size() < kMostFindings) findings->push_back(std::move(finding));
}

std::string hexOf(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text.push_back(kDigits[static_cast<unsigned char>(byte) >> 4]);
    text.push_back(kDigits[static_cast<unsigned char>(byte) & 0xF]);
  }
  return text;
}

// What SQLite finds: pages, the order of rows, rows that an index lacks.
void checkPages(Database& database, Findings* findings) {
  Statement statement(database, "PRAGMA integrity_check(100)");
  Rows rows(statement);
  while (rows.next())
    if (rows.bytes(0) != "ok") add(findings, std::string(rows.bytes(0)));
}

// What only we know: that a value is one, and belongs to an object.
void checkValues(Database& database, Findings* findings) {
  Statement statement(
      database,
      "SELECT oid, aid, value,"
      " EXISTS (SELECT 1 FROM object WHERE object.oid = attribute.oid),"
      " length(oid) = 16 AND length(aid) = 12"
      " FROM attribute");
  Rows rows(statement);
  while (rows.next()) {
    const std::string which = "attribute " + hexOf(rows.bytes(1)) +
                              " of object " + hexOf(rows.bytes(0));
    if (rows.number(4) == 0) add(findings, which + " has no such identifier");
    if (rows.number(3) == 0) add(findings, which + " belongs to no object");
    if (!valuesIn(rows.bytes(2))) add(findings, which + " has no value");
  }
}

// Copies all of it in one transaction, so that it is a state that there was.
void copyInto(Database& from, Database& to) {
  sqlite3_backup* backup =
      sqlite3_backup_init(to.handle(), "main", from.handle(), "main");
  if (backup == nullptr) to.fail("backup");
  const int code = sqlite3_backup_step(backup, -1);
  const int end = sqlite3_backup_finish(backup);
  if (code != SQLITE_DONE || end != SQLITE_OK) to.fail("backup");
}

// Whether the file's bytes are on the disk.
bool synced(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0;
  close(file);
  return done;
}

}  // namespace

Findings checkStore(const std::string& path) {
  Database database(path, Database::Use::kRead);
  Findings findings;
  try {
    checkPages(database, &findings);
    // Rows on damaged pages cannot be read.
    if (!findings.empty()) return findings;
    requireStore(database);
    checkValues(database, &findings);
  } catch (const StoreError& error) {
    if (sqlite3_errcode(database.handle()) != SQLITE_CORRUPT) throw;
    add(&findings, error.what());
  }
  return findings;
}

void backupStore(const std::string& path, const std::string& copy) {
  Database from(path, Database::Use::kRead);
  requireStore(from);
  // Nothing is overwritten, and nobody else may read it.
  const int file = open(copy.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                        S_IRUSR | S_IWUSR);
  if (file < 0)
    throw StoreError("cannot write " + copy + ": " + std::strerror(errno));
  close(file);
  try {
    {
      Database to(copy, Database::Use::kWrite);
      copyInto(from, to);
    }
    if (!synced(copy))
      throw StoreError("cannot write " + copy + ": " + std::strerror(errno));
  } catch (...) {
    unlink(copy.c_str());
    throw;
  }
}

}  // namespace ostrel::tools::server
