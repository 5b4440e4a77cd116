#include "session/principal.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <unistd.h>

#include <utility>

#include "common/addresses.h"
#include "session/lookup_memory.h"

namespace ostrel::tools::cli {
namespace {

// The first element of a list, seen as a Value; null when it is none.
template <class Value>
Value* first(const veskList& list) {
  const Elements<Value> all(list);
  return list.count != 0 ? *all.begin() : nullptr;
}

// Asks the object server of this host, without a principal.
class LocalServer {
 public:
  LocalServer(Exchange& exchange, Output& output, int retries)
      : exchange_(exchange), output_(output), retries_(retries) {}

  template <class Response>
  Owned<Response> ask(veskPDU& request) {
    Owned<veskPDU> answer;
    exchange_.run(
        {address_, request, output_.settings().timeout, retries_,
         "looking up this user's principal at " + endpointText(address_) +
             " (--principal none does without)"},
        [&](const sockaddr_in&, Owned<veskPDU> arrived) {
          answer = std::move(arrived);
          return true;
        });
    return checked<Response>(std::move(answer));
  }

 private:
  Exchange& exchange_;
  Output& output_;
  int retries_;
  const sockaddr_in address_ = endpoint(loopbackAddress(), kObjectServerPort);
};

// As the library's own lookup does: the object for the user, and the principal
// that its first attribute names.
veskOid principalOf(unsigned user, LocalServer server) {
  veskOid principals(kPrincipalClass);
  veskAid userId(kPrincipalUserId);
  veskInt id(static_cast<int>(user));
  OwnedList terms;
  terms.append(new veskAttributeValueOp(&userId, &id, kOperatorEquals));
  veskSearchPDU search(principals, &terms, kSearchFlag);
  const auto found = server.ask<veskSearchRespPDU>(search);
  auto* object = first<veskOid>(*found->list);
  if (object == nullptr) return veskOid();

  veskList everything;
  veskGetPDU get(*object, &everything);
  const auto answer = server.ask<veskGetRespPDU>(get);
  auto* attribute = first<veskAttribute>(*answer->list);
  auto* named =
      attribute != nullptr ? dynamic_cast<veskOid*>(attribute->value) : nullptr;
  return named != nullptr ? *named : *object;
}

}  // namespace

veskOid lookUpPrincipal(Exchange& exchange, Output& output,
                        const sockaddr_in& to) {
  const auto without = [&](const std::string& why) {
    output.announce("the request goes out without a principal: " + why);
    output.hint("--principal none does not look for one.");
    return veskOid();
  };
  const bool sameServer =
      sameEndpoint(to, endpoint(loopbackAddress(), kObjectServerPort));
  const auto age = failedLookupAge();
  // The same server is asked anyway, so it can be asked for this, too.
  if (age && !sameServer)
    return without("the lookup failed " + plural(*age, "second") + " ago");
  try {
    const veskOid found = principalOf(
        geteuid(), LocalServer(exchange, output,
                               sameServer ? output.settings().retries : 0));
    if (age) forgetFailedLookup();
    return found;
  } catch (const Failure& failure) {
    if (failure.exit == kInterrupted ||
        (failure.exit == kNoAnswer && sameServer))
      throw;
    if (!sameServer) rememberFailedLookup();
    return without(failure.what());
  }
}

}  // namespace ostrel::tools::cli
