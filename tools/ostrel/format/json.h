// The JSON form of everything that the tool prints. It is documented in
// docs/command-line.md: what stands there does not change.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_JSON_H
#define OSTREL_TOOLS_OSTREL_FORMAT_JSON_H

#include <ostrel/veskPDU.h>

#include <string>

#include "format/value_types.h"

namespace ostrel::tools::cli {

// {"type": "int", "value": 5}.
Json toJson(veskType* value);

// An array of the elements in that form; attributes and errors without "type".
Json attributesJson(const veskList* list);
Json errorsJson(const veskList* list);

// {"code": 5, "text": "Permission Denied"}.
Json codeJson(int code);

// One line, without its newline.
std::string line(const Json& json);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_JSON_H
