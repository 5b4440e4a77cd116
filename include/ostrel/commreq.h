// One request and its answer. These calls block until an answer has come, the
// request has given up or something has failed; every higher service goes
// through them. Retransmission is the business of transaction.h.

#ifndef OSTREL_COMMREQ_H
#define OSTREL_COMMREQ_H

#include <ostrel/export.h>
#include <ostrel/transaction.h>
#include <ostrel/type.h>
#include <ostrel/veskPDU.h>

// What holds for both calls:
// - `handler` is open and `socket` is its descriptor, whatever number that has.
// - `request` stays the caller's; the handler stamps its requestId. When the
//   call returns the handler has forgotten it, whatever the result.
// - *response receives the answer, which is then the caller's: release it with
//   veskType::destroyDecoded(). It may be a PDU of any class, a mere veskPDU
//   too, since answers are matched by their request id alone: check its class
//   before using it as one.
// - When a request gives up, the result is 10 with errno ETIMEDOUT, and
//   *response is that request itself: `request`, or an older one of the same
//   handler. Compare before freeing anything. While nothing was sent *response
//   is as it was; after any other failure it is null.
// - With the handler's own time-outs a request is sent at 0, 3 and 9 seconds
//   and gives up at 21. Unrelated datagrams neither delay nor advance that. A
//   process that was stopped meanwhile takes what is queued first.
// - When a call returns a failure, errno is what ended it:
//     10  ETIMEDOUT  the request gave up
//         EINTR      a signal interrupted the wait
//         ENOMEM     memory ran out, for the answer or for remembering that
//                    the request was sent
//         others     what the system said when sending or waiting failed
//     11  EINVAL     the request does not encode
//         ENOMEM     there is no memory for its bytes
//     12  EDESTADDRREQ  there is no address: null, or a value without one
//         EAFNOSUPPORT  the address is of another family than IPv4
//   A status that is not 0 is no failure of the call.

// Sends a request to the object server (UDP port 5135) at an IPv4 address.
// Returns 0 with an answer, whatever status that carries; 12 when `server` is
// null or no IPv4 address, and nothing is sent then; the handler's code when
// sending failed; 10 when waiting failed or a request gave up.
// Kept: the answer to another request of the same handler ends the wait too.
OSTREL_API int OSrequest(veskTransactionHandler* handler, int socket,
                         veskAddress* server, veskPDU* request,
                         veskRespPDU** response);

// Sends a request to the directory service (UDP port 5136): to `server`, or to
// the multicast group 224.0.1.2 when that is null. Returns at the first answer
// with status 0. An answer with another status ends the call at once when
// `firstAnswer` is 1 or a server is given; else the first such answer is kept,
// later ones are dropped, and it ends the call when the request gives up.
//   from  receives the address of whoever sent the last datagram that was taken
//         from the socket; never null.
// Returns the answer's status; 12 when `server` is no IPv4 address; 10 when
// sending or waiting failed, or a request gave up and no answer had come.
OSTREL_API int DSrequest(veskTransactionHandler* handler, int socket,
                         veskAddress* server, veskPDU* request,
                         veskRespPDU** response, veskAddress* from,
                         int firstAnswer);

#endif  // OSTREL_COMMREQ_H
