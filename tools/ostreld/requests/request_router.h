// From a request PDU to its answer: finds the object manager, asks it, and
// tells the registrations what changed. Does no I/O of its own.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H

#include <ostrel/veskPDU.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/owned.h"
#include "objects/manager.h"
#include "objects/registrations.h"
#include "objects/search.h"
#include "requests/policy.h"

namespace ostrel::tools::server {

// What the server knows of a class of request PDUs: a row of a table.
struct RequestKind;

// Null when the PDU is no request.
const RequestKind* kindOf(veskPDU& request);

// Whether executing such a request may change anything.
bool changes(const RequestKind& kind);

// The kind with that tag, null when there is none.
const RequestKind* kindOf(unsigned char tag);

// What such a request asks for: "set 59.200.0.1".
std::string describe(const RequestKind& kind, veskPDU& request);

// An answer of the kind's own class that carries a code and nothing else.
Owned<veskPDU> refusal(const RequestKind& kind, std::uint32_t requestId,
                       int code);
inline Owned<veskPDU> refusal(const RequestKind& kind, veskPDU& request,
                              int code) {
  return refusal(kind, request.requestId.value, code);
}

class RequestRouter : public Places {
 public:
  // The fallback serves the classes that no other manager has. What is given
  // has to outlive this object; `registrations` may be null.
  RequestRouter(ObjectManager* fallback, Registrations* registrations,
                Policy policy);

  // From now on others may write.
  void setPolicy(const Policy& policy) { policy_ = policy; }

  // Adds a manager; of two for one class the first one serves it.
  void add(ObjectManager* manager);

  // The answer to a request of that kind. Attributes in it may point at values
  // of a manager: encode it before the next request.
  Owned<veskPDU> answer(const RequestKind& kind, veskPDU& request,
                        const sockaddr_in& from);

  // Who asks, and whether the policy lets them.
  Asker askerOf(const veskPDU& request, const sockaddr_in& from) const;
  bool mayAsk(const RequestKind& kind, const Asker& asker) const;

  // A search that goes on in turns; null when it is refused, with the reason in
  // the answer's status and errors. Both PDUs have to outlive it.
  std::unique_ptr<Search> begin(veskSearchPDU& request,
                                veskSearchRespPDU* answer, Search::Sink sink);

  ObjectManager& managerOf(const veskOid& oid) override;
  std::optional<veskOid> classAfter(veskOid& classOid) override;

 private:
  friend struct RequestKind;

  // Each fills in the answer and returns its status.
  int get(const Asker& asker, veskGetPDU& request, veskGetRespPDU& answer);
  int set(const Asker& asker, veskSetPDU& request, veskSetRespPDU& answer);
  int create(const Asker& asker, veskCreatePDU& request,
             veskCreateRespPDU& answer);
  int clone(const Asker& asker, veskClonePDU& request,
            veskCloneRespPDU& answer);
  int remove(const Asker& asker, veskRemovePDU& request,
             veskRemoveRespPDU& answer);
  int verify(const Asker& asker, veskVerifyPDU& request,
             veskVerifyRespPDU& answer);
  int search(const Asker& asker, veskSearchPDU& request,
             veskSearchRespPDU& answer);
  int action(const Asker& asker, veskActionPDU& request,
             veskActionRespPDU& answer);
  int searchDirectory(const Asker& asker, veskDSsearchPDU& request,
                      veskDSsearchRespPDU& answer);

  bool wanted(veskOid& oid, veskAid& event);
  void raiseCreated(veskOid& oid);
  void raise(veskOid& oid, const char* event, veskList& arguments);

  ObjectManager* fallback_;
  Registrations* registrations_;
  Policy policy_;
  std::vector<ObjectManager*> managers_;
  std::vector<std::pair<veskOid, ObjectManager*>> served_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_ROUTER_H
