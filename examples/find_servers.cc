// Finds a directory server on the network and asks it which servers hold the
// objects of a class. What the lists of the answer hold is the server's
// business; they are printed as they come:
//
//   find_servers 59.200.0.0

#include <ostrel/veskQuery.h>

#include "report.h"

int main(int argc, char** argv) {
  if (argc != 2) return usage(argv[0], "CLASS");

  veskQueryHandler handler;
  veskOid classOid(argv[1]);
  veskList terms;  // none: all objects
  veskList wanted;
  veskList found;
  veskList servers;
  veskList errors;
  veskAddress answeredBy;
  const int code = handler.DSsearch(nullptr, classOid, terms, found, wanted,
                                    &answeredBy, &servers, &errors);
  const int status = report(code, &errors);

  if (code == 0) {
    std::printf("answered by ");
    print(&answeredBy);
    print(&found);
    print(&servers);
  }
  found.destroyDecodedElements();
  servers.destroyDecodedElements();
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return status;
}
