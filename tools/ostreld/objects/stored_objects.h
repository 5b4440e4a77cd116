// The manager whose objects are what clients made them: all that nobody else
// serves, kept in a store.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H

#include "objects/manager.h"
#include "store/store.h"

namespace ostrel::tools::server {

class StoredObjects : public ObjectManager {
 public:
  // The store has to outlive this object.
  explicit StoredObjects(Store* store) : store_(store) {}

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
  int verify(veskOid& oid) override;
  int set(const Asker& asker, veskOid& oid, veskList& attributes,
          veskList* errors) override;

  // Objects of a class get the identifiers CLASS.0.1, CLASS.0.2 and so on, none
  // of them ever again.
  int create(const Asker& asker, veskOid& classOid, veskList& attributes,
             veskOid* created, veskList* errors) override;
  int remove(const Asker& asker, veskOid& oid) override;

  Store& store() { return *store_; }

 private:
  void write(const veskOid& oid, const veskList& attributes);

  Store* store_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_STORED_OBJECTS_H
