#include "objects/registrations.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <ostrel/veskPDU.h>

#include <algorithm>

#include "common/addresses.h"
#include "common/encoding.h"
#include "common/printed.h"
#include "objects/attributes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// A renewal sets the end to an hour after the end that it replaces.
constexpr std::uint32_t kLongestRenewal =
    2 * Registrations::kLife + Registrations::kNoticeLead;

// An event goes to a machine that did not ask for it only if a program on the
// server's own machine said so: nobody can aim the server at a third one.
bool mayReceive(const Asker& asker, veskAddress& address) {
  const in_addr* to = address.get(nullptr);
  if (to == nullptr || !isUnicast(*to)) return false;
  return isLoopback(asker.address.sin_addr) ||
         to->s_addr == asker.address.sin_addr.s_addr;
}

// What a registration needs: which event of which object, and where to.
struct Required {
  const char* name;
  bool (*good)(const Asker& asker, veskType* value);
};

template <class Identifier>
bool isIdentifier(const Asker&, veskType* value) {
  auto* id = dynamic_cast<Identifier*>(value);
  return id != nullptr && id->valid != 0;
}

constexpr Required kRequired[] = {
    {kRegistrationObject, isIdentifier<veskOid>},
    {kRegistrationEvent, isIdentifier<veskAid>},
    {kRegistrationAddress,
     [](const Asker& asker, veskType* value) {
       auto* address = dynamic_cast<veskAddress*>(value);
       return address != nullptr && mayReceive(asker, *address);
     }},
    {kRegistrationPort,
     [](const Asker&, veskType* value) {
       auto* port = dynamic_cast<veskUnsignedShort*>(value);
       return port != nullptr && port->value != 0;
     }},
};

int check(const Asker& asker, const veskList& attributes, veskList* errors) {
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
          if (attribute->id == id && !required.good(asker, attribute->value))
            return kBadValue;
        }
        return kNoError;
      });
}

}  // namespace

Registrations::Registrations(StoredObjects* objects, const Clock* clock)
    : objects_(objects), clock_(clock) {}

std::vector<veskOid> Registrations::classes() {
  return {veskOid(kRegistrationClass)};
}

int Registrations::list(veskOid& classOid, veskList* oids) {
  return objects_->list(classOid, oids);
}

int Registrations::read(veskOid& oid, veskList* attributes) {
  return objects_->read(oid, attributes);
}

int Registrations::create(const Asker& asker, veskOid& classOid,
                          veskList& attributes, veskOid* created,
                          veskList* errors) {
  const int code = check(asker, attributes, errors);
  if (code != kNoError) return code;
  OwnedList others;
  objects_->list(classOid, &others);
  if (others.count >= kMostRegistrations) {
    log(Level::kWarning, "too many registrations: refused one of " +
                             endpointText(asker.address));
    return kPermissionDenied;
  }
  veskList complete;
  appendAll(&complete, attributes);
  // Behind what was given: of two the last counts.
  veskAid id(kRegistrationExpiry);
  veskTime expires(clock_->seconds() + kLife);
  veskAttribute end(&id, &expires);
  complete.append(&end);
  loaded_ = false;
  return objects_->create(asker, classOid, complete, created, errors);
}

int Registrations::set(const Asker& asker, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const auto held = parse(oid);
  if (!held) return kNoSuchName;
  // A renewal that comes twice is no mistake, so the present end will do.
  const std::uint32_t earliest = held->expires;
  const std::uint32_t latest = clock_->seconds() + kLongestRenewal;
  veskAid expiryId(kRegistrationExpiry);
  veskList good;
  const int refused = checkEach<veskAttribute>(
      attributes, errors, [&](unsigned, veskAttribute* attribute) {
        const int code = writable(attribute);
        if (code != kNoError) return code;
        if (!(attribute->id == expiryId)) return kBadAccess;
        auto* time = dynamic_cast<veskUnsignedInt*>(attribute->value);
        if (time == nullptr || time->value < earliest || time->value > latest)
          return kBadValue;
        good.append(attribute);
        return kNoError;
      });
  loaded_ = false;
  const int code = objects_->set(asker, oid, good, errors);
  return code != kNoError ? code : refused;
}

int Registrations::remove(const Asker& asker, veskOid& oid) {
  loaded_ = false;
  return objects_->remove(asker, oid);
}

std::optional<Registrations::Registration> Registrations::parse(veskOid& oid) {
  OwnedList attributes;
  if (objects_->read(oid, &attributes) != kNoError) return std::nullopt;
  auto* object = valueOf<veskOid>(attributes, kRegistrationObject);
  auto* event = valueOf<veskAid>(attributes, kRegistrationEvent);
  auto* address = valueOf<veskAddress>(attributes, kRegistrationAddress);
  auto* port = valueOf<veskUnsignedShort>(attributes, kRegistrationPort);
  auto* expires = valueOf<veskUnsignedInt>(attributes, kRegistrationExpiry);
  if (object == nullptr || event == nullptr || address == nullptr ||
      address->get(nullptr) == nullptr || port == nullptr ||
      expires == nullptr) {
    return std::nullopt;
  }
  const double notice = static_cast<double>(expires->value) - kNoticeLead;
  return Registration{oid,
                      *object,
                      *event,
                      endpoint(*address->get(nullptr), port->value),
                      expires->value,
                      notice,
                      false};
}

// The store is the truth; what is held here is read again after each change, so
// that a change that was not committed leaves no trace.
void Registrations::load() {
  if (loaded_) return;
  std::vector<Registration> former;
  former.swap(registrations_);
  OwnedList oids;
  veskOid classOid(kRegistrationClass);
  objects_->list(classOid, &oids);
  for (auto* oid : Elements<veskOid>(oids)) {
    auto registration = parse(*oid);
    if (!registration) continue;
    for (Registration& known : former) {
      if (!(known.oid == *oid) || known.expires != registration->expires)
        continue;
      registration->nextNotice = known.nextNotice;
      registration->noticed = known.noticed;
    }
    registrations_.push_back(*registration);
  }
  loaded_ = true;
}

bool Registrations::asksFor(Registration& registration, veskOid& oid,
                            veskAid& event) {
  veskAid any(kEventAny);
  if (!(registration.event == event) && !(registration.event == any))
    return false;
  veskOid everything(kEverything);
  veskOid classOid = classOf(oid);
  return registration.object == oid || registration.object == classOid ||
         registration.object == everything;
}

bool Registrations::wanted(veskOid& oid, veskAid& event) {
  load();
  return std::any_of(
      registrations_.begin(), registrations_.end(),
      [&](Registration& each) { return asksFor(each, oid, event); });
}

void Registrations::raise(veskOid& oid, veskAid& event, veskList& arguments) {
  load();
  for (Registration& registration : registrations_) {
    if (asksFor(registration, oid, event))
      send(registration, oid, event, arguments);
  }
}

void Registrations::send(const Registration& registration, veskOid& oid,
                         veskAid& event, veskList& arguments) {
  veskEventPDU pdu(oid, event, &arguments);
  auto bytes = encoded(pdu, kLongestEvent);
  if (!bytes) {
    veskList none;
    veskEventPDU bare(oid, event, &none);
    bytes = encoded(bare, kLongestEvent);
  }
  if (bytes)
    outgoing_.push_back(
        {registration.to, registration.to.sin_addr, std::move(*bytes)});
}

double Registrations::tick() {
  load();
  std::vector<Registration> due;
  for (const Registration& each : registrations_) {
    if (clock_->now() >= each.expires) due.push_back(each);
  }
  if (!due.empty()) finish(due);
  load();
  const double now = clock_->now();
  double next = now + kLife;
  veskAid expiry(kEventExpiry);
  for (Registration& registration : registrations_) {
    if (now >= registration.nextNotice) {
      // Datagrams are lost at times, so the notice is repeated.
      OwnedList arguments;
      arguments.append(new veskTime(registration.expires));
      send(registration, registration.oid, expiry, arguments);
      registration.nextNotice = now + kNoticeRepeat;
      registration.noticed = true;
    }
    const double expires = registration.expires;
    next = std::min({next, expires, registration.nextNotice});
  }
  return next - now;
}

// What was told of its end goes; the rest gets the time to be told.
void Registrations::finish(std::vector<Registration>& due) {
  Transaction transaction(objects_->store());
  loaded_ = false;
  for (Registration& registration : due) {
    if (registration.noticed) {
      objects_->remove(Asker(), registration.oid);
      log(Level::kInfo,
          "registration " + printed(registration.oid) + " was not renewed");
      continue;
    }
    OwnedList attributes;
    OwnedList errors;
    veskAtAppendAttr(&attributes, kRegistrationExpiry,
                     new veskTime(clock_->seconds() + kGrace));
    objects_->set(Asker(), registration.oid, attributes, &errors);
  }
  transaction.commit();
}

std::vector<Outgoing> Registrations::takeOutgoing() {
  std::vector<Outgoing> result;
  result.swap(outgoing_);
  return result;
}

void Registrations::rollBackTo(std::size_t mark) {
  if (mark < outgoing_.size())
    outgoing_.erase(outgoing_.begin() + static_cast<std::ptrdiff_t>(mark),
                    outgoing_.end());
  loaded_ = false;
}

}  // namespace ostrel::tools::server
