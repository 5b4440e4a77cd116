#include "objects/registrations.h"

#include <ostrel/veskPDU.h>

#include <algorithm>

#include "base/codes.h"
#include "base/log.h"
#include "requests/policy.h"

namespace ostrel::tools::server {
namespace {

constexpr const char* kClass = "59.6.0.0";
constexpr const char* kObject = "59.6.1";
constexpr const char* kEvent = "59.6.2";
constexpr const char* kAddress = "59.6.3";
constexpr const char* kPort = "59.6.4";
constexpr const char* kExpiry = "59.6.5";

// A renewal sets the end to an hour after the end that it replaces.
constexpr std::uint32_t kLongestRenewal =
    2 * Registrations::kLife + Registrations::kNoticeLead;

template <class Value>
Value* valueOf(veskList& attributes, const char* name) {
  veskAid id(name);
  veskAttribute* attribute = find(attributes, id);
  return attribute == nullptr ? nullptr
                              : dynamic_cast<Value*>(attribute->value);
}

// An event goes to a machine that did not ask for it only if a program on the
// server's own machine said so: nobody can aim the server at a third one.
bool mayReceive(const Asker& asker, veskAddress& address) {
  const in_addr* to = address.get(nullptr);
  if (to == nullptr || !isUnicast(*to)) return false;
  return isLoopback(asker.address.sin_addr) ||
         to->s_addr == asker.address.sin_addr.s_addr;
}

}  // namespace

Registrations::Registrations(Store* store, const Clock* clock)
    : store_(store), clock_(clock) {}

std::vector<veskOid> Registrations::classes() { return {veskOid(kClass)}; }

int Registrations::list(veskOid& classOid, veskList* oids) {
  return store_->list(classOid, oids);
}

int Registrations::read(veskOid& oid, veskList* attributes) {
  return store_->read(oid, attributes);
}

// What a registration needs: which event of which object, and where to.
int Registrations::check(const Asker& asker, veskList& attributes,
                         veskList* errors) {
  int result = checkWritable(attributes, errors);
  if (result != kNoError) return result;
  for (const char* name : {kObject, kEvent, kAddress, kPort}) {
    veskAid id(name);
    if (find(attributes, id) == nullptr) return kRequiredAttribute;
  }
  veskAid objectId(kObject);
  veskAid eventId(kEvent);
  veskAid addressId(kAddress);
  veskAid portId(kPort);
  forEach(attributes, [&](unsigned i, veskType* element) {
    auto& attribute = dynamic_cast<veskAttribute&>(*element);
    bool good = true;
    if (attribute.id == objectId) {
      auto* oid = dynamic_cast<veskOid*>(attribute.value);
      good = oid != nullptr && oid->valid != 0;
    } else if (attribute.id == eventId) {
      auto* aid = dynamic_cast<veskAid*>(attribute.value);
      good = aid != nullptr && aid->valid != 0;
    } else if (attribute.id == addressId) {
      auto* address = dynamic_cast<veskAddress*>(attribute.value);
      good = address != nullptr && mayReceive(asker, *address);
    } else if (attribute.id == portId) {
      auto* port = dynamic_cast<veskUnsignedShort*>(attribute.value);
      good = port != nullptr && port->value != 0;
    }
    if (good) return;
    addError(errors, i, kBadValue);
    result = kItemErrors;
  });
  return result;
}

int Registrations::create(const Asker& asker, veskOid& classOid,
                          veskList& attributes, veskOid* created,
                          veskList* errors) {
  const int code = check(asker, attributes, errors);
  if (code != kNoError) return code;
  OwnedList others;
  store_->list(classOid, &others);
  if (others.count >= kMostRegistrations) {
    log(Level::kWarning,
        "too many registrations: refused one of " + text(asker.address));
    return kPermissionDenied;
  }
  veskList complete;
  forEach(attributes,
          [&](unsigned, veskType* element) { complete.append(element); });
  // Behind what was given: of two the last counts.
  veskAid id(kExpiry);
  veskTime expires(clock_->seconds() + kLife);
  veskAttribute end(&id, &expires);
  complete.append(&end);
  loaded_ = false;
  return store_->create(asker, classOid, complete, created, errors);
}

int Registrations::set(const Asker& asker, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const auto held = parse(oid);
  if (!held) return kNoSuchName;
  veskAid expiryId(kExpiry);
  // A renewal that comes twice is no mistake, so the present end will do.
  const std::uint32_t earliest = held->expires;
  const std::uint32_t latest = clock_->seconds() + kLongestRenewal;
  veskList good;
  forEach(attributes, [&](unsigned i, veskType* element) {
    int code = writable(element);
    if (code == kNoError) {
      auto& attribute = dynamic_cast<veskAttribute&>(*element);
      auto* time = dynamic_cast<veskUnsignedInt*>(attribute.value);
      if (!(attribute.id == expiryId)) {
        code = kBadAccess;
      } else if (time == nullptr || time->value < earliest ||
                 time->value > latest) {
        code = kBadValue;
      }
    }
    if (code == kNoError) {
      good.append(element);
    } else {
      addError(errors, i, code);
    }
  });
  loaded_ = false;
  const int code = store_->set(asker, oid, good, errors);
  if (code != kNoError) return code;
  return good.count == attributes.count ? kNoError : kItemErrors;
}

int Registrations::remove(const Asker& asker, veskOid& oid) {
  loaded_ = false;
  return store_->remove(asker, oid);
}

std::optional<Registrations::Registration> Registrations::parse(veskOid& oid) {
  OwnedList attributes;
  if (store_->read(oid, &attributes) != kNoError) return std::nullopt;
  auto* object = valueOf<veskOid>(attributes, kObject);
  auto* event = valueOf<veskAid>(attributes, kEvent);
  auto* address = valueOf<veskAddress>(attributes, kAddress);
  auto* port = valueOf<veskUnsignedShort>(attributes, kPort);
  auto* expires = valueOf<veskUnsignedInt>(attributes, kExpiry);
  if (object == nullptr || event == nullptr || address == nullptr ||
      address->get(nullptr) == nullptr || port == nullptr ||
      expires == nullptr) {
    return std::nullopt;
  }
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_addr = *address->get(nullptr);
  to.sin_port = htons(port->value);
  const double notice = static_cast<double>(expires->value) - kNoticeLead;
  return Registration{oid, *object, *event, to, expires->value, notice, false};
}

// The store is the truth; what is held here is read again after each change, so
// that a change that was not committed leaves no trace.
void Registrations::load() {
  if (loaded_) return;
  std::vector<Registration> former;
  former.swap(registrations_);
  OwnedList oids;
  veskOid classOid(kClass);
  store_->list(classOid, &oids);
  forEach(oids, [&](unsigned, veskType* element) {
    auto& oid = dynamic_cast<veskOid&>(*element);
    auto registration = parse(oid);
    if (!registration) return;
    for (Registration& known : former) {
      if (!(known.oid == oid) || known.expires != registration->expires)
        continue;
      registration->nextNotice = known.nextNotice;
      registration->noticed = known.noticed;
    }
    registrations_.push_back(*registration);
  });
  loaded_ = true;
}

bool Registrations::asksFor(Registration& registration, veskOid& oid,
                            veskAid& event) {
  veskAid any(kEventAny);
  if (!(registration.event == event) && !(registration.event == any))
    return false;
  veskOid everything("0.0.0.0");
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
  if (bytes) outgoing_.push_back({registration.to, std::move(*bytes)});
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
  Transaction transaction(store_->database());
  loaded_ = false;
  for (Registration& registration : due) {
    if (registration.noticed) {
      store_->remove(Asker(), registration.oid);
      log(Level::kInfo,
          "registration " + text(registration.oid) + " was not renewed");
      continue;
    }
    OwnedList attributes;
    OwnedList errors;
    veskAtAppendAttr(&attributes, kExpiry,
                     new veskTime(clock_->seconds() + kGrace));
    store_->set(Asker(), registration.oid, attributes, &errors);
  }
  transaction.commit();
}

std::vector<Outgoing> Registrations::takeOutgoing() {
  std::vector<Outgoing> result;
  result.swap(outgoing_);
  return result;
}

void Registrations::dropOutgoing() {
  outgoing_.clear();
  loaded_ = false;
}

}  // namespace ostrel::tools::server
