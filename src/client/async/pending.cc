#include "client/async/pending.h"

#include <ostrel/tags.h>

#include "client/async/client_state.h"
#include "client/async/value_codec.h"

namespace ostrel {
namespace {

// What distinguishes one kind of request from another.
struct Kind {
  const char* verb;
  std::uint8_t tag;
  Traffic traffic;
  bool changes;  // an object, so its order counts
  bool smallAnswer;
};

constexpr Kind kGet = {"get", kTagGetPDU, Traffic::kPlain, false, false};
constexpr Kind kSet = {"set", kTagSetPDU, Traffic::kPlain, true, true};
constexpr Kind kCreate = {"create", kTagCreatePDU, Traffic::kPlain, false,
                          true};
constexpr Kind kClone = {"clone", kTagClonePDU, Traffic::kPlain, false, true};
constexpr Kind kRemove = {"remove", kTagRemovePDU, Traffic::kPlain, true, true};
constexpr Kind kVerify = {"verify", kTagVerifyPDU, Traffic::kPlain, false,
                          true};
constexpr Kind kAction = {"action", kTagActionPDU, Traffic::kAction, true,
                          true};
constexpr Kind kSearch = {"search", kTagSearchPDU, Traffic::kSearch, false,
                          false};
constexpr Kind kDirectorySearch = {"directory search", kTagDSsearchPDU,
                                   Traffic::kSearch, false, false};

DecodeLimits limitsOfMembers() {
  DecodeLimits limits;
  limits.nesting = kMaxNesting - 1;  // the PDU is a level itself
  return limits;
}

class Members {
 public:
  explicit Members(const AnswerBytes& bytes)
      : reader_(bytes.members, bytes.size), limits_(limitsOfMembers()) {}

  template <class T>
  Members& operator>>(T& value) {
    read(reader_, &value, limits_);
    return *this;
  }
  Members& operator>>(Oid& value) {
    read(reader_, &value);
    return *this;
  }
  explicit operator bool() const { return reader_.ok(); }

 private:
  ByteReader reader_;
  DecodeLimits limits_;
};

// Names the items that failed, by the list at whose positions they stand.
void identify(const Attributes& list, std::vector<ItemError>* errors) {
  for (ItemError& error : *errors)
    if (error.position < list.size())
      error.identifier = list[error.position].id;
}

// The same by the list of the request, which is read again for that.
void identifyByRequest(const Pending& pending, std::vector<ItemError>* errors) {
  if (errors->empty()) return;
  Members members({0, pending.rest.data(), pending.rest.size()});
  Oid principal;
  Oid oid;
  Attributes list;
  if (members >> principal >> oid >> list) identify(list, errors);
}

bool readAttributes(const Pending&, const AnswerBytes& bytes, Attributes* value,
                    std::vector<ItemError>* errors) {
  Members members(bytes);
  if (!(members >> *errors >> *value)) return false;
  identify(*value, errors);
  return true;
}

bool readErrors(const Pending& pending, const AnswerBytes& bytes, Done*,
                std::vector<ItemError>* errors) {
  Members members(bytes);
  if (!(members >> *errors)) return false;
  if (pending.tag == kTagSetPDU) identifyByRequest(pending, errors);
  return true;
}

bool readNewObject(const Pending& pending, const AnswerBytes& bytes, Oid* value,
                   std::vector<ItemError>* errors) {
  Members members(bytes);
  if (!(members >> *errors >> *value)) return false;
  if (!errors->empty()) *value = Oid();
  identifyByRequest(pending, errors);
  return true;
}

bool readNothing(const Pending&, const AnswerBytes&, Done*,
                 std::vector<ItemError>*) {
  return true;
}

bool readList(const Pending&, const AnswerBytes& bytes, Values* value,
              std::vector<ItemError>* errors) {
  return static_cast<bool>(Members(bytes) >> *errors >> *value);
}

Endpoint endpointOf(const PeerAddress& peer) {
  return Endpoint(peer.host, peer.port);
}

bool readFound(const Pending& pending, const AnswerBytes& bytes, Found* value,
               std::vector<ItemError>* errors) {
  Members members(bytes);
  if (!(members >> *errors >> value->second >> value->objects)) return false;
  value->answeredBy = endpointOf(pending.answeredBy);
  return true;
}

// Whatever the answer says, somebody is there.
bool readSender(const Pending& pending, const AnswerBytes&, Endpoint* value,
                std::vector<ItemError>*) {
  *value = Endpoint(pending.answeredBy.host, kDirectoryPort);
  return true;
}

// Writes members one behind another.
template <class... Parts>
std::string membersOf(const Parts&... parts) {
  std::string bytes((roomFor(parts) + ...), '\0');
  ByteWriter writer(&bytes[0], bytes.size());
  (write(writer, parts), ...);
  bytes.resize(writer.used());
  // The string lives as long as the request may queue.
  bytes.shrink_to_fit();
  return bytes;
}

template <class T>
std::unique_ptr<PendingOf<T>> make(const Kind& kind, const Endpoint& server,
                                   const Oid& oid, ReadMembers<T> readMembers,
                                   Handler<T> handler, std::string members) {
  auto pending =
      std::make_unique<PendingOf<T>>(readMembers, std::move(handler));
  pending->verb = kind.verb;
  pending->oid = oid;
  pending->to = {server.address(), server.port()};
  pending->tag = kind.tag;
  pending->answers = answersTo(kind.tag);
  pending->traffic = kind.traffic;
  pending->change = kind.changes && oid.valid();
  pending->object = oid.numbers();
  pending->smallAnswer = kind.smallAnswer;
  pending->rest = std::move(members);
  return pending;
}

}  // namespace

bool readAnswer(const std::string& answer, AnswerBytes* bytes) {
  ByteReader reader(answer.data(), answer.size());
  reader.number<std::uint8_t>();  // the PDU's tag, which the engine has checked
  reader.number<std::uint8_t>();
  bytes->status = static_cast<std::int32_t>(reader.integer());
  reader.number<std::uint8_t>();
  reader.integer();  // the request id
  Oid principal;
  read(reader, &principal);
  bytes->members = reader.at();
  bytes->size = reader.left();
  return reader.ok();
}

std::string principalBytes(const Oid& principal) {
  return membersOf(principal);
}

void Pending::cancel(ClientState& state) { state.cancel(this); }
void Pending::forget(ClientState& state) { state.forget(this); }

Error Pending::failure(int status) const {
  const Endpoint server = endpointOf(to);
  std::string what = verb;
  if (oid.valid()) what += " of " + oid.text();
  what += " from " + server.text();
  if (status != 0) return Error(Failure::refused, status, 0, false, what);
  constexpr Failure kKinds[] = {Failure::undecodable, Failure::noAnswer,
                                Failure::portClosed,  Failure::undecodable,
                                Failure::unsendable,  Failure::cancelled};
  int code = kNetworkError;
  if (ended == Ended::kUndecodable || error == EINVAL) code = kCodingError;
  if (error == EDESTADDRREQ) code = kAddressError;
  const bool changes = tag != kTagGetPDU && tag != kTagSearchPDU &&
                       tag != kTagVerifyPDU && tag != kTagDSsearchPDU;
  // A machine that reports a closed port has not made this transmission's
  // change, but perhaps an earlier one's.
  const unsigned harmless = ended == Ended::kPortClosed ? 1 : 0;
  return Error(kKinds[static_cast<std::size_t>(ended)], code, error,
               changes && sent > harmless, what);
}

std::unique_ptr<PendingOf<Attributes>> getOf(const Endpoint& server,
                                             const Oid& oid,
                                             const std::vector<Aid>& wanted,
                                             Handler<Attributes> handler) {
  return make<Attributes>(kGet, server, oid, readAttributes, std::move(handler),
                          membersOf(oid, wanted));
}

std::unique_ptr<PendingOf<Values>> getAllOf(const Endpoint& server,
                                            const Oid& oid,
                                            Handler<Values> handler) {
  const std::vector<Aid> all;
  return make<Values>(kGet, server, oid, readList, std::move(handler),
                      membersOf(oid, all));
}

std::unique_ptr<PendingOf<Done>> setOf(const Endpoint& server, const Oid& oid,
                                       const Attributes& attributes,
                                       Handler<Done> handler) {
  return make<Done>(kSet, server, oid, readErrors, std::move(handler),
                    membersOf(oid, attributes));
}

std::unique_ptr<PendingOf<Oid>> createOf(const Endpoint& server, const Oid& oid,
                                         const Attributes& attributes,
                                         Handler<Oid> handler) {
  return make<Oid>(kCreate, server, oid, readNewObject, std::move(handler),
                   membersOf(oid, attributes));
}

// A server may answer as to a create: the two differ in their tag alone.
std::unique_ptr<PendingOf<Oid>> cloneOf(const Endpoint& server, const Oid& oid,
                                        const Attributes& attributes,
                                        Handler<Oid> handler) {
  auto pending = make<Oid>(kClone, server, oid, readNewObject,
                           std::move(handler), membersOf(oid, attributes));
  pending->answers |= kindOf(kTagCreateRespPDU);
  return pending;
}

std::unique_ptr<PendingOf<Done>> removeOf(const Endpoint& server,
                                          const Oid& oid,
                                          Handler<Done> handler) {
  return make<Done>(kRemove, server, oid, readNothing, std::move(handler),
                    membersOf(oid));
}

std::unique_ptr<PendingOf<Done>> verifyOf(const Endpoint& server,
                                          const Oid& oid,
                                          Handler<Done> handler) {
  return make<Done>(kVerify, server, oid, readNothing, std::move(handler),
                    membersOf(oid));
}

std::unique_ptr<PendingOf<Done>> actionOf(const Endpoint& server,
                                          const Oid& oid, const Aid& action,
                                          Values arguments,
                                          Handler<Done> handler) {
  return make<Done>(kAction, server, oid, readErrors, std::move(handler),
                    membersOf(action, Value(std::move(arguments))));
}

std::unique_ptr<PendingOf<Values>> searchOf(const Endpoint& server,
                                            const Oid& classOid,
                                            const std::vector<Term>& terms,
                                            Handler<Values> handler) {
  return make<Values>(kSearch, server, classOid, readList, std::move(handler),
                      membersOf(classOid, terms, Value(true)));
}

std::unique_ptr<PendingOf<Found>> directorySearchOf(
    const Endpoint& directory, const Oid& classOid,
    const std::vector<Term>& terms, Values second, Handler<Found> handler) {
  return make<Found>(kDirectorySearch, directory, classOid, readFound,
                     std::move(handler),
                     membersOf(classOid, terms, Value(std::move(second))));
}

std::unique_ptr<PendingOf<Endpoint>> discoveryOf(long seconds, std::uint8_t ttl,
                                                 Handler<Endpoint> handler) {
  const std::vector<Term> none;
  auto pending = make<Endpoint>(
      kDirectorySearch, Endpoint(kDirectoryGroup, kDirectoryPort), Oid(),
      readSender, std::move(handler), membersOf(Oid(), none, none));
  pending->multicast = true;
  pending->ttl = ttl;
  pending->firstWait = seconds * kSecond;
  pending->transmissions = 1;
  return pending;
}

}  // namespace ostrel
