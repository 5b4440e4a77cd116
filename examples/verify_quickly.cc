// Asks whether an object is there, in the name of a given principal, and does
// not wait long for an answer:
//
//   verify_quickly 127.0.0.1 59.1.0.1 59.110.1.1000

#include <ostrel/veskQuery.h>
#include <unistd.h>

#include <random>

#include "report.h"

int main(int argc, char** argv) {
  if (argc != 4) return usage(argv[0], "SERVER OBJECT PRINCIPAL");

  veskQueryHandler handler;
  handler.currentAccess = argv[3];
  handler.currentAccess.id = static_cast<long>(::geteuid());
  // This program ends soon: a late answer to a former run is not for this one.
  handler.transactionHandler->nextRequestId = std::random_device{}();
  handler.transactionHandler->initialTimeout = 2;  // seconds
  handler.transactionHandler->retries = 0;         // sent once
  veskAddress server(argv[1]);
  veskOid object(argv[2]);
  return report(handler.verify(&server, object), nullptr);
}
