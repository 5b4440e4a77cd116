#include "value/component.h"

namespace ostrel {
namespace {

constexpr std::uint32_t kLargest = 4294967295u;

// Numbers of up to nine decimal digits: nearly all numbers are short.
bool parsePlain(const char* token, std::size_t length, std::uint32_t* number) {
  constexpr std::size_t kSafeDigits = 9;
  if (length > kSafeDigits || (token[0] == '0' && length > 1)) return false;
  std::uint32_t parsed = 0;
  for (std::size_t i = 0; i < length; i++) {
    if (token[i] < '0' || token[i] > '9') return false;
    parsed = parsed * 10 + static_cast<std::uint32_t>(token[i] - '0');
  }
  *number = parsed;
  return true;
}

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The value of a digit in bases up to 16, or 16.
unsigned digitOf(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  const char lower = static_cast<char>(c | 0x20);
  if (lower >= 'a' && lower <= 'f')
    return static_cast<unsigned>(lower - 'a') + 10;
  return 16;
}

// Written by hand. The C library's idea of a number depends on its version, on
// the locale and on the width of long.
bool parseAny(const char* at, const char* end, std::uint32_t* number) {
  while (at != end && isSpace(*at)) at++;
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) at++;
  unsigned base = at != end && *at == '0' ? 8 : 10;
  if (base == 8 && end - at > 1 && (at[1] | 0x20) == 'x') {
    base = 16;
    at += 2;
  }
  if (at == end) return false;
  std::uint64_t parsed = 0;
  for (; at != end; at++) {
    const unsigned digit = digitOf(*at);
    if (digit >= base) return false;
    // Past the largest number it need not grow any more.
    if (parsed <= kLargest) parsed = parsed * base + digit;
  }
  // A minus sign gives the complement, but only if the number is in range.
  if (parsed > kLargest)
    *number = kLargest;
  else
    *number = static_cast<std::uint32_t>(negative ? 0 - parsed : parsed);
  return true;
}

}  // namespace

bool parseComponent(const char* token, std::size_t length,
                    std::uint32_t* number) {
  return parsePlain(token, length, number) ||
         parseAny(token, token + length, number);
}

}  // namespace ostrel
