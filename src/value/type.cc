#include <arpa/inet.h>
#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/tags.h>
#include <ostrel/type.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <typeinfo>
#include <utility>

#include "base/pool.h"
#include "base/text.h"
#include "value/identifier.h"
#include "value/scalar.h"
#include "value/tag_table.h"
#include "value/values.h"
#include "value/wire.h"

using namespace ostrel;

// The null value, and what all values share

int veskType::compare(veskType& other) { return tag == other.tag ? 0 : 1; }
int veskType::operator==(veskType& other) { return compare(other) == 0; }
int veskType::operator<(veskType& other) { return compare(other) < 0; }
int veskType::operator>(veskType& other) { return compare(other) > 0; }

unsigned veskType::encode(char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(tag);
  return writer.used();
}

unsigned veskType::decode(char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  if (reader.has(1)) tag = reader.number<std::uint8_t>();
  return reader.used();
}

char* veskType::getString() { return copyText("", 0); }
veskType* veskType::dup() { return new veskType; }
void* veskType::get() { return nullptr; }
void veskType::set() {}

veskType& veskType::operator=(const veskType& other) {
  tag = other.tag;
  return *this;
}

veskType& veskType::operator=(const void*) {
  tag = kTagNull;
  return *this;
}

int veskType::operator==(const void*) { return tag == kTagNull; }

void* veskType::operator new(std::size_t size) { return Pool::allocate(size); }

void* veskType::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Pool::allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void veskType::operator delete(void* block, std::size_t size) noexcept {
  Pool::release(block, size);
}

// 8 and 16 bits

int veskChar::compare(veskType& other) { return compareNarrow(*this, other); }
int veskChar::operator==(veskType& other) { return equalScalars(*this, other); }
unsigned veskChar::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, static_cast<std::uint8_t>(value), buffer, length);
}
unsigned veskChar::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint8_t>(&tag, &value, buffer, length);
}
char* veskChar::getString() { return characterText(static_cast<char>(value)); }
veskType* veskChar::dup() { return new veskChar(value); }

int veskUnsignedChar::compare(veskType& other) {
  return compareNarrow(*this, other);
}
int veskUnsignedChar::operator==(veskType& other) {
  return equalScalars(*this, other);
}
unsigned veskUnsignedChar::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, value, buffer, length);
}
unsigned veskUnsignedChar::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint8_t>(&tag, &value, buffer, length);
}
char* veskUnsignedChar::getString() {
  return characterText(static_cast<char>(value));
}
veskType* veskUnsignedChar::dup() { return new veskUnsignedChar(value); }

int veskShort::compare(veskType& other) { return compareNarrow(*this, other); }
int veskShort::operator==(veskType& other) {
  return equalScalars(*this, other);
}
unsigned veskShort::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, static_cast<std::uint16_t>(value), buffer, length);
}
unsigned veskShort::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint16_t>(&tag, &value, buffer, length);
}
char* veskShort::getString() { return numberText(std::int32_t{value}); }
veskType* veskShort::dup() { return new veskShort(value); }

int veskUnsignedShort::compare(veskType& other) {
  return compareNarrow(*this, other);
}
int veskUnsignedShort::operator==(veskType& other) {
  return equalScalars(*this, other);
}
unsigned veskUnsignedShort::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, value, buffer, length);
}
unsigned veskUnsignedShort::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint16_t>(&tag, &value, buffer, length);
}
char* veskUnsignedShort::getString() {
  return numberText(std::uint32_t{value});
}
veskType* veskUnsignedShort::dup() { return new veskUnsignedShort(value); }

// Numbers with an integer body

int veskInt::compare(veskType& other) { return compareIntegers(*this, other); }
int veskInt::operator==(veskType& other) { return equalIntegers(*this, other); }
unsigned veskInt::encode(char* buffer, unsigned length) {
  return encodeInteger(tag, static_cast<std::uint32_t>(value), buffer, length);
}
unsigned veskInt::decode(char* buffer, unsigned length) {
  return decodeInteger(&tag, &value, buffer, length);
}
char* veskInt::getString() { return numberText(value); }
veskType* veskInt::dup() { return new veskInt(value); }

int veskLong::compare(veskType& other) { return compareIntegers(*this, other); }
int veskLong::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
unsigned veskLong::encode(char* buffer, unsigned length) {
  return encodeInteger(tag, static_cast<std::uint32_t>(value), buffer, length);
}
unsigned veskLong::decode(char* buffer, unsigned length) {
  return decodeInteger(&tag, &value, buffer, length);
}
char* veskLong::getString() { return numberText(value); }
veskType* veskLong::dup() { return new veskLong(value); }

int veskUnsignedInt::compare(veskType& other) {
  return compareIntegers(*this, other);
}
int veskUnsignedInt::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
unsigned veskUnsignedInt::encode(char* buffer, unsigned length) {
  return encodeInteger(tag, value, buffer, length);
}
unsigned veskUnsignedInt::decode(char* buffer, unsigned length) {
  return decodeInteger(&tag, &value, buffer, length);
}
char* veskUnsignedInt::getString() { return numberText(value); }
veskType* veskUnsignedInt::dup() { return new veskUnsignedInt(value); }

int veskUnsignedLong::compare(veskType& other) {
  return compareIntegers(*this, other);
}
int veskUnsignedLong::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
unsigned veskUnsignedLong::encode(char* buffer, unsigned length) {
  return encodeInteger(tag, value, buffer, length);
}
unsigned veskUnsignedLong::decode(char* buffer, unsigned length) {
  return decodeInteger(&tag, &value, buffer, length);
}
char* veskUnsignedLong::getString() { return numberText(value); }
veskType* veskUnsignedLong::dup() { return new veskUnsignedLong(value); }

int veskBool::compare(veskType& other) { return compareIntegers(*this, other); }
int veskBool::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
char* veskBool::getString() {
  return Text().add(value != 0 ? "True" : "False").release();
}
veskType* veskBool::dup() { return new veskBool(value); }

int veskGauge::compare(veskType& other) {
  return compareIntegers(*this, other);
}
int veskGauge::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
veskType* veskGauge::dup() { return new veskGauge(value); }

int veskCounter::compare(veskType& other) {
  return compareIntegers(*this, other);
}
int veskCounter::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
veskType* veskCounter::dup() { return new veskCounter(value); }

int veskTime::compare(veskType& other) { return compareIntegers(*this, other); }
int veskTime::operator==(veskType& other) {
  return equalIntegers(*this, other);
}
veskType* veskTime::dup() { return new veskTime(value); }

// Floating point

int veskFloat::compare(veskType& other) {
  return compareFloating(*this, other);
}
int veskFloat::operator==(veskType& other) {
  return equalScalars(*this, other);
}
unsigned veskFloat::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, bitsOf<std::uint32_t>(value), buffer, length);
}
unsigned veskFloat::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint32_t>(&tag, &value, buffer, length);
}
char* veskFloat::getString() {
  // The largest float has 39 digits before the point.
  char text[64];
  const int length = std::snprintf(text, sizeof text, "%f", double{value});
  return copyText(text, static_cast<std::size_t>(length));
}
veskType* veskFloat::dup() { return copyFloating(*this); }

int veskDouble::compare(veskType& other) {
  return compareFloating(*this, other);
}
int veskDouble::operator==(veskType& other) {
  return equalScalars(*this, other);
}
unsigned veskDouble::encode(char* buffer, unsigned length) {
  return encodeFixed(tag, bitsOf<std::uint64_t>(value), buffer, length);
}
unsigned veskDouble::decode(char* buffer, unsigned length) {
  return decodeFixed<std::uint64_t>(&tag, &value, buffer, length);
}
char* veskDouble::getString() {
  // Kept: programs read the upper half of the bit pattern here.
  const std::uint64_t upper = bitsOf<std::uint64_t>(value) >> 32;
  return numberText(static_cast<std::int32_t>(upper));
}
veskType* veskDouble::dup() { return copyFloating(*this); }

// Identifiers

veskOid::veskOid(const char* text) : veskOid() { set(text); }

int veskOid::compare(veskType& other) {
  return compareIdentifiers(*this, other);
}
int veskOid::operator==(veskType& other) {
  return equalIdentifiers(*this, other);
}
unsigned veskOid::encode(char* buffer, unsigned length) {
  return encodeIdentifier(*this, buffer, length);
}
unsigned veskOid::decode(char* buffer, unsigned length) {
  const unsigned used = decodeIdentifier(*this, buffer, length);
  if (used == 0) valid = 0;
  return used;
}
char* veskOid::getString() { return identifierText(*this); }
veskType* veskOid::dup() { return new veskOid(*this); }

veskOid& veskOid::set(const char* text) {
  parseIdentifier(*this, text);
  return *this;
}
veskOid& veskOid::operator=(const char* text) { return set(text); }
int veskOid::operator==(veskOid& other) {
  return valid == other.valid && sameNumbers(*this, other);
}
int veskOid::operator==(const char* text) {
  veskOid other(text);
  return *this == other;
}
veskOid* veskOid::getClassOid() { return classOf(*this); }

veskAid::veskAid(const char* text) : veskAid() { set(text); }

int veskAid::compare(veskType& other) {
  return compareIdentifiers(*this, other);
}
int veskAid::operator==(veskType& other) {
  return equalIdentifiers(*this, other);
}
unsigned veskAid::encode(char* buffer, unsigned length) {
  return encodeIdentifier(*this, buffer, length);
}
unsigned veskAid::decode(char* buffer, unsigned length) {
  return decodeIdentifier(*this, buffer, length);
}
char* veskAid::getString() { return identifierText(*this); }
veskType* veskAid::dup() { return new veskAid(*this); }

veskAid& veskAid::set(const char* text) {
  parseIdentifier(*this, text);
  return *this;
}
veskAid& veskAid::operator=(const char* text) { return set(text); }
int veskAid::operator==(veskAid& other) {
  return valid == other.valid && sameNumbers(*this, other);
}
int veskAid::operator==(const char* text) {
  veskAid other(text);
  return *this == other;
}
veskOid* veskAid::getClassOid() { return classOf(*this); }

namespace {

// Strings and opaques: an embedded length, then the bytes themselves.

template <class Counted>
unsigned encodeCounted(Counted& self, const char* bytes, std::size_t held,
                       char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(self.tag);
  writer.number(self.length.tag);
  writer.integer(self.length.value);
  // After a failed decode() the length is more than the bytes that are held.
  if (held != self.length.value) writer.fail();
  writer.bytes(bytes, held);
  return writer.used();
}

// Reads the tag and the length. On success all the bytes are at reader.at().
template <class Counted>
bool readLength(ByteReader& reader, Counted& self) {
  if (!reader.has(1)) return false;
  self.tag = reader.number<std::uint8_t>();
  readInteger(reader, &self.length.tag, &self.length.value);
  return reader.has(self.length.value);
}

void freeBytes(char* bytes, std::size_t count) {
  if (bytes != nullptr) Pool::release(bytes, count);
}

inline char* copyBytes(const void* from, unsigned count) {
  void* copy = Pool::allocate(count);
  return static_cast<char*>(std::memcpy(copy, from, count));
}

// Replaces the bytes by a copy of those at `from`, which may overlap the old
// ones.
inline void replaceBytes(const void* from, unsigned count, char*& bytes,
                         std::uint32_t& capacity) {
  char* const copy = copyBytes(from, count);
  freeBytes(bytes, capacity);
  bytes = copy;
  capacity = count;
}

// When one text is the beginning of the other, the longer one is greater.
int orderByLength(int order, std::size_t mine, std::size_t theirs) {
  if (order != 0 || mine == theirs) return order;
  return mine < theirs ? -1 : 1;
}

// How many bytes are held; the length may be larger.
std::size_t heldBytes(const char* bytes, std::uint32_t length,
                      std::uint32_t capacity) {
  return bytes == nullptr ? 0 : std::min(length, capacity);
}

std::size_t held(const veskString& string) {
  return heldBytes(string.text, string.length.value, string.capacity);
}

}  // namespace

// As set(), but there is no old buffer to reuse.
veskString::veskString(const char* s, unsigned n)
    : veskType(kTagString), capacity(0), text(nullptr) {
  if (s == nullptr) return;
  if (n == 0) {
    n = static_cast<unsigned>(std::strlen(s));
    if (n == 0) return;
  }
  text = copyBytes(s, n);
  capacity = length.value = n;
}
veskString::veskString(const veskString& other) : veskString() {
  *this = other;
}
veskString::~veskString() { freeBytes(text, capacity); }

int veskString::compare(veskType& other) {
  if (veskType::compare(other) != 0) return 1;
  auto* same = as<veskString>(other);
  if (same == nullptr) return 1;
  const std::size_t mine = held(*this);
  const std::size_t theirs = held(*same);
  const std::size_t shorter = std::min(mine, theirs);
  const int order = shorter == 0 ? 0 : std::strncmp(text, same->text, shorter);
  return orderByLength(order, mine, theirs);
}
int veskString::operator==(veskType& other) {
  if (veskType::operator==(other) == 0) return 0;
  auto* same = as<veskString>(other);
  return same != nullptr && *this == *same;
}
unsigned veskString::encode(char* buffer, unsigned room) {
  return encodeCounted(*this, text, held(*this), buffer, room);
}
unsigned veskString::decode(char* buffer, unsigned room) {
  ByteReader reader(buffer, room);
  if (!readLength(reader, *this)) return 0;
  const unsigned count = length.value;
  if (count == 0)
    set(nullptr, 0);
  else
    set(reader.at(), count);
  reader.skip(count);
  return reader.used();
}
char* veskString::getString() { return copyText(text, held(*this)); }
veskType* veskString::dup() { return new veskString(*this); }

void veskString::set(const char* s, unsigned n) {
  if (s == nullptr) {
    length.value = 0;
    return;
  }
  if (n == 0) n = static_cast<unsigned>(std::strlen(s));
  if (capacity < n) {
    replaceBytes(s, n, text, capacity);
  } else if (n != 0) {
    std::memmove(text, s, n);
  }
  length.value = n;
}
veskString& veskString::operator=(const char* s) {
  set(s, 0);
  return *this;
}
veskString& veskString::operator=(const veskString& other) {
  const auto count = static_cast<unsigned>(held(other));
  set(count == 0 ? nullptr : other.text, count);
  return *this;
}
char* veskString::get(unsigned* lengthOut) {
  if (lengthOut != nullptr) *lengthOut = length.value;
  return text;
}
int veskString::operator==(veskString& other) {
  const std::size_t count = held(*this);
  if (count != held(other)) return 0;
  return count == 0 || std::memcmp(text, other.text, count) == 0;
}
int veskString::operator==(const char* s) {
  if (s == nullptr) return 0;
  const std::size_t count = held(*this);
  if (std::strlen(s) != count) return 0;
  return count == 0 || std::memcmp(text, s, count) == 0;
}

namespace {

// Two hexadecimal digits and a space.
void addHex(Text* text, unsigned char byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  const char written[] = {kDigits[byte >> 4], kDigits[byte & 0xf], ' '};
  text->add(written, sizeof written);
}

}  // namespace

veskOpaque::veskOpaque() : veskType(kTagOpaque), bytes(nullptr), capacity_(0) {}
veskOpaque::veskOpaque(const void* p, unsigned n) : veskOpaque() { set(p, n); }
veskOpaque::veskOpaque(const veskOpaque& other) : veskOpaque() {
  *this = other;
}
veskOpaque::~veskOpaque() { freeBytes(bytes, capacity_); }

std::size_t veskOpaque::held() const {
  return heldBytes(bytes, length.value, capacity_);
}

int veskOpaque::compare(veskType& other) {
  if (veskType::compare(other) != 0) return 1;
  auto* same = as<veskOpaque>(other);
  if (same == nullptr) return 1;
  const std::size_t mine = held();
  const std::size_t theirs = same->held();
  const std::size_t shorter = std::min(mine, theirs);
  const int order = shorter == 0 ? 0 : std::memcmp(bytes, same->bytes, shorter);
  return orderByLength(order, mine, theirs);
}
int veskOpaque::operator==(veskType& other) {
  if (veskType::operator==(other) == 0) return 0;
  auto* same = as<veskOpaque>(other);
  return same != nullptr && *this == *same;
}
unsigned veskOpaque::encode(char* buffer, unsigned room) {
  return encodeCounted(*this, bytes, held(), buffer, room);
}
unsigned veskOpaque::decode(char* buffer, unsigned room) {
  const unsigned before = length.value;
  ByteReader reader(buffer, room);
  if (!readLength(reader, *this)) return 0;
  const unsigned count = length.value;
  length.value = before;
  set(reader.at(), count);
  reader.skip(count);
  return reader.used();
}
char* veskOpaque::getString() {
  Text text;
  const std::size_t count = held();
  for (std::size_t i = 0; i < count; i++)
    addHex(&text, static_cast<unsigned char>(bytes[i]));
  return text.release();
}
veskType* veskOpaque::dup() { return new veskOpaque(*this); }

void veskOpaque::set(const void* p, unsigned n) {
  if (p == nullptr) n = 0;
  if (length.value < n || capacity_ < n) {
    replaceBytes(p, n, bytes, capacity_);
  } else if (n != 0) {
    std::memmove(bytes, p, n);
  }
  length.value = n;
}
veskOpaque& veskOpaque::operator=(const veskOpaque& other) {
  set(other.bytes, static_cast<unsigned>(other.held()));
  return *this;
}
char* veskOpaque::get(unsigned* lengthOut) {
  if (lengthOut != nullptr) *lengthOut = length.value;
  return bytes;
}
int veskOpaque::operator==(veskOpaque& other) {
  // Kept: the result is inverted. Programs rely on it and use compare()
  // instead.
  const std::size_t count = held();
  if (count == 0 || count != other.held()) return 0;
  return std::memcmp(bytes, other.bytes, count) != 0;
}

namespace {

inline in_addr* newAddress(const in_addr& a) {
  return new (Pool::allocate(sizeof(in_addr))) in_addr(a);
}

void freeAddress(in_addr* addr) {
  if (addr != nullptr) Pool::release(addr, sizeof *addr);
}

}  // namespace

veskAddress::veskAddress(const char* text) : veskAddress() { set(text); }
veskAddress::veskAddress(const in_addr& a)
    : veskType(kTagAddress), family(kIPv4), addr(newAddress(a)) {}
veskAddress::veskAddress(const veskAddress& other) : veskAddress() {
  set(other);
}
veskAddress::~veskAddress() { freeAddress(addr); }

int veskAddress::compare(veskType& other) {
  if (veskType::compare(other) != 0) return 1;
  auto* same = as<veskAddress>(other);
  if (same == nullptr) return 1;
  if (family != same->family) return family - same->family;
  if (addr == nullptr || same->addr == nullptr) return 0;
  return wrappedDifference(ntohl(addr->s_addr), ntohl(same->addr->s_addr));
}
int veskAddress::operator==(veskType& other) {
  if (veskType::operator==(other) == 0) return 0;
  auto* same = as<veskAddress>(other);
  return same != nullptr && *this == *same;
}
unsigned veskAddress::encode(char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(tag);
  writer.number(family);
  if (family == kNoFamily) return writer.used();
  if (family != kIPv4 || addr == nullptr) return 0;
  writer.bytes(addr, sizeof *addr);
  return writer.used();
}
unsigned veskAddress::decode(char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  if (!reader.has(1)) return 0;
  tag = reader.number<std::uint8_t>();
  if (!reader.has(1)) return 0;
  family = reader.number<std::uint8_t>();
  if (family == kNoFamily) {
    set(nullptr);
    return reader.used();
  }
  if (family != kIPv4 || !reader.has(sizeof *addr)) return 0;
  // The new address is made before the old one is freed, so that get() never
  // returns the old pointer.
  in_addr arrived;
  std::memcpy(&arrived, reader.at(), sizeof arrived);
  in_addr* const former = std::exchange(addr, newAddress(arrived));
  freeAddress(former);
  reader.skip(sizeof *addr);
  return reader.used();
}
char* veskAddress::getString() {
  if (family == kNoFamily) return copyText("", 0);
  if (family != kIPv4 || addr == nullptr) return nullptr;
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, addr, text, sizeof text);
  return copyText(text, std::strlen(text));
}
veskType* veskAddress::dup() { return new veskAddress(*this); }

void veskAddress::set(const in_addr& a) {
  if (addr == nullptr)
    addr = newAddress(a);
  else
    *addr = a;
  family = kIPv4;
}
void veskAddress::set(const char* text) {
  in_addr parsed;
  if (text != nullptr && inet_pton(AF_INET, text, &parsed) == 1) {
    set(parsed);
    return;
  }
  family = kNoFamily;
  freeAddress(addr);
  addr = nullptr;
}
void veskAddress::set(const veskAddress& other) {
  if (other.family == kNoFamily)
    set(nullptr);
  else if (other.family == kIPv4 && other.addr != nullptr)
    set(*other.addr);
  else
    family = other.family;
}
veskAddress& veskAddress::operator=(const char* text) {
  set(text);
  return *this;
}
veskAddress& veskAddress::operator=(const in_addr& a) {
  set(a);
  return *this;
}
veskAddress& veskAddress::operator=(const veskAddress& other) {
  set(other);
  return *this;
}
in_addr* veskAddress::get(unsigned* familyOut) {
  if (familyOut != nullptr) *familyOut = family;
  return addr;
}
int veskAddress::operator==(veskAddress& other) {
  if (family != other.family) return 0;
  if (family == kNoFamily) return 1;
  if (family != kIPv4 || addr == nullptr || other.addr == nullptr) return 0;
  return addr->s_addr == other.addr->s_addr;
}
int veskAddress::operator==(const char* text) {
  veskAddress other(text);
  return *this == other;
}

// Lists of values, and the factory

namespace {

void addElements(Text* text, veskList& list) {
  bool isFirst = true;
  for (veskType* value : Elements(list)) {
    if (!isFirst) text->add(", ", 2);
    isFirst = false;
    if (value == nullptr) continue;
    // A list writes directly into the text: copying the text at each level
    // would take time in the square of the depth. Derived classes have texts of
    // their own.
    if (typeid(*value) == typeid(veskList))
      addElements(text, *as<veskList>(value));
    else
      text->take(value->getString());
  }
}

// Two elements; either may be null.
int compareElements(veskType* mine, veskType* theirs) {
  if (mine == nullptr || theirs == nullptr) return mine != theirs;
  return mine->compare(*theirs);
}

}  // namespace

veskList::veskList() : veskType(kTagList) {}
veskList::veskList(const veskList& other)
    : genericList(other), veskType(kTagList) {}
veskList::~veskList() = default;

void veskList::destroy(void* element) {
  freeHeld(static_cast<veskType*>(element));
}

int veskList::compare(veskType& other) {
  if (veskType::compare(other) != 0) return 1;
  auto* same = as<veskList>(other);
  if (same == nullptr) return 1;
  if (count != same->count) return wrappedDifference(count, same->count);
  auto theirs = Elements(*same).begin();
  for (veskType* mine : Elements(*this)) {
    const int order = compareElements(mine, *theirs++);
    if (order != 0) return order;
  }
  return 0;
}

int veskList::operator==(veskType& other) {
  return veskType::operator==(other);
}

unsigned veskList::encode(char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(tag);
  writer.number(std::uint8_t{kTagUnsignedInt});
  writer.integer(count);
  writeElements(writer, *this);
  return writer.used();
}

unsigned veskList::decode(char* buffer, unsigned length) {
  ByteReader reader(buffer, length);
  if (!reader.has(1)) return 0;
  tag = reader.number<std::uint8_t>();
  std::uint8_t countTag = 0;
  std::uint32_t claimed = 0;
  readInteger(reader, &countTag, &claimed);
  if (reader.ok()) readElements(reader, claimed, *this);
  return reader.used();
}

char* veskList::getString() {
  Text text;
  addElements(&text, *this);
  return text.release();
}

veskType* veskList::dup() {
  auto* copy = new veskList;
  for (veskType* element : Elements(*this)) copy->append(copyOf(element));
  return copy;
}

int veskList::operator==(veskList& other) {
  const Elements mine(*this);
  const Elements theirs(other);
  return count == other.count &&
         std::equal(mine.begin(), mine.end(), theirs.begin());
}

veskList& veskList::operator=(const veskList& other) {
  genericList::operator=(other);
  return *this;
}
