// Fragments for scripted peers, written from the layout and without the
// library's code: the bytes of a datagram, cutting up a message, and putting
// its datagrams together.

#ifndef OSTREL_TESTS_SUPPORT_FRAGMENTS_H
#define OSTREL_TESTS_SUPPORT_FRAGMENTS_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/bytes.h"
#include "support/fake_platform.h"

namespace fake {

// The bytes of a hex literal as a string.
inline std::string raw(const char* digits) {
  const ostrel::test::Bytes bytes = ostrel::test::hex(digits);
  return std::string(bytes.begin(), bytes.end());
}

// The hex digits of a string, for comparing with a literal.
inline std::string digits(const std::string& bytes) {
  return ostrel::test::toHex(
      reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

// `size` bytes that differ from one place to the next.
inline std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xff);
  }
  return bytes;
}

inline void appendNumber(std::string& bytes, unsigned long number, int width) {
  for (int i = width - 1; i >= 0; --i) {
    bytes += static_cast<char>(number >> (8 * i) & 0xff);
  }
}

inline unsigned long numberAt(const std::string& bytes, std::size_t at,
                              int width) {
  unsigned long number = 0;
  for (int i = 0; i < width; ++i) {
    const char byte = bytes.at(at + static_cast<std::size_t>(i));
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return number;
}

constexpr std::size_t kHeader = 16;
constexpr std::size_t kFragment = 1456;

// One datagram, with any header.
inline std::string fragment(unsigned id, unsigned count, unsigned number,
                            unsigned long total, unsigned long offset,
                            const std::string& data, unsigned version = 1) {
  std::string bytes;
  appendNumber(bytes, version, 2);
  appendNumber(bytes, id, 2);
  appendNumber(bytes, count, 2);
  appendNumber(bytes, number, 2);
  appendNumber(bytes, total, 4);
  appendNumber(bytes, offset, 4);
  return bytes + data;
}

// The datagrams of one message, in order.
inline std::vector<std::string> fragments(unsigned id,
                                          const std::string& message) {
  const std::size_t count = (message.size() + kFragment - 1) / kFragment;
  std::vector<std::string> result;
  for (std::size_t i = 0; i < count; ++i) {
    result.push_back(fragment(id, static_cast<unsigned>(count),
                              static_cast<unsigned>(i), message.size(),
                              i * kFragment,
                              message.substr(i * kFragment, kFragment)));
  }
  return result;
}

// Sends a whole message from a peer.
inline void sendMessage(const Peer& peer, const sockaddr_in& to, unsigned id,
                        const std::string& message) {
  for (const std::string& bytes : fragments(id, message)) peer.send(to, bytes);
}

// Puts together the datagrams that reach a peer.
class Assembler {
 public:
  // The message that this datagram completes, or "".
  std::string take(const Datagram& datagram) {
    const std::string& bytes = datagram.bytes;
    if (bytes.size() <= kHeader) return "";
    const unsigned long count = numberAt(bytes, 4, 2);
    if (count == 1) return bytes.substr(kHeader);
    const Key key{text(datagram.from), numberAt(bytes, 2, 2)};
    std::map<unsigned long, std::string>& parts = parts_[key];
    parts[numberAt(bytes, 6, 2)] = bytes.substr(kHeader);
    if (parts.size() < count) return "";
    std::string message;
    for (const auto& part : parts) message += part.second;
    parts_.erase(key);
    return message;
  }

 private:
  using Key = std::pair<std::string, unsigned long>;
  std::map<Key, std::map<unsigned long, std::string>> parts_;
};

}  // namespace fake

#endif  // OSTREL_TESTS_SUPPORT_FRAGMENTS_H
