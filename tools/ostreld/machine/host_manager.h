// This host as an object, 59.1.0.1: an example of a manager whose objects are
// made of what the machine says at the moment. docs/object-managers.md walks
// through it.

#ifndef OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H
#define OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H

#include <ostrel/type.h>

#include "objects/manager.h"

namespace ostrel::tools::server {

class HostManager : public ObjectManager {
 public:
  // The address is the one that the server listens on.
  explicit HostManager(in_addr address);
  ~HostManager() override;

  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;

  // 59.1.100 writes its one argument, a text, to the server's log.
  int action(const Asker& asker, veskAid& action, veskList& arguments,
             veskList* errors) override;

 private:
  void look();

  veskOid self_;
  veskAddress address_;         // 59.1.1
  veskString name_;             // 59.1.2
  veskString system_;           // 59.1.3
  veskUnsignedInt uptime_;      // 59.1.4  seconds
  veskFloat load_[3];           // 59.1.5 to 7  1, 5 and 15 minutes
  veskUnsignedInt memory_;      // 59.1.8  KiB
  veskUnsignedInt memoryFree_;  // 59.1.9  KiB that programs can still have
  veskList users_;              // 59.1.10  names of those logged in
  veskTime time_;               // 59.1.11
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H
