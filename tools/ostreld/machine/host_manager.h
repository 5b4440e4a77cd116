// This host as an object, 59.1.0.1: an example of a manager whose objects are
// made of what the machine says at the moment. docs/object-managers.md walks
// through it.

#ifndef OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H
#define OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H

#include <ostrel/type.h>

#include <array>
#include <cstddef>
#include <string>

#include "objects/manager.h"
#include "support/counters.h"

namespace ostrel::tools::server {

class HostManager : public ObjectManager {
 public:
  // The attributes of the counters, in their order, begin with this one.
  static constexpr unsigned kFirstCounter = 40;

  // The address is the one that the server listens on. The counters have to
  // outlive this object; without any their attributes are missing.
  explicit HostManager(in_addr address, const Counters* counters = nullptr,
                       std::string memoryFile = "/proc/meminfo");
  ~HostManager() override;

  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;

  // 59.1.100 writes its one argument, a text, to the server's log.
  int action(const Asker& asker, veskAid& action, veskList& arguments,
             veskList* errors) override;

 private:
  void look();

  // What the system does not tell is no attribute.
  struct Known {
    bool uptime = false;
    int loads = 0;
    bool memory = false;
    bool memoryFree = false;
  };

  veskOid self_;
  const Counters* counters_;
  std::string memoryFile_;
  Known known_;
  veskAddress address_;         // 59.1.1
  veskString name_;             // 59.1.2
  veskString system_;           // 59.1.3
  veskUnsignedInt uptime_;      // 59.1.4  seconds
  veskFloat load_[3];           // 59.1.5 to 7  1, 5 and 15 minutes
  veskUnsignedInt memory_;      // 59.1.8  KiB
  veskUnsignedInt memoryFree_;  // 59.1.9  KiB that programs can still have
  veskList users_;              // 59.1.10  names of those logged in
  veskTime time_;               // 59.1.11
  veskDouble started_;          // 59.1.39  seconds since 1970

  // 59.1.40 and so on. A counter has more than 32 bits.
  std::array<veskDouble, static_cast<std::size_t>(Counter::kCount)> counts_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_MACHINE_HOST_MANAGER_H
