// A hash of bytes that strangers choose: without the key nobody can make bytes
// whose hashes collide. It is SipHash-2-4, the same on every machine, so that
// it may be stored.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_KEYED_HASH_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_KEYED_HASH_H

#include <array>
#include <cstdint>
#include <string_view>

namespace ostrel::tools::server {

using HashKey = std::array<std::uint64_t, 2>;

// A key that nobody can know.
HashKey randomHashKey();

std::uint64_t keyedHash(const HashKey& key, std::string_view bytes);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_KEYED_HASH_H
