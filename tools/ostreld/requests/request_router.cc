#include "requests/request_router.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <ostrel/veskError.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "common/encoding.h"
#include "common/printed.h"
#include "objects/attributes.h"
#include "objects/search.h"
#include "requests/search_answer.h"
#include "support/value_order.h"

namespace ostrel::tools::server {
namespace {

// An object is named, not a class.
int checkObject(veskOid& oid) { return oid.valid == 0 ? kOidFormat : kNoError; }

int checkClass(veskOid& oid) {
  return isClass(oid) && !(oid == kEverything) ? kNoError : kOidFormat;
}

// What a request is about.
template <class Request>
std::string targetOf(Request& request) {
  return printed(request.oid);
}
std::string targetOf(veskActionPDU& request) { return printed(request.aid); }
std::string targetOf(veskDSsearchPDU& request) { return printed(request.oid); }

// The elements of a set that were written.
void appendWritten(veskList* written, const veskList& attributes,
                   const veskList& errors) {
  std::unordered_set<unsigned> failed;
  for (auto* error : Elements<veskError>(errors))
    if (error != nullptr) failed.insert(error->index.value);
  unsigned i = 0;
  for (veskType* element : Elements(attributes))
    if (failed.count(i++) == 0) written->append(element);
}

}  // namespace

struct RequestKind {
  const char* name;
  bool (*is)(veskPDU&);
  unsigned char (*tag)();
  std::string (*target)(veskPDU&);
  bool changes;
  Owned<veskPDU> (*execute)(RequestRouter&, const Asker&, veskPDU&);
  Owned<veskPDU> (*refuse)(int code);

  // A request, its answer, and what fills in the answer and gives its status.
  template <class Request, class Answer>
  using Handler = int (RequestRouter::*)(const Asker&, Request&, Answer&);
  template <class Request, class Answer, Handler<Request, Answer> kHandle>
  static constexpr RequestKind row(const char* name, bool changes) {
    return {
        name,
        [](veskPDU& pdu) { return dynamic_cast<Request*>(&pdu) != nullptr; },
        [] { return static_cast<unsigned char>(make<Request>()->tag); },
        [](veskPDU& pdu) { return targetOf(dynamic_cast<Request&>(pdu)); },
        changes,
        [](RequestRouter& router, const Asker& asker,
           veskPDU& request) -> Owned<veskPDU> {
          auto answer = make<Answer>();
          answer->status.value = (router.*kHandle)(
              asker, dynamic_cast<Request&>(request), *answer);
          return answer;
        },
        [](int code) -> Owned<veskPDU> { return make<Answer>(code); }};
  }
  template <class Match>
  static const RequestKind* find(Match match);
};

template <class Match>
const RequestKind* RequestKind::find(Match match) {
  using Router = RequestRouter;
  constexpr bool kReads = false;
  constexpr bool kChanges = true;
  // Derived classes come before those that they derive from.
  static constexpr RequestKind kKinds[] = {
      row<veskSetPDU, veskSetRespPDU, &Router::set>("set", kChanges),
      row<veskGetPDU, veskGetRespPDU, &Router::get>("get", kReads),
      row<veskClonePDU, veskCloneRespPDU, &Router::clone>("clone", kChanges),
      row<veskCreatePDU, veskCreateRespPDU, &Router::create>("create",
                                                             kChanges),
      row<veskRemovePDU, veskRemoveRespPDU, &Router::remove>("remove",
                                                             kChanges),
      row<veskVerifyPDU, veskVerifyRespPDU, &Router::verify>("verify", kReads),
      row<veskSearchPDU, veskSearchRespPDU, &Router::search>("search", kReads),
      row<veskActionPDU, veskActionRespPDU, &Router::action>("action",
                                                             kChanges),
      row<veskDSsearchPDU, veskDSsearchRespPDU, &Router::searchDirectory>(
          "directory search", kReads),
  };
  const auto* found = std::find_if(std::begin(kKinds), std::end(kKinds), match);
  return found != std::end(kKinds) ? found : nullptr;
}

const RequestKind* kindOf(veskPDU& request) {
  return RequestKind::find(
      [&](const RequestKind& kind) { return kind.is(request); });
}

const RequestKind* kindOf(unsigned char tag) {
  return RequestKind::find(
      [&](const RequestKind& kind) { return kind.tag() == tag; });
}

std::string describe(const RequestKind& kind, veskPDU& request) {
  return kind.name + std::string(" ") + kind.target(request);
}

bool changes(const RequestKind& kind) { return kind.changes; }

Owned<veskPDU> refusal(const RequestKind& kind, std::uint32_t requestId,
                       int code) {
  Owned<veskPDU> answer = kind.refuse(code);
  answer->requestId.value = requestId;
  return answer;
}

RequestRouter::RequestRouter(ObjectManager* fallback,
                             Registrations* registrations, Policy policy)
    : fallback_(fallback),
      registrations_(registrations),
      policy_(std::move(policy)) {
  if (registrations != nullptr) add(registrations);
}

void RequestRouter::add(ObjectManager* manager) {
  managers_.push_back(manager);
  for (const veskOid& classOid : manager->classes())
    served_.emplace_back(classOid, manager);
}

ObjectManager& RequestRouter::managerOf(const veskOid& oid) {
  veskOid classOid = classOf(oid);
  for (auto& [served, manager] : served_)
    if (served == classOid) return *manager;
  return *fallback_;
}

Owned<veskPDU> RequestRouter::answer(const RequestKind& kind, veskPDU& request,
                                     const sockaddr_in& from) {
  const Asker asker = askerOf(request, from);
  if (!mayAsk(kind, asker)) return refusal(kind, request, kPermissionDenied);
  Owned<veskPDU> answer = kind.execute(*this, asker, request);
  answer->requestId = request.requestId;
  return answer;
}

Asker RequestRouter::askerOf(const veskPDU& request,
                             const sockaddr_in& from) const {
  Asker asker = {from, request.principal, false};
  asker.administrator = policy_.isAdministrator(asker);
  return asker;
}

bool RequestRouter::mayAsk(const RequestKind& kind, const Asker& asker) const {
  return kind.changes ? policy_.mayWrite(asker) : policy_.mayRead(asker);
}

int RequestRouter::get(const Asker&, veskGetPDU& request,
                       veskGetRespPDU& answer) {
  const int code = checkObject(request.oid);
  if (code != kNoError) return code;
  return managerOf(request.oid)
      .get(request.oid, *request.list, answer.list, answer.errors);
}

int RequestRouter::set(const Asker& asker, veskSetPDU& request,
                       veskSetRespPDU& answer) {
  int code = checkObject(request.oid);
  if (code != kNoError) return code;
  code = managerOf(request.oid)
             .set(asker, request.oid, *request.list, answer.errors);
  if (code == kNoError || code == kArgListError) {
    veskList written;
    appendWritten(&written, *request.list, *answer.errors);
    if (written.count != 0) raise(request.oid, kEventChanged, written);
  }
  return code;
}

int RequestRouter::create(const Asker& asker, veskCreatePDU& request,
                          veskCreateRespPDU& answer) {
  int code = checkClass(request.oid);
  if (code != kNoError) return code;
  code = managerOf(request.oid)
             .create(asker, request.oid, *request.list, &answer.oid,
                     answer.errors);
  if (code == kNoError) raiseCreated(answer.oid);
  return code;
}

int RequestRouter::clone(const Asker& asker, veskClonePDU& request,
                         veskCloneRespPDU& answer) {
  int code = checkObject(request.oid);
  if (code != kNoError) return code;
  code =
      managerOf(request.oid)
          .clone(asker, request.oid, *request.list, &answer.oid, answer.errors);
  if (code == kNoError) raiseCreated(answer.oid);
  return code;
}

int RequestRouter::remove(const Asker& asker, veskRemovePDU& request,
                          veskRemoveRespPDU&) {
  int code = checkObject(request.oid);
  if (code != kNoError) return code;
  code = managerOf(request.oid).remove(asker, request.oid);
  veskList none;
  if (code == kNoError) raise(request.oid, kEventRemoved, none);
  return code;
}

int RequestRouter::verify(const Asker&, veskVerifyPDU& request,
                          veskVerifyRespPDU&) {
  const int code = checkObject(request.oid);
  return code == kNoError ? managerOf(request.oid).verify(request.oid) : code;
}

std::unique_ptr<Search> RequestRouter::begin(veskSearchPDU& request,
                                             veskSearchRespPDU* answer,
                                             Search::Sink sink) {
  int code = checkObject(request.oid);
  if (code == kNoError) code = checkConditions(*request.list, answer->errors);
  answer->status.value = code;
  if (code != kNoError) return nullptr;
  return std::make_unique<Search>(this, request.oid, *request.list,
                                  std::move(sink));
}

int RequestRouter::search(const Asker&, veskSearchPDU& request,
                          veskSearchRespPDU& answer) {
  SearchAnswer found(this, &answer, kLongestMessage);
  const auto search =
      begin(request, &answer, [&](veskOid& oid) { return found.add(oid); });
  if (search == nullptr) return answer.status.value;
  found.begin(&search->page());
  while (search->step(Search::Time::max())) {
  }
  const Owned<veskType> whole = decoded(found.finish());
  auto* results = dynamic_cast<veskSearchRespPDU*>(whole.get());
  if (results == nullptr) return kTooManyResults;
  appendAll(answer.list, *results->list);
  results->list->clear(0);
  return search->code();
}

int RequestRouter::action(const Asker& asker, veskActionPDU& request,
                          veskActionRespPDU& answer) {
  if (request.aid.valid == 0) return kAidFormat;
  // The action's identifier is all that tells which manager is meant.
  const Owned<veskOid> classOid(request.aid.getClassOid());
  return managerOf(*classOid).action(asker, request.aid, *request.list,
                                     answer.errors);
}

// A search of the directory is not for an object server.
int RequestRouter::searchDirectory(const Asker&, veskDSsearchPDU&,
                                   veskDSsearchRespPDU&) {
  return kNoObjectManager;
}

std::optional<veskOid> RequestRouter::classAfter(veskOid& classOid) {
  std::optional<veskOid> first = fallback_->classAfter(classOid);
  for (ObjectManager* manager : managers_) {
    auto next = manager->classAfter(classOid);
    if (next && (!first || compareValues(*next, *first) == Order::kLess))
      first = next;
  }
  return first;
}

// Registrations come and go without events of their own.
bool RequestRouter::wanted(veskOid& oid, veskAid& event) {
  return registrations_ != nullptr && &managerOf(oid) != registrations_ &&
         registrations_->wanted(oid, event);
}

void RequestRouter::raise(veskOid& oid, const char* event,
                          veskList& arguments) {
  veskAid id(event);
  if (wanted(oid, id)) registrations_->raise(oid, id, arguments);
}

void RequestRouter::raiseCreated(veskOid& oid) {
  veskAid id(kEventCreated);
  OwnedList attributes;
  if (wanted(oid, id) && managerOf(oid).read(oid, &attributes) == kNoError)
    registrations_->raise(oid, id, attributes);
}

}  // namespace ostrel::tools::server
