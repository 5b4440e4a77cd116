#include <arpa/inet.h>
#include <ostrel/identifier.h>

#include <cstring>

#include "value/component.h"
#include "value/identifier.h"

namespace ostrel {
namespace {

// The numbers that the text names; not valid if it names none.
template <class Id, class Stated>
Id parsed(std::string_view text) {
  Stated stated;
  parseIdentifier(stated, text.data(), text.size());
  return Id(stated);
}

std::string_view viewOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

template <std::size_t count>
std::string textOf(const Identifier<count>& id) {
  if (!id.valid()) return "Invalid";
  std::string text;
  for (const std::uint32_t number : id.numbers()) {
    if (!text.empty()) text += '.';
    text += std::to_string(number);
  }
  return text;
}

template <class Stated, std::size_t count>
Stated statedOf(const Identifier<count>& id) {
  Stated stated;
  stated.valid = id.valid() ? 1 : 0;
  std::memcpy(stated.component, id.numbers().data(), sizeof stated.component);
  return stated;
}

// A decimal number of 1 to `most` digits, and nothing else.
std::optional<std::uint32_t> decimal(std::string_view text, std::size_t most) {
  if (text.empty() || text.size() > most) return std::nullopt;
  std::uint32_t number = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') return std::nullopt;
    number = number * 10 + static_cast<std::uint32_t>(digit - '0');
  }
  return number;
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
  constexpr std::size_t kPortDigits = 5;
  const auto number = decimal(text, kPortDigits);
  if (!number || *number == 0 || *number > 65535) return std::nullopt;
  return static_cast<std::uint16_t>(*number);
}

std::optional<in_addr> parseAddress(std::string_view text) {
  char ended[INET_ADDRSTRLEN] = {};
  if (text.size() >= sizeof ended) return std::nullopt;
  if (text.find('\0') != text.npos) return std::nullopt;
  text.copy(ended, text.size());
  in_addr address;
  if (inet_pton(AF_INET, ended, &address) != 1) return std::nullopt;
  return address;
}

}  // namespace

Oid::Oid(const char* text) : Oid(viewOf(text)) {}
Oid::Oid(std::string_view text) : Oid(parsed<Oid, veskOid>(text)) {}
Oid::Oid(const veskOid& other)
    : Oid(other.valid == 0 ? Oid()
                           : Oid(other.component[0], other.component[1],
                                 other.component[2], other.component[3])) {}
std::string Oid::text() const { return textOf(*this); }
veskOid Oid::vesk() const { return statedOf<veskOid>(*this); }

Aid::Aid(const char* text) : Aid(viewOf(text)) {}
Aid::Aid(std::string_view text) : Aid(parsed<Aid, veskAid>(text)) {}
Aid::Aid(const veskAid& other)
    : Aid(other.valid == 0 ? Aid()
                           : Aid(other.component[0], other.component[1],
                                 other.component[2])) {}
std::string Aid::text() const { return textOf(*this); }
veskAid Aid::vesk() const { return statedOf<veskAid>(*this); }

Endpoint::Endpoint(const char* text) : Endpoint(viewOf(text)) {}
Endpoint::Endpoint(std::string_view text)
    : Endpoint(parse(text).value_or(Endpoint())) {}
Endpoint::Endpoint(in_addr address, std::uint16_t port) noexcept
    : address_(ntohl(address.s_addr)), port_(port) {}
Endpoint::Endpoint(const sockaddr_in& address) noexcept
    : Endpoint(address.sin_addr, ntohs(address.sin_port)) {}

std::optional<Endpoint> Endpoint::parse(std::string_view text) {
  const std::size_t colon = text.find(':');
  const auto address = parseAddress(text.substr(0, colon));
  if (!address) return std::nullopt;
  if (colon == text.npos) return Endpoint(*address);
  const auto port = parsePort(text.substr(colon + 1));
  if (!port) return std::nullopt;
  return Endpoint(*address, *port);
}

sockaddr_in Endpoint::socketAddress() const noexcept {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(address_);
  address.sin_port = htons(port_);
  return address;
}

std::string Endpoint::text() const {
  if (!valid()) return "Invalid";
  const auto part = [&](unsigned shift) {
    return std::to_string(address_ >> shift & 0xff);
  };
  return part(24) + '.' + part(16) + '.' + part(8) + '.' + part(0) + ':' +
         std::to_string(port_);
}

}  // namespace ostrel
