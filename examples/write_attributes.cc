// Writes a number or a text to an attribute of an object:
//
//   write_attributes 127.0.0.1 59.200.0.1 59.200.1 42

#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include "report.h"

// A number where the text is one, else the text. The caller deletes it.
static veskType* valueOf(const char* text) {
  char* end = nullptr;
  const long number = std::strtol(text, &end, 10);
  if (end != text && *end == '\0') return new veskLong(number);
  return new veskString(text);
}

int main(int argc, char** argv) {
  if (argc != 5) return usage(argv[0], "SERVER OBJECT ATTRIBUTE VALUE");

  veskQueryHandler handler;
  veskAddress server(argv[1]);
  veskOid object(argv[2]);
  veskList attributes;
  veskAtAppendAttr(&attributes, argv[3], valueOf(argv[4]));
  veskList errors;
  const int status =
      report(handler.set(&server, object, attributes, &errors), &errors);

  attributes.clear(1);
  errors.destroyDecodedElements();
  handler.principalCache.clear(1);
  return status;
}
