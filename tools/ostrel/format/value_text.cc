#include "format/value_text.h"

#include <ostrel/objectdesc.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <type_traits>

namespace ostrel::tools::cli {
namespace {

// Characters that end an element of a list.
constexpr std::string_view kListSyntax = ",[]";
constexpr std::string_view kListOpen = "list:[";

// Deeper lists are not read from text.
constexpr unsigned kMaxNesting = 100;

constexpr std::string_view kTypes =
    "int uint long ulong short ushort char uchar float double bool gauge "
    "counter time string oid aid addr opaque list attr null";

std::string quoted(std::string_view text) { return "'" + escaped(text) + "'"; }

// --- Reading -----------------------------------------------------------------

template <class Number>
bool readNumber(std::string_view text, Number* number, int base = 10) {
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *number, base);
  return result.ec == std::errc() && result.ptr == end;
}

bool readReal(std::string_view text, double* number) {
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *number);
  return result.ec == std::errc() && result.ptr == end;
}

// Takes "0x" off hexadecimal digits. Returns the base of what is left.
int baseOf(std::string_view* digits) {
  if (digits->size() <= 2 || (*digits)[0] != '0' ||
      ((*digits)[1] | 0x20) != 'x')
    return 10;
  digits->remove_prefix(2);
  return 16;
}

bool areDigits(std::string_view text, int base) {
  const std::string_view all =
      base == 16 ? "0123456789abcdefABCDEF" : "0123456789";
  return !text.empty() && text.find_first_not_of(all) == text.npos;
}

// Whether a text is a whole number, however large, in decimal or in hexadecimal
// after "0x".
bool isWhole(std::string_view text) {
  if (!text.empty() && text[0] == '-') text.remove_prefix(1);
  const int base = baseOf(&text);
  return areDigits(text, base);
}

bool readWhole(std::string_view text, std::int64_t* number) {
  if (!isWhole(text)) return false;
  const bool negative = text[0] == '-';
  if (negative) text.remove_prefix(1);
  const int base = baseOf(&text);
  if (!readNumber(text, number, base)) return false;
  if (negative) *number = -*number;
  return true;
}

template <class Class>
Value whole(std::string_view type, std::string_view text) {
  using Number = decltype(Class::value);
  using Limits = std::numeric_limits<Number>;
  std::int64_t number = 0;
  if (!readWhole(text, &number) ||
      number < static_cast<std::int64_t>(Limits::min()) ||
      number > static_cast<std::int64_t>(Limits::max()))
    throw TextError(quoted(text) + " is no " + std::string(type) +
                    ": a whole number from " + std::to_string(Limits::min()) +
                    " to " + std::to_string(Limits::max()) + " is");
  return Value(new Class(static_cast<Number>(number)));
}

template <class Class>
Value character(std::string_view type, std::string_view text) {
  const std::string bytes = unescaped(text);
  if (bytes.size() != 1)
    throw TextError(quoted(text) + " is no " + std::string(type) +
                    ": one character is, or an escape such as \\x05");
  return Value(new Class(static_cast<decltype(Class::value)>(bytes[0])));
}

template <class Class>
Value real(std::string_view type, std::string_view text) {
  decltype(Class::value) number = 0;
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end)
    throw TextError(quoted(text) + " is no " + std::string(type) +
                    ": a number such as 1.5, -2e9, inf or nan is");
  return Value(new Class(number));
}

Value truth(std::string_view text) {
  if (text == "true") return Value(new veskBool(1));
  if (text == "false") return Value(new veskBool(0));
  std::uint32_t number = 0;
  if (!readNumber(text, &number))
    throw TextError(quoted(text) + " is no bool: true or false is");
  return Value(new veskBool(number));
}

// Seconds in a span such as "90s", "15m", "1h", "7d" or "2w".
bool readSpan(std::string_view text, std::int64_t* seconds) {
  if (text.size() < 2) return false;
  std::uint32_t count = 0;
  if (!readNumber(text.substr(0, text.size() - 1), &count)) return false;
  std::int64_t unit = 0;
  switch (text.back()) {
    case 's':
      unit = 1;
      break;
    case 'm':
      unit = 60;
      break;
    case 'h':
      unit = 60 * 60;
      break;
    case 'd':
      unit = 24 * 60 * 60;
      break;
    case 'w':
      unit = 7 * 24 * 60 * 60;
      break;
    default:
      return false;
  }
  *seconds = count * unit;
  return true;
}

// "2026-11-21", with "T03:19", "T03:19:26" and a "Z" behind it or not; in UTC.
bool readDate(std::string_view text, std::int64_t* seconds) {
  if (!text.empty() && text.back() == 'Z') text.remove_suffix(1);
  const std::string whole(text);
  for (const char* format :
       {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d"}) {
    std::tm date = {};
    const char* end = strptime(whole.c_str(), format, &date);
    if (end == nullptr || *end != '\0') continue;
    const int day = date.tm_mday;
    *seconds = timegm(&date);
    // The 30th of February would be the 2nd of March.
    return date.tm_mday == day;
  }
  return false;
}

Value moment(std::string_view text, std::time_t now) {
  std::int64_t seconds = 0;
  bool good = false;
  if (text.substr(0, 3) == "now") {
    const std::string_view span = text.substr(3);
    good = span.empty() || ((span[0] == '+' || span[0] == '-') &&
                            readSpan(span.substr(1), &seconds));
    if (!span.empty() && span[0] == '-') seconds = -seconds;
    seconds += now;
  } else {
    good = readDate(text, &seconds) || readNumber(text, &seconds);
  }
  if (!good || seconds < 0 ||
      seconds > std::numeric_limits<std::uint32_t>::max())
    throw TextError(quoted(text) +
                    " is no time: now, now+1h, now-30m, "
                    "2026-11-21T03:19:26Z or a number of seconds is");
  return Value(new veskTime(static_cast<unsigned>(seconds)));
}

Value address(std::string_view text) {
  if (text.empty() || text == "none") return Value(new veskAddress);
  Owned<veskAddress> value(new veskAddress(std::string(text).c_str()));
  if (value->family == 0)
    throw TextError(quoted(text) +
                    " is no address: four numbers such as 10.0.0.1 are, "
                    "or none");
  return Value(value.release());
}

// A number of an identifier, in decimal or in hexadecimal after "0x". Returns
// what is wrong with it, or "". A zero before other digits is no octal number
// here, and what does not fit is not cut off.
std::string readComponent(std::string_view text, std::uint32_t* number) {
  if (text.empty()) return "a number is missing";
  std::string_view digits = text;
  const int base = baseOf(&digits);
  if (!areDigits(digits, base)) return quoted(text) + " is no number";
  if (base == 10 && digits.size() > 1 && digits[0] == '0')
    return quoted(text) + " begins with a zero";
  if (!readNumber(digits, number, base))
    return quoted(text) + " is more than 4294967295";
  return "";
}

// Returns what is wrong with the text, or "".
template <class Identifier>
std::string readIdentifier(std::string_view text, Identifier* id) {
  constexpr bool isObject = std::is_same_v<Identifier, veskOid>;
  constexpr std::size_t kMost = std::size(decltype(id->component){});
  constexpr std::size_t kFewest = isObject ? 2 : kMost;
  const auto count =
      static_cast<std::size_t>(std::count(text.begin(), text.end(), '.')) + 1;
  if (count < kFewest || count > kMost)
    return isObject ? "two to four numbers with dots, such as 59.6 or "
                      "59.6.0.1, are"
                    : "three numbers with dots, such as 59.6.1, are";
  Identifier read;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t end = text.find('.');
    const std::string problem =
        readComponent(text.substr(0, end), &read.component[i]);
    if (!problem.empty()) return problem;
    text.remove_prefix(end != text.npos ? end + 1 : text.size());
  }
  read.valid = 1;
  *id = read;
  return "";
}

Value parseNested(std::string_view text, std::time_t now, unsigned depth);

Owned<veskAttribute> attributeFrom(std::string_view text, std::time_t now,
                                   unsigned depth) {
  if (depth == kMaxNesting) throw TextError("values are nested too deep");
  const std::size_t equals = text.find('=');
  veskAid id = parseAid(text.substr(0, equals));
  Owned<veskAttribute> attribute(new veskAttribute(&id));
  if (equals != text.npos)
    attribute->value =
        parseNested(text.substr(equals + 1), now, depth + 1).release();
  return attribute;
}

// Where the element at the beginning of `text` ends: at a comma or at a bracket
// that it has not opened.
std::size_t elementLength(std::string_view text) {
  unsigned open = 0;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') ++i;
    if (c == '[') ++open;
    if (c == ']' && open-- == 0) return i;
    if (c == ',' && open == 0) return i;
  }
  throw TextError("a list without its closing bracket: list:[int:1,abc]");
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

Value list(std::string_view text, std::time_t now, unsigned depth) {
  if (depth == kMaxNesting) throw TextError("values are nested too deep");
  if (text.empty() || text[0] != '[')
    throw TextError("a list is written list:[int:1,abc]");
  Owned<veskList> values(new veskList);
  text.remove_prefix(1);
  while (true) {
    const std::size_t length = elementLength(text);
    const std::string_view element = trimmed(text.substr(0, length));
    const bool last = text[length] == ']';
    text.remove_prefix(length + 1);
    if (!element.empty())
      values->append(parseNested(element, now, depth + 1).release());
    else if (!last || values->count != 0)
      throw TextError("an empty element in a list: write string: for no text");
    if (last) break;
  }
  if (!text.empty())
    throw TextError(quoted(text) + " stands behind the end of a list");
  return Value(static_cast<veskType*>(values.release()));
}

Value plainWord(std::string_view text) {
  std::int64_t number = 0;
  if (text == "true" || text == "false") return truth(text);
  if (isWhole(text)) {
    // From 2147483648 only a uint has room.
    if (text[0] == '-' || (readWhole(text, &number) &&
                           number <= std::numeric_limits<std::int32_t>::max()))
      return whole<veskInt>("int", text);
    return whole<veskUnsignedInt>("uint", text);
  }
  const auto dots = std::count(text.begin(), text.end(), '.');
  double fraction = 0;
  if (dots == 1 && text.find_first_of("0123456789") != text.npos &&
      readReal(text, &fraction))
    return Value(new veskDouble(fraction));
  veskAid aid;
  if (dots == 2 && readIdentifier(text, &aid).empty())
    return Value(new veskAid(aid));
  veskOid oid;
  if (dots == 3 && readIdentifier(text, &oid).empty())
    return Value(new veskOid(oid));
  const std::string bytes = unescaped(text);
  return Value(
      new veskString(bytes.data(), static_cast<unsigned>(bytes.size())));
}

template <class Identifier>
Value identifier(std::string_view text, Identifier (*parse)(std::string_view)) {
  if (text == "invalid") return Value(new Identifier);
  return Value(new Identifier(parse(text)));
}

Value parseNested(std::string_view text, std::time_t now, unsigned depth) {
  const std::size_t colon = text.find(':');
  const std::size_t letters =
      text.find_first_not_of("abcdefghijklmnopqrstuvwxyz");
  if (colon == text.npos || colon == 0 || letters != colon)
    return plainWord(text);

  const std::string_view type = text.substr(0, colon);
  const std::string_view body = text.substr(colon + 1);
  if (type == "int") return whole<veskInt>(type, body);
  if (type == "uint") return whole<veskUnsignedInt>(type, body);
  if (type == "long") return whole<veskLong>(type, body);
  if (type == "ulong") return whole<veskUnsignedLong>(type, body);
  if (type == "short") return whole<veskShort>(type, body);
  if (type == "ushort") return whole<veskUnsignedShort>(type, body);
  if (type == "gauge") return whole<veskGauge>(type, body);
  if (type == "counter") return whole<veskCounter>(type, body);
  if (type == "char") return character<veskChar>(type, body);
  if (type == "uchar") return character<veskUnsignedChar>(type, body);
  if (type == "float") return real<veskFloat>(type, body);
  if (type == "double") return real<veskDouble>(type, body);
  if (type == "bool") return truth(body);
  if (type == "time") return moment(body, now);
  if (type == "addr") return address(body);
  if (type == "list") return list(body, now, depth);
  if (type == "oid") return identifier<veskOid>(body, parseOid);
  if (type == "aid") return identifier<veskAid>(body, parseAid);
  if (type == "attr") return Value(attributeFrom(body, now, depth).release());
  if (type == "null") {
    if (body.empty()) return Value(new veskType);
    throw TextError(quoted(body) + " stands behind null:, which has no value");
  }
  if (type == "opaque") {
    const std::string bytes = parseHex(body);
    return Value(
        new veskOpaque(bytes.data(), static_cast<unsigned>(bytes.size())));
  }
  if (type == "string") {
    const std::string bytes = unescaped(body);
    return Value(
        new veskString(bytes.data(), static_cast<unsigned>(bytes.size())));
  }
  throw TextError(quoted(type) +
                  " is no type; the types are: " + std::string(kTypes) +
                  ". For a text with a colon write string:" + escaped(text));
}

// --- Printing ----------------------------------------------------------------

template <class Number>
std::string shortest(Number number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

// What a string looks like where commas and brackets mean something.
std::string elementText(std::string_view bytes) {
  std::string text = escaped(bytes, kListSyntax);
  // White space around an element does not count.
  if (!bytes.empty() && bytes.back() == ' ')
    text.replace(text.size() - 1, 1, "\\x20");
  if (bytes.size() > 1 && bytes.front() == ' ') text.replace(0, 1, "\\x20");
  return text;
}

struct Printed {
  const char* type;
  std::string text;
};

std::string libraryText(veskType& value) {
  char* text = value.getString();
  const std::string copy = text != nullptr ? text : "";
  std::free(text);
  return copy;
}

template <class T>
bool is(veskType* value, T** out) {
  *out = dynamic_cast<T*>(value);
  return *out != nullptr;
}

// What holds no other values. `nested` text may stand in a list.
Printed printedLeaf(veskType* value, bool nested) {
  veskString* string = nullptr;
  if (is(value, &string)) {
    const std::string_view bytes = contents(*string);
    return {"string", nested ? elementText(bytes) : escaped(bytes)};
  }
  veskChar* byte = nullptr;
  veskUnsignedChar* unsignedByte = nullptr;
  if (is(value, &byte) || is(value, &unsignedByte)) {
    const char c = byte != nullptr ? static_cast<char>(byte->value)
                                   : static_cast<char>(unsignedByte->value);
    const std::string_view bytes(&c, 1);
    return {byte != nullptr ? "char" : "uchar",
            nested ? elementText(bytes) : escaped(bytes)};
  }
  veskBool* truth = nullptr;
  if (is(value, &truth))
    return {"bool", truth->value == 0   ? "false"
                    : truth->value == 1 ? "true"
                                        : std::to_string(truth->value)};
  veskTime* time = nullptr;
  if (is(value, &time)) return {"time", timeText(time->value)};
  veskFloat* single = nullptr;
  if (is(value, &single)) return {"float", shortest(single->value)};
  veskDouble* twice = nullptr;
  if (is(value, &twice)) return {"double", shortest(twice->value)};
  veskOid* oid = nullptr;
  if (is(value, &oid)) return {"oid", oidText(*oid)};
  veskAid* aid = nullptr;
  if (is(value, &aid)) return {"aid", aidText(*aid)};
  veskAddress* address = nullptr;
  if (is(value, &address))
    return {"addr", address->family != 0 ? libraryText(*address) : "none"};
  veskOpaque* opaque = nullptr;
  if (is(value, &opaque)) return {"opaque", hexText(contents(*opaque))};
  veskError* error = nullptr;
  if (is(value, &error))
    return {"error", std::to_string(error->index.value) + ":" +
                         std::to_string(error->code.value)};

  const std::string text = libraryText(*value);
  const char* type = nullptr;
  veskUnsignedInt* number = nullptr;
  if (dynamic_cast<veskGauge*>(value) != nullptr)
    type = "gauge";
  else if (dynamic_cast<veskCounter*>(value) != nullptr)
    type = "counter";
  else if (is(value, &number))
    type = "uint";
  else if (dynamic_cast<veskInt*>(value) != nullptr)
    type = "int";
  else if (dynamic_cast<veskLong*>(value) != nullptr)
    type = "long";
  else if (dynamic_cast<veskUnsignedLong*>(value) != nullptr)
    type = "ulong";
  else if (dynamic_cast<veskShort*>(value) != nullptr)
    type = "short";
  else if (dynamic_cast<veskUnsignedShort*>(value) != nullptr)
    type = "ushort";
  if (type != nullptr) return {type, text};

  // Descriptions of classes, and messages inside messages.
  return {dynamic_cast<veskPDU*>(value) != nullptr ? "pdu" : "description",
          nested ? elementText(text) : escaped(text)};
}

enum class With { kType, kValueAlone };

void append(std::string& out, veskType* value, bool nested, With with);

void appendList(std::string& out, veskList& list) {
  out += '[';
  for (unsigned i = 0; i < list.count; ++i) {
    if (i != 0) out += ',';
    append(out, list.at(i), true, With::kType);
  }
  out += ']';
}

std::string operatorOf(veskAttribute& attribute) {
  veskAttributeValueOp* condition = nullptr;
  if (!is(&attribute, &condition)) return "=";
  const unsigned code = static_cast<unsigned char>(condition->op.value);
  const char* symbol = operatorSymbol(code);
  return symbol != nullptr ? symbol : "@" + std::to_string(code) + "=";
}

void appendAttribute(std::string& out, veskAttribute& attribute,
                     const char* gap, bool nested) {
  out += aidText(attribute.id);
  const bool plain = dynamic_cast<veskAttributeValueOp*>(&attribute) == nullptr;
  if (attribute.value == nullptr) {
    if (!plain) out += operatorOf(attribute);
    return;
  }
  out += gap + operatorOf(attribute) + gap;
  append(out, attribute.value, nested, With::kType);
}

void appendObject(std::string& out, veskObject& object) {
  out += oidText(object.oid);
  if (object.attributeList != nullptr) appendList(out, *object.attributeList);
}

// Values may lie thousands deep inside one another, so what calls itself again
// is kept small.
void append(std::string& out, veskType* value, bool nested, With with) {
  const bool typed = with == With::kType;
  veskList* list = nullptr;
  veskAttribute* attribute = nullptr;
  veskObject* object = nullptr;
  if (value == nullptr || value->tag == 0) {
    if (typed) out += "null:";
  } else if (is(value, &list)) {
    if (typed) out += "list:";
    appendList(out, *list);
  } else if (is(value, &attribute)) {
    if (typed) out += "attr:";
    appendAttribute(out, *attribute, "", nested);
  } else if (is(value, &object)) {
    if (typed) out += "object:";
    appendObject(out, *object);
  } else {
    const Printed leaf = printedLeaf(value, nested);
    if (typed) out.append(leaf.type).append(":");
    out += leaf.text;
  }
}

}  // namespace

Value parseValue(std::string_view text, std::time_t now) {
  return parseNested(text, now, 0);
}

veskOid parseOid(std::string_view text) {
  veskOid oid;
  const std::string problem = readIdentifier(text, &oid);
  if (!problem.empty())
    throw TextError(quoted(text) + " is no object identifier: " + problem);
  return oid;
}

veskAid parseAid(std::string_view text) {
  veskAid aid;
  const std::string problem = readIdentifier(text, &aid);
  if (!problem.empty())
    throw TextError(quoted(text) + " is no attribute identifier: " + problem);
  return aid;
}

Owned<veskAttribute> parseAttribute(std::string_view text, std::time_t now) {
  return attributeFrom(text, now, 0);
}

namespace {

struct Operator {
  const char* symbol;
  unsigned code;
};

// Longer symbols before those that they begin with.
constexpr Operator kOperators[] = {
    {"!=", kOperatorNotEqual},
    {"<=", kOperatorLessOrEqual},
    {">=", kOperatorGreaterOrEqual},
    {"=", kOperatorEquals},
    {"<", kOperatorLess},
    {">", kOperatorGreater},
    {"~", kOperatorContains},
    {"?", kOperatorPresent},
};

Owned<veskAttributeValueOp> condition(std::string_view id, unsigned code,
                                      std::string_view value, std::time_t now) {
  veskAid aid = parseAid(id);
  Owned<veskAttributeValueOp> made(
      new veskAttributeValueOp(&aid, nullptr, static_cast<int>(code)));
  if (code != kOperatorPresent) made->value = parseValue(value, now).release();
  if (code == kOperatorPresent && !value.empty())
    throw TextError(quoted(value) +
                    " stands behind a '?', which ends a "
                    "condition");
  return made;
}

}  // namespace

Owned<veskAttributeValueOp> parseCondition(std::string_view text,
                                           std::time_t now) {
  const std::size_t end = text.find_first_of("=!<>~?@");
  if (end == text.npos) return condition(text, kOperatorPresent, "", now);
  const std::string_view id = text.substr(0, end);
  const std::string_view rest = text.substr(end);

  if (rest[0] == '@') {
    const std::size_t equals = rest.find('=');
    std::uint8_t code = 0;
    if (equals == rest.npos || !readNumber(rest.substr(1, equals - 1), &code))
      throw TextError(quoted(text) +
                      ": an operation code is written 59.6.1@9=VALUE, the code "
                      "from 0 to 255");
    return condition(id, code, rest.substr(equals + 1), now);
  }
  for (const Operator& known : kOperators) {
    const std::string_view symbol = known.symbol;
    if (rest.substr(0, symbol.size()) == symbol)
      return condition(id, known.code, rest.substr(symbol.size()), now);
  }
  throw TextError(
      quoted(text) +
      " is no condition: its operator is one of = != < <= > >= ~ ?");
}

const char* operatorSymbol(unsigned code) {
  for (const Operator& known : kOperators)
    if (known.code == code) return known.symbol;
  return nullptr;
}

std::string valueText(veskType* value) {
  std::string text;
  append(text, value, false, With::kType);
  return text;
}

std::string plainText(veskType* value) {
  std::string text;
  append(text, value, false, With::kValueAlone);
  return text;
}

std::string oidText(const veskOid& oid) {
  if (oid.valid == 0) return "invalid";
  return std::to_string(oid.component[0]) + "." +
         std::to_string(oid.component[1]) + "." +
         std::to_string(oid.component[2]) + "." +
         std::to_string(oid.component[3]);
}

std::string aidText(const veskAid& aid) {
  if (aid.valid == 0) return "invalid";
  return std::to_string(aid.component[0]) + "." +
         std::to_string(aid.component[1]) + "." +
         std::to_string(aid.component[2]);
}

std::string attributeText(veskAttribute& attribute) {
  std::string text;
  appendAttribute(text, attribute, " ", false);
  return text;
}

std::string timeText(std::uint32_t seconds) {
  const std::time_t time = seconds;
  std::tm utc = {};
  gmtime_r(&time, &utc);
  char text[sizeof "2026-11-21T03:19:26Z"];
  const std::size_t length =
      std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return std::string(text, length);
}

std::string_view contents(veskString& text) {
  unsigned length = 0;
  const char* bytes = text.get(&length);
  return bytes != nullptr ? std::string_view(bytes, length)
                          : std::string_view();
}

std::string_view contents(veskOpaque& bytes) {
  unsigned length = 0;
  const char* first = bytes.get(&length);
  return first != nullptr ? std::string_view(first, length)
                          : std::string_view();
}

}  // namespace ostrel::tools::cli
