// What veskOid and veskAid share: a validity, and four numbers or three.

#ifndef OSTREL_SRC_IDENTIFIER_H
#define OSTREL_SRC_IDENTIFIER_H

#include <ostrel/type.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/text.h"
#include "value/component.h"
#include "value/scalar.h"
#include "value/values.h"
#include "value/wire.h"

namespace ostrel {

constexpr unsigned kFewestComponents = 2;

template <class Identifier>
constexpr unsigned kComponents = sizeof(Identifier::component) /
                                 sizeof(std::uint32_t);

// How many characters of a text are looked at.
template <class Identifier>
constexpr std::size_t kTextLimit = 12 * kComponents<Identifier>;

// The room that encode() needs after the tag: the validity and numbers of full
// length.
template <class Identifier>
constexpr std::size_t kIdentifierRoom =
    1 + kIntegerRoom* kComponents<Identifier>;

// Text that ends with a NUL, or after `most` characters.
template <class Identifier>
void parseIdentifier(Identifier& self, const char* text,
                     std::size_t most = kTextLimit<Identifier>) {
  self.valid = 0;
  if (text == nullptr) return;
  const char* const end =
      text + strnlen(text, std::min(most, kTextLimit<Identifier>));
  unsigned read = 0;
  while (text != end) {
    if (*text == '.') {
      text++;
      continue;
    }
    const char* token = text;
    while (text != end && *text != '.') text++;
    if (read == kComponents<Identifier>) return;
    const auto length = static_cast<std::size_t>(text - token);
    if (!parseComponent(token, length, &self.component[read])) return;
    read++;
  }
  if (read < kFewestComponents) return;
  while (read < kComponents<Identifier>) self.component[read++] = 0;
  self.valid = 1;
}

template <class Identifier>
bool sameNumbers(const Identifier& a, const Identifier& b) {
  return std::memcmp(a.component, b.component, sizeof a.component) == 0;
}

template <class Identifier>
int compareIdentifiers(Identifier& self, veskType& other) {
  if (self.veskType::compare(other) != 0) return 1;
  Identifier* same = as<Identifier>(other);
  if (same == nullptr) return 1;
  if (self.valid != same->valid)
    return wrappedDifference(self.valid, same->valid);
  for (unsigned i = 0; i < kComponents<Identifier>; i++) {
    if (self.component[i] == same->component[i]) continue;
    return self.component[i] < same->component[i] ? -1 : 1;
  }
  return 0;
}

template <class Identifier>
int equalIdentifiers(Identifier& self, veskType& other) {
  if (self.veskType::operator==(other) == 0) return 0;
  Identifier* same = as<Identifier>(other);
  return same != nullptr && self == *same;
}

template <class Identifier>
inline void writeIdentifier(ByteWriter& writer, const Identifier& self) {
  writer.number(self.tag);
  if (!writer.room(kIdentifierRoom<Identifier>)) return;
  const auto validity = static_cast<std::uint8_t>(self.valid);
  writer.number(validity);
  if (validity == 0) return;
  char* at = writer.at();
  for (const std::uint32_t number : self.component)
    at = storeInteger(at, number);
  writer.moveTo(at);
}

template <class Identifier>
unsigned encodeIdentifier(Identifier& self, char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writeIdentifier(writer, self);
  return writer.used();
}

// Reads the components one by one, with every check. Kept: `count` begins as
// the number of bytes after the validity, but only the length bytes are
// subtracted from it. So it is less strict than the end of the buffer, which
// still holds. Only at the end of the buffer is the identifier made invalid.
template <class Identifier>
void readComponents(ByteReader& reader, Identifier& self) {
  std::size_t count = reader.left();
  for (std::uint32_t& number : self.component) {
    const std::size_t significant = reader.number<std::uint8_t>();
    count--;
    if (reader.ok() && significant > count) return reader.fail();
    if (!reader.has(significant)) {
      self.valid = 0;
      return;
    }
    number = reader.significant(significant);
  }
  self.valid = 1;
}

template <class Identifier>
inline void readIdentifier(ByteReader& reader, Identifier& self) {
  if (!reader.has(1)) return;
  self.tag = reader.number<std::uint8_t>();
  if (!reader.has(1)) return;
  self.valid = reader.number<std::uint8_t>();
  if (self.valid == 0) return;
  readComponents(reader, self);
}

template <class Identifier>
unsigned decodeIdentifier(Identifier& self, char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  readIdentifier(reader, self);
  return reader.used();
}

template <class Identifier>
char* identifierText(const Identifier& self) {
  Text text;
  if (self.valid == 0) return text.add("Invalid").release();
  for (const std::uint32_t& number : self.component) {
    if (&number != self.component) text.add(".", 1);
    text.add(number);
  }
  return text.release();
}

template <class Identifier>
veskOid* classOf(const Identifier& self) {
  if (self.valid == 0) return nullptr;
  auto* classOid = new veskOid;
  classOid->valid = 1;
  classOid->component[0] = self.component[0];
  classOid->component[1] = self.component[1];
  return classOid;
}

}  // namespace ostrel

#endif  // OSTREL_SRC_IDENTIFIER_H
