// The machine's users as principals: objects of the class 59.110.0.0, made of
// the user database at the moment of asking.

#ifndef OSTREL_TOOLS_OSTRELD_MACHINE_PRINCIPALS_H
#define OSTREL_TOOLS_OSTRELD_MACHINE_PRINCIPALS_H

#include "objects/manager.h"

namespace ostrel::tools::server {

class Principals : public ObjectManager {
 public:
  std::vector<veskOid> classes() override;

  // User N is the object 59.110.1.N.
  int list(veskOid& classOid, veskList* oids) override;

  // First of all the principal's identifier (59.110.1): it is what a get of all
  // attributes begins with. Then the user id (59.110.2), the login name
  // (59.110.3) and the full name (59.110.4).
  int read(veskOid& oid, veskList* attributes) override;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_MACHINE_PRINCIPALS_H
