#include "objects/registration_table.h"

#include <ostrel/names.h>

#include <algorithm>
#include <iterator>

#include "objects/attributes.h"

namespace ostrel::tools::server {

double Registration::due() const {
  return std::min<double>(expires, nextNotice);
}

RegistrationTable::Oid RegistrationTable::keyOf(const veskOid& oid) {
  Oid key;
  std::copy(std::begin(oid.component), std::end(oid.component), key.begin());
  return key;
}

RegistrationTable::Watch RegistrationTable::watchOf(const veskOid& object,
                                                    const veskAid& event,
                                                    const veskOid& oid) {
  Watch watch;
  auto at = std::copy(std::begin(object.component), std::end(object.component),
                      watch.begin());
  at = std::copy(std::begin(event.component), std::end(event.component), at);
  std::copy(std::begin(oid.component), std::end(oid.component), at);
  return watch;
}

const Registration* RegistrationTable::find(const veskOid& oid) const {
  const auto found = registrations_.find(keyOf(oid));
  return found == registrations_.end() ? nullptr : &found->second;
}

std::optional<Registration> RegistrationTable::replace(
    const veskOid& oid, std::optional<Registration> by) {
  std::optional<Registration> former;
  const auto found = registrations_.find(keyOf(oid));
  if (found != registrations_.end()) {
    strike(found->second);
    former = std::move(found->second);
    registrations_.erase(found);
  }
  if (by)
    enter(registrations_.emplace(keyOf(oid), std::move(*by)).first->second);
  return former;
}

void RegistrationTable::enter(const Registration& registration) {
  watches_.emplace(
      watchOf(registration.object, registration.event, registration.oid),
      &registration);
  due_.emplace(registration.due(), keyOf(registration.oid));
  ++receiving_[registration.to.sin_addr.s_addr];
  ++owning_[registration.owner.s_addr];
}

void RegistrationTable::strike(const Registration& registration) {
  watches_.erase(
      watchOf(registration.object, registration.event, registration.oid));
  due_.erase({registration.due(), keyOf(registration.oid)});
  countOff(&receiving_, registration.to.sin_addr);
  countOff(&owning_, registration.owner);
}

std::vector<const Registration*> RegistrationTable::watching(
    const veskOid& oid, const veskAid& event, bool oneIsEnough) const {
  std::vector<const Registration*> result;
  if (registrations_.empty()) return result;
  static const veskAid any(kEventAny);
  // The places at which a registration for this may stand, none of them twice.
  Watch places[6];
  Watch* end = places;
  // The last stands for everything, 0.0.0.0.
  for (const veskOid& object : {oid, classOf(oid), veskOid()}) {
    for (const veskAid* asked : {&event, &any}) {
      *end = watchOf(object, *asked, veskOid());
      if (std::find(places, end, *end) == end) ++end;
    }
  }
  for (const Watch* place = places; place != end; ++place) {
    const auto isHere = [&](const Watch& watch) {
      constexpr std::ptrdiff_t kPlace = 7;  // numbers of object and event
      return std::equal(place->begin(), place->begin() + kPlace, watch.begin());
    };
    for (auto found = watches_.lower_bound(*place);
         found != watches_.end() && isHere(found->first); ++found) {
      result.push_back(found->second);
      if (oneIsEnough) return result;
    }
  }
  return result;
}

const Registration* RegistrationTable::first() const {
  return due_.empty() ? nullptr : &registrations_.at(due_.begin()->second);
}

std::vector<Registration> RegistrationTable::expired(double now) const {
  std::vector<Registration> result;
  for (auto at = due_.begin(); at != due_.end() && at->first <= now; ++at) {
    const Registration& registration = registrations_.at(at->second);
    if (registration.expires <= now) result.push_back(registration);
  }
  return result;
}

std::size_t RegistrationTable::of(in_addr address) const {
  return std::max(countIn(receiving_, address), countIn(owning_, address));
}

std::size_t RegistrationTable::countIn(const Counts& counts, in_addr address) {
  const auto found = counts.find(address.s_addr);
  return found == counts.end() ? 0 : found->second;
}

void RegistrationTable::countOff(Counts* counts, in_addr address) {
  const auto found = counts->find(address.s_addr);
  if (found != counts->end() && --found->second == 0) counts->erase(found);
}

}  // namespace ostrel::tools::server
