#include "base/values.h"

#include <arpa/inet.h>
#include <ostrel/veskError.h>

#include <cstdlib>
#include <iterator>
#include <limits>
#include <typeinfo>

namespace ostrel::tools::server {
namespace {

constexpr std::size_t kFirstBuffer = 512;
constexpr unsigned kClassComponents = 2;

Order order(double left, double right) {
  if (left < right) return Order::kLess;
  if (left > right) return Order::kGreater;
  return left == right ? Order::kEqual : Order::kDifferent;
}

Order order(std::string_view left, std::string_view right) {
  const int difference = left.compare(right);
  if (difference == 0) return Order::kEqual;
  return difference < 0 ? Order::kLess : Order::kGreater;
}

template <class Number>
bool take(veskType& value, double* number) {
  auto* typed = dynamic_cast<Number*>(&value);
  if (typed == nullptr) return false;
  *number = static_cast<double>(typed->value);
  return true;
}

std::string_view bytesOf(const char* bytes, unsigned length) {
  return bytes == nullptr ? std::string_view()
                          : std::string_view(bytes, length);
}

// The bytes of a text or of counted bytes.
bool bytesIn(veskType& value, std::string_view* bytes) {
  unsigned length = 0;
  if (auto* string = dynamic_cast<veskString*>(&value)) {
    const char* held = string->get(&length);
    *bytes = bytesOf(held, length);
    return true;
  }
  if (auto* opaque = dynamic_cast<veskOpaque*>(&value)) {
    const char* held = opaque->get(&length);
    *bytes = bytesOf(held, length);
    return true;
  }
  return false;
}

// An invalid identifier comes before every valid one.
template <class Identifier>
Order orderIdentifiers(const Identifier& left, const Identifier& right) {
  if (left.valid != right.valid)
    return left.valid < right.valid ? Order::kLess : Order::kGreater;
  for (std::size_t i = 0; i < std::size(left.component); ++i) {
    if (left.component[i] == right.component[i]) continue;
    return left.component[i] < right.component[i] ? Order::kLess
                                                  : Order::kGreater;
  }
  return Order::kEqual;
}

Order orderAddresses(veskAddress& left, veskAddress& right) {
  const in_addr* a = left.get(nullptr);
  const in_addr* b = right.get(nullptr);
  if (a == nullptr || b == nullptr)
    return a == b ? Order::kEqual : Order::kDifferent;
  return order(static_cast<double>(ntohl(a->s_addr)),
               static_cast<double>(ntohl(b->s_addr)));
}

bool sameElements(veskList& left, veskList& right) {
  if (left.count != right.count) return false;
  listPointer* other = right.head.next;
  bool same = true;
  forEach(left, [&](unsigned, veskType* element) {
    auto* counterpart = static_cast<veskType*>(other->data);
    other = other->next;
    if (!same) return;
    same = element != nullptr && counterpart != nullptr &&
           compareValues(*element, *counterpart) == Order::kEqual;
  });
  return same;
}

bool sameEncoding(veskType& left, veskType& right) {
  const auto a = encoded(left, kLongestValue);
  const auto b = encoded(right, kLongestValue);
  return a.has_value() && a == b;
}

}  // namespace

void DestroyValue::operator()(veskType* value) const {
  // What we built ourselves has to be emptied by us.
  if (auto* pdu = dynamic_cast<veskPDU*>(value)) pdu->clear();
  veskType::destroyDecoded(value);
}

void OwnedList::moveTo(veskList* other) {
  forEach(*this, [&](unsigned, veskType* element) { other->append(element); });
  clear(0);
}

std::optional<std::string> encoded(veskType& value, std::size_t limit) {
  // Some classes ask for more room than they then use, so the buffer may be
  // longer than the limit.
  std::string buffer;
  for (std::size_t size = kFirstBuffer;; size *= 2) {
    buffer.resize(size);
    const unsigned used =
        value.encode(buffer.data(), static_cast<unsigned>(size));
    if (used > limit || (used == 0 && size > limit)) return std::nullopt;
    if (used == 0) continue;
    buffer.resize(used);
    return buffer;
  }
}

Owned<veskType> decoded(std::string_view bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return nullptr;
  // The library's buffers are not const; decoding does not write to them.
  auto* buffer = const_cast<char*>(bytes.data());
  veskType* value = nullptr;
  const unsigned used = veskType::decodeCreate(
      buffer, static_cast<unsigned>(bytes.size()), &value);
  Owned<veskType> owned(value);
  if (used == 0 || used != bytes.size()) return nullptr;
  return owned;
}

Owned<veskType> copyOf(veskType& value) {
  // Copies of some classes share what they hold; bytes share nothing.
  const auto bytes = encoded(value, kLongestValue);
  return bytes ? decoded(*bytes) : nullptr;
}

std::string text(veskType& value) {
  char* printed = value.getString();
  std::string result = printed == nullptr ? "" : printed;
  std::free(printed);
  return result;
}

std::string text(in_addr address) {
  char printed[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, printed, sizeof printed);
  return printed;
}

std::string text(const sockaddr_in& address) {
  return text(address.sin_addr) + ":" + std::to_string(ntohs(address.sin_port));
}

bool isUnicast(in_addr address) {
  const std::uint32_t number = ntohl(address.s_addr);
  return number != INADDR_ANY && !IN_MULTICAST(number) && !IN_BADCLASS(number);
}

std::optional<double> numberIn(veskType& value) {
  double number = 0;
  if (take<veskInt>(value, &number) || take<veskUnsignedInt>(value, &number) ||
      take<veskShort>(value, &number) ||
      take<veskUnsignedShort>(value, &number) ||
      take<veskLong>(value, &number) ||
      take<veskUnsignedLong>(value, &number) ||
      take<veskChar>(value, &number) ||
      take<veskUnsignedChar>(value, &number) ||
      take<veskFloat>(value, &number) || take<veskDouble>(value, &number)) {
    return number;
  }
  return std::nullopt;
}

Order compareValues(veskType& left, veskType& right) {
  const auto a = numberIn(left);
  const auto b = numberIn(right);
  if (a && b) return order(*a, *b);
  if (a || b) return Order::kDifferent;

  // Text and counted bytes are different things, even where the bytes are the
  // same.
  if (typeid(left) != typeid(right)) return Order::kDifferent;
  std::string_view bytes;
  std::string_view otherBytes;
  if (bytesIn(left, &bytes) && bytesIn(right, &otherBytes))
    return order(bytes, otherBytes);
  if (auto* oid = dynamic_cast<veskOid*>(&left))
    return orderIdentifiers(*oid, dynamic_cast<veskOid&>(right));
  if (auto* aid = dynamic_cast<veskAid*>(&left))
    return orderIdentifiers(*aid, dynamic_cast<veskAid&>(right));
  if (auto* address = dynamic_cast<veskAddress*>(&left))
    return orderAddresses(*address, dynamic_cast<veskAddress&>(right));
  if (auto* list = dynamic_cast<veskList*>(&left)) {
    return sameElements(*list, dynamic_cast<veskList&>(right))
               ? Order::kEqual
               : Order::kDifferent;
  }
  return sameEncoding(left, right) ? Order::kEqual : Order::kDifferent;
}

bool containsValue(veskType& whole, veskType& part) {
  if (auto* list = dynamic_cast<veskList*>(&whole)) {
    bool found = false;
    forEach(*list, [&](unsigned, veskType* element) {
      if (!found && element != nullptr)
        found = compareValues(*element, part) == Order::kEqual;
    });
    return found;
  }
  std::string_view bytes;
  std::string_view wanted;
  if (typeid(whole) != typeid(part)) return false;
  if (!bytesIn(whole, &bytes) || !bytesIn(part, &wanted)) return false;
  return bytes.find(wanted) != std::string_view::npos;
}

veskOid classOf(const veskOid& oid) {
  veskOid result = oid;
  for (std::size_t i = kClassComponents; i < std::size(result.component); ++i)
    result.component[i] = 0;
  return result;
}

bool isClass(const veskOid& oid) {
  return oid.valid != 0 && oid.component[2] == 0 && oid.component[3] == 0;
}

void addError(veskList* errors, unsigned index, int code) {
  errors->append(new veskError(index, code));
}

}  // namespace ostrel::tools::server
