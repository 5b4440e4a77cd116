// Values of the asynchronous client as lines of JSON and back, many a second.
// The form is that of json.h; what that cannot tell in full has its bytes too,
// so that what was written is read again without loss.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_OBJECT_JSON_H
#define OSTREL_TOOLS_OSTREL_FORMAT_OBJECT_JSON_H

#include <ostrel/attributes.h>
#include <ostrel/value.h>

#include <ctime>
#include <string>
#include <vector>

#include "format/json.h"

namespace ostrel::tools::cli {

enum class Form {
  kShown,  // as every command prints it
  kWhole,  // with "hex", the value's encoding, where that tells more
};

// Appends {"type": "int", "value": 5}.
void appendJson(std::string* out, const ostrel::Value& value, Form form);

// Appends an array of {"id": "59.6.1", "value": VALUE}.
void appendJson(std::string* out, const Attributes& attributes, Form form);

// null when invalid.
Json idJson(const Oid& oid);
Json idJson(const Aid& aid);

// What the JSON of either form stands for. A text is read as on the command
// line, with times relative to `now`; plain numbers and truths as well. These
// throw TextError.
ostrel::Value valueFrom(const Json& json, std::time_t now);

// An array of attributes; each may be a text, "59.6.1=int:5".
Attributes attributesFrom(const Json& json, std::time_t now);

// An array of texts, "59.6.1>=5".
std::vector<Term> termsFrom(const Json& json, std::time_t now);

// An array of identifiers of attributes.
std::vector<Aid> idsFrom(const Json& json);

// A text that is an identifier.
Oid oidFrom(const Json& json);
Aid aidFrom(const Json& json);

// One line of text as JSON, an object.
Json objectFrom(const std::string& line);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_OBJECT_JSON_H
