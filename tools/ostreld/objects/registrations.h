// Registrations for events: objects of the class 59.6.0.0, kept in the store
// and, for events and timers, in memory. This manager says who may have events
// sent where, renews and ends registrations, and makes the event PDUs that they
// ask for.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H

#include <netinet/in.h>
#include <ostrel/names.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/addresses.h"
#include "objects/manager.h"
#include "objects/registration_table.h"
#include "objects/stored_objects.h"
#include "support/clock.h"
#include "support/counters.h"
#include "support/own_addresses.h"

namespace ostrel::tools::server {

// A message that is not an answer. The same one may go to many.
struct Outgoing {
  sockaddr_in to = {};
  in_addr askedBy = {};  // who registered
  std::shared_ptr<std::string> bytes;
};

// How many registrations there may be, and where events may be sent.
struct RegistrationRules {
  std::size_t most = 10000;
  std::size_t mostOfOne = 100;  // to one address, and made from one

  // Events may go to these, whoever asks. Other events go to the address that
  // the request came from, and a program on this machine may name any address
  // of it.
  std::vector<Network> eventsTo;

  bool (*isOwn)(in_addr address) = isOwnAddress;
};

class Registrations : public ObjectManager {
 public:
  static constexpr std::uint32_t kLife = kRegistrationSeconds;  // seconds
  static constexpr std::uint32_t kNoticeLead = 300;  // before the end
  static constexpr std::uint32_t kNoticeRepeat = 60;

  // What one whose end came without a notice lives on, to be told of its end.
  static constexpr std::uint32_t kGrace = 60;
  static constexpr std::size_t kLongestEvent = 24 << 10;  // bytes

  // Who registered; other than the rest these are no part of a request.
  static constexpr const char* kOwner = "59.6.20";           // veskAddress
  static constexpr const char* kOwnerPrincipal = "59.6.21";  // veskOid

  // Reads what the store has: throws StoreError when it cannot. What is given
  // has to outlive this object; `counters` may be null.
  Registrations(StoredObjects* objects, const Clock* clock,
                Counters* counters = nullptr, RegistrationRules rules = {});

  // Those that are there stay.
  void setRules(RegistrationRules rules) { rules_ = std::move(rules); }

  std::vector<veskOid> classes() override;
  int list(veskOid& classOid, veskList* oids) override;
  int listPage(veskOid& classOid, veskOid& after, std::size_t most,
               veskList* oids) override;
  int read(veskOid& oid, veskList* attributes) override;
  bool scan(veskOid& classOid, veskOid& after, veskAid& id,
            const Each& each) override;
  bool holds(veskOid& oid, veskAid& id, const Test& test) override;
  int set(const Asker& asker, veskOid& oid, veskList& attributes,
          veskList* errors) override;
  int create(const Asker& asker, veskOid& classOid, veskList& attributes,
             veskOid* created, veskList* errors) override;
  int remove(const Asker& asker, veskOid& oid) override;

  // Whether anybody registered for this event of this object.
  bool wanted(veskOid& oid, veskAid& event);

  // Makes a message for each registration that asks for this event of this
  // object. Arguments that would make it longer than kLongestEvent are left
  // out.
  void raise(veskOid& oid, veskAid& event, veskList& arguments);

  // Makes the notices that are due and ends what was not renewed; where the
  // clock jumped past the notice, the end waits for it. Returns the
  // seconds until it has to be called again.
  double tick();

  // What raise() and tick() made since the last call. What happened until then
  // can no longer be rolled back: it has to be committed.
  std::vector<Outgoing> takeOutgoing();

  // A place to come back to when the store rolls back to where it is now.
  std::size_t mark() const { return undo_.size(); }

  // Forgets the messages that were made since the mark, and what was registered
  // and ended: it did not happen.
  void rollBackTo(std::size_t mark);

 private:
  void load();
  int refuse(const Asker& asker, const std::string& what,
             const std::string& why);
  int admit(const Asker& asker, const Registration& wanted);
  bool mayReceive(const Asker& asker, in_addr to) const;
  bool isOwner(const Asker& asker, const Registration& held) const;
  void replace(const veskOid& oid, std::optional<Registration> by);
  void writeEnd(veskOid& oid, std::uint32_t expires);
  void finish(const std::vector<Registration>& due);
  void send(const std::vector<const Registration*>& to, veskOid& oid,
            veskAid& event, veskList& arguments);

  StoredObjects* objects_;
  const Clock* clock_;
  Counters* counters_;
  RegistrationRules rules_;
  RegistrationTable table_;
  std::vector<Outgoing> outgoing_;

  // What takes back what was done since the last takeOutgoing(), in its order.
  std::vector<std::function<void()>> undo_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_REGISTRATIONS_H
