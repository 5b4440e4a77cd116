#include "formats.h"

#include <arpa/inet.h>

#include <array>
#include <cstdio>

#include "words.h"

namespace ostrel {
namespace {

constexpr std::size_t kLongestIpv6 = 45;

char lower(char c) {
  return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

// Hexadecimal digits where the pattern has an x, else the pattern's character;
// where that is a colon, hyphens will do if all are hyphens.
std::optional<std::string> digitsAs(std::string_view pattern,
                                    std::string_view text) {
  if (text.size() != pattern.size()) return std::nullopt;
  std::string result;
  char separator = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = lower(text[i]);
    if (pattern[i] == 'x') {
      if (!isHex(c)) return std::nullopt;
      result += c;
      continue;
    }
    const bool fits = c == pattern[i] || (pattern[i] == ':' && c == '-');
    if (!fits || (separator != 0 && separator != c)) return std::nullopt;
    separator = c;
    result += pattern[i];
  }
  return result;
}

// As RFC 5952 has it: lower case, no leading zeros, and the longest run of two
// or more zeros, the first of equal ones, shortened.
std::string ipv6Text(const std::array<unsigned, 8>& groups) {
  std::size_t runStart = 8;
  std::size_t runLength = 1;
  for (std::size_t i = 0; i < 8; ++i) {
    std::size_t length = 0;
    while (i + length < 8 && groups[i + length] == 0) ++length;
    if (length > runLength) {
      runStart = i;
      runLength = length;
    }
  }
  std::string text;
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == runStart) {
      text += "::";
      i += runLength - 1;
      continue;
    }
    if (!text.empty() && text.back() != ':') text += ':';
    char group[5];
    std::snprintf(group, sizeof group, "%x", groups[i] & 0xffffU);
    text += group;
  }
  return text;
}

std::optional<std::string> ipv6(std::string_view text) {
  if (text.size() > kLongestIpv6 || text.find('\0') != text.npos)
    return std::nullopt;
  in6_addr address = {};
  if (inet_pton(AF_INET6, std::string(text).c_str(), &address) != 1)
    return std::nullopt;
  std::array<unsigned, 8> groups{};
  for (std::size_t i = 0; i < 8; ++i)
    groups[i] = static_cast<unsigned>(address.s6_addr[2 * i]) << 8U |
                address.s6_addr[2 * i + 1];
  const bool isMapped = groups[5] == 0xffff && groups[0] == 0 &&
                        groups[1] == 0 && groups[2] == 0 && groups[3] == 0 &&
                        groups[4] == 0;
  if (!isMapped) return ipv6Text(groups);
  char mapped[32];
  std::snprintf(mapped, sizeof mapped, "::ffff:%u.%u.%u.%u",
                address.s6_addr[12], address.s6_addr[13], address.s6_addr[14],
                address.s6_addr[15]);
  return mapped;
}

std::optional<std::string> cidr(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == text.npos) return std::nullopt;
  const std::string_view address = text.substr(0, slash);
  const auto length = decimalNumber(text.substr(slash + 1));
  if (!length) return std::nullopt;
  const std::string end = "/" + std::to_string(*length);
  if (isIpv4(address))
    return *length > 32 ? std::nullopt
                        : std::optional(std::string(address) + end);
  const auto canonical = ipv6(address);
  if (!canonical || *length > 128) return std::nullopt;
  return *canonical + end;
}

}  // namespace

bool isIpv4(std::string_view text) {
  const auto numbers = dottedNumbers(text, 4, 4);
  if (!numbers) return false;
  for (const std::uint32_t number : *numbers)
    if (number > 255) return false;
  return true;
}

std::optional<std::string> canonicalForm(ValueFormat format,
                                         std::string_view text) {
  switch (format) {
    case ValueFormat::mac:
      return digitsAs("xx:xx:xx:xx:xx:xx", text);
    case ValueFormat::uuid:
      return digitsAs("xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", text);
    case ValueFormat::ipv6:
      return ipv6(text);
    case ValueFormat::cidr:
      return cidr(text);
    default:
      return std::string(text);
  }
}

const char* formatExample(ValueFormat format) {
  switch (format) {
    case ValueFormat::mac:
      return "a MAC address, fe:54:00:00:00:01";
    case ValueFormat::uuid:
      return "a UUID, 123e4567-e89b-12d3-a456-426614174000";
    case ValueFormat::ipv6:
      return "an IPv6 address, 2001:db8::1";
    case ValueFormat::cidr:
      return "an address with the length of its network, 10.0.0.7/24 or "
             "2001:db8::1/64";
    default:
      return "a text";
  }
}

}  // namespace ostrel
