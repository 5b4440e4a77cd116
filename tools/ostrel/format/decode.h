// Bytes to values: what `ostrel decode` does, and what --trace shows of a
// datagram.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_DECODE_H
#define OSTREL_TOOLS_OSTREL_FORMAT_DECODE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/encoding.h"
#include "format/json.h"

namespace ostrel::tools::cli {

// The header of a datagram, as include/ostrel/datagram.h describes it, and what
// follows it.
struct Datagram {
  unsigned messageId = 0;
  unsigned fragmentCount = 0;
  unsigned fragment = 0;
  std::uint32_t totalLength = 0;
  std::uint32_t offset = 0;
  std::string data;
};

// Takes a datagram apart. Returns why a receiver refuses it, or "".
std::string readDatagram(std::string_view bytes, Datagram* datagram);

// Whether two datagrams are the same fragment of the same message. A receiver
// does not mind a fragment that arrives twice.
bool sameFragment(const Datagram& a, const Datagram& b);

// "message 7, fragment 1 of 2, bytes 0 to 1455 of 2000".
std::string datagramText(const Datagram& datagram);
Json datagramJson(const Datagram& datagram);

// One value that was read, and how.
struct Decoded {
  std::vector<Datagram> datagrams;  // those that carried it; may be none
  std::string bytes;                // the whole encoding
  Owned<veskType> value;            // null when it could not be decoded
  std::size_t used = 0;             // how many of the bytes it took
  std::string problem;              // why there is no value, or empty
};

// Decodes each input: a datagram, which begins with a byte 0, or an encoded
// value, PDUs included, of which the null value alone is such a byte. The
// fragments of one message make one result, whatever their order and although
// some are there twice.
std::vector<Decoded> decodeAll(const std::vector<std::string>& inputs);

std::string decodedText(const Decoded& decoded);
Json decodedJson(const Decoded& decoded);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_DECODE_H
