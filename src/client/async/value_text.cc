#include "client/async/value_text.h"

#include <arpa/inet.h>
#include <ostrel/attributes.h>

#include <charconv>
#include <cstdlib>
#include <memory>

#include "client/async/value_codec.h"

namespace ostrel {

const char* typeName(Tag type) noexcept {
  switch (type) {
    case kTagNull:
      return "null";
    case kTagChar:
      return "char";
    case kTagShort:
      return "short";
    case kTagInt:
      return "int";
    case kTagLong:
      return "long";
    case kTagFloat:
      return "float";
    case kTagDouble:
      return "double";
    case kTagBool:
      return "bool";
    case kTagOpaque:
      return "opaque";
    case kTagString:
      return "string";
    case kTagOid:
      return "object identifier";
    case kTagAid:
      return "attribute identifier";
    case kTagTime:
      return "time";
    case kTagAddress:
      return "address";
    case kTagArgumentDesc:
    case kTagAttributeDesc:
    case kTagActionDesc:
    case kTagEventDesc:
    case kTagObjectDesc:
      return "description";
    case kTagAttribute:
      return "attribute";
    case kTagAttributeValueOp:
      return "attribute with operation code";
    case kTagObject:
      return "object";
    case kTagError:
      return "error";
    case kTagUnsignedChar:
      return "unsigned char";
    case kTagUnsignedShort:
      return "unsigned short";
    case kTagUnsignedInt:
      return "unsigned int";
    case kTagUnsignedLong:
      return "unsigned long";
    case kTagGauge:
      return "gauge";
    case kTagCounter:
      return "counter";
    case kTagList:
      return "list";
    default:
      return type >= kTagFirstPDU && type <= kTagLastPDU ? "PDU" : "unknown";
  }
}

namespace {

// The shortest text that makes the same number again, whatever the locale.
template <class Number>
void addFraction(std::string* text, Number number) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, number);
  text->append(digits, end.ptr);
}

void addHex(std::string* text, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    *text += {kDigits[byte >> 4], kDigits[byte & 0xf], ' '};
  }
}

void addAddress(std::string* text, const Value& value) {
  const auto address = value.as<in_addr>();
  if (!address) return;
  char digits[INET_ADDRSTRLEN];
  *text += inet_ntop(AF_INET, &*address, digits, sizeof digits);
}

// The text of the stated interface's class; the bytes in hexadecimal where no
// class reads them.
void addStated(std::string* text, const Value& value) {
  const Value::VeskPointer stated = value.toVesk();
  if (stated == nullptr) return addHex(text, value.bytes());
  const std::unique_ptr<char, decltype(&std::free)> made(stated->getString(),
                                                         &std::free);
  if (made != nullptr) *text += made.get();
}

void addEncoded(std::string* text, ByteReader& reader);

void addEncodedElements(std::string* text, ByteReader& reader) {
  reader.skip(2);  // the tags of the list and of its count
  const std::uint32_t count = reader.integer();
  for (std::uint32_t i = 0; i < count && reader.ok(); i++) {
    if (i != 0) *text += ", ";
    addEncoded(text, reader);
  }
}

void addEncodedAttribute(std::string* text, ByteReader& reader) {
  Aid id;
  read(reader, &id);
  *text += id.text() + " = ";
  if (reader.number<std::uint8_t>() != 0) addEncoded(text, reader);
}

// Adds the value that begins here, without making it and those inside.
void addEncoded(std::string* text, ByteReader& reader) {
  if (!reader.has(1)) return;
  switch (static_cast<unsigned char>(*reader.at())) {
    case kTagList:
      return addEncodedElements(text, reader);
    case kTagAttribute:
      reader.skip(1);
      return addEncodedAttribute(text, reader);
    case kTagAttributeValueOp:
      reader.skip(1);
      addEncodedAttribute(text, reader);
      reader.skip(1);
      *text += " op = " + std::to_string(reader.number<std::uint8_t>());
      return;
    case kTagObject: {
      reader.skip(1);
      Oid oid;
      read(reader, &oid);
      *text += oid.text() + " : ";
      return addEncodedElements(text, reader);
    }
    case kTagGauge:
    case kTagCounter:
      reader.skip(1);
      *text += std::to_string(reader.integer());
      return;
    default: {
      Value value;
      DecodeLimits limits;
      read(reader, &value, limits);
      if (reader.ok()) addText(text, value);
    }
  }
}

void addElements(std::string* text, const Values& elements) {
  bool isFirst = true;
  for (const Value& element : elements) {
    if (!isFirst) *text += ", ";
    isFirst = false;
    addText(text, element);
  }
}

}  // namespace

void addText(std::string* text, const Value& value) {
  switch (value.type()) {
    case kTagNull:
      return;
    case kTagChar:
    case kTagUnsignedChar:
      *text += static_cast<char>(ValueAccess::bits(value));
      return;
    case kTagFloat:
      return addFraction(text, *value.as<float>());
    case kTagDouble:
      return addFraction(text, *value.as<double>());
    case kTagBool:
      *text += *value.as<bool>() ? "True" : "False";
      return;
    case kTagString:
      text->append(value.bytes());
      return;
    case kTagOpaque:
      return addHex(text, value.bytes());
    case kTagOid:
      *text += ValueAccess::oid(value).text();
      return;
    case kTagAid:
      *text += ValueAccess::aid(value).text();
      return;
    case kTagAddress:
      return addAddress(text, value);
    case kTagList:
      return addElements(text, *value.as<Values>());
    case kTagAttribute:
    case kTagAttributeValueOp:
    case kTagObject: {
      ByteReader reader(value.bytes().data(), value.bytes().size());
      return addEncoded(text, reader);
    }
    case kTagShort:
    case kTagInt:
    case kTagLong:
    case kTagUnsignedShort:
    case kTagUnsignedInt:
    case kTagUnsignedLong:
    case kTagTime:
    case kTagGauge:
    case kTagCounter:
      *text += std::to_string(ValueAccess::whole(value));
      return;
    default:
      return addStated(text, value);
  }
}

std::string Value::text() const {
  std::string text;
  addText(&text, *this);
  return text;
}

std::string Attribute::text() const {
  std::string text = id.text() + " = ";
  addText(&text, value);
  return text;
}
std::string Term::text() const {
  return attribute.text() +
         " op = " + std::to_string(static_cast<std::uint8_t>(comparison));
}
std::string Attributes::text() const {
  std::string text;
  for (const Attribute& attribute : attributes_) {
    if (&attribute != attributes_.data()) text += ", ";
    text += attribute.text();
  }
  return text;
}
std::string Object::text() const {
  return oid.text() + " : " + attributes.text();
}

}  // namespace ostrel
