#include "format/value_types.h"

#include <ostrel/codes.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <ctime>
#include <iterator>
#include <limits>
#include <type_traits>

#include "common/printed.h"
#include "common/value_types.h"

namespace ostrel::tools::cli {
namespace {

// Characters that end an element of a list.
constexpr std::string_view kListSyntax = ",[]";

// --- Numbers in text ---------------------------------------------------------

template <class Number>
bool readNumber(std::string_view text, Number* number, int base = 10) {
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *number, base);
  return result.ec == std::errc() && result.ptr == end;
}

template <class Number>
bool readReal(std::string_view text, Number* number) {
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

template <class Number>
std::string shortest(Number number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

// JSON has no form for these.
Json realJson(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  return number;
}

[[noreturn]] void throwNo(const TypedText& typed, const std::string& expected) {
  throw TextError(quoted(typed.text) + " is no " + std::string(typed.type) +
                  ": " + expected);
}

// --- Times in text -----------------------------------------------------------

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

// --- Identifiers in text -----------------------------------------------------

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

// --- The types ---------------------------------------------------------------

// Whole and real numbers.
template <class Class>
struct NumberFormat {
  using Number = decltype(Class::value);
  using Limits = std::numeric_limits<Number>;

  static Value parse(const TypedText& typed) {
    if constexpr (std::is_integral_v<Number>) {
      std::int64_t number = 0;
      if (!readWhole(typed.text, &number) ||
          number < static_cast<std::int64_t>(Limits::min()) ||
          number > static_cast<std::int64_t>(Limits::max()))
        throwNo(typed, "a whole number from " + std::to_string(Limits::min()) +
                           " to " + std::to_string(Limits::max()) + " is");
      return make<Class>(static_cast<Number>(number));
    } else {
      Number number = 0;
      if (!readReal(typed.text, &number))
        throwNo(typed, "a number such as 1.5, -2e9, inf or nan is");
      return make<Class>(number);
    }
  }
  static std::string print(Class& value, bool) { return shortest(value.value); }
  static void fill(Json& json, Class& value) {
    if constexpr (std::is_integral_v<Number>)
      json["value"] = value.value;
    else
      json["value"] = realJson(static_cast<double>(value.value));
  }
};
template <class Class>
struct Format : NumberFormat<Class> {};

// No receiver decodes these: a server would not even answer.
template <class Class>
struct UnreadFormat : NumberFormat<Class> {
  [[noreturn]] static Value parse(const TypedText& typed) {
    throw TextError("no server reads a " + std::string(typed.type) +
                    ": write 'uint:" + escaped(typed.text) + "' instead");
  }
};
template <>
struct Format<veskGauge> : UnreadFormat<veskGauge> {};
template <>
struct Format<veskCounter> : UnreadFormat<veskCounter> {};

// One character; a number in JSON.
template <class Class>
struct CharacterFormat {
  static Value parse(const TypedText& typed) {
    const std::string bytes = unescaped(typed.text);
    if (bytes.size() != 1)
      throwNo(typed, "one character is, or an escape such as \\x05");
    return make<Class>(static_cast<decltype(Class::value)>(bytes[0]));
  }
  static std::string print(Class& value, bool nested) {
    const char c = static_cast<char>(value.value);
    const std::string_view bytes(&c, 1);
    return nested ? elementText(bytes) : escaped(bytes);
  }
  static void fill(Json& json, Class& value) { json["value"] = value.value; }
};
template <>
struct Format<veskChar> : CharacterFormat<veskChar> {};
template <>
struct Format<veskUnsignedChar> : CharacterFormat<veskUnsignedChar> {};

template <>
struct Format<veskBool> {
  static Value parse(const TypedText& typed) {
    if (typed.text == "true") return make<veskBool>(1U);
    if (typed.text == "false") return make<veskBool>(0U);
    std::uint32_t number = 0;
    if (!readNumber(typed.text, &number)) throwNo(typed, "true or false is");
    return make<veskBool>(number);
  }
  static std::string print(veskBool& truth, bool) {
    return truth.value == 0   ? "false"
           : truth.value == 1 ? "true"
                              : std::to_string(truth.value);
  }
  static void fill(Json& json, veskBool& truth) {
    json["value"] = truth.value != 0;
    if (truth.value > 1) json["number"] = truth.value;
  }
};

template <>
struct Format<veskTime> {
  static Value parse(const TypedText& typed) {
    std::int64_t seconds = 0;
    if (!readMoment(typed, &seconds) || seconds < 0 ||
        seconds > std::numeric_limits<std::uint32_t>::max())
      throwNo(typed,
              "now, now+1h, now-30m, 2026-11-21T03:19:26Z or a number of "
              "seconds is");
    return make<veskTime>(static_cast<unsigned>(seconds));
  }
  static std::string print(veskTime& time, bool) {
    return timeText(time.value);
  }
  static void fill(Json& json, veskTime& time) {
    json["value"] = time.value;
    json["text"] = timeText(time.value);
  }

 private:
  static bool readMoment(const TypedText& typed, std::int64_t* seconds) {
    const std::string_view text = typed.text;
    if (text.substr(0, 3) != "now")
      return readDate(text, seconds) || readNumber(text, seconds);
    const std::string_view span = text.substr(3);
    const bool good = span.empty() || ((span[0] == '+' || span[0] == '-') &&
                                       readSpan(span.substr(1), seconds));
    if (!span.empty() && span[0] == '-') *seconds = -*seconds;
    *seconds += typed.now;
    return good;
  }
};

// The bytes that a string or an opaque value holds.
template <class Class>
std::string_view contents(Class& value) {
  unsigned length = 0;
  const char* bytes = value.get(&length);
  return bytes != nullptr ? std::string_view(bytes, length)
                          : std::string_view();
}

template <>
struct Format<veskString> {
  static Value parse(const TypedText& typed) {
    const std::string bytes = unescaped(typed.text);
    return make<veskString>(bytes.data(), static_cast<unsigned>(bytes.size()));
  }
  static std::string print(veskString& text, bool nested) {
    return nested ? elementText(contents(text)) : escaped(contents(text));
  }

  // Bytes that are no text have them in hexadecimal too, and U+FFFD in the
  // text.
  static void fill(Json& json, veskString& text) {
    const std::string_view bytes = contents(text);
    json["value"] = std::string(bytes);
    if (!isUtf8(bytes)) json["hex"] = hexText(bytes);
  }
};

template <>
struct Format<veskOpaque> {
  static Value parse(const TypedText& typed) {
    const std::string bytes = parseHex(typed.text);
    return make<veskOpaque>(bytes.data(), static_cast<unsigned>(bytes.size()));
  }
  static std::string print(veskOpaque& value, bool) {
    return hexText(contents(value));
  }
  static void fill(Json& json, veskOpaque& value) {
    json["value"] = print(value, false);
  }
};

template <>
struct Format<veskOid> {
  static Value parse(const TypedText& typed) {
    if (typed.text == "invalid") return make<veskOid>();
    return make<veskOid>(parseOid(typed.text));
  }
  static std::string print(veskOid& oid, bool) { return oidText(oid); }
  static void fill(Json& json, veskOid& oid) { json["value"] = oidJson(oid); }
};

template <>
struct Format<veskAid> {
  static Value parse(const TypedText& typed) {
    if (typed.text == "invalid") return make<veskAid>();
    return make<veskAid>(parseAid(typed.text));
  }
  static std::string print(veskAid& aid, bool) { return aidText(aid); }
  static void fill(Json& json, veskAid& aid) { json["value"] = aidJson(aid); }
};

template <>
struct Format<veskAddress> {
  static Value parse(const TypedText& typed) {
    if (typed.text.empty() || typed.text == "none") return make<veskAddress>();
    auto value = make<veskAddress>(std::string(typed.text).c_str());
    if (value->family == kNoFamily)
      throw TextError(quoted(typed.text) +
                      " is no address: four numbers such as 10.0.0.1 are, "
                      "or none");
    return value;
  }
  static std::string print(veskAddress& address, bool) {
    return address.family != kNoFamily ? printed(address) : "none";
  }
  static void fill(Json& json, veskAddress& address) {
    const std::string text =
        address.family != kNoFamily ? printed(address) : "";
    json["value"] = text.empty() ? Json(nullptr) : Json(text);
  }
};

// These hold other values.
struct ContainerFormat {};
template <>
struct Format<veskList> : ContainerFormat {};
template <>
struct Format<veskAttribute> : ContainerFormat {};

template <class Class>
constexpr ValueFormat rowOf(ValueType<Class> type) {
  if constexpr (std::is_base_of_v<ContainerFormat, Format<Class>>) {
    return {type.name, true, nullptr, nullptr, nullptr};
  } else {
    constexpr bool kRead =
        !std::is_base_of_v<UnreadFormat<Class>, Format<Class>>;
    return {type.name, kRead, Format<Class>::parse,
            [](veskType& value, bool nested) {
              return Format<Class>::print(dynamic_cast<Class&>(value), nested);
            },
            [](Json& json, veskType& value) {
              Format<Class>::fill(json, dynamic_cast<Class&>(value));
            }};
  }
}

constexpr auto kFormats =
    valueTypeTable([](auto type) constexpr { return rowOf(type); });

}  // namespace

const char* const kValueHelp = R"(Values are written TYPE:VALUE.
  int:5 uint:5 short:5 ushort:5 long:5 ulong:5    whole numbers, 0x for hex
  float:1.5 double:1.5 bool:true
  string:abc          escapes: \n \t \r \xNN \\
  char:A uchar:\xff   one character
  time:now+1h         now, now-30m (s m h d w), 2026-11-21T03:19:26Z, seconds
  oid:59.6.0.1 aid:59.6.1 addr:10.0.0.1 addr:none
  opaque:00ff         bytes in hexadecimal
  list:[int:1,abc]    \, \[ and \] stand for themselves in its texts
Without a type: 5 is an int, 1.5 a double, true a bool, 59.6.1 an aid,
59.6.0.1 an oid, and everything else a string.)";

const ValueFormat* formatNamed(std::string_view name) {
  const auto* found =
      std::find_if(kFormats.begin(), kFormats.end(),
                   [&](const ValueFormat& each) { return name == each.name; });
  return found != kFormats.end() ? found : nullptr;
}

const ValueFormat* formatOf(veskType& value) {
  const auto row = valueTypeRow(value);
  return row ? &kFormats[*row] : nullptr;
}

std::string typeNames() {
  std::string names;
  for (const ValueFormat& format : kFormats)
    if (format.read) names += std::string(format.name) + " ";
  return names + "null";
}

Value parsePlainWord(std::string_view text) {
  const auto as = [&](std::string_view type) {
    return formatNamed(type)->parse({type, text, 0});
  };
  std::int64_t number = 0;
  if (text == "true" || text == "false") return as("bool");
  if (isWhole(text)) {
    // From 2147483648 only a uint has room.
    const bool fits =
        text[0] == '-' || (readWhole(text, &number) &&
                           number <= std::numeric_limits<std::int32_t>::max());
    return as(fits ? "int" : "uint");
  }
  const auto dots = std::count(text.begin(), text.end(), '.');
  double fraction = 0;
  if (dots == 1 && text.find_first_of("0123456789") != text.npos &&
      readReal(text, &fraction))
    return as("double");
  veskAid aid;
  if (dots == 2 && readIdentifier(text, &aid).empty()) return as("aid");
  veskOid oid;
  if (dots == 3 && readIdentifier(text, &oid).empty()) return as("oid");
  return as("string");
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

Json oidJson(const veskOid& oid) {
  return oid.valid != 0 ? Json(oidText(oid)) : Json(nullptr);
}

Json aidJson(const veskAid& aid) {
  return aid.valid != 0 ? Json(aidText(aid)) : Json(nullptr);
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

std::string timeNow() {
  return timeText(static_cast<std::uint32_t>(std::time(nullptr)));
}

std::string elementText(std::string_view bytes) {
  std::string text = escaped(bytes, kListSyntax);
  // White space around an element does not count.
  if (!bytes.empty() && bytes.back() == ' ')
    text.replace(text.size() - 1, 1, "\\x20");
  if (bytes.size() > 1 && bytes.front() == ' ') text.replace(0, 1, "\\x20");
  return text;
}

std::string quoted(std::string_view text) { return "'" + escaped(text) + "'"; }

bool readByte(std::string_view text, std::uint8_t* number) {
  return readNumber(text, number);
}

}  // namespace ostrel::tools::cli
