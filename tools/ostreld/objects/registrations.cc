#include "objects/registrations.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <ostrel/veskPDU.h>

#include <algorithm>
#include <utility>

#include "common/encoding.h"
#include "common/printed.h"
#include "objects/attributes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// A renewal sets the end to an hour after the end that it replaces.
constexpr std::uint32_t kLongestRenewal =
    2 * Registrations::kLife + Registrations::kNoticeLead;

// What a registration needs: which event of which object, and where to.
struct Required {
  const char* name;
  bool (*good)(veskType* value);
};

template <class Identifier>
bool isIdentifier(veskType* value) {
  auto* id = dynamic_cast<Identifier*>(value);
  return id != nullptr && id->valid != 0;
}

constexpr Required kRequired[] = {
    {kRegistrationObject, isIdentifier<veskOid>},
    {kRegistrationEvent, isIdentifier<veskAid>},
    {kRegistrationAddress,
     [](veskType* value) {
       auto* address = dynamic_cast<veskAddress*>(value);
       const in_addr* to = address != nullptr ? address->get(nullptr) : nullptr;
       return to != nullptr && isUnicast(*to);
     }},
    {kRegistrationPort,
     [](veskType* value) {
       auto* port = dynamic_cast<veskUnsignedShort*>(value);
       return port != nullptr && port->value != 0;
     }},
};

int check(const veskList& attributes, veskList* errors) {
  const int code = checkWritable(attributes, errors);
  if (code != kNoError) return code;
  for (const Required& required : kRequired) {
    veskAid id(required.name);
    if (find(attributes, id) == nullptr) return kRequiredAttribute;
  }
  return checkEach<veskAttribute>(
      attributes, errors, [&](unsigned, veskAttribute* attribute) {
        for (const Required& required : kRequired) {
          veskAid id(required.name);
          if (attribute->id == id && !required.good(attribute->value))
            return kBadValue;
        }
        return kNoError;
      });
}

// The value of an attribute as a Value; of two attributes the last one counts,
// as in the store.
template <class Value>
Value* lastOf(const veskList& attributes, const char* name) {
  veskAid id(name);
  Value* result = nullptr;
  for (auto* attribute : Elements<veskAttribute>(attributes))
    if (attribute != nullptr && attribute->id == id)
      result = dynamic_cast<Value*>(attribute->value);
  return result;
}

void setEnd(Registration* registration, std::uint32_t expires) {
  if (registration->expires == expires) return;
  registration->expires = expires;
  registration->nextNotice =
      static_cast<double>(expires) - Registrations::kNoticeLead;
  registration->noticed = false;
}

std::optional<Registration> registrationFrom(const veskOid& oid,
                                             const veskList& attributes) {
  auto* object = lastOf<veskOid>(attributes, kRegistrationObject);
  auto* event = lastOf<veskAid>(attributes, kRegistrationEvent);
  auto* address = lastOf<veskAddress>(attributes, kRegistrationAddress);
  auto* port = lastOf<veskUnsignedShort>(attributes, kRegistrationPort);
  auto* expires = lastOf<veskUnsignedInt>(attributes, kRegistrationExpiry);
  if (object == nullptr || event == nullptr || address == nullptr ||
      address->get(nullptr) == nullptr || port == nullptr ||
      expires == nullptr) {
    return std::nullopt;
  }
  Registration result;
  result.oid = oid;
  result.object = *object;
  result.event = *event;
  result.to = endpoint(*address->get(nullptr), port->value);
  // The first versions kept no owner; there it was nearly always the receiver.
  auto* owner = lastOf<veskAddress>(attributes, Registrations::kOwner);
  const in_addr* known = owner != nullptr ? owner->get(nullptr) : nullptr;
  result.owner = known != nullptr ? *known : result.to.sin_addr;
  auto* principal = lastOf<veskOid>(attributes, Registrations::kOwnerPrincipal);
  if (principal != nullptr) result.principal = *principal;
  setEnd(&result, expires->value);
  return result;
}

// What the server alone writes.
bool isOurs(veskAttribute* attribute) {
  for (const char* name : {kRegistrationExpiry, Registrations::kOwner,
                           Registrations::kOwnerPrincipal}) {
    veskAid id(name);
    if (attribute->id == id) return true;
  }
  return false;
}

}  // namespace

Registrations::Registrations(StoredObjects* objects, const Clock* clock,
                             Counters* counters, RegistrationRules rules)
    : objects_(objects),
      clock_(clock),
      counters_(counters),
      rules_(std::move(rules)) {
  load();
}

// A clock that was set back while the server did not run must not let them live
// for as long as it was set back.
void Registrations::load() {
  const std::uint32_t latest = clock_->seconds() + kLongestRenewal;
  veskOid classOid(kRegistrationClass);
  OwnedList oids;
  objects_->list(classOid, &oids);
  std::vector<veskOid> late;
  for (auto* oid : Elements<veskOid>(oids)) {
    OwnedList attributes;
    if (objects_->read(*oid, &attributes) != kNoError) continue;
    auto registration = registrationFrom(*oid, attributes);
    if (!registration) continue;
    if (registration->expires > latest) {
      setEnd(&*registration, latest);
      late.push_back(*oid);
    }
    table_.replace(*oid, registration);
  }
  if (late.empty()) return;
  try {
    Transaction transaction(objects_->store());
    for (veskOid& oid : late) writeEnd(oid, latest);
    transaction.commit();
  } catch (const StoreError& error) {
    // They end in time all the same; only what can be read of them is wrong.
    log(Level::kError, error.what());
  }
}

std::vector<veskOid> Registrations::classes() {
  return {veskOid(kRegistrationClass)};
}

int Registrations::list(veskOid& classOid, veskList* oids) {
  return objects_->list(classOid, oids);
}

int Registrations::listPage(veskOid& classOid, veskOid& after, std::size_t most,
                            veskList* oids) {
  return objects_->listPage(classOid, after, most, oids);
}

bool Registrations::scan(veskOid& classOid, veskOid& after, veskAid& id,
                         const Each& each) {
  return objects_->scan(classOid, after, id, each);
}

bool Registrations::holds(veskOid& oid, veskAid& id, const Test& test) {
  return objects_->holds(oid, id, test);
}

int Registrations::read(veskOid& oid, veskList* attributes) {
  return objects_->read(oid, attributes);
}

int Registrations::refuse(const Asker& asker, const std::string& what,
                          const std::string& why) {
  if (counters_ != nullptr) counters_->add(Counter::kRegistrationsRefused);
  veskOid principal = asker.principal;
  logRefusal({asker.address, principal.valid != 0 ? printed(principal) : "",
              what, why});
  return kPermissionDenied;
}

// A program on this machine may name any address of it: a handler names the one
// that its host's name stands for, often 127.0.1.1.
bool Registrations::mayReceive(const Asker& asker, in_addr to) const {
  const in_addr from = asker.address.sin_addr;
  if (to.s_addr == from.s_addr) return true;
  if (rules_.isOwn(from) && rules_.isOwn(to)) return true;
  return std::any_of(
      rules_.eventsTo.begin(), rules_.eventsTo.end(),
      [&](const Network& network) { return contains(network, to); });
}

// Whether there may be such a registration.
int Registrations::admit(const Asker& asker, const Registration& wanted) {
  const in_addr to = wanted.to.sin_addr;
  const std::string what = "a registration for " + addressText(to);
  if (!mayReceive(asker, to))
    return refuse(asker, what, "the address is not its own");
  if (table_.size() >= rules_.most)
    return refuse(asker, what,
                  "there are " + std::to_string(rules_.most) + " already");
  if (table_.of(to) >= rules_.mostOfOne ||
      table_.of(asker.address.sin_addr) >= rules_.mostOfOne)
    return refuse(asker, what,
                  "there are " + std::to_string(rules_.mostOfOne) +
                      " of one address already");
  return kNoError;
}

// Programs come back with other ports, and from other addresses of one machine
// only where that machine is ours.
bool Registrations::isOwner(const Asker& asker,
                            const Registration& held) const {
  if (asker.administrator) return true;
  const in_addr from = asker.address.sin_addr;
  const bool sameMachine = from.s_addr == held.owner.s_addr ||
                           (rules_.isOwn(from) && rules_.isOwn(held.owner));
  if (!sameMachine) return false;
  veskOid owner = held.principal;
  veskOid principal = asker.principal;
  return owner.valid == 0 || owner == principal;
}

int Registrations::create(const Asker& asker, veskOid& classOid,
                          veskList& attributes, veskOid* created,
                          veskList* errors) {
  int code = check(attributes, errors);
  if (code != kNoError) return code;
  veskList complete;
  for (auto* attribute : Elements<veskAttribute>(attributes))
    if (!isOurs(attribute)) complete.append(attribute);
  OwnedList ours;
  veskAtAppendAttr(&ours, kRegistrationExpiry,
                   new veskTime(clock_->seconds() + kLife));
  veskAtAppendAttr(&ours, kOwner, new veskAddress(asker.address.sin_addr));
  if (asker.principal.valid != 0)
    veskAtAppendAttr(&ours, kOwnerPrincipal, new veskOid(asker.principal));
  appendAll(&complete, ours);
  auto registration = registrationFrom(veskOid(), complete);
  if (!registration) return kInternalError;
  code = admit(asker, *registration);
  if (code == kNoError)
    code = objects_->create(asker, classOid, complete, created, errors);
  if (code != kNoError) return code;
  registration->oid = *created;
  replace(*created, registration);
  return kNoError;
}

int Registrations::set(const Asker& asker, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const Registration* held = table_.find(oid);
  if (held == nullptr) return kNoSuchName;
  if (!isOwner(asker, *held))
    return refuse(asker, "a change of registration " + printed(oid),
                  "it is another's");
  // A renewal that comes twice is no mistake, so the present end will do.
  const std::uint32_t earliest = held->expires;
  const std::uint32_t latest = clock_->seconds() + kLongestRenewal;
  veskAid expiryId(kRegistrationExpiry);
  veskList good;
  Registration renewed = *held;
  const int refused = checkEach<veskAttribute>(
      attributes, errors, [&](unsigned, veskAttribute* attribute) {
        const int code = writable(attribute);
        if (code != kNoError) return code;
        if (!(attribute->id == expiryId)) return kBadAccess;
        auto* time = dynamic_cast<veskUnsignedInt*>(attribute->value);
        if (time == nullptr || time->value < earliest || time->value > latest)
          return kBadValue;
        good.append(attribute);
        setEnd(&renewed, time->value);
        return kNoError;
      });
  const int code = objects_->set(asker, oid, good, errors);
  if (code != kNoError) return code;
  replace(oid, renewed);
  return refused;
}

int Registrations::remove(const Asker& asker, veskOid& oid) {
  const Registration* held = table_.find(oid);
  if (held != nullptr && !isOwner(asker, *held))
    return refuse(asker, "the removal of registration " + printed(oid),
                  "it is another's");
  const int code = objects_->remove(asker, oid);
  if (code == kNoError) replace(oid, std::nullopt);
  return code;
}

// What takes it back comes first: memory may run out in between.
void Registrations::replace(const veskOid& oid,
                            std::optional<Registration> by) {
  const Registration* held = table_.find(oid);
  auto former = held != nullptr ? std::optional(*held) : std::nullopt;
  undo_.push_back([this, oid, former] { table_.replace(oid, former); });
  table_.replace(oid, std::move(by));
}

void Registrations::rollBackTo(std::size_t mark) {
  for (; undo_.size() > mark; undo_.pop_back()) undo_.back()();
}

std::vector<Outgoing> Registrations::takeOutgoing() {
  undo_.clear();
  return std::exchange(outgoing_, {});
}

bool Registrations::wanted(veskOid& oid, veskAid& event) {
  return !table_.watching(oid, event, true).empty();
}

void Registrations::raise(veskOid& oid, veskAid& event, veskList& arguments) {
  const auto watchers = table_.watching(oid, event);
  if (!watchers.empty()) send(watchers, oid, event, arguments);
}

void Registrations::send(const std::vector<const Registration*>& to,
                         veskOid& oid, veskAid& event, veskList& arguments) {
  veskEventPDU pdu(oid, event, &arguments);
  auto bytes = encoded(pdu, kLongestEvent);
  if (!bytes) {
    veskList none;
    veskEventPDU bare(oid, event, &none);
    bytes = encoded(bare, kLongestEvent);
  }
  if (!bytes) return;
  const std::size_t before = outgoing_.size();
  undo_.push_back([this, before] { outgoing_.resize(before); });
  const auto shared = std::make_shared<std::string>(std::move(*bytes));
  for (const Registration* each : to)
    outgoing_.push_back({each->to, each->owner, shared});
}

double Registrations::tick() {
  const double now = clock_->now();
  const auto due = table_.expired(now);
  if (!due.empty()) finish(due);
  veskAid expiry(kEventExpiry);
  const Registration* first = table_.first();
  for (; first != nullptr && first->nextNotice <= now; first = table_.first()) {
    // Datagrams are lost at times, so the notice is repeated.
    Registration noticed = *first;
    OwnedList arguments;
    arguments.append(new veskTime(noticed.expires));
    send({first}, noticed.oid, expiry, arguments);
    noticed.nextNotice = now + kNoticeRepeat;
    noticed.noticed = true;
    replace(noticed.oid, noticed);
  }
  return first != nullptr ? std::min<double>(kLife, first->due() - now) : kLife;
}

// What was told of its end goes; the rest gets the time to be told.
void Registrations::finish(const std::vector<Registration>& due) {
  const std::size_t before = mark();
  try {
    Transaction transaction(objects_->store());
    for (Registration registration : due) {
      veskOid oid = registration.oid;
      if (registration.noticed) {
        objects_->remove(Asker(), oid);
        replace(oid, std::nullopt);
        log(Level::kInfo, "registration " + printed(oid) + " was not renewed");
        continue;
      }
      setEnd(&registration, clock_->seconds() + kGrace);
      writeEnd(oid, registration.expires);
      replace(oid, registration);
    }
    transaction.commit();
  } catch (...) {
    rollBackTo(before);
    throw;
  }
}

void Registrations::writeEnd(veskOid& oid, std::uint32_t expires) {
  OwnedList attributes;
  OwnedList errors;
  veskAtAppendAttr(&attributes, kRegistrationExpiry, new veskTime(expires));
  objects_->set(Asker(), oid, attributes, &errors);
}

}  // namespace ostrel::tools::server
