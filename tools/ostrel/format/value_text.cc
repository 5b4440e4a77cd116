#include "format/value_text.h"

#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

#include <algorithm>
#include <iterator>

#include "common/printed.h"

namespace ostrel::tools::cli {
namespace {

// Deeper lists are not read from text.
constexpr unsigned kMaxNesting = 100;

// --- Reading -----------------------------------------------------------------

Value parseNested(std::string_view text, std::time_t now, unsigned depth);

Owned<veskAttribute> attributeFrom(const TypedText& typed) {
  if (typed.depth == kMaxNesting) throw TextError("values are nested too deep");
  const std::string_view text = typed.text;
  const std::size_t equals = text.find('=');
  veskAid id = parseAid(text.substr(0, equals));
  auto attribute = make<veskAttribute>(&id);
  if (equals != text.npos)
    attribute->value =
        parseNested(text.substr(equals + 1), typed.now, typed.depth + 1)
            .release();
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

Owned<veskList> listFrom(const TypedText& typed) {
  std::string_view text = typed.text;
  if (typed.depth == kMaxNesting) throw TextError("values are nested too deep");
  if (text.empty() || text[0] != '[')
    throw TextError("a list is written list:[int:1,abc]");
  auto values = make<veskList>();
  text.remove_prefix(1);
  while (true) {
    const std::size_t length = elementLength(text);
    const std::string_view element = trimmed(text.substr(0, length));
    const bool last = text[length] == ']';
    text.remove_prefix(length + 1);
    if (!element.empty())
      values->append(
          parseNested(element, typed.now, typed.depth + 1).release());
    else if (!last || values->count != 0)
      throw TextError("an empty element in a list: write string: for no text");
    if (last) break;
  }
  if (!text.empty())
    throw TextError(quoted(text) + " stands behind the end of a list");
  return values;
}

Value nullFrom(std::string_view text) {
  if (text.empty()) return make<veskType>();
  throw TextError(quoted(text) + " stands behind null:, which has no value");
}

Value parseNested(std::string_view text, std::time_t now, unsigned depth) {
  const std::size_t colon = text.find(':');
  const std::size_t letters =
      text.find_first_not_of("abcdefghijklmnopqrstuvwxyz");
  if (colon == text.npos || colon == 0 || letters != colon)
    return parsePlainWord(text);

  const TypedText typed = {text.substr(0, colon), text.substr(colon + 1), now,
                           depth};
  if (typed.type == "list") return listFrom(typed);
  if (typed.type == "attr") return attributeFrom(typed);
  if (typed.type == "null") return nullFrom(typed.text);
  const ValueFormat* format = formatNamed(typed.type);
  if (format != nullptr) return format->parse(typed);
  throw TextError(quoted(typed.type) +
                  " is no type; the types are: " + typeNames() +
                  ". For a text with a colon write string:" + escaped(text));
}

// --- Printing ----------------------------------------------------------------

enum class With { kType, kValueAlone };

void append(std::string& out, veskType* value, bool nested, With with);

void appendList(std::string& out, const veskList& list) {
  out += '[';
  bool first = true;
  for (veskType* element : Elements(list)) {
    if (!first) out += ',';
    first = false;
    append(out, element, true, With::kType);
  }
  out += ']';
}

std::string operatorOf(veskAttribute& attribute) {
  auto* condition = dynamic_cast<veskAttributeValueOp*>(&attribute);
  if (condition == nullptr) return "=";
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

// What holds no other values, or is printed as the library does it:
// descriptions of classes, and messages inside messages.
void appendLeaf(std::string& out, veskType& value, bool nested, bool typed) {
  const auto type = [&](const char* name) {
    if (typed) out.append(name).append(":");
  };
  if (const ValueFormat* format = formatOf(value)) {
    type(format->name);
    out += format->print(value, nested);
    return;
  }
  if (auto* error = dynamic_cast<veskError*>(&value)) {
    type("error");
    out += std::to_string(error->index.value) + ":" +
           std::to_string(error->code.value);
    return;
  }
  type(dynamic_cast<veskPDU*>(&value) != nullptr ? "pdu" : "description");
  const std::string text = printed(value);
  out += nested ? elementText(text) : escaped(text);
}

// Values may lie thousands deep inside one another, so what calls itself again
// is kept small.
void append(std::string& out, veskType* value, bool nested, With with) {
  const bool typed = with == With::kType;
  if (value == nullptr || value->tag == kTagNull) {
    if (typed) out += "null:";
  } else if (auto* list = dynamic_cast<veskList*>(value)) {
    if (typed) out += "list:";
    appendList(out, *list);
  } else if (auto* attribute = dynamic_cast<veskAttribute*>(value)) {
    if (typed) out += "attr:";
    appendAttribute(out, *attribute, "", nested);
  } else if (auto* object = dynamic_cast<veskObject*>(value)) {
    if (typed) out += "object:";
    appendObject(out, *object);
  } else {
    appendLeaf(out, *value, nested, typed);
  }
}

// --- Conditions --------------------------------------------------------------

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
  auto made = make<veskAttributeValueOp>(&aid, nullptr, static_cast<int>(code));
  if (code != kOperatorPresent) made->value = parseValue(value, now).release();
  if (code == kOperatorPresent && !value.empty())
    throw TextError(quoted(value) +
                    " stands behind a '?', which ends a "
                    "condition");
  return made;
}

}  // namespace

Value parseValue(std::string_view text, std::time_t now) {
  return parseNested(text, now, 0);
}

Owned<veskAttribute> parseAttribute(std::string_view text, std::time_t now) {
  return attributeFrom({"attr", text, now});
}

Owned<veskAttributeValueOp> parseCondition(std::string_view text,
                                           std::time_t now) {
  const std::size_t end = text.find_first_of("=!<>~?@");
  if (end == text.npos) return condition(text, kOperatorPresent, "", now);
  const std::string_view id = text.substr(0, end);
  const std::string_view rest = text.substr(end);

  if (rest[0] == '@') {
    const std::size_t equals = rest.find('=');
    std::uint8_t code = 0;
    if (equals == rest.npos || !readByte(rest.substr(1, equals - 1), &code))
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

std::string attributeText(veskAttribute& attribute) {
  std::string text;
  appendAttribute(text, attribute, " ", false);
  return text;
}

}  // namespace ostrel::tools::cli
