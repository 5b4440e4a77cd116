#include "format/json.h"

#include <ostrel/veskError.h>

#include <cmath>
#include <cstdlib>
#include <string_view>

#include "format/pdu_text.h"
#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

// Values that lie deeper inside others are given as text.
constexpr unsigned kDeepest = 100;

Json typed(const char* type, Json value) {
  Json json;
  json["type"] = type;
  json["value"] = std::move(value);
  return json;
}

// Bytes that are no text have them in hexadecimal too, and U+FFFD in the text.
Json textJson(std::string_view bytes) {
  Json json = typed("string", std::string(bytes));
  if (!isUtf8(bytes)) json["hex"] = hexText(bytes);
  return json;
}

// JSON has no form for these.
Json realJson(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  return number;
}

// "\u009b" for a well-formed character of up to three bytes.
std::string unicodeEscape(std::string_view character) {
  unsigned code = 0;
  for (const char c : character)
    code = code << 6 | (static_cast<unsigned char>(c) & 0x3f);
  if (character.size() == 1) code = static_cast<unsigned char>(character[0]);
  const unsigned char bytes[] = {static_cast<unsigned char>(code >> 8),
                                 static_cast<unsigned char>(code)};
  return "\\u" + hexText({reinterpret_cast<const char*>(bytes), 2});
}

Json nestedJson(veskType* value, unsigned depth);

Json elements(veskList* list, unsigned depth) {
  Json array = Json::array();
  if (list == nullptr) return array;
  for (unsigned i = 0; i < list->count; ++i)
    array.push_back(nestedJson(list->at(i), depth + 1));
  return array;
}

// The same for a list that is meant to hold Elements, whose type goes without
// saying.
template <class Element>
Json elementsOf(veskList* list, unsigned depth) {
  Json array = elements(list, depth);
  for (unsigned i = 0; i < array.size(); ++i)
    if (dynamic_cast<Element*>(list->at(i)) != nullptr) array[i].erase("type");
  return array;
}

Json attributeJson(veskAttribute& attribute, unsigned depth) {
  Json json;
  json["type"] = "attribute";
  json["id"] = aidJson(attribute.id);
  json["value"] = attribute.value != nullptr
                      ? nestedJson(attribute.value, depth + 1)
                      : Json(nullptr);
  auto* condition = dynamic_cast<veskAttributeValueOp*>(&attribute);
  if (condition == nullptr) return json;
  const unsigned code = static_cast<unsigned char>(condition->op.value);
  const char* symbol = operatorSymbol(code);
  json["type"] = "condition";
  json["operator"] = symbol != nullptr ? Json(symbol) : Json(nullptr);
  json["operatorCode"] = code;
  return json;
}

Json pduJson(veskPDU& pdu, unsigned depth) {
  Json json;
  json["type"] = pduName(pdu);
  json["tag"] = pdu.tag;
  json["requestId"] = pdu.requestId.value;
  json["status"] = codeJson(pdu.status.value);
  json["principal"] = oidJson(pdu.principal);
  for (const Field& field : fieldsOf(pdu)) {
    Json& member = json[field.name];
    if (auto* list = dynamic_cast<veskList*>(field.value))
      member = elements(list, depth);
    else if (field.value != nullptr)
      member = nestedJson(field.value, depth)["value"];
  }
  return json;
}

Json addressJson(veskAddress& address) {
  if (address.family == 0) return nullptr;
  char* text = address.getString();
  Json json = text != nullptr ? Json(text) : Json(nullptr);
  std::free(text);
  return json;
}

template <class T>
bool is(veskType* value, T** out) {
  *out = dynamic_cast<T*>(value);
  return *out != nullptr;
}

// Whole numbers and truth values.
bool wholeJson(veskType* value, Json* json) {
  veskBool* truth = nullptr;
  veskTime* time = nullptr;
  veskUnsignedInt* number = nullptr;
  if (is(value, &truth)) {
    *json = typed("bool", truth->value != 0);
    if (truth->value > 1) (*json)["number"] = truth->value;
  } else if (is(value, &time)) {
    *json = typed("time", time->value);
    (*json)["text"] = timeText(time->value);
  } else if (is(value, &number)) {
    *json = typed(dynamic_cast<veskGauge*>(value) != nullptr     ? "gauge"
                  : dynamic_cast<veskCounter*>(value) != nullptr ? "counter"
                                                                 : "uint",
                  number->value);
  } else if (auto* p = dynamic_cast<veskInt*>(value)) {
    *json = typed("int", p->value);
  } else if (auto* l = dynamic_cast<veskLong*>(value)) {
    *json = typed("long", l->value);
  } else if (auto* ul = dynamic_cast<veskUnsignedLong*>(value)) {
    *json = typed("ulong", ul->value);
  } else if (auto* s = dynamic_cast<veskShort*>(value)) {
    *json = typed("short", s->value);
  } else if (auto* us = dynamic_cast<veskUnsignedShort*>(value)) {
    *json = typed("ushort", us->value);
  } else if (auto* c = dynamic_cast<veskChar*>(value)) {
    *json = typed("char", c->value);
  } else if (auto* uc = dynamic_cast<veskUnsignedChar*>(value)) {
    *json = typed("uchar", uc->value);
  } else {
    return false;
  }
  return true;
}

Json objectJson(veskObject& object, unsigned depth) {
  Json json;
  json["type"] = "object";
  json["oid"] = oidJson(object.oid);
  json["attributes"] = elementsOf<veskAttribute>(object.attributeList, depth);
  return json;
}

Json errorJson(veskError& error) {
  Json json;
  json["type"] = "error";
  json["index"] = error.index.value;
  json.update(codeJson(error.code.value));
  return json;
}

Json descriptionJson(veskType* value) {
  Json json = typed("description", plainText(value));
  json["tag"] = value->tag;
  return json;
}

// What holds no other values.
Json leafJson(veskType* value) {
  Json json;
  if (wholeJson(value, &json)) return json;
  if (auto* p = dynamic_cast<veskFloat*>(value))
    return typed("float", realJson(static_cast<double>(p->value)));
  if (auto* d = dynamic_cast<veskDouble*>(value))
    return typed("double", realJson(d->value));
  if (auto* text = dynamic_cast<veskString*>(value))
    return textJson(contents(*text));
  if (auto* bytes = dynamic_cast<veskOpaque*>(value))
    return typed("opaque", hexText(contents(*bytes)));
  if (auto* oid = dynamic_cast<veskOid*>(value))
    return typed("oid", oidJson(*oid));
  if (auto* aid = dynamic_cast<veskAid*>(value))
    return typed("aid", aidJson(*aid));
  if (auto* address = dynamic_cast<veskAddress*>(value))
    return typed("addr", addressJson(*address));
  if (auto* error = dynamic_cast<veskError*>(value)) return errorJson(*error);
  return descriptionJson(value);
}

Json nestedJson(veskType* value, unsigned depth) {
  if (value == nullptr || value->tag == 0) return typed("null", nullptr);
  auto* list = dynamic_cast<veskList*>(value);
  auto* attribute = dynamic_cast<veskAttribute*>(value);
  auto* object = dynamic_cast<veskObject*>(value);
  auto* pdu = dynamic_cast<veskPDU*>(value);
  const bool holdsValues = list != nullptr || attribute != nullptr ||
                           object != nullptr || pdu != nullptr;
  // Neither the readers of JSON nor this program's stack take any depth.
  if (holdsValues && depth >= kDeepest) return typed("deep", valueText(value));
  if (list != nullptr) return typed("list", elements(list, depth));
  if (attribute != nullptr) return attributeJson(*attribute, depth);
  if (object != nullptr) return objectJson(*object, depth);
  if (pdu != nullptr) return pduJson(*pdu, depth);
  return leafJson(value);
}

}  // namespace

Json toJson(veskType* value) { return nestedJson(value, 0); }

Json attributesJson(veskList* list) {
  return elementsOf<veskAttribute>(list, 0);
}

Json errorsJson(veskList* list) { return elementsOf<veskError>(list, 0); }

Json oidJson(const veskOid& oid) {
  return oid.valid != 0 ? Json(oidText(oid)) : Json(nullptr);
}

Json aidJson(const veskAid& aid) {
  return aid.valid != 0 ? Json(aidText(aid)) : Json(nullptr);
}

Json codeJson(int code) {
  // "5(Permission Denied)" without the number.
  std::string text = codeText(code);
  const std::size_t open = text.find('(');
  if (open != text.npos) {
    text = text.substr(open + 1);
    text = text.substr(0, text.rfind(')'));
  }
  Json json;
  json["code"] = code;
  json["text"] = text;
  return json;
}

std::string line(const Json& json) {
  const std::string text =
      json.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string out;
  out.reserve(text.size());
  // What terminals act on stands in texts only, where it may be an escape.
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view character = rest.substr(0, utf8Length(rest));
    rest.remove_prefix(character.size());
    if (isControl(character))
      out += unicodeEscape(character);
    else
      out += character;
  }
  return out;
}

}  // namespace ostrel::tools::cli
