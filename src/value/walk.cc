#include "value/walk.h"

#include <ostrel/codes.h>
#include <ostrel/encoding.h>
#include <ostrel/tags.h>
#include <ostrel/type.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "value/identifier.h"
#include "value/layout.h"
#include "value/tag_table.h"
#include "value/wire.h"

namespace ostrel {
namespace {

// What is done with the parts that a walk has checked: nothing.
struct Measuring {
  void tag(std::uint8_t) {}
  void integer(std::uint32_t) {}
  void bytes(const char*, std::size_t) {}
};

// They are written as encoding writes them, over the bytes that were read
// already: no part becomes longer.
class Rewriting {
 public:
  explicit Rewriting(char* to) : begin_(to), to_(to) {}

  void tag(std::uint8_t byte) { *to_++ = static_cast<char>(byte); }
  void integer(std::uint32_t value) { to_ = storeInteger(to_, value); }
  void bytes(const char* from, std::size_t count) {
    std::memmove(to_, from, count);
    to_ += count;
  }
  unsigned used() const { return static_cast<unsigned>(to_ - begin_); }

 private:
  char* begin_;
  char* to_;
};

// The tag of a member.
constexpr std::uint8_t memberTag(Part kind) {
  switch (kind) {
    case kOne:
      return kTagChar;
    case kInteger:
      return kTagUnsignedInt;
    case kSigned:
      return kTagInt;
    case kTruth:
      return kTagBool;
    case kCounted:
      return kTagString;
    case kOid:
      return kTagOid;
    case kAid:
      return kTagAid;
    case kList:
      return kTagList;
    default:
      return kTagNull;
  }
}

// Walks with one small frame for each level of nesting.
template <class Output>
class Walker {
 public:
  Walker(const char* bytes, unsigned length, Output& output)
      : reader_(bytes, length), output_(output) {}

  // One value, with at most this many levels of nesting.
  void value(unsigned nesting) {
    ByteReader ahead = reader_;
    const auto own = ahead.number<std::uint8_t>();
    const Layout& layout = layoutOf(own);
    const bool known = layout.parts[0] != kEnd;
    if (!ahead.ok() || !known) return reader_.fail();
    values_++;
    if (layout.nests && nesting-- == 0) return reader_.fail();
    part(layout.parts[0], own, nesting);
    for (const Part* at = layout.parts + 1; *at != kEnd && reader_.ok(); at++)
      part(*at, memberTag(*at), nesting);
  }

  Walked result() const { return {reader_.used(), values_}; }

 private:
  void part(Part kind, std::uint8_t ownTag, unsigned nesting) {
    if (kind == kOptional) return values(flag() ? 1 : 0, nesting);
    tag(ownTag);
    switch (kind) {
      case kOne:
        return bytes(1);
      case kTwo:
        return bytes(2);
      case kFour:
        return bytes(4);
      case kEight:
        return bytes(8);
      case kInteger:
      case kSigned:
      case kTruth:
        return static_cast<void>(integer());
      case kCounted:
        return bytes(length());
      case kOid:
        return identifier(kComponents<veskOid>);
      case kAid:
        return identifier(kComponents<veskAid>);
      case kAddress:
        return address();
      case kPDUHeader:
        return header();
      case kList:
        return values(length(), nesting);
      default:
        return;
    }
  }

  void header() {
    tag(kTagInt), integer();
    tag(kTagUnsignedInt), integer();
    tag(kTagOid), identifier(kComponents<veskOid>);
  }

  // Every value takes at least one byte, so even a false count ends with the
  // input.
  void values(std::uint32_t count, unsigned nesting) {
    for (; count != 0 && reader_.ok(); count--) value(nesting);
  }

  void identifier(unsigned components) {
    if (!flag()) return;
    for (; components != 0 && reader_.ok(); components--) integer();
  }

  void address() {
    const auto family = reader_.number<std::uint8_t>();
    output_.tag(family);
    if (family == kIPv4) return bytes(sizeof(in_addr));
    if (family != kNoFamily) reader_.fail();
  }

  void bytes(std::size_t count) {
    if (!reader_.has(count)) return;
    output_.bytes(reader_.at(), count);
    reader_.skip(count);
  }

  // An unsigned int before what it counts.
  std::uint32_t length() {
    tag(kTagUnsignedInt);
    return integer();
  }

  std::uint32_t integer() {
    const std::uint32_t value = reader_.integer();
    output_.integer(value);
    return value;
  }

  bool flag() {
    const bool set = reader_.number<std::uint8_t>() != 0;
    output_.tag(set ? 1 : 0);
    return set;
  }

  // Whatever tag is there, this is the one that belongs there.
  void tag(std::uint8_t right) {
    reader_.number<std::uint8_t>();
    output_.tag(right);
  }

  ByteReader reader_;
  Output& output_;
  unsigned values_ = 0;
};

}  // namespace

Walked walkValues(const char* bytes, unsigned length, unsigned nesting) {
  Measuring nothing;
  Walker walker(bytes, length, nothing);
  walker.value(nesting);
  return walker.result();
}

unsigned walkValue(const char* bytes, unsigned length) {
  return walkValues(bytes, length).used;
}

std::optional<Measured> measureValue(const void* bytes, unsigned length) {
  const Walked walked = walkValues(static_cast<const char*>(bytes), length);
  if (walked.used == 0) return std::nullopt;
  return Measured{walked.used, walked.values};
}

unsigned canonicalizeValue(void* bytes, unsigned length) {
  auto* const buffer = static_cast<char*>(bytes);
  // What does not decode is left alone, so it has to be known before.
  const unsigned used = walkValue(buffer, length);
  if (used == 0) return 0;
  Rewriting output(buffer);
  Walker walker(buffer, used, output);
  walker.value(kMaxNesting);
  return output.used();
}

}  // namespace ostrel
