// Reads and writes the values of the asynchronous client, straight between them
// and the bytes: no object of the stated interface is made on the way.

#ifndef OSTREL_SRC_VALUE_CODEC_H
#define OSTREL_SRC_VALUE_CODEC_H

#include <ostrel/attributes.h>
#include <ostrel/identifier.h>
#include <ostrel/value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "value/layout.h"
#include "value/tag_table.h"
#include "value/walk.h"
#include "value/wire.h"

namespace ostrel {

// What Value lets the reader and the writer see.
struct ValueAccess {
  static Value number(Tag tag, std::uint64_t bits) noexcept {
    return Value(tag, bits);
  }
  static Value bytes(Tag tag, std::string_view held) {
    return Value(tag, held);
  }
  static std::uint64_t bits(const Value& value) noexcept {
    return value.body_.bits;
  }
  static std::int64_t whole(const Value& value) noexcept {
    return value.whole();
  }
  static Oid oid(const Value& value) noexcept { return value.oid(); }
  static Aid aid(const Value& value) noexcept { return value.aid(); }
};

// Whether values of this type hold bytes: of a text, or their own encoding.
bool holdsBytes(Tag tag) noexcept;

// The one part that an encoded value of this type consists of beside its tag.
// kEnd for what has several, or no class: it is kept as its bytes.
inline Part partOf(Tag tag) {
  const Layout& layout = layoutOf(tag);
  return layout.parts[1] == kEnd ? layout.parts[0] : kEnd;
}

// What one answer may cost.
struct DecodeLimits {
  std::size_t values = kMostValues;  // counts down; an attribute is one, too
  unsigned nesting = kMaxNesting;    // levels of values inside one another
  std::size_t owed = 0;  // bytes at least that lists being read still need
};

// How much room writing takes at most: numbers may need less.
std::size_t roomFor(const Oid& oid) noexcept;
std::size_t roomFor(const Aid& aid) noexcept;
std::size_t roomFor(const Value& value) noexcept;
std::size_t roomFor(const Attribute& attribute) noexcept;
std::size_t roomFor(const Term& term) noexcept;
std::size_t roomFor(const Object& object) noexcept;
std::size_t roomFor(const Attributes& attributes) noexcept;    // a list
std::size_t roomFor(const std::vector<Term>& terms) noexcept;  // a list
std::size_t roomFor(const std::vector<Aid>& wanted) noexcept;  // a list of
                                                               // attributes

// Each writes a whole value, its tag included; without the room the writer
// fails.
void write(ByteWriter& writer, const Oid& oid);
void write(ByteWriter& writer, const Aid& aid);
void write(ByteWriter& writer, const Value& value);
void write(ByteWriter& writer, const Attribute& attribute);
void write(ByteWriter& writer, const Term& term);
void write(ByteWriter& writer, const Object& object);
void write(ByteWriter& writer, const Attributes& attributes);
void write(ByteWriter& writer, const std::vector<Term>& terms);
void write(ByteWriter& writer, const std::vector<Aid>& wanted);

// Each reads what the matching class of the stated interface does: where the
// layout says what comes next, tags are not looked at. On bytes that are no
// such value the reader fails, and *out may hold a part. Only for want of
// memory do they throw.
//
// A list that is a member of a PDU is no level of nesting, its elements are
// one: pass kMaxNesting - 1 there, as the PDU is one itself.
void read(ByteReader& reader, Oid* out);
void read(ByteReader& reader, Aid* out);
void read(ByteReader& reader, Value* out, DecodeLimits& limits);
void read(ByteReader& reader, Attribute* out, DecodeLimits& limits);
void read(ByteReader& reader, Term* out, DecodeLimits& limits);
void read(ByteReader& reader, Object* out, DecodeLimits& limits);
void read(ByteReader& reader, Attributes* out, DecodeLimits& limits);
void read(ByteReader& reader, std::vector<Object>* out, DecodeLimits& limits);
void read(ByteReader& reader, Values* out, DecodeLimits& limits);

// The item errors of an answer. The identifiers are left for the caller, who
// knows what was asked.
void read(ByteReader& reader, std::vector<ItemError>* out,
          DecodeLimits& limits);

// What decoding these bytes as a T gives, if they are one and nothing else.
template <class T>
bool readWhole(std::string_view bytes, T* out) {
  ByteReader reader(bytes.data(), bytes.size());
  DecodeLimits limits;
  read(reader, out, limits);
  return reader.ok() && reader.left() == 0;
}

// The encoding by itself.
template <class T>
std::string encodeWhole(const T& value) {
  std::string bytes(roomFor(value), '\0');
  ByteWriter writer(&bytes[0], bytes.size());
  write(writer, value);
  bytes.resize(writer.used());
  return bytes;
}

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUE_CODEC_H
