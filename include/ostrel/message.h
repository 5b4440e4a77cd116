// Whole PDUs over one UDP socket: encodes those that are sent, decodes those
// that arrive.

#ifndef OSTREL_MESSAGE_H
#define OSTREL_MESSAGE_H

#include <ostrel/datagram.h>
#include <ostrel/export.h>
#include <ostrel/veskPDU.h>

namespace ostrel {
class Incoming;
}  // namespace ostrel

// A datagram handler for PDUs. Its operations return the codes of veskError.h:
// 0, 10 "Network Error" or 11 "Encode/decode Error".
class OSTREL_API veskMessageHandler : public veskDatagramHandler {
 public:
  veskMessageHandler();

  // Closes the socket and frees the encode buffer and all incomplete messages.
  ~veskMessageHandler();

  // As with veskDatagramHandler.
  int open(unsigned short port);
  int close();

  // Encodes the PDU and sends it as one message. Returns 0; 11 when it does not
  // encode, however large the buffer (errno EINVAL), or memory is short
  // (ENOMEM); 10 when sending fails, with the cause in errno (EMSGSIZE: longer
  // than a message may be).
  // The PDU stays the caller's.
  int send(const sockaddr_in* to, veskPDU* pdu);

  // Takes one datagram off the socket, waiting for one if there is none. When
  // it completes a message, hands over the PDU in *pdu, which the caller clears
  // and deletes. `from` receives the datagram's sender; may be null. Returns
  //   0   with a PDU, or with *pdu as it was: no message is complete yet
  //   10  the datagram was refused, or nothing could be read; errno tells why,
  //       *pdu is as it was. A message that stayed queued for want of memory
  //       (ENOMEM) is dropped when there is none the next time either
  //   11  the message is no PDU or does not decode (errno EBADMSG); *pdu is
  //       null
  int recv(sockaddr_in* from, veskPDU** pdu);

  char* encodeBuffer;             // owned, from malloc; null before the first
                                  // send()
  unsigned int encodeBufferSize;  // bytes; 1024 at first, doubled for a PDU
                                  // that does not fit, never made smaller

 private:
  friend class veskTransactionHandler;
  int receive(sockaddr_in* from, ostrel::Incoming* message);
  unsigned encode(veskPDU* pdu);
};

#endif  // OSTREL_MESSAGE_H
