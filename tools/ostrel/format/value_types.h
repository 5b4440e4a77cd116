// Values that hold no others, each by the name of its type: "int:5". What
// printing gives, reading takes again.
//
// A type is a line of common/value_types.h. Whole and real numbers are read and
// printed by what their `value` is; any other shape has a Format in
// value_types.cc, with what is read, printed and written as JSON side by side.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TYPES_H
#define OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TYPES_H

#include <ostrel/type.h>

#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "common/owned.h"
#include "format/bytes.h"

namespace ostrel::tools::cli {

using Json = nlohmann::ordered_json;
using Value = Owned<veskType>;

// A text that stands for a value, behind its type and the colon.
struct TypedText {
  std::string_view type;
  std::string_view text;
  std::time_t now;     // which times may be relative to
  unsigned depth = 0;  // how many values lie around this one
};

// What the tool does with a type. Whoever holds other values, lists and
// attributes, is read, printed and written elsewhere: those members are null.
struct ValueFormat {
  const char* name;

  // Whether receivers read it; the others are printed only.
  bool read;

  // Throws TextError.
  Value (*parse)(const TypedText& typed);

  // The text behind the colon; `nested` text may stand in a list.
  std::string (*print)(veskType& value, bool nested);

  // Appends "value" and what else there is to tell.
  void (*fill)(Json& json, veskType& value);
};

// Null when there is none of that name, or for that value.
const ValueFormat* formatNamed(std::string_view name);
const ValueFormat* formatOf(veskType& value);

// The names of what can be sent, with spaces between.
std::string typeNames();

// How values are written, for people.
extern const char* const kValueHelp;

// The value of a text without a type, as value_text.h tells.
Value parsePlainWord(std::string_view text);

// Identifiers in dotted form, classes as "59.6". Throw TextError.
veskOid parseOid(std::string_view text);
veskAid parseAid(std::string_view text);

// "59.6.0.0", or "invalid".
std::string oidText(const veskOid& oid);
std::string aidText(const veskAid& aid);

// The same in JSON: null when invalid.
Json oidJson(const veskOid& oid);
Json aidJson(const veskAid& aid);

// "2026-11-21T03:19:26Z".
std::string timeText(std::uint32_t seconds);
std::string timeNow();

// Escaped text that may stand in a list, where commas and brackets mean
// something.
std::string elementText(std::string_view bytes);

// "'abc'", for messages.
std::string quoted(std::string_view text);

// The whole number that a text is in decimal; whether it is one.
bool readByte(std::string_view text, std::uint8_t* number);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TYPES_H
