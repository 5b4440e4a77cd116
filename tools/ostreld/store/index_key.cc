#include "store/index_key.h"

#include <netinet/in.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

#include "common/encoding.h"
#include "common/value_types.h"
#include "support/limits.h"

namespace ostrel::tools::server {
namespace {

// The first byte of a key. Values of two kinds have no order.
enum Kind : char {
  kNumber = 'N',
  kText = 'S',
  kBytes = 'B',
  kObject = 'O',
  kAttribute = 'A',
  kAddress = 'I',
  kList = 'L',
  kOther = 'X',
};

constexpr std::uint64_t kSign = std::uint64_t{1} << 63;

template <class Number>
void append(std::string* key, Number number) {
  for (int shift = 8 * (static_cast<int>(sizeof number) - 1); shift >= 0;
       shift -= 8)
    key->push_back(static_cast<char>(number >> shift & 0xFF));
}

// The bits of a number have its order when those of a negative one are turned
// round. Both zeros are one number.
std::string numberKey(double number) {
  if (number == 0) number = 0;
  std::uint64_t bits;
  static_assert(sizeof bits == sizeof number);
  std::memcpy(&bits, &number, sizeof bits);
  std::string key(1, kNumber);
  append(&key, (bits & kSign) != 0 ? ~bits : bits | kSign);
  return key;
}

std::string bytesKey(Kind kind, std::string_view bytes) {
  std::string key(1, kind);
  key.append(bytes.substr(0, kLongestKey));
  return key;
}

template <class Class>
std::string countedKey(Kind kind, Class& value) {
  unsigned length = 0;
  const char* bytes = value.get(&length);
  return bytesKey(kind, bytes == nullptr ? std::string_view()
                                         : std::string_view(bytes, length));
}

template <class Identifier>
std::string identifierKey(Kind kind, const Identifier& id) {
  std::string key(1, kind);
  key.push_back(id.valid != 0 ? 1 : 0);
  for (const std::uint32_t number : id.component) append(&key, number);
  return key;
}

std::string addressKey(veskAddress& address) {
  std::string key(1, kAddress);
  const in_addr* host = address.get(nullptr);
  if (host != nullptr) append(&key, std::uint32_t{ntohl(host->s_addr)});
  return key;
}

// The first elements' keys after their number.
std::string listKey(veskList& list) {
  std::string key(1, kList);
  append(&key, std::uint32_t{list.count});
  for (veskType* element : Elements(list)) {
    if (key.size() > kLongestKey) break;
    if (element != nullptr) key += indexKey(*element).value_or("");
  }
  key.resize(std::min(key.size(), 1 + kLongestKey));
  return key;
}

}  // namespace

std::optional<std::string> indexKey(veskType& value) {
  if (const auto number = numberIn(value)) {
    if (std::isnan(*number)) return std::nullopt;
    return numberKey(*number);
  }
  if (auto* text = dynamic_cast<veskString*>(&value))
    return countedKey(kText, *text);
  if (auto* opaque = dynamic_cast<veskOpaque*>(&value))
    return countedKey(kBytes, *opaque);
  if (auto* oid = dynamic_cast<veskOid*>(&value))
    return identifierKey(kObject, *oid);
  if (auto* aid = dynamic_cast<veskAid*>(&value))
    return identifierKey(kAttribute, *aid);
  if (auto* address = dynamic_cast<veskAddress*>(&value))
    return addressKey(*address);
  if (auto* list = dynamic_cast<veskList*>(&value)) return listKey(*list);
  const auto bytes = encoded(value, kLongestValue);
  if (!bytes) return std::nullopt;
  return bytesKey(kOther, *bytes);
}

std::optional<std::string> indexKeyOf(std::string_view encoding) {
  const Owned<veskType> value = decoded(encoding);
  return value == nullptr ? std::nullopt : indexKey(*value);
}

std::optional<KeyRange> keysFor(unsigned operation, veskType& given) {
  // Before every key and after every key of its kind.
  const auto key = indexKey(given);
  const std::string first = key ? key->substr(0, 1) : "";
  const std::string last = first + std::string(1 + kLongestKey, '\xFF');
  switch (operation) {
    case kOperatorEquals:
      return key ? KeyRange{*key, *key} : KeyRange{};
    case kOperatorLess:
    case kOperatorLessOrEqual:
      return key ? KeyRange{first, *key} : KeyRange{};
    case kOperatorGreater:
    case kOperatorGreaterOrEqual:
      return key ? KeyRange{*key, last} : KeyRange{};
    default:
      return std::nullopt;
  }
}

}  // namespace ostrel::tools::server
