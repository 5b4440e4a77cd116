#include "format/bytes.h"

#include <cctype>

namespace ostrel::tools::cli {
namespace {

constexpr unsigned kFirstPrintable = 0x20;
constexpr unsigned kDelete = 0x7f;

unsigned byteAt(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

void appendHexByte(std::string& out, unsigned byte) {
  static const char kDigits[] = "0123456789abcdef";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0xf];
}

// The range of a character's second byte: shorter forms of the same character,
// surrogates and what lies beyond U+10FFFF are not well-formed.
bool isSecondByte(unsigned first, unsigned second) {
  unsigned low = 0x80, high = 0xbf;
  if (first == 0xe0) low = 0xa0;
  if (first == 0xed) high = 0x9f;
  if (first == 0xf0) low = 0x90;
  if (first == 0xf4) high = 0x8f;
  return second >= low && second <= high;
}

void appendEscape(std::string& out, unsigned byte) {
  switch (byte) {
    case '\n':
      out += "\\n";
      return;
    case '\t':
      out += "\\t";
      return;
    case '\r':
      out += "\\r";
      return;
    default:
      out += "\\x";
      appendHexByte(out, byte);
  }
}

}  // namespace

std::size_t utf8Length(std::string_view bytes) {
  if (bytes.empty()) return 0;
  const unsigned first = byteAt(bytes, 0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xc2 && first <= 0xdf   ? 2
                             : first >= 0xe0 && first <= 0xef ? 3
                             : first >= 0xf0 && first <= 0xf4 ? 4
                                                              : 0;
  if (length == 0 || bytes.size() < length) return 0;
  if (!isSecondByte(first, byteAt(bytes, 1))) return 0;
  for (std::size_t i = 2; i < length; ++i)
    if ((byteAt(bytes, i) & 0xc0) != 0x80) return 0;
  return length;
}

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = utf8Length(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

bool isControl(std::string_view character) {
  const unsigned first = byteAt(character, 0);
  if (character.size() == 1) return first < kFirstPrintable || first == kDelete;
  // U+0080 to U+009F.
  if (character.size() == 2)
    return first == 0xc2 && byteAt(character, 1) < 0xa0;
  if (character.size() != 3 || first != 0xe2) return false;
  const unsigned second = byteAt(character, 1), third = byteAt(character, 2);
  return (second == 0x80 && third >= 0xa8 && third <= 0xae) ||
         (second == 0x80 && third >= 0x8e && third <= 0x8f) ||
         (second == 0x81 && third >= 0xa6 && third <= 0xa9);
}

std::string escaped(std::string_view bytes, std::string_view also) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = utf8Length(bytes);
    const unsigned byte = byteAt(bytes, 0);
    const std::string_view character = bytes.substr(0, length ? length : 1);
    if (length == 0 || isControl(character)) {
      for (const char c : character)
        appendEscape(out, static_cast<unsigned char>(c));
    } else {
      if (byte == '\\' || also.find(bytes[0]) != also.npos) out += '\\';
      out += character;
    }
    bytes.remove_prefix(character.size());
  }
  return out;
}

std::string unescaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out += text[i];
      continue;
    }
    if (++i == text.size())
      throw TextError("a backslash at the end: write \\\\ for a backslash");
    const char kind = text[i];
    if (kind == 'n') {
      out += '\n';
    } else if (kind == 't') {
      out += '\t';
    } else if (kind == 'r') {
      out += '\r';
    } else if (kind == 'x') {
      const int high = i + 1 < text.size() ? digitValue(text[i + 1]) : -1;
      const int low = i + 2 < text.size() ? digitValue(text[i + 2]) : -1;
      if (high < 0 || low < 0)
        throw TextError("\\x needs two hexadecimal digits");
      out += static_cast<char>(high * 16 + low);
      i += 2;
    } else if (std::isalnum(static_cast<unsigned char>(kind)) != 0) {
      throw TextError(std::string("unknown escape \\") + kind +
                      ": there are \\n, \\t, \\r, \\xNN and \\\\");
    } else {
      out += kind;
    }
  }
  return out;
}

std::string hexText(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const char c : bytes) appendHexByte(out, static_cast<unsigned char>(c));
  return out;
}

std::string parseHex(std::string_view text) {
  std::string out;
  int high = -1;
  bool begins = true;  // a group of digits
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ':' || std::isspace(static_cast<unsigned char>(c)) != 0) {
      begins = true;
      continue;
    }
    if (begins && high < 0 && c == '0' && i + 1 < text.size() &&
        (text[i + 1] == 'x' || text[i + 1] == 'X')) {
      begins = false;
      ++i;
      continue;
    }
    begins = false;
    const int value = digitValue(c);
    if (value < 0)
      throw TextError("'" + escaped(std::string_view(&c, 1)) +
                      "' is no hexadecimal digit");
    if (high < 0) {
      high = value;
      continue;
    }
    out += static_cast<char>(high * 16 + value);
    high = -1;
  }
  if (high >= 0)
    throw TextError("an odd number of hexadecimal digits: a byte has two");
  return out;
}

}  // namespace ostrel::tools::cli
