#include "common/encoding.h"

#include <ostrel/encoding.h>

#include <limits>

namespace ostrel::tools {
namespace {

constexpr std::size_t kFirstBuffer = 512;

// As many zeros are the rest of a value of any class: its members are empty.
constexpr std::size_t kEmptyMembers = 64;

bool tooLong(std::string_view bytes) {
  return bytes.size() > std::numeric_limits<unsigned>::max();
}

}  // namespace

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

std::optional<std::string> canonical(veskType& value, std::size_t limit) {
  auto bytes = encoded(value, limit);
  if (!bytes) return std::nullopt;
  const unsigned used =
      canonicalizeValue(bytes->data(), static_cast<unsigned>(bytes->size()));
  if (used == 0) return std::nullopt;
  bytes->resize(used);
  return bytes;
}

std::optional<std::size_t> valuesIn(std::string_view bytes) {
  if (tooLong(bytes)) return std::nullopt;
  const auto measured =
      measureValue(bytes.data(), static_cast<unsigned>(bytes.size()));
  if (!measured || measured->used != bytes.size()) return std::nullopt;
  return measured->values;
}

Decoding decode(std::string_view bytes) {
  if (tooLong(bytes)) return {};
  // The library's buffers are not const; decoding does not write to them.
  auto* buffer = const_cast<char*>(bytes.data());
  veskType* value = nullptr;
  const unsigned used = veskType::decodeCreate(
      buffer, static_cast<unsigned>(bytes.size()), &value);
  return {Owned<veskType>(value), used};
}

Owned<veskType> decoded(std::string_view bytes) {
  Decoding decoding = decode(bytes);
  if (decoding.used == 0 || decoding.used != bytes.size()) return nullptr;
  return std::move(decoding.value);
}

Owned<veskType> decodedCanonically(std::string_view bytes) {
  std::string copy(bytes);
  copy.resize(
      canonicalizeValue(copy.data(), static_cast<unsigned>(copy.size())));
  return decoded(copy);
}

Owned<veskPDU> headerIn(std::string_view bytes) {
  if (bytes.empty() || tooLong(bytes)) return nullptr;
  std::string empty(1 + kEmptyMembers, '\0');
  empty[0] = bytes[0];
  canonicalizeValue(empty.data(), static_cast<unsigned>(empty.size()));
  Owned<veskType> value = decode(empty).value;
  auto pdu = takeAs<veskPDU>(value);
  veskPDU header(pdu != nullptr ? pdu->tag : 0U);
  if (pdu == nullptr ||
      header.decode(const_cast<char*>(bytes.data()),
                    static_cast<unsigned>(bytes.size())) == 0) {
    return nullptr;
  }
  pdu->status.value = header.status.value;
  pdu->requestId.value = header.requestId.value;
  pdu->principal = header.principal;
  return pdu;
}

}  // namespace ostrel::tools
