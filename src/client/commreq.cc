#include <ostrel/commreq.h>

#include "client/exchange.h"

using namespace ostrel;

namespace {

// The only place where a PDU of any class becomes a veskRespPDU*: both calls
// return one.
int handOut(Ending ending, veskRespPDU** response) {
  if (!ending.sent) return ending.code;
  veskPDU* pdu = ending.gaveUp;
  if (ending.answer != nullptr) pdu = ending.answer.release();
  *response = reinterpret_cast<veskRespPDU*>(pdu);
  return ending.code;
}

}  // namespace

int OSrequest(veskTransactionHandler* handler, int socket, veskAddress* server,
              veskPDU* request, veskRespPDU** response) {
  return handOut(
      askObjectServer(*handler, socket, server, *request, Wanted::kAnything),
      response);
}

int DSrequest(veskTransactionHandler* handler, int socket, veskAddress* server,
              veskPDU* request, veskRespPDU** response, veskAddress* from,
              int firstAnswer) {
  return handOut(askDirectory(*handler, socket, server, *request, from,
                              firstAnswer != 0, Wanted::kAnything),
                 response);
}
