// The tables of a store's file: made, recognised, and brought up to date from
// every former version.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_SCHEMA_H
#define OSTREL_TOOLS_OSTRELD_STORE_SCHEMA_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "store/sqlite.h"
#include "support/keyed_hash.h"

namespace ostrel::tools::server {

// Identifiers are in the file most significant byte first: their order as bytes
// is their order as numbers.
constexpr std::size_t kComponentBytes = 4;
constexpr std::size_t kClassBytes = 2 * kComponentBytes;
constexpr std::size_t kAttributeBytes = 3 * kComponentBytes;
void appendNumber(std::string* bytes, std::uint32_t number);

// What stands for an id of a message that nobody knows.
constexpr std::int64_t kUnknownMessage = -1;

constexpr const char* kKeepAnswer = "INSERT INTO answer VALUES (?, ?, ?, ?, ?)";

// What is not indexed: attributes, as the bytes of their identifiers, and all
// attributes of a class, as the first eight of those bytes.
class Unindexed {
 public:
  // A class, 59.200.0.0, or an attribute, 59.200.3. Throws
  // std::invalid_argument when it is neither.
  void add(const std::string& text);

  bool has(std::string_view attribute) const;
  const std::set<std::string>& all() const { return all_; }

 private:
  std::set<std::string> all_;
};

// Makes the tables, or checks that they are ours and brings them up to date, in
// one transaction. The index has afterwards what it has to. `unindexed` has to
// outlive the database.
class Schema {
 public:
  // Whether the pages are looked at before. Throws StoreError, also when one is
  // damaged.
  Schema(Database& database, const std::string& path, bool checkPages,
         const Unindexed& unindexed);
};

// Throws StoreError unless the database is a store of this version.
void requireStore(Database& database);

// The key of the hash of requests, and the hash as a number in a file, which
// has a sign.
HashKey answerKey(Database& database);
std::int64_t hashNumber(const HashKey& key, std::string_view request);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_SCHEMA_H
