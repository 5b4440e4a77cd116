#include "value/walk.h"

#include <ostrel/codes.h>
#include <ostrel/type.h>

#include <cstddef>
#include <cstdint>

#include "value/identifier.h"
#include "value/layout.h"
#include "value/tag_table.h"
#include "value/wire.h"

namespace ostrel {
namespace {

// Walks with one small frame for each level of nesting.
class Walker {
 public:
  Walker(const char* bytes, unsigned length) : reader_(bytes, length) {}

  // One value, with at most this many levels of nesting.
  void value(unsigned nesting) {
    ByteReader ahead = reader_;
    const Layout& layout = layoutOf(ahead.number<std::uint8_t>());
    const bool known = layout.parts[0] != kEnd;
    if (!ahead.ok() || !known) return reader_.fail();
    values_++;
    if (layout.nests && nesting-- == 0) return reader_.fail();
    for (const Part* at = layout.parts; *at != kEnd && reader_.ok(); at++)
      part(*at, nesting);
  }

  Walked result() const { return {reader_.used(), values_}; }

 private:
  void part(Part kind, unsigned nesting) {
    switch (kind) {
      case kEnd:
        return;
      case kTag:
      case kDefault:
        return tag();
      case kOne:
        return tag(), bytes(1);
      case kTwo:
        return tag(), bytes(2);
      case kFour:
        return tag(), bytes(4);
      case kEight:
        return tag(), bytes(8);
      case kInteger:
        return static_cast<void>(integer());
      case kCounted:
        return tag(), bytes(integer());
      case kOid:
        return identifier(kComponents<veskOid>);
      case kAid:
        return identifier(kComponents<veskAid>);
      case kAddress:
        return address();
      case kPDUHeader:
        tag();
        integer();
        integer();
        return identifier(kComponents<veskOid>);
      case kList:
        tag();
        return values(integer(), nesting);
      case kOptional:
        return values(byte() != 0 ? 1 : 0, nesting);
    }
  }

  // Every value takes at least one byte, so even a false count ends with the
  // input.
  void values(std::uint32_t count, unsigned nesting) {
    for (; count != 0 && reader_.ok(); count--) value(nesting);
  }

  void identifier(unsigned components) {
    tag();
    if (byte() == 0) return;
    for (; components != 0 && reader_.ok(); components--) reader_.integer();
  }

  void address() {
    tag();
    const std::uint8_t family = byte();
    if (family == kIPv4) return bytes(sizeof(in_addr));
    if (family != kNoFamily) reader_.fail();
  }

  void bytes(std::size_t count) {
    if (reader_.has(count)) reader_.skip(count);
  }

  std::uint32_t integer() {
    tag();
    return reader_.integer();
  }
  void tag() { byte(); }
  std::uint8_t byte() { return reader_.number<std::uint8_t>(); }

  ByteReader reader_;
  unsigned values_ = 0;
};

}  // namespace

Walked walkValues(const char* bytes, unsigned length, unsigned nesting) {
  Walker walker(bytes, length);
  walker.value(nesting);
  return walker.result();
}

unsigned walkValue(const char* bytes, unsigned length) {
  return walkValues(bytes, length).used;
}

}  // namespace ostrel
