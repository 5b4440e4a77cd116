// Shared by both handlers: they send requests in the name of the calling user.
// They look up the user's principal once and remember it.

#ifndef OSTREL_SRC_CLIENT_H
#define OSTREL_SRC_CLIENT_H

#include <ostrel/access.h>

#include "client/exchange.h"

namespace ostrel {

// The result of an operation without a socket.
int noSocket();

// The parts of a handler that send requests. Made for one call; owns nothing.
struct Signer {
  veskTransactionHandler* handler;
  int socket;
  genericList& principalCache;
  idMap& currentAccess;

  // Makes currentAccess the principal of the effective user. Returns 0, or the
  // code of the lookup that failed.
  int setAccess();

  // Puts the principal into a request. When it cannot be found, the request
  // gets the former one, or none.
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
