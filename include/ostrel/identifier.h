// Identifiers of objects and attributes as plain C++ values, and the address of
// a server: what the asynchronous client names things by. They are copied,
// compared, ordered, hashed and printed like numbers.

#ifndef OSTREL_IDENTIFIER_H
#define OSTREL_IDENTIFIER_H

#include <netinet/in.h>
#include <ostrel/codes.h>
#include <ostrel/export.h>
#include <ostrel/type.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace ostrel {

// Gives a class its operators, from its compare() and its text(). Either side
// may also be what makes one: oid == "59.6.0.0".
template <class Self>
class Ordered {
  friend constexpr bool operator==(const Self& a, const Self& b) noexcept {
    return a.compare(b) == 0;
  }
  friend constexpr bool operator!=(const Self& a, const Self& b) noexcept {
    return a.compare(b) != 0;
  }
  friend constexpr bool operator<(const Self& a, const Self& b) noexcept {
    return a.compare(b) < 0;
  }
  friend constexpr bool operator>(const Self& a, const Self& b) noexcept {
    return a.compare(b) > 0;
  }
  friend constexpr bool operator<=(const Self& a, const Self& b) noexcept {
    return a.compare(b) <= 0;
  }
  friend constexpr bool operator>=(const Self& a, const Self& b) noexcept {
    return a.compare(b) >= 0;
  }
  friend std::ostream& operator<<(std::ostream& out, const Self& self) {
    return out << self.text();
  }
};

// What object and attribute identifiers share: so many numbers, or no
// identifier at all. All invalid ones are equal and come before the valid ones,
// which are ordered by their numbers, the first difference first.
template <std::size_t count>
class Identifier {
 public:
  using Numbers = std::array<std::uint32_t, count>;

  constexpr bool valid() const noexcept { return valid_; }

  // The numbers, all 0 when the identifier is not valid.
  constexpr const Numbers& numbers() const noexcept { return numbers_; }

  // Three-way: negative, 0 or positive.
  constexpr int compare(const Identifier& other) const noexcept {
    if (valid_ != other.valid_) return valid_ ? 1 : -1;
    for (std::size_t i = 0; i < count; i++) {
      if (numbers_[i] != other.numbers_[i])
        return numbers_[i] < other.numbers_[i] ? -1 : 1;
    }
    return 0;
  }

  std::size_t hash() const noexcept {
    std::uint64_t mixed = valid_ ? 1 : 0;
    for (const std::uint32_t number : numbers_) {
      mixed = (mixed ^ number) * 0x9e3779b97f4a7c15u;
      mixed ^= mixed >> 32;
    }
    return static_cast<std::size_t>(mixed);
  }

 protected:
  constexpr Identifier() noexcept = default;
  constexpr explicit Identifier(const Numbers& numbers) noexcept
      : numbers_(numbers), valid_(true) {}

 private:
  Numbers numbers_{};
  bool valid_ = false;
};

// Names an object or a class: four numbers, "59.6.0.0". The first two name the
// class; the other two are 0 in the identifier of a class.
//
// Text is what veskOid takes: two to four numbers with dots between, those that
// are missing 0, each decimal, octal after "0" or hexadecimal after "0x"; of a
// longer text the first 48 characters count. Any other text, null included,
// makes an identifier that is not valid.
class OSTREL_API Oid : public Identifier<4>, public Ordered<Oid> {
 public:
  constexpr Oid() noexcept = default;  // not valid
  constexpr Oid(std::uint32_t a, std::uint32_t b, std::uint32_t c = 0,
                std::uint32_t d = 0) noexcept
      : Identifier(Numbers{{a, b, c, d}}) {}
  Oid(const char* text);
  Oid(std::string_view text);
  Oid(const std::string& text) : Oid(std::string_view(text)) {}
  Oid(const veskOid& other);

  // The class of this object; not valid when this is not.
  constexpr Oid classOid() const noexcept {
    return valid() ? Oid(numbers()[0], numbers()[1]) : Oid();
  }

  // "59.6.0.0", or "Invalid". It makes the same identifier again.
  std::string text() const;

  veskOid vesk() const;
};

// Names an attribute, an action or an event: three numbers, "59.6.1", the first
// two those of the class. Text is as with Oid, but that 36 characters count.
class OSTREL_API Aid : public Identifier<3>, public Ordered<Aid> {
 public:
  constexpr Aid() noexcept = default;  // not valid
  constexpr Aid(std::uint32_t a, std::uint32_t b, std::uint32_t c = 0) noexcept
      : Identifier(Numbers{{a, b, c}}) {}
  Aid(const char* text);
  Aid(std::string_view text);
  Aid(const std::string& text) : Aid(std::string_view(text)) {}
  Aid(const veskAid& other);

  constexpr Oid classOid() const noexcept {
    return valid() ? Oid(numbers()[0], numbers()[1]) : Oid();
  }
  std::string text() const;
  veskAid vesk() const;
};

// The IPv4 address and port of a server.
//
// Text is four decimal numbers from 0 to 255 with dots between and, if the port
// is not that of object servers, a colon and a port from 1 to 65535:
// "10.0.0.7", "10.0.0.7:5300". Any other text, a host name or null for
// instance, makes an endpoint that is not valid: no name is looked up here.
class OSTREL_API Endpoint : public Ordered<Endpoint> {
 public:
  constexpr Endpoint() noexcept = default;  // not valid: port 0
  Endpoint(const char* text);
  Endpoint(std::string_view text);
  Endpoint(const std::string& text) : Endpoint(std::string_view(text)) {}

  // The address is a number in host byte order.
  constexpr explicit Endpoint(std::uint32_t address,
                              std::uint16_t port = kObjectServerPort) noexcept
      : address_(address), port_(port) {}
  explicit Endpoint(in_addr address,
                    std::uint16_t port = kObjectServerPort) noexcept;
  Endpoint(const sockaddr_in& address) noexcept;

  // The endpoint that the text names, or nothing.
  static std::optional<Endpoint> parse(std::string_view text);

  // Whether there is a port to send to.
  constexpr bool valid() const noexcept { return port_ != 0; }

  // Host byte order.
  constexpr std::uint32_t address() const noexcept { return address_; }
  constexpr std::uint16_t port() const noexcept { return port_; }

  sockaddr_in socketAddress() const noexcept;

  // "10.0.0.7:5135", always with the port.
  std::string text() const;

  // By address, then by port.
  constexpr int compare(const Endpoint& other) const noexcept {
    if (address_ != other.address_) return address_ < other.address_ ? -1 : 1;
    return int{port_} - int{other.port_};
  }
  std::size_t hash() const noexcept {
    const std::uint64_t both = std::uint64_t{address_} << 16 | port_;
    return static_cast<std::size_t>((both * 0x9e3779b97f4a7c15u) >> 24);
  }

 private:
  std::uint32_t address_ = 0;
  std::uint16_t port_ = 0;
};

// Hashes what has a hash() of its own.
template <class Self>
struct Hash {
  std::size_t operator()(const Self& self) const noexcept {
    return self.hash();
  }
};

}  // namespace ostrel

namespace std {
template <>
struct hash<ostrel::Oid> : ostrel::Hash<ostrel::Oid> {};
template <>
struct hash<ostrel::Aid> : ostrel::Hash<ostrel::Aid> {};
template <>
struct hash<ostrel::Endpoint> : ostrel::Hash<ostrel::Endpoint> {};
}  // namespace std

#endif  // OSTREL_IDENTIFIER_H
