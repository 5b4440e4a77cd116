// Looks on a server for the objects of a class that have a text in an
// attribute:
//
//   search 127.0.0.1 59.200.0.0 59.200.1 "a name"

#include <ostrel/names.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include "report.h"

int main(int argc, char** argv) {
  if (argc != 5) return usage(argv[0], "SERVER CLASS ATTRIBUTE TEXT");

  veskQueryHandler handler;
  veskAddress server(argv[1]);
  veskOid classOid(argv[2]);
  veskAid attribute(argv[3]);
  veskString text(argv[4]);
  veskList terms;
  terms.append(
      new veskAttributeValueOp(&attribute, &text, ostrel::kOperatorEquals));
  veskList found;
  veskList errors;
  const int code = handler.search(&server, classOid, terms, found,
                                  ostrel::kSearchFlag, &errors);
  const int status = report(code, &errors);

  for (unsigned i = 0; i < found.count; ++i) print(found.at(i));
  terms.clear(1);
  found.destroyDecodedElements();
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return status;
}
