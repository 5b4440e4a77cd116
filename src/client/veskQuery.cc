#include <ostrel/elements.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include <atomic>
#include <cstdio>
#include <utility>

#include "base/platform.h"
#include "client/client.h"

using namespace ostrel;

namespace {

constexpr int kNoSocket = 0;

// The TTL of multicasts. Kept: it is process-wide, and each attempt at
// discovery changes it for handlers that are made later.
std::atomic<unsigned char> multicastTtl{4};

int applyMulticastTtl(int socket) {
  const int result = platform::setMulticastTtl(socket, multicastTtl);
  return result == 0 ? kNoError : kNetworkError;
}

Signer clientOf(veskQueryHandler& handler) {
  return {handler.transactionHandler, handler.socket, handler.principalCache,
          handler.currentAccess};
}

// The steps of all operations but DSsearch.
template <class Response>
Reply<Response> ask(veskQueryHandler& handler, veskAddress* server,
                    veskPDU* request) {
  if (handler.socket == kNoSocket) return {noSocket()};
  return clientOf(handler).ask<Response>(server, request);
}

// Whether the first `count` elements of a list are attributes. Kept: a shorter
// list stops the process.
bool areAttributes(veskList& list, unsigned count) {
  if (count > list.count) list.index(list.count);
  auto each = Elements(list).begin();
  for (; count > 0; count--) {
    if (as<veskAttribute>(*each++) == nullptr) return false;
  }
  return true;
}

// Moves the values of the attributes that came back into the caller's, by
// position.
int moveValues(veskList& from, veskList& to) {
  if (!areAttributes(from, to.count) || !areAttributes(to, to.count)) {
    errno = EBADMSG;
    return kCodingError;
  }
  auto source = Elements(from).begin();
  for (veskType* target : Elements(to)) {
    auto* arrived = static_cast<veskAttribute*>(*source++);
    static_cast<veskAttribute*>(target)->value =
        std::exchange(arrived->value, nullptr);
  }
  return kNoError;
}

// Stores the new object's identifier for create and clone.
void moveNewObject(veskCreateRespPDU& answer, veskOid& newOid,
                   veskList* errors) {
  if (answer.errors->count == 0) newOid = answer.oid;
  moveErrors(answer.errors, errors);
}

// Moves what was found. When nothing was found, the caller's list stays as it
// was.
void moveResults(veskList* from, veskList* to) {
  if (from->count != 0) moveElements(from, to);
}

// Empties the caller's list of errors, even when the answer has none.
void replaceErrors(veskList* from, veskList* to) {
  if (to == nullptr) return;
  to->destroyDecodedElements();
  moveErrors(from, to);
}

// The identifier of an attribute, for messages; other elements have none.
char* identifierText(veskAttribute* attribute) {
  return attribute != nullptr ? attribute->id.getString()
                              : veskAid().getString();
}

// Looks for a directory server with a growing TTL. Returns 0 with the address
// of the first one that answers, whatever the answer says; else 10.
int discover(veskQueryHandler& handler, veskAddress* found) {
  veskTransactionHandler& transactions = *handler.transactionHandler;
  veskOid anything;
  veskList noAttributes;
  veskList noList2;
  veskDSsearchPDU request(anything, &noAttributes, &noList2);
  for (const DiscoveryAttempt& attempt : kDiscoveryAttempts) {
    transactions.initialTimeout = attempt.seconds;
    transactions.retries = 0;
    multicastTtl = attempt.ttl;
    if (applyMulticastTtl(handler.socket) != kNoError) return kNetworkError;
    const Ending ending = askDirectory(transactions, handler.socket, nullptr,
                                       request, found, true, Wanted::kItsKind);
    if (ending.code != kNetworkError) return kNoError;
    if (ending.gaveUp == nullptr || errno != ETIMEDOUT) break;
  }
  return kNetworkError;
}

}  // namespace

veskQueryHandler::veskQueryHandler()
    : transactionHandler(nullptr), socket(kNoSocket), spareWord(0) {
  comminit();
}

veskQueryHandler::~veskQueryHandler() { delete transactionHandler; }

int veskQueryHandler::comminit() {
  return orOutOfMemory([this] {
    const Scoped<veskTransactionHandler> former(
        std::exchange(transactionHandler, new veskTransactionHandler));
    socket = transactionHandler->open();
    if (socket < 0) return kNetworkError;
    return applyMulticastTtl(socket);
  });
}

int veskQueryHandler::setAccess() { return clientOf(*this).setAccess(); }

int veskQueryHandler::get(veskAddress* server, veskOid& oid, veskList& attrs,
                          veskList* errors) {
  veskGetPDU request(oid, &attrs);
  const auto reply = ask<veskGetRespPDU>(*this, server, &request);
  if (!reply.succeeded()) return reply.code;
  const int code = moveValues(*reply.answer->list, attrs);
  if (code != kNoError) return code;
  moveErrors(reply.answer->errors, errors);
  return reply.code;
}

int veskQueryHandler::set(veskAddress* server, veskOid& oid, veskList& attrs,
                          veskList* errors) {
  veskSetPDU request(oid, &attrs);
  const auto reply = ask<veskSetRespPDU>(*this, server, &request);
  if (reply.succeeded()) moveErrors(reply.answer->errors, errors);
  return reply.code;
}

int veskQueryHandler::create(veskAddress* server, veskOid& oid, veskList& attrs,
                             veskOid& newOid, veskList* errors) {
  veskCreatePDU request(oid, &attrs);
  const auto reply = ask<veskCreateRespPDU>(*this, server, &request);
  if (reply.succeeded()) moveNewObject(*reply.answer, newOid, errors);
  return reply.code;
}

int veskQueryHandler::clone(veskAddress* server, veskOid& oid, veskList& attrs,
                            veskOid& newOid, veskList* errors) {
  veskClonePDU request(oid, &attrs);
  const auto reply = ask<veskCloneRespPDU>(*this, server, &request);
  if (reply.succeeded()) moveNewObject(*reply.answer, newOid, errors);
  return reply.code;
}

int veskQueryHandler::remove(veskAddress* server, veskOid& oid) {
  veskRemovePDU request(oid);
  return ask<veskRemoveRespPDU>(*this, server, &request).code;
}

int veskQueryHandler::verify(veskAddress* server, veskOid& oid) {
  veskVerifyPDU request(oid);
  return ask<veskVerifyRespPDU>(*this, server, &request).code;
}

// Kept: the scope is ignored.
int veskQueryHandler::search(veskAddress* server, veskOid& oid, veskList& attrs,
                             veskList& results, int, veskList* errors) {
  veskSearchPDU request(oid, &attrs, kSearchFlag);
  const auto reply = ask<veskSearchRespPDU>(*this, server, &request);
  if (!reply.succeeded()) return reply.code;
  moveResults(reply.answer->list, &results);
  replaceErrors(reply.answer->errors, errors);
  return reply.code;
}

int veskQueryHandler::DSsearch(veskAddress* server, veskOid& oid,
                               veskList& attrs, veskList& results,
                               veskList& list2, veskAddress* answeredBy,
                               veskList* results2, veskList* errors) {
  if (socket == kNoSocket) return noSocket();
  return orOutOfMemory([&] {
    const long initialTimeout = transactionHandler->initialTimeout;
    const int retries = transactionHandler->retries;
    veskAddress to;
    if (server != nullptr) to = *server;
    // Kept: when nobody is found, the last attempt's time-out and retries stay.
    if (server == nullptr && discover(*this, &to) != kNoError)
      return kNetworkError;

    veskDSsearchPDU request(oid, &attrs, &list2);
    clientOf(*this).sign(&request);
    transactionHandler->initialTimeout = initialTimeout;
    transactionHandler->retries = retries;
    veskAddress from;
    Ending ending = askDirectory(*transactionHandler, socket, &to, request,
                                 &from, false, Wanted::kItsKind);
    if (ending.code != kNoError) return ending.code;
    *answeredBy = from;
    const auto reply = replyOf<veskDSsearchRespPDU>(std::move(ending));
    if (!reply.succeeded()) return reply.code;
    veskDSsearchRespPDU& answer = *reply.answer;
    moveResults(answer.list, &results);
    // Kept: the errors are returned only without a second list.
    if (answer.list2->count == 0) {
      replaceErrors(answer.errors, errors);
    } else if (results2 != nullptr) {
      results2->destroyDecodedElements();
      moveElements(answer.list2, results2);
    }
    return reply.code;
  });
}

int veskQueryHandler::checkAttrLists(veskList* expected, veskList* got) {
  if (expected->count != got->count) {
    std::fprintf(stderr, "ostrelQueryHandler: attr list count %d != %d\n",
                 static_cast<int>(expected->count),
                 static_cast<int>(got->count));
    return kInternalError;
  }
  int code = kNoError;
  for (unsigned i = 0; i < expected->count; i++) {
    auto* wanted = expected->at<veskAttribute>(i);
    auto* found = got->at<veskAttribute>(i);
    if (wanted != nullptr && found != nullptr && wanted->id == found->id)
      continue;
    code = kInternalError;
    orOutOfMemory([&] {
      const TextToPrint should(identifierText(wanted));
      const TextToPrint is(identifierText(found));
      return std::fprintf(stderr,
                          "ostrelQueryHandler: Attr %d: Should be %s != %s\n",
                          static_cast<int>(i), should.get(), is.get());
    });
  }
  return code;
}

int veskQueryHandler::checkPDUs(veskPDU*, veskPDU*) { return kNoError; }
