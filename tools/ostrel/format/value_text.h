// Values as people type and read them: a type, a colon and the value, "int:5".
// What valueText() prints parseValue() reads again, as long as the value is of
// a class that can be typed in.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H
#define OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H

#include <ostrel/veskAttr.h>

#include <ctime>
#include <string>
#include <string_view>

#include "format/value_types.h"

namespace ostrel::tools::cli {

// The value that a text stands for. Text without a type gets the obvious one:
// whole numbers are int (uint above 2147483647), numbers with one dot double,
// three dotted numbers aid, four oid, true and false bool, the rest string.
// Times may be relative to `now`. Throws TextError, for whole numbers that fit
// into neither as well.
Value parseValue(std::string_view text, std::time_t now);

// "59.6.1=int:5", or "59.6.1" for an attribute without a value.
Owned<veskAttribute> parseAttribute(std::string_view text, std::time_t now);

// A condition of a search: "59.6.1>=5", with one of the operators of
// operatorSymbol(); "59.6.1" alone and "59.6.1?" ask whether the attribute is
// there. "59.6.1@9=5" gives the operation code as a number.
Owned<veskAttributeValueOp> parseCondition(std::string_view text,
                                           std::time_t now);

// The symbol of a search's operation code, null for one without.
const char* operatorSymbol(unsigned code);

// "string:abc". Null prints as "null:".
std::string valueText(veskType* value);

// The same without the type.
std::string plainText(veskType* value);

// "59.6.1 = int:5", "59.6.1 >= int:5", or the identifier alone.
std::string attributeText(veskAttribute& attribute);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_VALUE_TEXT_H
