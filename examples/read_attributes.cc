// Reads attributes of an object:
//
//   read_attributes 127.0.0.1 59.1.0.1 59.1.2 59.1.3

#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include "report.h"

int main(int argc, char** argv) {
  if (argc < 4) return usage(argv[0], "SERVER OBJECT ATTRIBUTE...");

  veskQueryHandler handler;
  veskAddress server(argv[1]);
  veskOid object(argv[2]);
  veskList attributes;
  veskMakeAttrList(argv + 3, &attributes);
  veskList errors;
  const int code = handler.get(&server, object, attributes, &errors);
  const int status = report(code, &errors);

  if (code == 0 || code == -1) {
    for (unsigned i = 0; i < attributes.count; ++i) print(attributes.at(i));
  }
  attributes.destroyDecodedElements();
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return status;
}
