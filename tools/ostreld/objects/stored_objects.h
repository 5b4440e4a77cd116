// The manager whose objects are what clients made them: all that nobody else
// serves, kept in a store.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H

#include <deque>
#include <memory>
#include <string_view>

#include "objects/manager.h"
#include "store/store.h"
#include "support/limits.h"

namespace ostrel::tools::server {

// A value that is known by its encoding alone: it can be encoded, and nothing
// else. The bytes have to stay as long as it does.
class EncodedValue : public veskType {
 public:
  explicit EncodedValue(std::string_view bytes) : bytes_(bytes) {}
  unsigned encode(char* buffer, unsigned length) override;

 private:
  std::string_view bytes_;
};

class StoredObjects : public ObjectManager {
 public:
  // The store has to outlive this object. An attribute that would bring an
  // object above `mostValues` values, those inside others included, or above
  // kLongestObject bytes is refused with 2; an object that has more already,
  // from a former version, cannot be read: 9.
  explicit StoredObjects(Store* store, std::size_t mostValues = kMostValues)
      : store_(store), mostValues_(mostValues) {}

  // Serves every class: these are the ones that have objects now. Attributes
  // come in ascending order of their identifiers.
  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int listPage(veskOid& classOid, veskOid& after, std::size_t most,
               veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;
  std::optional<veskOid> classAfter(veskOid& classOid) override;
  bool scan(veskOid& classOid, veskOid& after, veskAid& id,
            const Each& each) override;
  bool holds(veskOid& oid, veskAid& id, const Test& test) override;
  std::optional<std::vector<veskOid>> candidates(veskOid& classOid,
                                                 veskAttribute& condition,
                                                 unsigned operation,
                                                 std::size_t most) override;
  int verify(veskOid& oid) override;

  // The attributes point at EncodedValues: no value is made.
  int get(veskOid& oid, veskList& wanted, veskList* attributes,
          veskList* errors) override;
  int set(const Asker& asker, veskOid& oid, veskList& attributes,
          veskList* errors) override;

  // Objects of a class get the identifiers CLASS.0.1, CLASS.0.2 and so on, none
  // of them ever again.
  int create(const Asker& asker, veskOid& classOid, veskList& attributes,
             veskOid* created, veskList* errors) override;
  int remove(const Asker& asker, veskOid& oid) override;

  Store& store() { return *store_; }

 private:
  class Change;

  veskType* answered(std::string_view bytes);
  Owned<veskType> made(std::string_view encoding) const;

  Store* store_;
  std::size_t mostValues_;

  // What the last get() answered with.
  std::shared_ptr<const Record> given_;
  std::deque<EncodedValue> values_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H
