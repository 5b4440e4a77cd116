// Events of objects: a veskEventHandler registers for them, receives them and
// keeps its registrations alive.

#ifndef OSTREL_VESKEVENT_H
#define OSTREL_VESKEVENT_H

#include <ostrel/access.h>
#include <ostrel/export.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>

// Has two sockets: events arrive at one, its own requests leave from the other.
// The constructor opens the second, open() the first. Used by one thread at a
// time.
//
// A registration expires. Shortly before, its server sends a notice to the
// event socket, and receive() renews the registration for an hour; so it lives
// as long as the program keeps calling receive().
class OSTREL_API veskEventHandler {
 public:
  // Looks up this host's address, which registrations carry: a program whose
  // host name resolves to another address sets myHost before it registers.
  veskEventHandler();

  // Closes both sockets.
  // Kept: nothing is unregistered, and the records of `events` and of
  // principalCache are not freed; their clear(1) before does that.
  ~veskEventHandler();

  veskEventHandler(const veskEventHandler&) = delete;
  veskEventHandler& operator=(const veskEventHandler&) = delete;

  // Opens the event socket, on a port that the system chooses. Returns its
  // descriptor; a negative number when that failed, or 10 when the port cannot
  // be read. Failures are printed to standard error; errno has the cause. Kept:
  // a descriptor 10 looks like that failure; eventSocket is open in both cases.
  int open();

  // Closes the event socket. Returns 1, or 0 when it is not open or the system
  // reports a failure.
  int close();

  // Opens the request socket; the constructor has called it. Returns 0, or 10
  // with a message on standard error.
  int comminit();

  // Registers for an event of an object, with the object server at `server`,
  // on this host when null. Call open() before: a registration tells the
  // server the port of the event socket.
  //   regOid  receives the registration's identifier, for unreg().
  //   errors  receives the errors that the answer brings, in place of its
  //           elements, which are freed; may be null. There is no registration
  //           then.
  // Returns 0, -1, another status that the server gave, or the code of an
  // exchange that failed, as the operations of veskQueryHandler do; 10 when the
  // request socket is not open.
  int reg(veskOid& oid, veskAid& event, veskOid* regOid, veskList* errors,
          veskAddress* server);

  // Removes a registration at the server, on this host when null, and from
  // `events`. Returns codes as reg() does.
  // Kept: once the server has answered the record is gone from `events`, even
  // when it refused.
  int unreg(veskOid& regOid, veskAddress* server);

  // Takes one datagram off the event socket, and with it an event when it
  // completes one. Blocks until a datagram is there. No argument may be null.
  //   event  receives the event's identifier. It reads "Invalid" when there
  //          was no event for the program: part of one, something else, or a
  //          notice of expiry, which may keep this call busy for as long as the
  //          renewal takes.
  //   from, oid  receive the sender's address and the object.
  //   args   receives the arguments, which it then owns; its former elements
  //          are not freed: empty it with clear(1) before each call.
  // Returns 0, or 10 when nothing could be received, with the cause in errno:
  // EINTR when a signal ended the wait, which costs no event.
  int receive(veskAddress* from, veskOid* oid, veskAid* event, veskList* args);

  // The registration with this identifier, which stays the handler's, and its
  // position in `events`; null and -1 when there is none.
  veskObject* findEvent(veskOid& regOid, int* index);

  // Prints the registrations to standard output.
  void printEventList();

  // As veskQueryHandler::setAccess().
  int setAccess();

  // Whether this handler reports to standard error what it does.
  void setEventDebugOn();
  void setEventDebugOff();

  int debug;                 // 1 while it reports, else 0
  int eventSocket;           // -1 until open()
  int requestSocket;         // -1 until comminit()
  veskUnsignedShort myPort;  // of the event socket, in host order; 0 until open
  veskAddress myHost;        // where events are to be sent
  veskList spareList;        // not used
  // Owned; the first receives events, the second sends requests. Null only
  // where there was no memory for one: open() and comminit() try again.
  veskMessageHandler* messageHandler;
  veskTransactionHandler* transactionHandler;
  genericList principalCache;  // of idMap*: each user id looked up so far
  idMap currentAccess;  // the principal of the last request, and its user
  veskList events;      // of veskObject: each registration's identifier and the
                        // attributes that made it, the oldest first
};

#endif  // OSTREL_VESKEVENT_H
