#include "format/json.h"

#include <ostrel/elements.h>
#include <ostrel/veskError.h>

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

Json elements(const veskList* list, unsigned depth) {
  Json array = Json::array();
  for (veskType* element : Elements(list))
    array.push_back(nestedJson(element, depth + 1));
  return array;
}

// The same for a list that is meant to hold values of one class, whose type
// goes without saying.
template <class Value>
Json elementsOf(const veskList* list, unsigned depth) {
  Json array = elements(list, depth);
  auto json = array.begin();
  for (Value* element : Elements<Value>(list)) {
    if (element != nullptr) json->erase("type");
    ++json;
  }
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

// What holds no other values, or is given as the library prints it.
Json leafJson(veskType& value) {
  if (const ValueFormat* format = formatOf(value)) {
    Json json;
    json["type"] = format->name;
    format->fill(json, value);
    return json;
  }
  if (auto* error = dynamic_cast<veskError*>(&value)) return errorJson(*error);
  Json json = typed("description", plainText(&value));
  json["tag"] = value.tag;
  return json;
}

Json nestedJson(veskType* value, unsigned depth) {
  if (value == nullptr || value->tag == kTagNull) return typed("null", nullptr);
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
  return leafJson(*value);
}

}  // namespace

Json toJson(veskType* value) { return nestedJson(value, 0); }

Json attributesJson(const veskList* list) {
  return elementsOf<veskAttribute>(list, 0);
}

Json errorsJson(const veskList* list) { return elementsOf<veskError>(list, 0); }

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
