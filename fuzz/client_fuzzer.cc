// Hostile servers against each operation of the query handler: no answer is
// taken for what it is not, a failure leaves the caller's lists alone, every
// request is forgotten, nothing leaks and nothing is freed twice.

#include <ostrel/commreq.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include <cstdlib>
#include <string>

#include "hostile_servers.h"

namespace {

using fuzz::require;

// What a caller passes. The number in each list is the caller's own: a list
// that loses it must have got something else instead.
class Caller {
 public:
  explicit Caller(unsigned attributes) {
    veskAid id("59.6.1");
    for (unsigned i = 0; i < attributes; ++i)
      attrs.append(new veskAttribute(&id));
    results.append(&own_);
    results2.append(new veskInt(2));
    errors.append(new veskInt(3));
  }
  ~Caller() {
    results.remove(&own_);
    for (veskList* list : {&attrs, &results, &results2, &errors})
      list->destroyDecodedElements();
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  std::string text() {
    std::string all;
    for (veskType* value :
         {static_cast<veskType*>(&attrs), static_cast<veskType*>(&results),
          static_cast<veskType*>(&results2), static_cast<veskType*>(&errors),
          static_cast<veskType*>(&newOid)}) {
      char* text = value->getString();
      all += std::string(text) + "\n";
      std::free(text);
    }
    return all;
  }

  veskList attrs;
  veskList results;
  veskList results2;
  veskList errors;
  veskOid newOid{"1.1.1.1"};

 private:
  veskInt own_{1};
};

// Whether a message is the answer to a get with fewer attributes than were
// asked for: such a one stops the process, as documented.
bool isShort(const std::string& message, unsigned asked) {
  veskType* value = nullptr;
  std::string bytes = message;
  veskType::decodeCreate(bytes.data(), static_cast<unsigned>(bytes.size()),
                         &value);
  const auto* answer = dynamic_cast<veskGetRespPDU*>(value);
  const bool result = answer != nullptr && answer->list->count < asked;
  veskType::destroyDecoded(value);
  return result;
}

// Collects answers until one is a success.
int askAnyDirectory(veskQueryHandler& handler, veskOid& oid) {
  veskRemovePDU request(oid);
  veskRespPDU* response = nullptr;
  veskAddress from;
  const int code = DSrequest(handler.transactionHandler, handler.socket,
                             nullptr, &request, &response, &from, 0);
  veskPDU* answer = response;
  if (answer != &request) veskType::destroyDecoded(answer);
  return code;
}

int perform(unsigned operation, veskQueryHandler& handler, Caller& caller) {
  veskAddress server("192.0.2.1");
  veskOid oid("59.6.0.1");
  veskList list2;
  veskAddress answeredBy;
  switch (operation % 11) {
    case 0:
      return handler.get(&server, oid, caller.attrs, &caller.errors);
    case 1:
      return handler.set(&server, oid, caller.attrs, &caller.errors);
    case 2:
      return handler.create(&server, oid, caller.attrs, caller.newOid,
                            &caller.errors);
    case 3:
      return handler.clone(&server, oid, caller.attrs, caller.newOid,
                           &caller.errors);
    case 4:
      return handler.remove(&server, oid);
    case 5:
      return handler.verify(&server, oid);
    case 6:
      return handler.search(&server, oid, caller.attrs, caller.results, 1,
                            &caller.errors);
    case 7:
      return handler.setAccess();
    case 8:
      return handler.DSsearch(&server, oid, caller.attrs, caller.results, list2,
                              &answeredBy, &caller.results2, &caller.errors);
    case 9:
      return askAnyDirectory(handler, oid);
    default:
      return handler.DSsearch(nullptr, oid, caller.attrs, caller.results, list2,
                              &answeredBy, &caller.results2, &caller.errors);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  fake::platform().reset();
  fake::platform().recording = false;
  fuzz::HostileServers servers(script, memory);
  servers.add("127.0.0.1", 5135);
  servers.add("192.0.2.1", 5135);
  servers.add("192.0.2.1", 5136, "224.0.1.2");
  servers.add("192.0.2.2", 5136, "224.0.1.2");
  veskQueryHandler handler;
  while (!script.done()) {
    const unsigned operation = script.number(1);
    if ((operation & 0x80) != 0) fake::platform().user++;  // looks it up
    const unsigned attributes = operation >> 4 & 3;
    servers.mustNotSend = [attributes](const std::string& message) {
      return isShort(message, attributes);
    };
    Caller caller(attributes);
    const std::string before = caller.text();
    const int code = perform(operation & 0xf, handler, caller);
    require(handler.transactionHandler->pending.count == 0,
            "every request is forgotten");
    require(code == 0 || code == -1 || caller.text() == before,
            "a failure leaves the caller's lists alone");
  }
  handler.principalCache.clear(1);
  return 0;
}
