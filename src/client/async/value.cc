#include <ostrel/attributes.h>
#include <ostrel/codes.h>
#include <ostrel/value.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "client/async/value_codec.h"
#include "client/async/value_text.h"
#include "value/scalar.h"
#include "value/values.h"

namespace ostrel {
namespace {

constexpr std::size_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

// A block of bytes with their number before them.
std::size_t* newBlock(std::string_view bytes) {
  void* const memory = ::operator new(sizeof(std::size_t) + bytes.size());
  auto* const block = ::new (memory) std::size_t(bytes.size());
  std::memcpy(block + 1, bytes.data(), bytes.size());
  return block;
}

std::string_view viewOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

std::uint32_t secondsOf(TimePoint time) {
  const auto seconds =
      std::chrono::floor<std::chrono::seconds>(time).time_since_epoch();
  if (seconds.count() < 0 ||
      seconds.count() > std::numeric_limits<std::uint32_t>::max())
    throw std::out_of_range("a time is before 1970 or after 2106");
  return static_cast<std::uint32_t>(seconds.count());
}

// Whether numbers of this type are whole, and so convert to others.
bool isWhole(Tag tag) {
  switch (tag) {
    case kTagChar:
    case kTagShort:
    case kTagInt:
    case kTagLong:
    case kTagUnsignedChar:
    case kTagUnsignedShort:
    case kTagUnsignedInt:
    case kTagUnsignedLong:
    case kTagBool:
    case kTagTime:
    case kTagGauge:
    case kTagCounter:
      return true;
    default:
      return false;
  }
}

}  // namespace

Value::Value(const char* text) : Value(kTagString, viewOf(text)) {}
Value::Value(const std::vector<std::uint8_t>& bytes)
    : Value(kTagOpaque,
            std::string_view(reinterpret_cast<const char*>(bytes.data()),
                             bytes.size())) {}

Value::Value(Tag tag, std::string_view bytes) : Value(tag, std::uint64_t{0}) {
  if (bytes.size() <= kInside) {
    if (!bytes.empty()) std::memcpy(body_.text, bytes.data(), bytes.size());
    detail_ = static_cast<std::uint8_t>(bytes.size());
    return;
  }
  if (bytes.size() > kMostBytes)
    throw std::length_error("a text is longer than a value can be");
  body_.block = newBlock(bytes);
  detail_ = kOwnsBytes;
}

Value::Value(const Oid& oid) noexcept : Value(kTagOid, std::uint64_t{0}) {
  detail_ = oid.valid();
  std::memcpy(body_.numbers, oid.numbers().data(), sizeof oid.numbers());
}
Value::Value(const Aid& aid) noexcept : Value(kTagAid, std::uint64_t{0}) {
  detail_ = aid.valid();
  std::memcpy(body_.numbers, aid.numbers().data(), sizeof aid.numbers());
}
Value::Value(in_addr held) noexcept : Value(noAddress()) {
  detail_ = kIPv4;
  body_.address = held;
}
Value::Value(TimePoint time) : Value(kTagTime, secondsOf(time)) {}
Value::Value(Values elements) : Value(kTagList, std::uint64_t{0}) {
  body_.list = new Values(std::move(elements));
  detail_ = kOwnsList;
}

Value::Value(const Attributes& attributes) : Value(Values()) {
  for (const Attribute& each : attributes) body_.list->emplace_back(each);
}
Value::Value(const Attribute& attribute)
    : Value(kTagAttribute, encodeWhole(attribute)) {}
Value::Value(const Term& term)
    : Value(kTagAttributeValueOp, encodeWhole(term)) {}
Value::Value(const Object& object) : Value(kTagObject, object.encode()) {}

Value Value::noAddress() noexcept {
  return Value(kTagAddress, std::uint64_t{0});
}

Value::Value(const Value& other) : tag_(other.tag_), detail_(other.detail_) {
  if (detail_ == kOwnsBytes)
    body_.block = newBlock(other.bytes());
  else if (detail_ == kOwnsList)
    body_.list = new Values(*other.body_.list);
  else
    body_ = other.body_;
}

void Value::release() noexcept {
  if (detail_ == kOwnsList)
    delete body_.list;
  else
    ::operator delete(body_.block);
}

std::string_view Value::bytes() const noexcept {
  if (detail_ == kOwnsBytes)
    return {reinterpret_cast<const char*>(body_.block + 1), *body_.block};
  return holdsBytes(tag_) ? std::string_view(body_.text, detail_)
                          : std::string_view();
}

bool Value::equals(const Value& other) const noexcept {
  if (tag_ != other.tag_) return false;
  if (detail_ == kOwnsList) return *body_.list == *other.body_.list;
  if (detail_ == kOwnsBytes || other.detail_ == kOwnsBytes)
    return bytes() == other.bytes();
  return detail_ == other.detail_ &&
         std::memcmp(&body_, &other.body_, kInside) == 0;
}

// Numbers

std::uint64_t Value::patternOf(float number) noexcept {
  return ostrel::bitsOf<std::uint32_t>(number);
}
std::uint64_t Value::patternOf(double number) noexcept {
  return ostrel::bitsOf<std::uint64_t>(number);
}

void Value::failRange() {
  throw std::out_of_range("a number does not fit in the 32 bits of a value");
}

std::int64_t Value::whole() const noexcept {
  switch (tag_) {
    case kTagChar:
      return static_cast<std::int8_t>(body_.bits);
    case kTagShort:
      return static_cast<std::int16_t>(body_.bits);
    case kTagInt:
    case kTagLong:
      return static_cast<std::int32_t>(body_.bits);
    default:
      return static_cast<std::int64_t>(body_.bits);
  }
}

float Value::shortFraction() const noexcept {
  const auto bits = static_cast<std::uint32_t>(body_.bits);
  float number;
  std::memcpy(&number, &bits, sizeof number);
  return number;
}
double Value::fraction() const noexcept {
  double number;
  std::memcpy(&number, &body_.bits, sizeof number);
  return number;
}

bool Value::toDouble(double* number) const noexcept {
  if (isWhole(tag_)) *number = static_cast<double>(whole());
  if (tag_ == kTagFloat) *number = double{shortFraction()};
  if (tag_ == kTagDouble) *number = fraction();
  return isWhole(tag_) || tag_ == kTagFloat || tag_ == kTagDouble;
}

bool Value::toWhole(std::int64_t* number) const noexcept {
  if (isWhole(tag_)) return *number = whole(), true;
  constexpr double kBeyond = 9223372036854775808.0;
  double held = 0;
  if (!toDouble(&held) || !(held >= -kBeyond && held < kBeyond)) return false;
  *number = static_cast<std::int64_t>(held);
  return !(std::trunc(held) < held) && !(std::trunc(held) > held);
}

Error Value::mismatch(Tag wanted) const noexcept {
  constexpr std::size_t kShown = 60;
  try {
    std::string shown = text();
    if (shown.size() > kShown) shown = shown.substr(0, kShown) + "...";
    if (!isNull()) shown = std::string(typeName(tag_)) + ' ' + shown;
    return Error(Failure::wrongValue, kBadValue, 0, false,
                 (isNull() ? "null" : shown) + " as " + typeName(wanted));
  } catch (const std::bad_alloc&) {
    return Error(Failure::wrongValue, kBadValue);
  }
}

// Everything else

Oid Value::oid() const noexcept {
  if (detail_ == 0) return Oid();
  const std::uint32_t* numbers = body_.numbers;
  return Oid(numbers[0], numbers[1], numbers[2], numbers[3]);
}
Aid Value::aid() const noexcept {
  if (detail_ == 0) return Aid();
  const std::uint32_t* numbers = body_.numbers;
  return Aid(numbers[0], numbers[1], numbers[2]);
}
TimePoint Value::timePoint() const noexcept {
  return TimePoint(std::chrono::seconds(body_.bits));
}
std::optional<in_addr> Value::address() const noexcept {
  if (detail_ != kIPv4) return std::nullopt;
  return body_.address;
}

bool Value::read(Attributes* out) const {
  if (tag_ != kTagList) return false;
  for (const Value& element : *body_.list) {
    Attribute attribute;
    if (!element.read(&attribute)) return false;
    out->append(std::move(attribute));
  }
  return true;
}
bool Value::read(Attribute* out) const {
  return tag_ == kTagAttribute && readWhole(bytes(), out);
}
bool Value::read(Term* out) const {
  return tag_ == kTagAttributeValueOp && readWhole(bytes(), out);
}
bool Value::read(Object* out) const {
  return tag_ == kTagObject && readWhole(bytes(), out);
}

std::string Value::encode() const { return encodeWhole(*this); }

namespace {

// The bytes as a T, or why they are none.
template <class T, class Read>
Result<T> decodeWhole(std::string_view bytes, std::size_t most, Read read) {
  T value;
  ByteReader reader(bytes.data(), bytes.size());
  DecodeLimits limits;
  limits.values = most;
  read(reader, &value, limits);
  if (reader.ok() && reader.left() == 0) return Result<T>(std::move(value));
  return Error(Failure::undecodable, kCodingError, 0, false,
               "decoding " + std::to_string(bytes.size()) + " bytes");
}

}  // namespace

Result<Value> Value::decode(std::string_view bytes, std::size_t most) {
  return decodeWhole<Value>(
      bytes, most, [](ByteReader& reader, Value* out, DecodeLimits& limits) {
        ostrel::read(reader, out, limits);
      });
}

Result<Attributes> Attributes::decode(std::string_view bytes,
                                      std::size_t most) {
  return decodeWhole<Attributes>(
      bytes, most,
      [](ByteReader& reader, Attributes* out, DecodeLimits& limits) {
        if (!reader.has(1) ||
            static_cast<unsigned char>(*reader.at()) != kTagList)
          return reader.fail();
        limits.nesting--;
        ostrel::read(reader, out, limits);
      });
}

Result<Object> Object::decode(std::string_view bytes, std::size_t most) {
  return decodeWhole<Object>(
      bytes, most, [](ByteReader& reader, Object* out, DecodeLimits& limits) {
        ostrel::read(reader, out, limits);
      });
}

std::string Attributes::encode() const { return encodeWhole(*this); }
std::string Object::encode() const { return encodeWhole(*this); }

}  // namespace ostrel
