#include "format/bytes.h"

#include <cctype>

namespace ostrel::tools::cli {
namespace {

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
