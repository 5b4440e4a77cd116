// Every value class: what the library sends, stores or prints is a veskType.
// A value knows its one-byte tag, its bytes, its text and its copy, and
// nothing else. Attributes, errors, PDUs and descriptions are values as well
// and have headers of their own.

#ifndef OSTREL_TYPE_H
#define OSTREL_TYPE_H

#include <netinet/in.h>
#include <ostrel/export.h>
#include <ostrel/list.h>
#include <ostrel/tags.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

class veskType;

namespace ostrel {
template <class Value>
using IfValue = std::enable_if_t<std::is_convertible_v<Value*, veskType*>, int>;
}  // namespace ostrel

// The base of all values, and by itself the null value (tag 0).
//
// What holds for every value class:
// - encode() writes the value into `buffer`, which has room for `length`
//   bytes, and returns the bytes written; 0 means that the room does not do,
//   and the buffer's contents are then unspecified. Every member of the
//   integer family asks for 6 bytes of room and identifiers for 22 and 17,
//   however few bytes they then write.
// - decode() reads the value from the first bytes of `buffer`, never past
//   `length`, and returns the bytes consumed; 0 means that they are no such
//   value, and the value may then be changed in part. The tag byte is taken
//   over as it stands: choose the class first, or call decodeCreate().
// - getString() returns text from malloc that the caller frees.
// - dup() returns a new value that the caller deletes.
// - compare() returns 0 for equal, and else a number whose sign orders values
//   of one class where that class says so. Values with different tags, and
//   values of unrelated classes, give 1.
// - operator== returns 1 or 0. Comparing with 0 asks whether a value is null,
//   assigning 0 makes it null: that changes the tag and nothing else. Classes
//   that take text (veskOid, veskAid, veskString, veskAddress) take 0 for a
//   null text instead; say so through a veskType& of theirs.
class OSTREL_API veskType {
 public:
  veskType() : tag(ostrel::kTagNull) {}  // null

  // Takes the low 8 bits of `type` for its tag. (Explicit, or a number assigned
  // to one of the classes below could be meant for the tag as well.)
  explicit veskType(unsigned type) : tag(static_cast<std::uint8_t>(type)) {}
  veskType(const veskType& other) : tag(other.tag) {}

  virtual ~veskType() = default;
  virtual int compare(veskType& other);
  virtual int operator==(veskType& other);
  virtual int operator<(veskType& other);  // compare() is negative
  virtual int operator>(veskType& other);  // compare() is greater than 0
  virtual unsigned encode(char* buffer, unsigned length);
  virtual unsigned decode(char* buffer, unsigned length);
  virtual char* getString();

  // Kept: of a plain veskType this is a new null value whatever its own tag.
  virtual veskType* dup();

  // Placeholders; classes with something to get or set have their own.
  void* get();
  void set();

  // Kept: copies the other value's tag and nothing else.
  veskType& operator=(const veskType& other);

  // Makes the value null; the argument is 0 and is ignored.
  veskType& operator=(const void* null);

  // 1 when the value is null; the argument is 0 and is ignored.
  int operator==(const void* null);

  // Makes the value whose encoding stands at `buffer`: an object of the class
  // that the first byte names, which is stored in *out and belongs to the
  // caller. Returns the bytes consumed, or 0:
  // - with length 0, *out is as it was;
  // - with a tag that no class has, *out is null;
  // - with bytes that are no such value, *out is the object as far as it got:
  //   release it with destroyDecoded().
  // Values inside values are read to a depth of 2048 and no further.
  static unsigned decodeCreate(char* buffer, unsigned length, veskType** out);

  // Frees a value that decodeCreate() handed over, whole or not, with all that
  // can be reached from it: elements of lists, lists of PDUs, default values.
  // Null is allowed. Ordinary delete leaves those to their owners.
  static void destroyDecoded(veskType* value);

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block, std::size_t size) noexcept;

  std::uint8_t tag;  // names the class on the wire; 0: null
};

// Whole numbers, truth values and times of fixed width. All have a public
// `value`, which default constructors set to 0 and others to their argument.
// "Long" means 32 bits. compare() returns the difference of the values, 32-bit
// differences with wrap-around: Kept: a difference that overflows orders the
// wrong way.

// Signed 8 bits; prints as the character itself.
class OSTREL_API veskChar : public veskType {
 public:
  veskChar(const signed char initial = 0)
      : veskType(ostrel::kTagChar), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::int8_t value;
};

// Signed 16 bits.
class OSTREL_API veskShort : public veskType {
 public:
  veskShort(const short initial = 0)
      : veskType(ostrel::kTagShort), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::int16_t value;
};

// Signed 32 bits.
class OSTREL_API veskInt : public veskType {
 public:
  veskInt(const int initial = 0) : veskType(ostrel::kTagInt), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::int32_t value;
};

// Signed 32 bits; of a wider argument the low 32 bits are kept.
class OSTREL_API veskLong : public veskType {
 public:
  veskLong(const long initial = 0)
      : veskType(ostrel::kTagLong), value(static_cast<std::int32_t>(initial)) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::int32_t value;
};

// Unsigned 8 bits; prints as the character itself.
class OSTREL_API veskUnsignedChar : public veskType {
 public:
  veskUnsignedChar(const unsigned char initial = 0)
      : veskType(ostrel::kTagUnsignedChar), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::uint8_t value;
};

// Unsigned 16 bits.
class OSTREL_API veskUnsignedShort : public veskType {
 public:
  veskUnsignedShort(const unsigned short initial = 0)
      : veskType(ostrel::kTagUnsignedShort), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::uint16_t value;
};

// Unsigned 32 bits.
class OSTREL_API veskUnsignedInt : public veskType {
 public:
  veskUnsignedInt(const unsigned int initial = 0)
      : veskType(ostrel::kTagUnsignedInt), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::uint32_t value;
};

// Unsigned 32 bits; of a wider argument the low 32 bits are kept.
class OSTREL_API veskUnsignedLong : public veskType {
 public:
  veskUnsignedLong(const unsigned long initial = 0)
      : veskType(ostrel::kTagUnsignedLong),
        value(static_cast<std::uint32_t>(initial)) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  std::uint32_t value;
};

// IEEE-754 single precision. compare() returns the difference cut to a whole
// number, so values less than 1 apart are neither less nor greater; outside
// the range of an int it is the nearest int, and with a NaN 0. operator==
// asks for exactly equal values.
class OSTREL_API veskFloat : public veskType {
 public:
  veskFloat(const float initial = 0.0f)
      : veskType(ostrel::kTagFloat), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  float value;
};

// IEEE-754 double precision; compares as veskFloat does.
// Kept: prints the upper 32 bits of its bit pattern as a signed number, so
// that 1.0 reads 1072693248.
class OSTREL_API veskDouble : public veskType {
 public:
  veskDouble(const double initial = 0.0)
      : veskType(ostrel::kTagDouble), value(initial) {}
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  double value;
};

// True (not 0) or false; the number itself is kept. Prints "True" or "False".
class OSTREL_API veskBool : public veskUnsignedInt {
 public:
  veskBool(const unsigned int initial = 0) : veskUnsignedInt(initial) {
    tag = ostrel::kTagBool;
  }
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;
};

// A measured level. decodeCreate() does not know its tag.
class OSTREL_API veskGauge : public veskUnsignedInt {
 public:
  veskGauge(const unsigned int initial = 0) : veskUnsignedInt(initial) {
    tag = ostrel::kTagGauge;
  }
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;
};

// A number that only grows. decodeCreate() does not know its tag.
class OSTREL_API veskCounter : public veskUnsignedInt {
 public:
  veskCounter(const unsigned int initial = 0) : veskUnsignedInt(initial) {
    tag = ostrel::kTagCounter;
  }
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;
};

// Calendar seconds; prints as their number.
class OSTREL_API veskTime : public veskUnsignedInt {
 public:
  veskTime(const unsigned int initial = 0) : veskUnsignedInt(initial) {
    tag = ostrel::kTagTime;
  }
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;
};

// Names an object or a class: up to four numbers, "59.6.0.0". The first two
// name the class; the other two are 0 in the identifier of a class.
//
// Text is two to four numbers with dots between, each decimal, octal after
// "0" or hexadecimal after "0x", at most 4294967295; of a longer text the
// first 48 characters count. Text that is no identifier, null included, makes
// the identifier invalid: it then prints as "Invalid".
class OSTREL_API veskOid : public veskType {
 public:
  veskOid() : veskType(ostrel::kTagOid), valid(0), component() {}  // invalid
  veskOid(const char* text);  // as operator=
  veskOid(veskOid& classOid, unsigned a, unsigned b) : veskOid() {
    set(classOid, a, b);
  }
  veskOid(const veskOid& other) : veskOid() { set(other); }

  // Orders by the numbers, the first difference first; an invalid identifier
  // comes before a valid one.
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;

  // Object (a, b) of a class. Invalid, with the numbers left as they were,
  // unless `classOid` is valid and ends in 0.0.
  void set(veskOid& classOid, unsigned a, unsigned b) {
    const bool isClass = classOid.valid != 0 && classOid.component[2] == 0 &&
                         classOid.component[3] == 0;
    valid = isClass ? 1 : 0;
    if (!isClass) return;
    component[0] = classOid.component[0];
    component[1] = classOid.component[1];
    component[2] = a;
    component[3] = b;
  }
  veskOid& set(const veskOid& other) {
    valid = other.valid;
    for (int i = 0; i < 4; i++) component[i] = other.component[i];
    return *this;
  }
  veskOid& set(const char* text);
  veskOid& operator=(const veskOid& other) { return set(other); }
  veskOid& operator=(const char* text);

  // 1 when validity and all numbers are equal, whatever the tags.
  int operator==(veskOid& other);

  // Kept: an invalid identifier equals any text that is no identifier, if the
  // numbers left over are the same.
  int operator==(const char* text);

  // The class of this object as a new identifier, which the caller deletes;
  // null when this one is invalid.
  veskOid* getClassOid();

  std::uint32_t valid;         // 1 or 0
  std::uint32_t component[4];  // numbers that were not given are 0
};

// Names an attribute, an action or an event: up to three numbers, "59.6.1",
// the first two those of the class. Everything else is as with veskOid, but
// that 36 characters of text count.
class OSTREL_API veskAid : public veskType {
 public:
  veskAid() : veskType(ostrel::kTagAid), valid(0), component() {}
  veskAid(const char* text);
  veskAid(veskOid& classOid, unsigned n) : veskAid() { set(classOid, n); }
  veskAid(const veskAid& other) : veskAid() { set(other); }

  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;

  // Kept: when a number claims more bytes than follow the validity byte, the
  // identifier keeps that byte as `valid`; go by the result.
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;

  // Attribute n of a class. Kept: only the class's first two numbers are
  // used, whatever the others are.
  void set(veskOid& classOid, unsigned n) {
    valid = classOid.valid;
    if (valid == 0) return;
    component[0] = classOid.component[0];
    component[1] = classOid.component[1];
    component[2] = n;
  }
  veskAid& set(const veskAid& other) {
    valid = other.valid;
    for (int i = 0; i < 3; i++) component[i] = other.component[i];
    return *this;
  }
  veskAid& set(const char* text);
  veskAid& operator=(const veskAid& other) { return set(other); }
  veskAid& operator=(const char* text);
  int operator==(veskAid& other);
  int operator==(const char* text);
  veskOid* getClassOid();

  std::uint32_t valid;
  std::uint32_t component[3];
};

// Counted text; NUL bytes may be part of it.
class OSTREL_API veskString : public veskType {
 public:
  veskString() : veskType(ostrel::kTagString), capacity(0), text(nullptr) {}
  veskString(const char* s, unsigned n = 0);  // as set()
  veskString(const veskString& other);
  ~veskString() override;

  // Orders by bytes. When one text is the beginning of the other, the shorter
  // is the smaller. Kept: bytes after a NUL are ignored.
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;

  // Holds a copy of the first n characters at `s`, or of all up to its NUL
  // when n is 0. A null `s` empties the string.
  void set(const char* s, unsigned n);
  veskString& operator=(const char* s);
  veskString& operator=(const veskString& other);

  // The characters, which stay the string's and have no NUL at their end (null
  // when it never held any); their number in *lengthOut unless that is null.
  char* get(unsigned* lengthOut);

  int operator==(veskString& other);  // same length, same bytes
  int operator==(const char* s);      // null is no text and gives 0

  veskUnsignedInt length;  // its value: how many characters are held
  std::uint32_t capacity;  // bytes at `text`
  char* text;              // owned; null until first set
};

// Counted bytes; print as "%02x " each.
class OSTREL_API veskOpaque : public veskType {
 public:
  veskOpaque();
  veskOpaque(const void* p, unsigned n);  // as set()
  veskOpaque(const veskOpaque& other);
  ~veskOpaque() override;

  // 0 when the bytes are the same; else the sign orders by bytes.
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;
  using veskType::operator==;

  // Holds a copy of the n bytes at `p`. A null `p` empties the value.
  void set(const void* p, unsigned n);
  veskOpaque& operator=(const veskOpaque& other);

  // The bytes, which stay the value's (null when it never held any); their
  // number in *lengthOut unless that is null.
  char* get(unsigned* lengthOut);

  // Kept: 1 when the lengths are equal and the bytes differ, else 0; so no
  // form of == ever finds two of them equal. Ask compare().
  int operator==(veskOpaque& other);

  veskUnsignedInt length;  // its value: how many bytes are held
  char* bytes;             // owned; null until first set

 private:
  std::size_t held() const;

  std::uint32_t capacity_;  // bytes at `bytes`
};

// An IPv4 address, or none. Prints as dotted numbers, "" without an address.
class OSTREL_API veskAddress : public veskType {
 public:
  veskAddress()  // none
      : veskType(ostrel::kTagAddress), family(0), addr(nullptr) {}
  veskAddress(const char* text);  // as operator=
  veskAddress(const in_addr& a);
  veskAddress(const veskAddress& other);
  ~veskAddress() override;

  // Orders by family, then by the addresses as 32-bit numbers, whose
  // difference wraps around.
  int compare(veskType& other) override;
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;

  // Null when the family is neither 0 nor 2.
  char* getString() override;
  veskType* dup() override;

  // Text is four decimal numbers from 0 to 255 with dots between. Any other
  // text, host names and null included, leaves no address: no name is ever
  // looked up here.
  void set(const char* text);
  void set(const in_addr& a);
  void set(const veskAddress& other);
  veskAddress& operator=(const char* text);
  veskAddress& operator=(const in_addr& a);
  veskAddress& operator=(const veskAddress& other);

  // The address in network byte order, which stays the value's (null: none);
  // the family in *familyOut unless that is null.
  in_addr* get(unsigned* familyOut);

  int operator==(veskAddress& other);

  // Texts that are no address all equal a value without one.
  int operator==(const char* text);

  std::uint8_t family;  // 0: no address, 2: IPv4
  in_addr* addr;        // owned; null when the family is 0
};

// A list of values that is itself a value (tag 128).
//
// Elements belong to whoever filled the list: destroying or assigning a list
// frees none of them, clear(1) frees all, lists inside lists included. An
// element may leave parts to its owner (a PDU its lists, a description its
// default value). clear(1) does not free those parts; destroyDecodedElements()
// does.
//
// An element is stored as its `veskType*`. The calls below take a pointer to
// any value and convert it; at() reads it back.
class OSTREL_API veskList : public genericList, public veskType {
 public:
  veskList();
  veskList(const veskList& other);  // shares the elements
  ~veskList() override;

  // Frees one element: a veskType* handed over as void*. A list is emptied
  // with clear(1) first.
  void destroy(void* element) override;

  // Compares the counts, then the elements one by one with their compare();
  // the first difference decides.
  int compare(veskType& other) override;

  // 1 when compare() gives 0, and not only for the same elements.
  int operator==(veskType& other) override;
  unsigned encode(char* buffer, unsigned length) override;

  // Appends what it reads; after a failure the elements read so far stay.
  unsigned decode(char* buffer, unsigned length) override;

  // The elements' texts with ", " between.
  char* getString() override;

  // Copies each element with its dup(). Kept: what an element's own dup()
  // shares with its source (an object its list), the copies share.
  veskType* dup() override;

  // Empties the list and frees each element as veskType::destroyDecoded()
  // does: for lists that a peer filled.
  void destroyDecodedElements();

  // 1 when both lists hold the very same elements, by identity.
  int operator==(veskList& other);

  using genericList::operator=;
  using veskType::operator=;
  using veskType::operator==;
  veskList& operator=(const veskList& other);  // shares the elements

  using genericList::append;
  using genericList::insert;
  using genericList::remove;
  using genericList::search;
  template <class Value, ostrel::IfValue<Value> = 0>
  void append(Value* value) {
    genericList::append(stored(value));
  }
  template <class Value, ostrel::IfValue<Value> = 0>
  void insert(unsigned i, Value* value) {
    genericList::insert(i, stored(value));
  }
  template <class Value, ostrel::IfValue<Value> = 0>
  listPointer* search(Value* value) {
    return genericList::search(stored(value));
  }
  template <class Value, ostrel::IfValue<Value> = 0>
  void remove(Value* value) {
    genericList::remove(stored(value));
  }
  template <class Value, ostrel::IfValue<Value> = 0>
  void destroy(Value* value) {
    destroy(stored(value));
  }

  // The value at position i (from 0). Stops the process as index() does when
  // the list is not that long.
  veskType* at(unsigned i) { return static_cast<veskType*>(index(i)->data); }

  // The same as a Value, or null when it is none.
  template <class Value>
  Value* at(unsigned i) {
    return dynamic_cast<Value*>(at(i));
  }

 private:
  static void* stored(veskType* value) { return value; }
};

#if __cplusplus > 201703L
// C++20 also tries the operands of == in reverse order. Mostly that would be
// the better match, but it is an error because the result is not a bool. The
// functions here match exactly, so `a == b` calls the operator of `a`, as
// before.
template <class A, class B, ostrel::IfValue<A> = 0, ostrel::IfValue<B> = 0>
int operator==(A& a, B& b) {
  return a.operator==(b);
}

// Not templates, because a class's own == would be preferred to a template.
#define OSTREL_ASK_LEFT(Class) \
  inline int operator==(veskType& a, Class& b) { return a.operator==(b); }
OSTREL_ASK_LEFT(veskChar)
OSTREL_ASK_LEFT(veskShort)
OSTREL_ASK_LEFT(veskInt)
OSTREL_ASK_LEFT(veskLong)
OSTREL_ASK_LEFT(veskUnsignedChar)
OSTREL_ASK_LEFT(veskUnsignedShort)
OSTREL_ASK_LEFT(veskUnsignedInt)
OSTREL_ASK_LEFT(veskUnsignedLong)
OSTREL_ASK_LEFT(veskFloat)
OSTREL_ASK_LEFT(veskDouble)
OSTREL_ASK_LEFT(veskBool)
OSTREL_ASK_LEFT(veskGauge)
OSTREL_ASK_LEFT(veskCounter)
OSTREL_ASK_LEFT(veskTime)
OSTREL_ASK_LEFT(veskOid)
OSTREL_ASK_LEFT(veskAid)
OSTREL_ASK_LEFT(veskString)
OSTREL_ASK_LEFT(veskOpaque)
OSTREL_ASK_LEFT(veskAddress)
OSTREL_ASK_LEFT(veskList)
#undef OSTREL_ASK_LEFT
#endif

#endif  // OSTREL_TYPE_H
