// From a request PDU to its answer: finds the object manager, asks it, and
// tells the registrations what changed. Does no I/O of its own.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H

#include <ostrel/veskPDU.h>

#include <vector>

#include "objects/manager.h"
#include "objects/registrations.h"
#include "requests/policy.h"

namespace ostrel::tools::server {

class Dispatcher {
 public:
  // The fallback serves the classes that no other manager has. What is given
  // has to outlive this object; `registrations` may be null.
  Dispatcher(ObjectManager* fallback, Registrations* registrations,
             Policy policy);

  // Adds a manager; of two for one class the first one serves it.
  void add(ObjectManager* manager);

  // The answer to a request; null when the PDU is none. Attributes in it may
  // point at values of a manager: encode it before the next request.
  Owned<veskPDU> answer(veskPDU& request, const sockaddr_in& from);

  // Whether executing a request may change anything.
  static bool changes(veskPDU& request);

 private:
  ObjectManager& managerOf(const veskOid& oid);
  Owned<veskPDU> get(veskGetPDU& request);
  Owned<veskPDU> set(const Asker& asker, veskSetPDU& request);
  Owned<veskPDU> create(const Asker& asker, veskCreatePDU& request);
  Owned<veskPDU> clone(const Asker& asker, veskClonePDU& request);
  Owned<veskPDU> remove(const Asker& asker, veskRemovePDU& request);
  Owned<veskPDU> verify(veskVerifyPDU& request);
  Owned<veskPDU> search(veskSearchPDU& request);
  Owned<veskPDU> action(const Asker& asker, veskActionPDU& request);
  Owned<veskPDU> execute(const Asker& asker, veskPDU& request);
  bool wanted(veskOid& oid, veskAid& event);
  void raiseCreated(veskOid& oid);
  void raise(veskOid& oid, const char* event, veskList& arguments);

  ObjectManager* fallback_;
  Registrations* registrations_;
  Policy policy_;
  std::vector<ObjectManager*> managers_;
};

// An answer of the request's kind that carries a code and nothing else; null
// when the PDU is no request.
Owned<veskPDU> refusal(veskPDU& request, int code);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H
