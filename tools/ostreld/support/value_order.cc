#include "support/value_order.h"

#include <ostrel/elements.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <typeinfo>

#include "common/encoding.h"
#include "common/value_types.h"
#include "support/limits.h"

namespace ostrel::tools::server {
namespace {

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

// The bytes of a text or of counted bytes.
template <class Class>
std::string_view bytesOf(Class& value) {
  unsigned length = 0;
  const char* bytes = value.get(&length);
  return bytes == nullptr ? std::string_view()
                          : std::string_view(bytes, length);
}

std::optional<std::string_view> bytesIn(veskType& value) {
  if (auto* string = dynamic_cast<veskString*>(&value)) return bytesOf(*string);
  if (auto* opaque = dynamic_cast<veskOpaque*>(&value)) return bytesOf(*opaque);
  return std::nullopt;
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
  const Elements all(left), others(right);
  return left.count == right.count &&
         std::equal(all.begin(), all.end(), others.begin(),
                    [](veskType* a, veskType* b) {
                      return a != nullptr && b != nullptr &&
                             compareValues(*a, *b) == Order::kEqual;
                    });
}

// Takes no longer than the left value is long: a list's elements are compared
// one after another with one value, which may be as long as all of them.
bool sameEncoding(veskType& left, veskType& right) {
  const auto a = encoded(left, kLongestValue);
  return a.has_value() && encoded(right, a->size()) == a;
}

// In time that grows with the sum of both lengths, whatever the bytes: find()
// of a string compares the part again at every place where its first byte is.
bool containsBytes(std::string_view whole, std::string_view part) {
  if (part.empty() || whole.size() < part.size()) return part.empty();
  return memmem(whole.data(), whole.size(), part.data(), part.size()) !=
         nullptr;
}

}  // namespace

Order compareValues(veskType& left, veskType& right) {
  const auto a = numberIn(left);
  const auto b = numberIn(right);
  if (a && b) return order(*a, *b);
  if (a || b) return Order::kDifferent;

  // Text and counted bytes are different things, even where the bytes are the
  // same.
  if (typeid(left) != typeid(right)) return Order::kDifferent;
  const auto bytes = bytesIn(left);
  const auto otherBytes = bytesIn(right);
  if (bytes && otherBytes) return order(*bytes, *otherBytes);
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
    const Elements all(*list);
    return std::any_of(all.begin(), all.end(), [&](veskType* element) {
      return element != nullptr &&
             compareValues(*element, part) == Order::kEqual;
    });
  }
  if (typeid(whole) != typeid(part)) return false;
  const auto bytes = bytesIn(whole);
  const auto wanted = bytesIn(part);
  return bytes && wanted && containsBytes(*bytes, *wanted);
}

}  // namespace ostrel::tools::server
