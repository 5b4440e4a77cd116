// The header of a fragment, and its bytes.

#ifndef OSTREL_TOOLS_OSTRELD_NET_FRAGMENT_H
#define OSTREL_TOOLS_OSTRELD_NET_FRAGMENT_H

#include <ostrel/codes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ostrel::tools::server {

struct Fragment {
  std::uint16_t version = kFragmentVersion;
  std::uint16_t id = 0;      // of the message
  std::uint16_t count = 0;   // fragments of the message
  std::uint16_t number = 0;  // of this one, from 0
  std::uint32_t total = 0;   // bytes of the message
  std::uint32_t offset = 0;  // where in the message this one's bytes belong

  using Bytes = std::array<unsigned char, kFragmentHeader>;
  Bytes bytes() const;

  // The datagram has at least kFragmentHeader bytes.
  static Fragment of(std::string_view datagram);
};

// How many fragments a message of so many bytes has.
constexpr std::size_t fragmentsOf(std::size_t bytes) {
  return (bytes + kFragmentData - 1) / kFragmentData;
}

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_FRAGMENT_H
