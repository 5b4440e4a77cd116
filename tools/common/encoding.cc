#include "common/encoding.h"

#include <limits>

namespace ostrel::tools {
namespace {

constexpr std::size_t kFirstBuffer = 512;

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

Decoding decode(std::string_view bytes) {
  if (bytes.size() > std::numeric_limits<unsigned>::max()) return {};
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

}  // namespace ostrel::tools
