#include "component.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ostrel {
namespace {

constexpr std::uint32_t kLargest = 4294967295u;

// Numbers of up to nine decimal digits, which is nearly all that there are.
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

bool parseAny(const char* token, std::uint32_t* number) {
  const bool negative = token[std::strspn(token, " \t\n\v\f\r")] == '-';
  const int before = errno;
  char* end = nullptr;
  errno = 0;
  const unsigned long long converted = std::strtoull(token, &end, 0);
  const bool overflow = errno == ERANGE;
  errno = before;
  if (end == token || *end != '\0') return false;
  // A minus gives the complement, but only of a number that is in range.
  const unsigned long long magnitude = negative ? 0 - converted : converted;
  *number = overflow || magnitude > kLargest
                ? kLargest
                : static_cast<std::uint32_t>(converted);
  return true;
}

}  // namespace

bool parseComponent(const char* token, std::size_t length,
                    std::uint32_t* number) {
  if (parsePlain(token, length, number)) return true;
  char copy[kLongestComponent + 1];
  std::memcpy(copy, token, length);
  copy[length] = '\0';
  return parseAny(copy, number);
}

}  // namespace ostrel
