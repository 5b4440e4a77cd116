#include <ostrel/access.h>
#include <ostrel/names.h>
#include <ostrel/veskAttr.h>

#include "client/exchange.h"

using namespace ostrel;

idMap::idMap() : id(0) {}
idMap::idMap(const idMap& other) = default;
idMap::~idMap() = default;
idMap& idMap::operator=(const idMap& other) = default;

namespace {

constexpr const char* kLocalHost = "127.0.0.1";
constexpr long kPatience = 30;  // seconds for each of the two exchanges

// While it lives, requests are sent once and given up after kPatience.
class SentOnce {
 public:
  explicit SentOnce(veskTransactionHandler& handler)
      : handler_(handler),
        initialTimeout_(handler.initialTimeout),
        retries_(handler.retries) {
    handler.initialTimeout = kPatience;
    handler.retries = 0;
  }
  ~SentOnce() {
    handler_.initialTimeout = initialTimeout_;
    handler_.retries = retries_;
  }
  SentOnce(const SentOnce&) = delete;
  SentOnce& operator=(const SentOnce&) = delete;

 private:
  veskTransactionHandler& handler_;
  long initialTimeout_;
  int retries_;
};

// The identifier that is the first element of a list, or the value of an
// attribute there; null when there is none.
veskOid* firstIdentifier(veskList* list) {
  if (auto* attribute = firstOf<veskAttribute>(list))
    return as<veskOid>(attribute->value);
  return firstOf<veskOid>(list);
}

int localPrincipalSearch(veskTransactionHandler& handler, int socket, long id,
                         veskOid* result) {
  const SentOnce sentOnce(handler);
  veskAddress server(kLocalHost);

  veskAid userId(kPrincipalUserId);
  veskLong user(id);
  veskInt wanted(user.value);  // the low 32 bits
  ScopedList terms;
  Scoped<veskAttributeValueOp> term(
      new veskAttributeValueOp(&userId, &wanted, kOperatorEquals));
  terms.get()->append(term.get());
  static_cast<void>(term.release());  // now the list's
  veskOid principals(kPrincipalClass);
  veskSearchPDU search(principals, terms.get(), kSearchFlag);
  const auto found = replyOf<veskSearchRespPDU>(
      askObjectServer(handler, socket, &server, search, Wanted::kItsKind));
  if (found.code != kNoError) return found.code;
  veskOid* object = firstOf<veskOid>(found.answer->list);
  if (object == nullptr) return kNoError;

  veskList everything;
  veskGetPDU get(*object, &everything);
  const auto attributes = replyOf<veskGetRespPDU>(
      askObjectServer(handler, socket, &server, get, Wanted::kItsKind));
  *result = *object;
  if (attributes.code != kNoError) return attributes.code;
  if (veskOid* principal = firstIdentifier(attributes.answer->list))
    *result = *principal;
  return kNoError;
}

}  // namespace

int getPrincipalOid(long id, veskOid* result, unsigned int,
                    veskTransactionHandler* handler, int socket) {
  return orOutOfMemory([&] {
    Scoped<veskTransactionHandler> own;
    veskTransactionHandler* asking = handler;
    int descriptor = socket;
    if (asking == nullptr) {
      own.reset(new veskTransactionHandler);
      asking = own.get();
      descriptor = asking->open();
      if (descriptor < 0) return kNetworkError;
    }
    return localPrincipalSearch(*asking, descriptor, id, result);
  });
}
