// Registrations for events: objects of the class 59.6.0.0, kept in the store.
// This manager checks them, renews and ends them, and makes the event PDUs that
// they ask for.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H

#include <netinet/in.h>
#include <ostrel/names.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "objects/manager.h"
#include "objects/stored_objects.h"
#include "support/clock.h"

namespace ostrel::tools::server {

// A message that is not an answer.
struct Outgoing {
  sockaddr_in to;
  in_addr askedBy;  // who registered
  std::string bytes;
};

class Registrations : public ObjectManager {
 public:
  static constexpr std::uint32_t kLife = kRegistrationSeconds;  // seconds
  static constexpr std::uint32_t kNoticeLead = 300;  // before the end
  static constexpr std::uint32_t kNoticeRepeat = 60;

  // What one whose end came without a notice lives on, to be told of its end.
  static constexpr std::uint32_t kGrace = 60;
  static constexpr std::size_t kMostRegistrations = 1000;
  static constexpr std::size_t kLongestEvent = 24 << 10;  // bytes

  // Both have to outlive this object.
  Registrations(StoredObjects* objects, const Clock* clock);

  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;
  int set(const Asker& asker, veskOid& oid, veskList& attributes,
          veskList* errors) override;
  int create(const Asker& asker, veskOid& classOid, veskList& attributes,
             veskOid* created, veskList* errors) override;
  int remove(const Asker& asker, veskOid& oid) override;

  // Whether anybody registered for this event of this object.
  bool wanted(veskOid& oid, veskAid& event);

  // Makes a PDU for each registration that asks for this event of this object.
  // Arguments that would make it longer than kLongestEvent are left out.
  void raise(veskOid& oid, veskAid& event, veskList& arguments);

  // Makes the notices that are due and ends what was not renewed; where the
  // clock jumped past the notice, the end waits for it. Returns the
  // seconds until it has to be called again.
  double tick();

  // What raise() and tick() made since the last call.
  std::vector<Outgoing> takeOutgoing();

  // Where in what was made, but not taken, the next begins.
  std::size_t mark() const { return outgoing_.size(); }

  // Forgets what was made since: its cause did not happen, and the store is as
  // it was then.
  void rollBackTo(std::size_t mark);

 private:
  struct Registration {
    veskOid oid;
    veskOid object;
    veskAid event;
    sockaddr_in to;
    std::uint32_t expires;
    double nextNotice;
    bool noticed;
  };

  void load();
  std::optional<Registration> parse(veskOid& oid);
  void finish(std::vector<Registration>& due);
  static bool asksFor(Registration& registration, veskOid& oid, veskAid& event);
  void send(const Registration& registration, veskOid& oid, veskAid& event,
            veskList& arguments);

  StoredObjects* objects_;
  const Clock* clock_;
  std::vector<Registration> registrations_;
  bool loaded_ = false;
  std::vector<Outgoing> outgoing_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H
