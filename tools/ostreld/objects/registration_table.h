// Registrations in memory, found by what they watch and by when something is
// due for them: what nobody watches, and what is not due, costs nothing.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATION_TABLE_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATION_TABLE_H

#include <netinet/in.h>
#include <ostrel/type.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace ostrel::tools::server {

struct Registration {
  veskOid oid;
  veskOid object;
  veskAid event;
  sockaddr_in to = {};
  in_addr owner = {};  // the address that the request came from
  veskOid principal;   // in whose name it came; invalid: in nobody's
  std::uint32_t expires = 0;
  double nextNotice = 0;
  bool noticed = false;

  // When something is to be done about it.
  double due() const;
};

class RegistrationTable {
 public:
  // Null when there is none.
  const Registration* find(const veskOid& oid) const;

  // Puts a registration in the place of the one with its identifier, or takes
  // that one away. Returns what was there.
  std::optional<Registration> replace(const veskOid& oid,
                                      std::optional<Registration> by);

  // Those that ask for this event of this object, or at least one of them.
  std::vector<const Registration*> watching(const veskOid& oid,
                                            const veskAid& event,
                                            bool oneIsEnough = false) const;

  // The one for which something is due first; null when there is none.
  const Registration* first() const;

  // Those that have reached their end.
  std::vector<Registration> expired(double now) const;

  std::size_t size() const { return registrations_.size(); }

  // How many send events to this address, or were made from it, whichever are
  // more.
  std::size_t of(in_addr address) const;

 private:
  using Oid = std::array<std::uint32_t, 4>;

  // An object or class, an event, and a registration for them.
  using Watch = std::array<std::uint32_t, 11>;
  using Counts = std::map<in_addr_t, std::size_t>;

  static Oid keyOf(const veskOid& oid);
  static Watch watchOf(const veskOid& object, const veskAid& event,
                       const veskOid& oid);
  static std::size_t countIn(const Counts& counts, in_addr address);
  static void countOff(Counts* counts, in_addr address);
  void enter(const Registration& registration);
  void strike(const Registration& registration);

  std::map<Oid, Registration> registrations_;
  std::map<Watch, const Registration*> watches_;
  std::set<std::pair<double, Oid>> due_;
  Counts receiving_;
  Counts owning_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATION_TABLE_H
