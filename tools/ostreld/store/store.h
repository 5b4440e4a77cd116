// The objects that live in a file: an embedded SQLite database with values in
// their wire encoding. A change is on the disk when the call, or the
// transaction around it, has returned; a process killed at any moment loses
// nothing of that. One process uses a file at a time.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_STORE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "objects/manager.h"
#include "store/sqlite.h"

namespace ostrel::tools::server {

// The path of a store that ends with the process.
constexpr const char* kInMemory = ":memory:";

class Store : public ObjectManager {
 public:
  // Opens or makes the file; ":memory:" keeps everything in memory. Throws
  // StoreError.
  explicit Store(const std::string& path);

  // Serves every class: these are the ones that have objects now. Attributes
  // come in ascending order of their identifiers.
  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;
  int verify(veskOid& oid) override;
  int set(const Asker& asker, veskOid& oid, veskList& attributes,
          veskList* errors) override;

  // Objects of a class get the identifiers CLASS.0.1, CLASS.0.2 and so on, none
  // of them ever again.
  int create(const Asker& asker, veskOid& classOid, veskList& attributes,
             veskOid* created, veskList* errors) override;
  int remove(const Asker& asker, veskOid& oid) override;

  // Answers that were given, so that a request that is sent again is not
  // executed again. Times are in seconds. A request is kept once: one that has
  // an answer, even an expired one, has to be forgotten first.
  void keepAnswer(std::string_view request, std::string_view answer,
                  std::int64_t expires);
  std::optional<std::string> answer(std::string_view request, std::int64_t now);
  void forgetAnswers(std::int64_t now);

  // Gives some of the room in the file that is no longer used back to the
  // system. Files of the first versions do not shrink.
  void shrink();

  Database& database() { return database_; }

 private:
  std::int64_t takeNumber(const std::string& classKey);
  void write(const std::string& oidKey, veskList& attributes);

  Database database_;

  // The schema has to be there before statements are prepared.
  struct Schema {
    Schema(Database& database, const std::string& path);
    static void prepare(Database& database);
    static std::int64_t version(Database& database);
  } schema_;
  Statement classesQuery_;
  Statement listQuery_;
  Statement objectQuery_;
  Statement attributesQuery_;
  Statement insertObject_;
  Statement removeObject_;
  Statement removeAttributes_;
  Statement writeAttribute_;
  Statement takeNumber_;
  Statement keepAnswer_;
  Statement forgetAnswers_;
  Statement answerQuery_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_STORE_H
