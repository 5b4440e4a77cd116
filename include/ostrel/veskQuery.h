// Requests on the object model: a program reads, writes, creates, removes and
// finds objects through a veskQueryHandler.

#ifndef OSTREL_VESKQUERY_H
#define OSTREL_VESKQUERY_H

#include <ostrel/access.h>
#include <ostrel/export.h>
#include <ostrel/transaction.h>
#include <ostrel/type.h>
#include <ostrel/veskPDU.h>

// Sends requests, one at a time, and waits for their answers. Made ready by
// its constructor; used by one thread at a time.
//
// What holds for all operations:
// - They return 0, -1 when only some items failed (a list of veskError says
//   which), another status that the server gave, or the code of an exchange
//   that failed: 10 no answer (errno ETIMEDOUT), no memory (ENOMEM) or a
//   network failure (other errno), 11 an answer that is none to this request
//   (EBADMSG) or a request that does not encode, 12 no IPv4 address; see
//   commreq.h.
// - Unless the result is 0 or -1 the caller's lists are untouched.
// - Every request names the principal of the calling user. Finding it may take
//   two more exchanges with this host's object server, the first time for each
//   user; when that fails the request goes out with the former principal, or
//   with none.
// - Lists, identifiers and addresses stay the caller's. What an operation puts
//   into a list belongs to that list: release it with clear(1).
// - `errors` may be null. When the answer brings errors, its former elements
//   are freed, as veskType::destroyDecoded() does, and the answer's take their
//   place; when it brings none, `errors` is as it was, except where search and
//   DSsearch say otherwise.
class OSTREL_API veskQueryHandler {
 public:
  // Opens a socket, by comminit(). Where memory was short there is none, and
  // all operations return 10.
  veskQueryHandler();

  // Closes the socket.
  // Kept: the records of principalCache are not freed; principalCache.clear(1)
  // before does that.
  ~veskQueryHandler();

  veskQueryHandler(const veskQueryHandler&) = delete;
  veskQueryHandler& operator=(const veskQueryHandler&) = delete;

  // Reads the attributes of an object. Puts the value that came back into each
  // attribute of `attrs`, or null where there is none. Kept: a value that an
  // attribute held before is not freed; pass attributes without values, as
  // veskMakeAttrList() makes them. Kept: an answer with fewer attributes than
  // `attrs` stops the process with the assertion "i < count".
  int get(veskAddress* server, veskOid& oid, veskList& attrs, veskList* errors);

  // Writes the attributes of an object.
  int set(veskAddress* server, veskOid& oid, veskList& attrs, veskList* errors);

  // Creates an object of the class `oid`. The new object's identifier is put
  // into newOid unless the answer brings errors.
  int create(veskAddress* server, veskOid& oid, veskList& attrs,
             veskOid& newOid, veskList* errors);

  // Creates a copy of the object `oid` that has the attributes of `attrs`
  // instead of its own. The rest is as with create().
  int clone(veskAddress* server, veskOid& oid, veskList& attrs, veskOid& newOid,
            veskList* errors);

  // Removes an object.
  int remove(veskAddress* server, veskOid& oid);

  // Asks whether an object is there.
  int verify(veskAddress* server, veskOid& oid);

  // Looks for objects of the class `oid` whose attributes fit `attrs`, mostly
  // veskAttributeValueOp. What was found replaces the elements of `results`,
  // which are not freed; when nothing was found `results` is as it was.
  // Kept: `scope` has no effect. Kept: `errors` is emptied even when the answer
  // brings none.
  int search(veskAddress* server, veskOid& oid, veskList& attrs,
             veskList& results, int scope, veskList* errors);

  // The same through a directory server. When `server` is null the call first
  // looks for one by multicast, in up to four attempts with a TTL of 1, 2, 4
  // and 8. They take 16 seconds when nobody answers.
  //   results, list2  as in search(); list2 is sent along.
  //   answeredBy      receives the address of the server that answered.
  //   results2        receives the answer's second list unless null or that
  //                   list is empty; its former elements are freed.
  //   errors          is emptied and receives the answer's errors, but only
  //                   when the answer's second list is empty.
  // Kept: any status but 0, -1 too, is returned with nothing moved. Kept: when
  // no server was found, transactionHandler keeps the time-out (5) and the
  // retries (0) of the last attempt.
  int DSsearch(veskAddress* server, veskOid& oid, veskList& attrs,
               veskList& results, veskList& list2, veskAddress* answeredBy,
               veskList* results2, veskList* errors);

  // Makes currentAccess the principal of the effective user: from
  // principalCache, or asked for and then put there. Every operation calls it.
  // Returns 0, or the code of a lookup that failed; currentAccess is then as it
  // was. A user without a principal object has an invalid identifier.
  int setAccess();

  // Makes a new transaction handler and opens it; the former one is closed and
  // freed. Its socket's multicast TTL is that of the last discovery of any
  // handler in this process, or 4 when there was none. Returns 0, or 10 with
  // the cause in errno; ENOMEM leaves the former handler in place.
  int comminit();

  // Compares two lists of attributes by identifiers. Differences are printed
  // to standard error. Returns 0, or 255 when there are any.
  int checkAttrLists(veskList* expected, veskList* got);

  // Kept for programs that call it: does nothing and returns 0.
  int checkPDUs(veskPDU* expected, veskPDU* got);

  veskTransactionHandler* transactionHandler;  // owned
  int socket;                  // of transactionHandler; Kept: 0 stands for none
  int spareWord;               // 0, not used
  genericList principalCache;  // of idMap*: each user id looked up so far
  idMap currentAccess;  // the principal of the last request, and its user
};

#endif  // OSTREL_VESKQUERY_H
