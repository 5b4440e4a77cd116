#include "format/object_json.h"

#include <ostrel/tags.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "common/value_types.h"
#include "format/pdu_text.h"
#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

// Lists that lie deeper inside others are written as text, and not read at all.
constexpr unsigned kDeepestTyped = 100;
constexpr unsigned kDeepestRead = 500;

constexpr auto kTagNames = valueTypeTable([](auto type) constexpr {
  return ValueType<void>{type.name, type.tag};
});

const char* nameOf(Tag tag) {
  const auto* found = std::find_if(
      kTagNames.begin(), kTagNames.end(),
      [&](const ValueType<void>& each) { return each.tag == tag; });
  return found != kTagNames.end() ? found->name : nullptr;
}

// Characters that stand in JSON for themselves, and on a terminal, too.
bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c <= '~' && c != '"' && c != '\\';
  });
}

void appendText(std::string* out, std::string_view text) {
  if (isPlain(text))
    out->append("\"").append(text).append("\"");
  else
    *out += line(Json(std::string(text)));
}

void appendHex(std::string* out, std::string_view bytes) {
  out->append(",\"hex\":\"").append(hexText(bytes)).append("\"");
}

template <class Number>
void appendNumber(std::string* out, Number number) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number);
  out->append(digits, end.ptr);
}

template <class Id>
void appendId(std::string* out, const Id& id) {
  if (!id.valid()) {
    *out += "null";
    return;
  }
  *out += '"';
  bool first = true;
  for (const std::uint32_t number : id.numbers()) {
    if (!first) *out += '.';
    first = false;
    appendNumber(out, number);
  }
  *out += '"';
}

// As the stated interface's values are written. What only its bytes tell in
// full has these, too.
void appendOther(std::string* out, const ostrel::Value& value, Form form) {
  const ostrel::Value::VeskPointer copy = value.toVesk();
  Json json;
  if (copy != nullptr) {
    json = toJson(copy.get());
  } else {
    json["type"] = "unknown";
    json["value"] = nullptr;
  }
  if (form == Form::kWhole) json["hex"] = hexText(value.encode());
  *out += line(json);
}

bool isNan(const ostrel::Value& value) {
  const auto real = value.as<double>();
  const auto shortReal = value.as<float>();
  return (real && std::isnan(*real)) || (shortReal && std::isnan(*shortReal));
}

// Whether the value of the JSON is that of a whole number.
bool isWhole(Tag tag) {
  switch (tag) {
    case kTagChar:
    case kTagShort:
    case kTagInt:
    case kTagLong:
    case kTagUnsignedChar:
    case kTagUnsignedShort:
    case kTagUnsignedInt:
    case kTagUnsignedLong:
      return true;
    default:
      return false;
  }
}

void appendNested(std::string* out, const ostrel::Value& value, Form form,
                  unsigned depth);

void appendList(std::string* out, const Values& elements, Form form,
                unsigned depth) {
  *out += "{\"type\":\"list\",\"value\":[";
  bool first = true;
  for (const ostrel::Value& element : elements) {
    if (!first) *out += ',';
    first = false;
    appendNested(out, element, form, depth + 1);
  }
  *out += "]}";
}

void appendDeep(std::string* out, const ostrel::Value& value, Form form) {
  const ostrel::Value::VeskPointer copy = value.toVesk();
  *out += "{\"type\":\"deep\",\"value\":";
  appendText(out, valueText(copy.get()));
  if (form == Form::kWhole) appendHex(out, value.encode());
  *out += '}';
}

void appendNested(std::string* out, const ostrel::Value& value, Form form,
                  unsigned depth) {
  const auto begin = [&] {
    out->append("{\"type\":\"").append(nameOf(value.type())).append("\"");
    *out += ",\"value\":";
  };
  if (const Values* elements = value.as<Values>()) {
    if (depth >= kDeepestTyped)
      appendDeep(out, value, form);
    else
      appendList(out, *elements, form, depth);
  } else if (isWhole(value.type())) {
    begin();
    appendNumber(out, value.to<std::int64_t>().value_or(0));
    *out += '}';
  } else if (const auto text = value.as<std::string_view>()) {
    begin();
    appendText(out, *text);
    if (!isPlain(*text) && !isUtf8(*text)) appendHex(out, *text);
    *out += '}';
  } else if (const auto bytes = value.as<Opaque>()) {
    begin();
    appendText(out, hexText(bytes->bytes));
    *out += '}';
  } else if (const auto oid = value.as<Oid>()) {
    begin();
    appendId(out, *oid);
    *out += '}';
  } else if (const auto aid = value.as<Aid>()) {
    begin();
    appendId(out, *aid);
    *out += '}';
  } else {
    // These say everything in the form that people are shown.
    const bool isSimple =
        value.isNull() || (nameOf(value.type()) != nullptr && !isNan(value) &&
                           value.type() != kTagAttribute);
    appendOther(out, value, isSimple ? Form::kShown : form);
  }
}

// --- Reading -----------------------------------------------------------------

// The JSON, cut where it is long, for messages.
std::string shown(const Json& json) {
  constexpr std::size_t kMost = 60;
  const std::string text = line(json);
  return text.size() <= kMost ? text : text.substr(0, kMost) + "...";
}

[[noreturn]] void throwNo(const Json& json, const std::string& what) {
  throw TextError(shown(json) + " is no " + what);
}

const Json* member(const Json& json, const char* name) {
  const auto found = json.find(name);
  return found != json.end() ? &*found : nullptr;
}

const std::string& textOf(const Json& json, const char* what) {
  const auto* text = json.get_ptr<const std::string*>();
  if (text == nullptr) throwNo(json, what);
  return *text;
}

template <class Number>
ostrel::Value wholeFrom(const Json& json) {
  using Limits = std::numeric_limits<Number>;
  // On the wire a long has 32 bits, too.
  using Bits = std::conditional_t<
      (sizeof(Number) > sizeof(std::int32_t)),
      std::conditional_t<Limits::is_signed, std::int32_t, std::uint32_t>,
      Number>;
  const bool isSmall =
      json.is_number_integer() &&
      (!json.is_number_unsigned() ||
       json.get<std::uint64_t>() <= std::numeric_limits<std::uint32_t>::max());
  const std::int64_t number = isSmall ? json.get<std::int64_t>() : 0;
  if (!isSmall || number < std::int64_t{std::numeric_limits<Bits>::min()} ||
      number > std::int64_t{std::numeric_limits<Bits>::max()})
    throwNo(json, "number of that type");
  return ostrel::Value(static_cast<Number>(number));
}

template <class Number>
ostrel::Value realFrom(const Json& json) {
  if (json.is_string()) {
    const auto& text = json.get_ref<const std::string&>();
    using Limits = std::numeric_limits<Number>;
    if (text == "nan") return ostrel::Value(Limits::quiet_NaN());
    if (text == "inf") return ostrel::Value(Limits::infinity());
    if (text == "-inf") return ostrel::Value(-Limits::infinity());
  }
  if (!json.is_number()) throwNo(json, "number");
  const auto number = json.get<double>();
  if (std::abs(number) >
      static_cast<double>(std::numeric_limits<Number>::max()))
    throwNo(json, "number of that type");
  return ostrel::Value(static_cast<Number>(number));
}

ostrel::Value timeFrom(const Json& json) {
  return ostrel::Value::time(*wholeFrom<unsigned>(json).to<std::uint32_t>());
}

ostrel::Value opaqueFrom(const Json& json) {
  return ostrel::Value(Opaque{parseHex(textOf(json, "bytes"))});
}

ostrel::Value addressFrom(const Json& json) {
  if (json.is_null()) return ostrel::Value::noAddress();
  const std::string& text = textOf(json, "address");
  return ostrel::Value::from(
      formatNamed("addr")->parse({"addr", text, 0}).get());
}

[[noreturn]] ostrel::Value unreadFrom(const Json& json) {
  throwNo(json, "value that a server reads: make it a uint");
}

// A type whose "value" says everything.
struct Reader {
  Tag tag;
  ostrel::Value (*read)(const Json& value);
};
constexpr Reader kReaders[] = {
    {kTagInt, wholeFrom<int>},
    {kTagUnsignedInt, wholeFrom<unsigned>},
    {kTagLong, wholeFrom<long>},
    {kTagUnsignedLong, wholeFrom<unsigned long>},
    {kTagShort, wholeFrom<short>},
    {kTagUnsignedShort, wholeFrom<unsigned short>},
    {kTagChar, wholeFrom<signed char>},
    {kTagUnsignedChar, wholeFrom<unsigned char>},
    {kTagFloat, realFrom<float>},
    {kTagDouble, realFrom<double>},
    {kTagGauge, unreadFrom},
    {kTagCounter, unreadFrom},
    {kTagTime, timeFrom},
    {kTagOpaque, opaqueFrom},
    {kTagAddress, addressFrom},
    {kTagOid,
     [](const Json& value) {
       return value.is_null() ? ostrel::Value(Oid())
                              : ostrel::Value(oidFrom(value));
     }},
    {kTagAid,
     [](const Json& value) {
       return value.is_null() ? ostrel::Value(Aid())
                              : ostrel::Value(aidFrom(value));
     }},
};

ostrel::Value boolFrom(const Json& json, const Json& value) {
  if (const Json* number = member(json, "number")) {
    veskBool truth(*wholeFrom<unsigned>(*number).to<std::uint32_t>());
    return ostrel::Value::from(&truth);
  }
  if (!value.is_boolean()) throwNo(value, "true or false");
  return ostrel::Value(value.get<bool>());
}

ostrel::Value stringFrom(const Json& json, const Json& value) {
  if (const Json* hex = member(json, "hex"))
    return ostrel::Value(parseHex(textOf(*hex, "bytes")));
  return ostrel::Value(textOf(value, "text"));
}

ostrel::Value nestedFrom(const Json& json, std::time_t now, unsigned depth);

Attribute attributeFrom(const Json& json, std::time_t now, unsigned depth) {
  if (json.is_string()) {
    const auto read = parseAttribute(json.get_ref<const std::string&>(), now);
    Attribute attribute{Aid(read->id)};
    attribute.hasValue = read->value != nullptr;
    attribute.value = ostrel::Value::from(read->value);
    return attribute;
  }
  const Json* id = json.is_object() ? member(json, "id") : nullptr;
  if (id == nullptr) throwNo(json, "attribute: it has no \"id\"");
  const Aid aid = id->is_null() ? Aid() : aidFrom(*id);
  const Json* value = member(json, "value");
  if (value == nullptr || value->is_null()) return Attribute(aid);
  return Attribute(aid, nestedFrom(*value, now, depth + 1));
}

Attributes nestedAttributes(const Json& json, std::time_t now, unsigned depth) {
  if (!json.is_array()) throwNo(json, "array of attributes");
  Attributes attributes;
  attributes.reserve(json.size());
  for (const Json& each : json)
    attributes.append(attributeFrom(each, now, depth));
  return attributes;
}

// Values that hold others, and their whole encoding.
ostrel::Value wholeValue(const Json& json, const std::string& type,
                         std::time_t now, unsigned depth) {
  if (const Json* hex = member(json, "hex")) {
    Result<ostrel::Value> decoded =
        ostrel::Value::decode(parseHex(textOf(*hex, "bytes")));
    if (!decoded) throwNo(*hex, "encoding of a value");
    return *std::move(decoded);
  }
  if (type == "attribute")
    return ostrel::Value(attributeFrom(json, now, depth));
  const Json* oid = member(json, "oid");
  const Json* attributes = member(json, "attributes");
  if (type == "object" && oid != nullptr && attributes != nullptr)
    return ostrel::Value(Object(oid->is_null() ? Oid() : oidFrom(*oid),
                                nestedAttributes(*attributes, now, depth)));
  throwNo(json, "value of a type that is read; such a one needs \"hex\"");
}

ostrel::Value typedFrom(const Json& json, std::time_t now, unsigned depth) {
  const Json* named = member(json, "type");
  if (named == nullptr) throwNo(json, "value: it has no \"type\"");
  const std::string& type = textOf(*named, "name of a type");
  if (type == "null") return ostrel::Value();
  const auto* row = std::find_if(
      kTagNames.begin(), kTagNames.end(),
      [&](const ValueType<void>& each) { return type == each.name; });
  const Json* value = member(json, "value");
  const bool isKnown = row != kTagNames.end() && value != nullptr;
  if (isKnown && row->tag == kTagString) return stringFrom(json, *value);
  if (isKnown && row->tag == kTagBool) return boolFrom(json, *value);
  if (isKnown && row->tag == kTagList) {
    if (!value->is_array()) throwNo(*value, "array of values");
    Values elements;
    elements.reserve(value->size());
    for (const Json& each : *value)
      elements.push_back(nestedFrom(each, now, depth + 1));
    return ostrel::Value(std::move(elements));
  }
  const auto* reader = std::find_if(
      std::begin(kReaders), std::end(kReaders),
      [&](const Reader& each) { return isKnown && each.tag == row->tag; });
  if (reader != std::end(kReaders) && member(json, "hex") == nullptr)
    return reader->read(*value);
  return wholeValue(json, type, now, depth);
}

ostrel::Value nestedFrom(const Json& json, std::time_t now, unsigned depth) {
  if (depth > kDeepestRead) throwNo(json, "value: it lies too deep in others");
  if (json.is_object()) return typedFrom(json, now, depth);
  if (json.is_string())
    return ostrel::Value::from(
        parseValue(json.get_ref<const std::string&>(), now).get());
  if (json.is_number() || json.is_boolean())
    return ostrel::Value::from(parseValue(json.dump(), now).get());
  throwNo(json, "value");
}

}  // namespace

void appendJson(std::string* out, const ostrel::Value& value, Form form) {
  appendNested(out, value, form, 0);
}

void appendJson(std::string* out, const Attributes& attributes, Form form) {
  *out += '[';
  bool first = true;
  for (const Attribute& attribute : attributes) {
    if (!first) *out += ',';
    first = false;
    *out += "{\"id\":";
    appendId(out, attribute.id);
    *out += ",\"value\":";
    if (attribute.hasValue)
      appendNested(out, attribute.value, form, 1);
    else
      *out += "null";
    *out += '}';
  }
  *out += ']';
}

Json idJson(const Oid& oid) {
  return oid.valid() ? Json(oid.text()) : Json(nullptr);
}
Json idJson(const Aid& aid) {
  return aid.valid() ? Json(aid.text()) : Json(nullptr);
}

ostrel::Value valueFrom(const Json& json, std::time_t now) {
  return nestedFrom(json, now, 0);
}

Attributes attributesFrom(const Json& json, std::time_t now) {
  return nestedAttributes(json, now, 0);
}

std::vector<Term> termsFrom(const Json& json, std::time_t now) {
  if (!json.is_array()) throwNo(json, "array of conditions");
  std::vector<Term> terms;
  for (const Json& each : json) {
    const auto read = parseCondition(textOf(each, "condition"), now);
    const auto code = static_cast<unsigned char>(read->op.value);
    Term term(Aid(read->id), static_cast<SearchOperator>(code),
              ostrel::Value::from(read->value));
    term.attribute.hasValue = read->value != nullptr;
    terms.push_back(std::move(term));
  }
  return terms;
}

std::vector<Aid> idsFrom(const Json& json) {
  if (!json.is_array()) throwNo(json, "array of attribute identifiers");
  std::vector<Aid> ids;
  for (const Json& each : json) ids.push_back(aidFrom(each));
  return ids;
}

Oid oidFrom(const Json& json) {
  return Oid(parseOid(textOf(json, "object identifier")));
}

Aid aidFrom(const Json& json) {
  return Aid(parseAid(textOf(json, "attribute identifier")));
}

Json objectFrom(const std::string& line) {
  Json json = Json::parse(line, nullptr, false);
  if (json.is_discarded() || !json.is_object())
    throw TextError("'" + escaped(line.substr(0, 60)) +
                    "' is no JSON object on a line of its own");
  return json;
}

}  // namespace ostrel::tools::cli
