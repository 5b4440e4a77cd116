// Requests and their answers: numbers each request, remembers it until its
// answer comes, and sends it again when its time-out has passed. Nothing
// happens by itself: the owner of a handler calls tick().

#ifndef OSTREL_TRANSACTION_H
#define OSTREL_TRANSACTION_H

#include <netinet/in.h>
#include <ostrel/export.h>
#include <ostrel/message.h>
#include <ostrel/timelist.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace ostrel {
class Exchange;
class PendingIndex;
}  // namespace ostrel

// One request that waits for its answer.
struct OSTREL_API pendingRequest {
  sockaddr_in destination;
  veskPDU* request;  // the sender's; must live as long as it is pending
  long timeout;      // seconds from the last transmission to the next
  int retriesLeft;   // transmissions that may still follow
  int multicast;     // 1: sent to a group, so answers may be many; else 0

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  static void operator delete(void* block, std::size_t size) noexcept;
};

// Sends requests and matches answers to them, over a socket of its own. Its
// operations return the codes of veskError.h: 0, 10 "Network Error" or
// 11 "Encode/decode Error". Used by one thread at a time.
class OSTREL_API veskTransactionHandler {
 public:
  // Throws std::bad_alloc when there is no memory for the handler's parts; no
  // other operation throws.
  veskTransactionHandler();

  // Closes and destroys the message handler.
  // Kept: frees no pending record; pending.clear(1) before does.
  ~veskTransactionHandler();

  veskTransactionHandler(const veskTransactionHandler&) = delete;
  veskTransactionHandler& operator=(const veskTransactionHandler&) = delete;

  // Opens the socket, on a port that the system chooses. Returns the
  // descriptor, or -1 with the cause in errno.
  int open();

  // Writes the next request id into the PDU, sends it and remembers it as
  // pending. The PDU stays the caller's. Keep it until its answer has come,
  // tick() has given it up, or flush() has forgotten it. Returns 0, or the code
  // of the failed send; then nothing is remembered. Returns 10 with errno
  // ENOMEM when the PDU was sent but there is no memory to remember it.
  int send(const sockaddr_in* to, veskPDU* pdu);

  // Takes one datagram off the socket, waiting for one if there is none. When
  // it completes the answer to a pending request, *pdu receives that answer,
  // which the caller clears and deletes; otherwise *pdu is null. `from`
  // receives the datagram's sender; may be null. An answer ends its request,
  // unless the request went to a multicast group. Answers to no pending request
  // are dropped, and cost no memory beyond their bytes. Returns what the
  // message handler's recv() returns: 0 without a PDU is no failure. Kept:
  // answers are matched by request id alone, not by their sender. Kept: as with
  // flush(), an answer makes later requests due earlier, by the time that the
  // answered request had left. When four requests are sent together and
  // answered one by one within milliseconds, tick() sends the others again
  // after each answer and gives up the last. Use one handler for each
  // concurrent request.
  int recv(sockaddr_in* from, veskPDU** pdu);

  // Sends the requests that are due again. Gives up at most one request that
  // has no retries left: *pdu is then its PDU, still the caller's, *err is 10
  // and errno ETIMEDOUT. A request that cannot be sent again is given up too,
  // with the code in *err. Otherwise *pdu is null and *err 0. *next receives
  // the seconds until the earliest pending request is due; it does not change
  // when none is pending. `next` may be null. Returns 1 when another request is
  // due at once: call again. Else 0.
  int tick(long* next, int* err, veskPDU** pdu);

  // Forgets the pending request with this id, the first if several have it.
  // Returns 1, or 0 when none has it. Kept: later requests become due earlier,
  // by the time between this request and the one before it.
  int flush(unsigned int id);

  // Closes the socket. Pending requests stay pending. Returns 1, or 0 when no
  // socket is open or the system reports a failure.
  int close();

  veskMessageHandler* messageHandler;  // owned
  std::uint32_t nextRequestId;         // of the next request; wraps around
  timeoutList pending;                 // of pendingRequest*, made with new, due
                                       // at their next transmission
  long initialTimeout;                 // seconds to the first retransmission;
                                       // then doubled each time. At first 3
  int retries;                         // transmissions after the first; 2

 private:
  friend class ostrel::Exchange;
  int receive(sockaddr_in* from, veskPDU** pdu, std::uint64_t kinds,
              bool* awaited);
  int remember(long seconds, pendingRequest* record);

  ostrel::PendingIndex* index_;  // owned
};

#endif  // OSTREL_TRANSACTION_H
