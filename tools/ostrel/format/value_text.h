// Values as people type and read them: a type, a colon and the value, "int:5".
// What valueText() prints parseValue() reads again, as long as the value is of
// a class that can be typed in.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H
#define OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H

#include <ostrel/veskAttr.h>

#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "format/bytes.h"

namespace ostrel::tools::cli {

// Frees a value with everything inside it.
struct ReleaseValue {
  void operator()(veskType* value) const { veskType::destroyDecoded(value); }
};
template <class T>
using Owned = std::unique_ptr<T, ReleaseValue>;
using Value = Owned<veskType>;

// The value that a text stands for. Text without a type gets the obvious one:
// whole numbers are int (uint above 2147483647), numbers with one dot double,
// three dotted numbers aid, four oid, true and false bool, the rest string.
// Times may be relative to `now`. Throws TextError, for whole numbers that fit
// into neither as well.
Value parseValue(std::string_view text, std::time_t now);

// Identifiers in dotted form, classes as "59.6". Throw TextError.
veskOid parseOid(std::string_view text);
veskAid parseAid(std::string_view text);

// "59.6.1=int:5", or "59.6.1" for an attribute without a value.
Owned<veskAttribute> parseAttribute(std::string_view text, std::time_t now);

// A condition of a search: "59.6.1>=5", with one of the operators of
// operatorSymbol(); "59.6.1" alone and "59.6.1?" ask whether the attribute is
// there. "59.6.1@9=5" gives the operation code as a number.
Owned<veskAttributeValueOp> parseCondition(std::string_view text,
                                           std::time_t now);

// The operation codes of searches that have a symbol.
constexpr unsigned kOperatorEquals = 1;          // =
constexpr unsigned kOperatorNotEqual = 2;        // !=
constexpr unsigned kOperatorLess = 3;            // <
constexpr unsigned kOperatorLessOrEqual = 4;     // <=
constexpr unsigned kOperatorGreater = 5;         // >
constexpr unsigned kOperatorGreaterOrEqual = 6;  // >=
constexpr unsigned kOperatorPresent = 7;         // ?
constexpr unsigned kOperatorContains = 8;        // ~

// The symbol of a search's operation code, null for one without.
const char* operatorSymbol(unsigned code);

// "string:abc". Null prints as "null:".
std::string valueText(veskType* value);

// The same without the type.
std::string plainText(veskType* value);

// "59.6.0.0", or "invalid".
std::string oidText(const veskOid& oid);
std::string aidText(const veskAid& aid);

// "59.6.1 = int:5", "59.6.1 >= int:5", or the identifier alone.
std::string attributeText(veskAttribute& attribute);

// "2026-11-21T03:19:26Z".
std::string timeText(std::uint32_t seconds);

// The bytes that a string or an opaque value holds.
std::string_view contents(veskString& text);
std::string_view contents(veskOpaque& bytes);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H
