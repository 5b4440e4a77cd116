// Who asks: the principal object of a user, on whose behalf requests are made.

#ifndef OSTREL_ACCESS_H
#define OSTREL_ACCESS_H

#include <ostrel/export.h>
#include <ostrel/transaction.h>
#include <ostrel/type.h>

// A principal's identifier together with the user id that it belongs to.
class OSTREL_API idMap : public veskOid {
 public:
  idMap();  // no identifier, id 0
  idMap(const idMap& other);
  ~idMap() override;

  using veskOid::operator=;  // changes the identifier alone
  idMap& operator=(const idMap& other);

  long id;
};

// Asks the object server of this host (127.0.0.1) for the principal object of a
// user id, and for the principal that this object names. Only the low 32 bits
// of the id count. Each of the two requests is sent once and waits up to 30
// seconds. The handler's time-outs are the same before and after the call.
//   result    receives the identifier, if there is one: keep one in it that
//             tells when nothing was found.
//   reserved  has no effect.
//   handler   an open handler whose descriptor is `socket`; null for one that
//             is opened for this call.
// Returns 0, also when the user has no principal object and *result is as it
// was; 10 when a request got no answer, or memory ran out (ENOMEM); 11 when an
// answer is no answer to it; or the status of an answer that is not 0. When it
// is the second request that failed, *result is the identifier of the principal
// object itself.
OSTREL_API int getPrincipalOid(long id, veskOid* result, unsigned int reserved,
                               veskTransactionHandler* handler, int socket);

#endif  // OSTREL_ACCESS_H
