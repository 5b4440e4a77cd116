#include "requests/request_router.h"

#include <ostrel/veskError.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "base/codes.h"
#include "objects/search.h"

namespace ostrel::tools::server {
namespace {

constexpr const char* kEverything = "0.0.0.0";

template <class Pdu>
Pdu* as(veskPDU& pdu) {
  return dynamic_cast<Pdu*>(&pdu);
}

// An object is named, not a class.
int checkObject(veskOid& oid) { return oid.valid == 0 ? kOidFormat : kNoError; }

int checkClass(veskOid& oid) {
  return isClass(oid) && !(oid == kEverything) ? kNoError : kOidFormat;
}

// The elements of a set that were written.
void writtenItems(veskList& attributes, veskList& errors, veskList* written) {
  std::unordered_set<unsigned> failed;
  forEach(errors, [&](unsigned, veskType* element) {
    auto* error = dynamic_cast<veskError*>(element);
    if (error != nullptr) failed.insert(error->index.value);
  });
  forEach(attributes, [&](unsigned i, veskType* element) {
    if (failed.count(i) == 0) written->append(element);
  });
}

}  // namespace

Dispatcher::Dispatcher(ObjectManager* fallback, Registrations* registrations,
                       Policy policy)
    : fallback_(fallback),
      registrations_(registrations),
      policy_(std::move(policy)) {
  if (registrations != nullptr) add(registrations);
}

void Dispatcher::add(ObjectManager* manager) { managers_.push_back(manager); }

ObjectManager& Dispatcher::managerOf(const veskOid& oid) {
  veskOid classOid = classOf(oid);
  for (ObjectManager* manager : managers_) {
    for (veskOid& served : manager->classes()) {
      if (served == classOid) return *manager;
    }
  }
  return *fallback_;
}

bool Dispatcher::changes(veskPDU& request) {
  return as<veskSetPDU>(request) || as<veskCreatePDU>(request) ||
         as<veskRemovePDU>(request) || as<veskActionPDU>(request);
}

Owned<veskPDU> Dispatcher::answer(veskPDU& request, const sockaddr_in& from) {
  const Asker asker = {from, request.principal};
  Owned<veskPDU> result = changes(request) && !policy_.mayWrite(asker)
                              ? refusal(request, kPermissionDenied)
                              : execute(asker, request);
  if (result != nullptr) result->requestId = request.requestId;
  return result;
}

// Derived classes come before those that they derive from.
Owned<veskPDU> Dispatcher::execute(const Asker& asker, veskPDU& request) {
  if (auto* pdu = as<veskSetPDU>(request)) return set(asker, *pdu);
  if (auto* pdu = as<veskGetPDU>(request)) return get(*pdu);
  if (auto* pdu = as<veskClonePDU>(request)) return clone(asker, *pdu);
  if (auto* pdu = as<veskCreatePDU>(request)) return create(asker, *pdu);
  if (auto* pdu = as<veskRemovePDU>(request)) return remove(asker, *pdu);
  if (auto* pdu = as<veskVerifyPDU>(request)) return verify(*pdu);
  if (auto* pdu = as<veskSearchPDU>(request)) return search(*pdu);
  if (auto* pdu = as<veskActionPDU>(request)) return action(asker, *pdu);
  // A search of the directory is not for an object server.
  return refusal(request, kNoObjectManager);
}

Owned<veskPDU> Dispatcher::get(veskGetPDU& request) {
  auto response = make<veskGetRespPDU>();
  int code = checkObject(request.oid);
  if (code == kNoError) {
    code =
        managerOf(request.oid)
            .get(request.oid, *request.list, response->list, response->errors);
  }
  response->status.value = code;
  return response;
}

Owned<veskPDU> Dispatcher::set(const Asker& asker, veskSetPDU& request) {
  auto response = make<veskSetRespPDU>();
  int code = checkObject(request.oid);
  if (code == kNoError) {
    code = managerOf(request.oid)
               .set(asker, request.oid, *request.list, response->errors);
  }
  if (code == kNoError || code == kItemErrors) {
    veskList written;
    writtenItems(*request.list, *response->errors, &written);
    if (written.count != 0) raise(request.oid, kEventChanged, written);
  }
  response->status.value = code;
  return response;
}

Owned<veskPDU> Dispatcher::create(const Asker& asker, veskCreatePDU& request) {
  auto response = make<veskCreateRespPDU>();
  int code = checkClass(request.oid);
  if (code == kNoError) {
    code = managerOf(request.oid)
               .create(asker, request.oid, *request.list, &response->oid,
                       response->errors);
  }
  if (code == kNoError) raiseCreated(response->oid);
  response->status.value = code;
  return response;
}

Owned<veskPDU> Dispatcher::clone(const Asker& asker, veskClonePDU& request) {
  auto response = make<veskCloneRespPDU>();
  int code = checkObject(request.oid);
  if (code == kNoError) {
    code = managerOf(request.oid)
               .clone(asker, request.oid, *request.list, &response->oid,
                      response->errors);
  }
  if (code == kNoError) raiseCreated(response->oid);
  response->status.value = code;
  return response;
}

Owned<veskPDU> Dispatcher::remove(const Asker& asker, veskRemovePDU& request) {
  int code = checkObject(request.oid);
  if (code == kNoError)
    code = managerOf(request.oid).remove(asker, request.oid);
  veskList none;
  if (code == kNoError) raise(request.oid, kEventRemoved, none);
  return make<veskRemoveRespPDU>(code);
}

Owned<veskPDU> Dispatcher::verify(veskVerifyPDU& request) {
  int code = checkObject(request.oid);
  if (code == kNoError) code = managerOf(request.oid).verify(request.oid);
  return make<veskVerifyRespPDU>(code);
}

Owned<veskPDU> Dispatcher::search(veskSearchPDU& request) {
  auto response = make<veskSearchRespPDU>();
  int code = checkObject(request.oid);
  if (code == kNoError) code = checkConditions(*request.list, response->errors);
  if (code != kNoError) {
    response->status.value = code;
    return response;
  }
  std::vector<veskOid> where = {request.oid};
  if (request.oid == kEverything) {
    where = fallback_->classes();
    for (ObjectManager* manager : managers_) {
      for (veskOid& served : manager->classes()) where.push_back(served);
    }
    std::sort(where.begin(), where.end(), [](veskOid& a, veskOid& b) {
      return compareValues(a, b) == Order::kLess;
    });
    where.erase(std::unique(where.begin(), where.end(),
                            [](veskOid& a, veskOid& b) { return a == b; }),
                where.end());
  }
  for (veskOid& oid : where) {
    code = server::search(managerOf(oid), oid, *request.list, response->list);
    if (code != kNoError) break;
  }
  response->status.value = code;
  return response;
}

Owned<veskPDU> Dispatcher::action(const Asker& asker, veskActionPDU& request) {
  auto response = make<veskActionRespPDU>();
  if (request.aid.valid == 0) {
    response->status.value = kAidFormat;
    return response;
  }
  // The action's identifier is all that tells which manager is meant.
  const Owned<veskOid> classOid(request.aid.getClassOid());
  response->status.value = managerOf(*classOid).action(
      asker, request.aid, *request.list, response->errors);
  return response;
}

// Registrations come and go without events of their own.
bool Dispatcher::wanted(veskOid& oid, veskAid& event) {
  return registrations_ != nullptr && &managerOf(oid) != registrations_ &&
         registrations_->wanted(oid, event);
}

void Dispatcher::raise(veskOid& oid, const char* event, veskList& arguments) {
  veskAid id(event);
  if (wanted(oid, id)) registrations_->raise(oid, id, arguments);
}

void Dispatcher::raiseCreated(veskOid& oid) {
  veskAid id(kEventCreated);
  OwnedList attributes;
  if (wanted(oid, id) && managerOf(oid).read(oid, &attributes) == kNoError)
    registrations_->raise(oid, id, attributes);
}

Owned<veskPDU> refusal(veskPDU& request, int code) {
  Owned<veskPDU> response;
  if (as<veskSetPDU>(request) || as<veskActionPDU>(request)) {
    response = make<veskSetRespPDU>(code);
  } else if (as<veskGetPDU>(request)) {
    response = make<veskGetRespPDU>(code);
  } else if (as<veskClonePDU>(request)) {
    response = make<veskCloneRespPDU>(code);
  } else if (as<veskCreatePDU>(request)) {
    response = make<veskCreateRespPDU>(code);
  } else if (as<veskRemovePDU>(request)) {
    response = make<veskRemoveRespPDU>(code);
  } else if (as<veskVerifyPDU>(request)) {
    response = make<veskVerifyRespPDU>(code);
  } else if (as<veskSearchPDU>(request)) {
    response = make<veskSearchRespPDU>(code);
  } else if (as<veskDSsearchPDU>(request)) {
    response = make<veskDSsearchRespPDU>(code);
  }
  if (response != nullptr) response->requestId = request.requestId;
  return response;
}

}  // namespace ostrel::tools::server
