// What both handlers share: they ask in the name of the calling user, whose
// principal they look up once and then know.

#ifndef OSTREL_SRC_CLIENT_H
#define OSTREL_SRC_CLIENT_H

#include <ostrel/access.h>

#include "client/exchange.h"

namespace ostrel {

// What an operation returns that has no socket to ask through.
int noSocket();

// A handler as the side that asks. Made for one call; owns nothing.
struct Client {
  veskTransactionHandler* handler;
  int socket;
  genericList& principalCache;
  idMap& currentAccess;

  // Makes currentAccess the principal of the effective user. Returns 0, or the
  // code of the lookup that failed.
  int setAccess();

  // Puts the principal into a request; one that cannot be found leaves the
  // former one, or none.
  void sign(veskPDU* request);

  // Signs a request, asks the object server and waits for its answer.
  template <class Response>
  Reply<Response> ask(veskAddress* server, veskPDU* request) {
    sign(request);
    return replyOf<Response>(
        askObjectServer(*handler, socket, server, *request, Wanted::kItsKind));
  }
};

}  // namespace ostrel

#endif  // OSTREL_SRC_CLIENT_H
