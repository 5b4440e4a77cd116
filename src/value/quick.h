// Shortcuts for attributes with plain values, which large answers consist of.
//
// The general code takes 363 instructions to read and free one attribute: it
// makes three checked readers, and three virtual calls to free the attribute.
// The code here checks once that an attribute and its value fit, and makes no
// virtual call for a value whose class is certain. It leaves unusual values to
// the general code: those with little room, a long number, an invalid
// identifier or a program's own class. A shortcut does exactly what the general
// code does, or returns null: what it has written by then the general code
// writes again.

#ifndef OSTREL_SRC_QUICK_H
#define OSTREL_SRC_QUICK_H

#include <ostrel/codes.h>
#include <ostrel/type.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "base/pool.h"
#include "value/identifier.h"
#include "value/values.h"
#include "value/wire.h"

namespace ostrel {
namespace quick {

// The longest plain value, not counting the text of strings: an object
// identifier.
constexpr std::size_t kValueRoom = 1 + kIdentifierRoom<veskOid>;

template <class Value>
[[gnu::always_inline]] inline Value* make(Pool::Lists& pool) {
  return new (pool.allocate(sizeof(Value))) Value;
}

// Reading

// Each of these reads a value at `from` into *out. At least kValueRoom bytes
// can be read there; `end` is the end of the input. They return the place after
// the value, or null when they have read nothing.

template <class Value>
const char* readInteger(Pool::Lists& pool, const char* from, veskType** out) {
  // Without a branch for small numbers: a processor cannot predict a value's
  // size.
  const std::size_t count = static_cast<unsigned char>(from[1]);
  std::uint32_t bytes;
  if (count > sizeof bytes) return nullptr;
  std::memcpy(&bytes, from + 2, sizeof bytes);
  const auto number = static_cast<std::uint32_t>(
      std::uint64_t{bigEndian(bytes)} >> (32 - 8 * count));
  const char* const behind = from + 2 + count;
  auto* value = make<Value>(pool);
  value->value = static_cast<decltype(value->value)>(number);
  *out = value;
  return behind;
}

template <class Value, class Bits>
const char* readFixed(Pool::Lists& pool, const char* from, veskType** out) {
  Bits bits;
  std::memcpy(&bits, from + 1, sizeof bits);
  bits = bigEndian(bits);
  auto* value = make<Value>(pool);
  std::memcpy(&value->value, &bits, sizeof bits);
  *out = value;
  return from + 1 + sizeof bits;
}

// The numbers of an identifier; enough bytes for the longest can be read.
template <unsigned count>
[[gnu::always_inline]] inline const char* readNumbers(
    const char* from, std::uint32_t* component) {
  if constexpr (count == 0) {
    return from;
  } else {
    const char* const behind = loadInteger(from, component);
    if (behind == nullptr) return nullptr;
    return readNumbers<count - 1>(behind, component + 1);
  }
}

inline const char* readOid(Pool::Lists& pool, const char* from,
                           veskType** out) {
  if (from[1] == 0) return nullptr;
  std::uint32_t component[4];
  const char* const at = readNumbers<4>(from + 2, component);
  if (at == nullptr) return nullptr;
  auto* value = make<veskOid>(pool);
  value->valid = 1;
  std::memcpy(value->component, component, sizeof component);
  *out = value;
  return at;
}

inline const char* readString(Pool::Lists& pool, const char* from,
                              const char* end, veskType** out) {
  std::uint32_t count;
  const char* const text = loadInteger(from + 2, &count);
  if (text == nullptr || text > end) return nullptr;
  if (static_cast<std::size_t>(end - text) < count) return nullptr;
  auto* value = make<veskString>(pool);
  *out = value;
  value->length.tag = static_cast<std::uint8_t>(from[1]);
  if (count == 0) return text;
  value->text = static_cast<char*>(pool.allocate(count));
  value->capacity = value->length.value = count;
  std::memcpy(value->text, text, count);
  return text + count;
}

inline const char* readAddress(Pool::Lists& pool, const char* from,
                               veskType** out) {
  if (from[1] != kIPv4) return nullptr;
  auto* value = make<veskAddress>(pool);
  *out = value;
  value->addr = new (pool.allocate(sizeof(in_addr))) in_addr;
  value->family = kIPv4;
  std::memcpy(value->addr, from + 2, sizeof(in_addr));
  return from + 2 + sizeof(in_addr);
}

[[gnu::always_inline]] inline const char* readValue(Pool::Lists& pool,
                                                    const char* from,
                                                    const char* end,
                                                    veskType** out) {
  switch (static_cast<unsigned char>(*from)) {
    case kTagInt:
      return readInteger<veskInt>(pool, from, out);
    case kTagUnsignedInt:
      return readInteger<veskUnsignedInt>(pool, from, out);
    case kTagBool:
      return readInteger<veskBool>(pool, from, out);
    case kTagTime:
      return readInteger<veskTime>(pool, from, out);
    case kTagUnsignedShort:
      return readFixed<veskUnsignedShort, std::uint16_t>(pool, from, out);
    case kTagDouble:
      return readFixed<veskDouble, std::uint64_t>(pool, from, out);
    case kTagString:
      return readString(pool, from, end, out);
    case kTagAddress:
      return readAddress(pool, from, out);
    case kTagOid:
      return readOid(pool, from, out);
    default:
      return nullptr;
  }
}

// Writing

// Each of these writes a value of this very class at `to`. At least kValueRoom
// bytes are free there; `end` is the end of the buffer. They return the place
// after the value, or null to leave it to the general code.

template <class Value>
char* writeInteger(char* to, const veskType& value) {
  if (!isExactly<Value>(value)) return nullptr;
  to[0] = static_cast<char>(value.tag);
  const auto& integer = static_cast<const Value&>(value);
  return storeInteger(to + 1, static_cast<std::uint32_t>(integer.value));
}

template <class Value, class Bits>
char* writeFixed(char* to, const veskType& value) {
  if (!isExactly<Value>(value)) return nullptr;
  to[0] = static_cast<char>(value.tag);
  Bits bits;
  std::memcpy(&bits, &static_cast<const Value&>(value).value, sizeof bits);
  bits = bigEndian(bits);
  std::memcpy(to + 1, &bits, sizeof bits);
  return to + 1 + sizeof bits;
}

// A tag, the validity and the numbers of a valid identifier.
template <class Identifier>
[[gnu::always_inline]] inline char* writeValid(char* to,
                                               const Identifier& identifier) {
  to[0] = static_cast<char>(identifier.tag);
  to[1] = 1;
  to = storeInteger(to + 2, identifier.component[0]);
  to = storeInteger(to, identifier.component[1]);
  to = storeInteger(to, identifier.component[2]);
  if constexpr (kComponents<Identifier> == 4)
    to = storeInteger(to, identifier.component[3]);
  return to;
}

inline char* writeOid(char* to, const veskType& value) {
  if (!isExactly<veskOid>(value)) return nullptr;
  const auto& oid = static_cast<const veskOid&>(value);
  return oid.valid == 1 ? writeValid(to, oid) : nullptr;
}

inline char* writeString(char* to, const char* end, const veskType& value) {
  if (!isExactly<veskString>(value)) return nullptr;
  const auto& string = static_cast<const veskString&>(value);
  const std::uint32_t count = string.length.value;
  const bool isHeld = count <= string.capacity && string.text != nullptr;
  if (count != 0 && !isHeld) return nullptr;
  to[0] = static_cast<char>(value.tag);
  to[1] = static_cast<char>(string.length.tag);
  char* const text = storeInteger(to + 2, count);
  if (static_cast<std::size_t>(end - text) < count) return nullptr;
  if (count != 0) std::memcpy(text, string.text, count);
  return text + count;
}

inline char* writeAddress(char* to, const veskType& value) {
  if (!isExactly<veskAddress>(value)) return nullptr;
  const auto& address = static_cast<const veskAddress&>(value);
  if (address.family != kIPv4 || address.addr == nullptr) return nullptr;
  to[0] = static_cast<char>(value.tag);
  to[1] = kIPv4;
  std::memcpy(to + 2, address.addr, sizeof *address.addr);
  return to + 2 + sizeof *address.addr;
}

[[gnu::always_inline]] inline char* writeValue(char* to, const char* end,
                                               const veskType& value) {
  switch (value.tag) {
    case kTagInt:
      return writeInteger<veskInt>(to, value);
    case kTagUnsignedInt:
      return writeInteger<veskUnsignedInt>(to, value);
    case kTagBool:
      return writeInteger<veskBool>(to, value);
    case kTagTime:
      return writeInteger<veskTime>(to, value);
    case kTagUnsignedShort:
      return writeFixed<veskUnsignedShort, std::uint16_t>(to, value);
    case kTagDouble:
      return writeFixed<veskDouble, std::uint64_t>(to, value);
    case kTagString:
      return writeString(to, end, value);
    case kTagAddress:
      return writeAddress(to, value);
    case kTagOid:
      return writeOid(to, value);
    default:
      return nullptr;
  }
}

// Freeing
//
// By a table and not by a switch: a processor mispredicts the branches of a
// switch when values of different kinds come in no order.

// The class that a tag stands for, and what its values own.
struct Plain {
  const std::type_info* type = nullptr;  // null: not one of these
  Pool::Place place;                     // of its memory
  bool owns = false;                     // a text or an address
};

struct PlainTable {
  Plain of[256] = {};
};

template <class Value>
constexpr void addPlain(PlainTable& table, Tag tag, bool owns = false) {
  static_assert(sizeof(Value) <= Pool::kLargest);
  table.of[tag] = {&typeid(Value), Pool::Place(sizeof(Value)), owns};
}

constexpr PlainTable plainTable() {
  PlainTable table;
  addPlain<veskInt>(table, kTagInt);
  addPlain<veskUnsignedInt>(table, kTagUnsignedInt);
  addPlain<veskBool>(table, kTagBool);
  addPlain<veskTime>(table, kTagTime);
  addPlain<veskUnsignedShort>(table, kTagUnsignedShort);
  addPlain<veskDouble>(table, kTagDouble);
  addPlain<veskString>(table, kTagString, true);
  addPlain<veskAddress>(table, kTagAddress, true);
  addPlain<veskOid>(table, kTagOid);
  return table;
}

inline constexpr PlainTable kPlain = plainTable();

inline void freeOwned(Pool::Lists& pool, veskType* value) {
  if (value->tag == kTagString) {
    auto* string = static_cast<veskString*>(value);
    if (string->text != nullptr) pool.release(string->text, string->capacity);
  } else {
    auto* address = static_cast<veskAddress*>(value);
    if (address->addr != nullptr)
      pool.release(address->addr, sizeof *address->addr);
  }
}

// Frees a value of one of these classes. Returns whether it was one.
[[gnu::always_inline]] inline bool freeValue(Pool::Lists& pool,
                                             veskType* value) {
  const Plain& plain = kPlain.of[value->tag];
  if (plain.type != &typeid(*value)) return false;
  if (plain.owns) freeOwned(pool, value);
  pool.releaseTo(plain.place, value);
  return true;
}

}  // namespace quick
}  // namespace ostrel

#endif  // OSTREL_SRC_QUICK_H
