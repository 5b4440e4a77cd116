// Creates an object of a class with one attribute, makes sure that it is there,
// and removes it again:
//
//   create_and_remove 127.0.0.1 59.200.0.0 59.200.1 "a name"

#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include "report.h"

int main(int argc, char** argv) {
  if (argc != 5) return usage(argv[0], "SERVER CLASS ATTRIBUTE TEXT");

  veskQueryHandler handler;
  veskAddress server(argv[1]);
  veskOid classOid(argv[2]);
  veskString text(argv[4]);
  veskList attributes;
  veskAppendAttr(&attributes, argv[3], &text);
  veskOid object;
  veskList errors;
  int status = report(
      handler.create(&server, classOid, attributes, object, &errors), &errors);

  // An invalid identifier says that no object was made, whatever the code.
  if (object.valid != 0) {
    print(&object);
    status |= report(handler.verify(&server, object), nullptr);
    status |= report(handler.remove(&server, object), nullptr);
  }
  attributes.clear(1);
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return status;
}
