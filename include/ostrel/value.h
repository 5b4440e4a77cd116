// A value that owns what it holds: any value that travels between programs and
// servers, as a plain C++ value. It is copied and moved like an int, and nobody
// frees anything. The classes of type.h hold the same values for the stated
// interface; from() and toVesk() convert.

#ifndef OSTREL_VALUE_H
#define OSTREL_VALUE_H

#include <ostrel/export.h>
#include <ostrel/identifier.h>
#include <ostrel/result.h>
#include <ostrel/tags.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ostrel {

class Attribute;
class Attributes;
class Object;
class Term;
class Value;
struct ValueAccess;  // the library's own reader and writer

// The elements of a list.
using Values = std::vector<Value>;

// Times have whole seconds on the wire, from 1970 to 2106.
using TimePoint = std::chrono::system_clock::time_point;

// Bytes that are no text. The bytes stay where they are: of a value that
// as<Opaque>() looks into, or the caller's.
struct Opaque {
  std::string_view bytes;
};

// How many values decoding makes at most, unless told otherwise: a hundred
// megabytes of memory.
constexpr std::size_t kMostValues = std::size_t{1} << 22;

// Which type of value a plain C++ type makes; kTagNull for no type that does.
template <class T>
constexpr Tag tagOf() {
  if constexpr (std::is_same_v<T, bool>) return kTagBool;
  if constexpr (std::is_same_v<T, char>) return kTagChar;
  if constexpr (std::is_same_v<T, signed char>) return kTagChar;
  if constexpr (std::is_same_v<T, unsigned char>) return kTagUnsignedChar;
  if constexpr (std::is_same_v<T, short>) return kTagShort;
  if constexpr (std::is_same_v<T, unsigned short>) return kTagUnsignedShort;
  if constexpr (std::is_same_v<T, int>) return kTagInt;
  if constexpr (std::is_same_v<T, unsigned>) return kTagUnsignedInt;
  if constexpr (std::is_same_v<T, long>) return kTagLong;
  if constexpr (std::is_same_v<T, unsigned long>) return kTagUnsignedLong;
  if constexpr (std::is_same_v<T, long long>) return kTagLong;
  if constexpr (std::is_same_v<T, unsigned long long>) return kTagUnsignedLong;
  if constexpr (std::is_same_v<T, float>) return kTagFloat;
  if constexpr (std::is_same_v<T, double>) return kTagDouble;
  if constexpr (std::is_same_v<T, std::string>) return kTagString;
  if constexpr (std::is_same_v<T, std::string_view>) return kTagString;
  if constexpr (std::is_same_v<T, Opaque>) return kTagOpaque;
  if constexpr (std::is_same_v<T, std::vector<std::uint8_t>>) return kTagOpaque;
  if constexpr (std::is_same_v<T, Oid>) return kTagOid;
  if constexpr (std::is_same_v<T, Aid>) return kTagAid;
  if constexpr (std::is_same_v<T, TimePoint>) return kTagTime;
  if constexpr (std::is_same_v<T, in_addr>) return kTagAddress;
  if constexpr (std::is_same_v<T, Values>) return kTagList;
  if constexpr (std::is_same_v<T, Attributes>) return kTagList;
  if constexpr (std::is_same_v<T, Attribute>) return kTagAttribute;
  if constexpr (std::is_same_v<T, Term>) return kTagAttributeValueOp;
  if constexpr (std::is_same_v<T, Object>) return kTagObject;
  return kTagNull;
}

template <class T>
constexpr bool kIsNumber = std::is_arithmetic_v<T>&& tagOf<T>() != kTagNull;

// The name of a type of value, "unsigned int" for instance; "unknown" for a
// number that is none.
OSTREL_API const char* typeName(Tag type) noexcept;

// Any value of the wire, or null.
//
// Numbers, identifiers, addresses and texts of up to 16 bytes are held inside;
// longer texts and lists take memory of their own. PDUs, descriptions, errors,
// objects and attributes, which rarely stand where a value does, are kept as
// their bytes. A value is 24 bytes, 20 where pointers have 32 bits.
//
// Two values are equal when they are sent as the same bytes. So a number equals
// only one of its own type, and a NaN equals itself.
//
// Nothing here fails but for want of memory, which throws std::bad_alloc, or
// where a comment says so.
class OSTREL_API Value {
 public:
  // Null.
  Value() noexcept : Value(kTagNull, 0) {}
  Value(std::nullptr_t) noexcept : Value() {}

  // A number of the type that tagOf() gives. Numbers travel in 32 bits, "long"
  // as well: a number that does not fit throws std::out_of_range.
  template <class Number, std::enable_if_t<kIsNumber<Number>, int> = 0>
  Value(Number number) : Value(tagOf<Number>(), bitsOf(number)) {}

  // A text; a null pointer is the empty text. The wire counts its bytes in 32
  // bits: a longer text throws std::length_error.
  Value(const char* text);
  Value(std::string_view text) : Value(kTagString, text) {}
  Value(const std::string& text) : Value(kTagString, text) {}

  Value(Opaque opaque) : Value(kTagOpaque, opaque.bytes) {}
  Value(const std::vector<std::uint8_t>& bytes);
  Value(const Oid& oid) noexcept;
  Value(const Aid& aid) noexcept;
  Value(in_addr address) noexcept;

  // Cut to whole seconds; std::out_of_range before 1970 and after 2106.
  Value(TimePoint time);

  Value(Values elements);
  Value(const Attributes& attributes);  // a list
  Value(const Attribute& attribute);
  Value(const Term& term);
  Value(const Object& object);

  // Seconds since 1970; a time of any number of them.
  static Value time(std::uint32_t seconds) noexcept {
    return Value(kTagTime, seconds);
  }

  // Gauges and counters can be sent, and are refused when they arrive.
  static Value gauge(std::uint32_t number) noexcept {
    return Value(kTagGauge, number);
  }
  static Value counter(std::uint32_t number) noexcept {
    return Value(kTagCounter, number);
  }

  // A value of type kTagAddress that holds none.
  static Value noAddress() noexcept;

  Value(const Value& other);
  Value(Value&& other) noexcept { take(other); }
  Value& operator=(const Value& other) { return *this = Value(other); }
  Value& operator=(Value&& other) noexcept {
    if (this == &other) return *this;
    // What is freed may hold the other one: it is taken first.
    Value before;
    before.take(*this);
    take(other);
    return *this;
  }
  ~Value() {
    if (detail_ >= kOwnsList) release();
  }
  void swap(Value& other) noexcept {
    Value held(std::move(other));
    other.take(*this);
    take(held);
  }

  // One of the tags of tags.h.
  Tag type() const noexcept { return tag_; }
  bool isNull() const noexcept { return tag_ == kTagNull; }

  // Looks into the value: what is held if a T of exactly that type is, else
  // nothing. A list is a pointer to the Values, null for any other type; all
  // others are a std::optional. Both are tested and read alike:
  //
  //   if (auto name = value.as<std::string_view>()) print(*name);
  //
  // A string_view, an Opaque and a list are those of the value and live as long
  // as it stays unchanged.
  template <class T>
  auto as() const;

  template <class T>
  bool is() const {
    return static_cast<bool>(as<T>());
  }

  // The value as a T, or an error (Failure::wrongValue) that says why not. A
  // number is converted to any type of number that keeps its value: 7 fits a
  // float, -1 no unsigned, 0.5 no int, and only 0 and 1 are a bool, where the
  // value itself is none. A time converts to its seconds as well.
  template <class T>
  Result<T> to() const;

  // The bytes of a text or an opaque, or the whole encoding of a PDU, a
  // description, an error, an object or an attribute; else empty.
  std::string_view bytes() const noexcept;

  // What a server sends and reads, byte for byte.
  std::string encode() const;

  // The value that all of these bytes are, made of `most` values at most. The
  // error is Failure::undecodable.
  static Result<Value> decode(std::string_view bytes,
                              std::size_t most = kMostValues);

  // A copy of a value of the stated interface; null gives a null value. One
  // that cannot be encoded throws std::invalid_argument.
  static Value from(const veskType* value);

  // What toVesk() returns frees itself, with everything in it.
  struct Destroy {
    void operator()(veskType* value) const { veskType::destroyDecoded(value); }
  };
  using VeskPointer = std::unique_ptr<veskType, Destroy>;

  // A copy for the stated interface. No pointer for the bytes of a value that
  // no class there reads. Whoever passes the object on to a list or an
  // attribute that owns its values calls release().
  VeskPointer toVesk() const;

  // For people: numbers in decimal, those with a fraction in as many digits as
  // make the same number again, "True" or "False", a text as it is, elements
  // with ", " between. A char is the character itself. Whatever bytes a server
  // sent are part of it.
  std::string text() const;

  friend bool operator==(const Value& a, const Value& b) noexcept {
    return a.equals(b);
  }
  friend bool operator!=(const Value& a, const Value& b) noexcept {
    return !a.equals(b);
  }
  friend std::ostream& operator<<(std::ostream& out, const Value& value) {
    return out << value.text();
  }
  friend void swap(Value& a, Value& b) noexcept { a.swap(b); }

 private:
  friend struct ValueAccess;

  static constexpr std::size_t kInside = 16;
  static constexpr std::uint8_t kOwnsList = 254;
  static constexpr std::uint8_t kOwnsBytes = 255;

  union Body {
    std::uint64_t bits;  // of a number
    std::uint32_t numbers[4];
    in_addr address;
    char text[kInside];
    Values* list;
    std::size_t* block;  // the length, and so many bytes behind it
  };

  Value(Tag tag, std::uint64_t bits) noexcept : tag_(tag), detail_(0) {
    body_.numbers[2] = body_.numbers[3] = 0;
    body_.bits = bits;
  }
  Value(Tag tag, std::string_view bytes);

  // The number as it is kept: signed ones as 32 bits, fractions as their own
  // bit pattern.
  template <class Number>
  static std::uint64_t bitsOf(Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
      return patternOf(number);
    } else if constexpr (std::is_same_v<Number, char>) {
      return bitsOf(static_cast<signed char>(number));
    } else if constexpr (std::is_signed_v<Number>) {
      if (number < std::numeric_limits<std::int32_t>::min() ||
          number > std::numeric_limits<std::int32_t>::max())
        failRange();
      // Numbers of 8 and 16 bits are kept in as many.
      using Kept = std::conditional_t<(sizeof(Number) < sizeof(std::int32_t)),
                                      Number, std::int32_t>;
      using Pattern = std::make_unsigned_t<Kept>;
      return std::uint64_t{static_cast<Pattern>(static_cast<Kept>(number))};
    } else {
      if constexpr (sizeof(Number) > sizeof(std::uint32_t)) {
        if (number > std::numeric_limits<std::uint32_t>::max()) failRange();
      }
      return number;
    }
  }
  static std::uint64_t patternOf(float number) noexcept;
  static std::uint64_t patternOf(double number) noexcept;
  [[noreturn]] static void failRange();

  // The number held, where the type is one that has whole numbers.
  std::int64_t whole() const noexcept;

  // The number held, if it is one and is kept; else these return false.
  bool toWhole(std::int64_t* number) const noexcept;
  bool toDouble(double* number) const noexcept;
  double fraction() const noexcept;
  float shortFraction() const noexcept;

  Error mismatch(Tag wanted) const noexcept;
  template <class T>
  Result<T> toNumber() const;

  bool equals(const Value& other) const noexcept;

  // Becomes the other one, which becomes null. What this one held is not freed.
  void take(Value& other) noexcept {
    tag_ = other.tag_;
    detail_ = other.detail_;
    body_ = other.body_;
    other.tag_ = kTagNull;
    other.detail_ = 0;
    std::memset(&other.body_, 0, sizeof other.body_);
  }
  void release() noexcept;

  Oid oid() const noexcept;
  Aid aid() const noexcept;
  TimePoint timePoint() const noexcept;
  std::optional<in_addr> address() const noexcept;
  bool read(Attributes* out) const;
  bool read(Attribute* out) const;
  bool read(Term* out) const;
  bool read(Object* out) const;

  template <class T>
  static constexpr bool kIsComposite =
      std::is_same_v<T, Attributes> || std::is_same_v<T, Attribute> ||
      std::is_same_v<T, Term> || std::is_same_v<T, Object>;

  Tag tag_;
  // Of a text how many bytes are inside, of an identifier whether it is valid,
  // of an address its family; or that the body is a pointer that is owned.
  std::uint8_t detail_;
  Body body_;
};

template <class T>
auto Value::as() const {
  static_assert(tagOf<T>() != kTagNull, "no value is made of this type");
  if constexpr (std::is_same_v<T, Values>) {
    return static_cast<const Values*>(tag_ == kTagList ? body_.list : nullptr);
  } else if constexpr (kIsComposite<T>) {
    std::optional<T> held(std::in_place);
    if (!read(&*held)) held.reset();
    return held;
  } else {
    if (tag_ != tagOf<T>()) return std::optional<T>();
    if constexpr (std::is_same_v<T, bool>)
      return std::optional<T>(whole() != 0);
    else if constexpr (std::is_same_v<T, float>)
      return std::optional<T>(shortFraction());
    else if constexpr (std::is_same_v<T, double>)
      return std::optional<T>(fraction());
    else if constexpr (kIsNumber<T>)
      return std::optional<T>(static_cast<T>(whole()));
    else if constexpr (std::is_same_v<T, Oid>)
      return std::optional<T>(oid());
    else if constexpr (std::is_same_v<T, Aid>)
      return std::optional<T>(aid());
    else if constexpr (std::is_same_v<T, TimePoint>)
      return std::optional<T>(timePoint());
    else if constexpr (std::is_same_v<T, in_addr>)
      return address();
    else if constexpr (std::is_same_v<T, Opaque>)
      return std::optional<T>(Opaque{bytes()});
    else if constexpr (std::is_same_v<T, std::string_view>)
      return std::optional<T>(bytes());
    else
      return std::optional<T>(std::in_place, bytes().begin(), bytes().end());
  }
}

template <class T>
Result<T> Value::toNumber() const {
  if constexpr (std::is_floating_point_v<T>) {
    double number = 0;
    if (!toDouble(&number)) return mismatch(tagOf<T>());
    const T converted = static_cast<T>(number);
    const bool isSame = !(static_cast<double>(converted) < number) &&
                        !(static_cast<double>(converted) > number);
    if (!isSame) return mismatch(tagOf<T>());
    return converted;
  } else {
    std::int64_t number = 0;
    bool fits = toWhole(&number);
    if constexpr (std::is_same_v<T, bool>) {
      if (tag_ == kTagBool) return number != 0;
      fits = fits && (number == 0 || number == 1);
    } else if constexpr (std::is_unsigned_v<T>) {
      fits = fits && number >= 0 &&
             static_cast<std::uint64_t>(number) <=
                 std::uint64_t{std::numeric_limits<T>::max()};
    } else {
      fits = fits && number >= std::int64_t{std::numeric_limits<T>::min()} &&
             number <= std::int64_t{std::numeric_limits<T>::max()};
    }
    if (!fits) return mismatch(tagOf<T>());
    return static_cast<T>(number);
  }
}

template <class T>
Result<T> Value::to() const {
  static_assert(tagOf<T>() != kTagNull, "no value is made of this type");
  if constexpr (kIsNumber<T>) {
    return toNumber<T>();
  } else {
    auto held = as<T>();
    if (!held) return mismatch(tagOf<T>());
    return Result<T>(*std::move(held));
  }
}

}  // namespace ostrel

#endif  // OSTREL_VALUE_H
