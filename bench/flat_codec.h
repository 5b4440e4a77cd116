// The library's very bytes, written and read by code that knows nothing but
// the answer and the request of one get, from and to flat structs whose room is
// there beforehand. It checks every bound and allocates nothing: the least that
// such a codec can cost.

#ifndef OSTREL_BENCH_FLAT_CODEC_H
#define OSTREL_BENCH_FLAT_CODEC_H

#include <ostrel/tags.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "answer_content.h"
#include "value/wire.h"

namespace ostrel::bench {

// A text that stands where it came from, or in the room that is there for it.
struct FlatText {
  std::uint32_t length;
  const char* bytes;
  char room[kLongText];
};

struct FlatItem {
  std::uint32_t id[3];
  Tag tag;
  union {
    std::uint32_t bits;
    double real;
    std::uint32_t object[4];
    FlatText text;
  };
};

struct FlatAnswer {
  std::int32_t status;
  std::uint32_t requestId;
  std::uint32_t count;
  FlatItem items[kMostItems];
};

constexpr std::uint8_t kIPv4 = 2;

// Plain code for both directions: a position, an end, and false as soon as
// something does not fit.
class Writer {
 public:
  Writer(char* at, std::size_t room) : at_(at), end_(at + room) {}

  bool fits(std::size_t bytes) const {
    return static_cast<std::size_t>(end_ - at_) >= bytes;
  }
  const char* at() const { return at_; }

  // Of these callers know that they fit.
  void byte(unsigned value) { *at_++ = static_cast<char>(value); }
  void body(std::uint32_t value) { at_ = storeInteger(at_, value); }

  bool integer(Tag tag, std::uint32_t value) {
    if (!fits(1 + kIntegerRoom)) return false;
    byte(tag);
    body(value);
    return true;
  }
  template <unsigned kCount>
  bool identifier(Tag tag, const std::uint32_t (&numbers)[kCount]) {
    if (!fits(2 + kCount * kIntegerRoom)) return false;
    byte(tag);
    byte(1);
    for (const std::uint32_t number : numbers) body(number);
    return true;
  }
  bool missing(Tag tag) {
    if (!fits(2)) return false;
    byte(tag);
    byte(0);
    return true;
  }
  bool list(std::uint32_t count) {
    if (!fits(1)) return false;
    byte(kTagList);
    return integer(kTagUnsignedInt, count);
  }
  bool value(const FlatItem& item) {
    switch (item.tag) {
      case kTagInt:
      case kTagUnsignedInt:
      case kTagBool:
        return integer(item.tag, item.bits);
      case kTagString:
        if (!fits(1)) return false;
        byte(kTagString);
        if (!integer(kTagUnsignedInt, item.text.length)) return false;
        if (!fits(item.text.length)) return false;
        std::memcpy(at_, item.text.bytes, item.text.length);
        at_ += item.text.length;
        return true;
      case kTagAddress:
        if (!fits(2 + sizeof item.bits)) return false;
        byte(kTagAddress);
        byte(kIPv4);
        store(bigEndian(item.bits));
        at_ += sizeof item.bits;
        return true;
      case kTagDouble: {
        if (!fits(1 + sizeof item.real)) return false;
        byte(kTagDouble);
        std::uint64_t pattern;
        std::memcpy(&pattern, &item.real, sizeof pattern);
        store(bigEndian(pattern));
        at_ += sizeof pattern;
        return true;
      }
      case kTagOid:
        return identifier(kTagOid, item.object);
      default:
        return false;
    }
  }
  bool item(const FlatItem& item) {
    if (!identifier(kTagAid, item.id) || !fits(1)) return false;
    byte(1);
    return value(item);
  }

 private:
  template <class Number>
  void store(Number number) {
    std::memcpy(at_, &number, sizeof number);
  }

  char* at_;
  char* end_;
};

template <bool kCopiesTexts>
class Reader {
 public:
  Reader(const char* at, std::size_t room) : at_(at), end_(at + room) {}

  bool has(std::size_t bytes) const {
    return static_cast<std::size_t>(end_ - at_) >= bytes;
  }
  const char* at() const { return at_; }

  std::uint8_t byte() { return static_cast<std::uint8_t>(*at_++); }
  template <class Number>
  Number load() const {
    Number number;
    std::memcpy(&number, at_, sizeof number);
    return bigEndian(number);
  }

  bool body(std::uint32_t* value) {
    if (has(kIntegerRoom)) {
      if (const char* behind = loadInteger(at_, value)) {
        at_ = behind;
        return true;
      }
    }
    if (!has(1)) return false;
    const unsigned length = byte();
    if (!has(length)) return false;
    *value = 0;
    for (unsigned i = 0; i < length; i++) *value = *value << 8 | byte();
    return true;
  }
  bool integer(std::uint32_t* value) {
    if (!has(1)) return false;
    byte();
    return body(value);
  }
  template <unsigned kCount>
  bool numbers(std::uint32_t (&numbers)[kCount]) {
    if (!has(1) || byte() == 0) return false;
    for (std::uint32_t& number : numbers) {
      if (!body(&number)) return false;
    }
    return true;
  }
  bool missing() {
    if (!has(2)) return false;
    byte();
    return byte() == 0;
  }
  bool list(std::uint32_t* count) {
    if (!has(1)) return false;
    byte();
    return integer(count);
  }
  bool value(FlatItem* item) {
    switch (item->tag) {
      case kTagInt:
      case kTagUnsignedInt:
      case kTagBool:
        return body(&item->bits);
      case kTagString:
        if (!integer(&item->text.length)) return false;
        return text(&item->text);
      case kTagAddress:
        if (!has(1 + sizeof item->bits) || byte() != kIPv4) return false;
        item->bits = load<std::uint32_t>();
        at_ += sizeof item->bits;
        return true;
      case kTagDouble: {
        if (!has(sizeof item->real)) return false;
        const auto pattern = load<std::uint64_t>();
        std::memcpy(&item->real, &pattern, sizeof pattern);
        at_ += sizeof pattern;
        return true;
      }
      case kTagOid:
        return numbers(item->object);
      default:
        return false;
    }
  }
  bool text(FlatText* text) {
    if (text->length > kLongText || !has(text->length)) return false;
    text->bytes = at_;
    if (kCopiesTexts) {
      std::memcpy(text->room, at_, text->length);
      text->bytes = text->room;
    }
    at_ += text->length;
    return true;
  }
  bool item(FlatItem* item) {
    if (!has(2) || byte() != kTagAttribute || byte() != kTagAid) return false;
    if (!numbers(item->id)) return false;
    if (!has(2) || byte() == 0) return false;
    item->tag = static_cast<Tag>(byte());
    return value(item);
  }

 private:
  const char* at_;
  const char* end_;
};

inline std::size_t encodeAnswer(const FlatAnswer& answer, char* buffer,
                                std::size_t room) {
  Writer writer(buffer, room);
  if (!writer.fits(1)) return 0;
  writer.byte(kTagGetRespPDU);
  const auto status = static_cast<std::uint32_t>(answer.status);
  if (!writer.integer(kTagInt, status)) return 0;
  if (!writer.integer(kTagUnsignedInt, answer.requestId)) return 0;
  if (!writer.missing(kTagOid) || !writer.list(0)) return 0;
  if (!writer.list(answer.count)) return 0;
  for (std::uint32_t i = 0; i < answer.count; i++) {
    if (!writer.fits(1)) return 0;
    writer.byte(kTagAttribute);
    if (!writer.item(answer.items[i])) return 0;
  }
  return static_cast<std::size_t>(writer.at() - buffer);
}

template <bool kCopiesTexts>
std::size_t decodeAnswer(const char* buffer, std::size_t length,
                         FlatAnswer* answer) {
  Reader<kCopiesTexts> reader(buffer, length);
  if (!reader.has(1) || reader.byte() != kTagGetRespPDU) return 0;
  std::uint32_t status = 0;
  std::uint32_t errors = 0;
  if (!reader.integer(&status)) return 0;
  answer->status = static_cast<std::int32_t>(status);
  if (!reader.integer(&answer->requestId) || !reader.missing()) return 0;
  if (!reader.list(&errors) || errors != 0) return 0;
  if (!reader.list(&answer->count) || answer->count > kMostItems) return 0;
  for (std::uint32_t i = 0; i < answer->count; i++) {
    if (!reader.item(&answer->items[i])) return 0;
  }
  return static_cast<std::size_t>(reader.at() - buffer);
}

// A get of the attributes 59.6.1, 59.6.2, ... up to so many.
struct FlatRequest {
  std::uint32_t requestId;
  std::uint32_t principal[4];
  std::uint32_t object[4];
  std::uint32_t count;
};

inline std::size_t encodeRequest(const FlatRequest& request, char* buffer,
                                 std::size_t room) {
  Writer writer(buffer, room);
  if (!writer.fits(1)) return 0;
  writer.byte(kTagGetPDU);
  if (!writer.integer(kTagInt, 0)) return 0;
  if (!writer.integer(kTagUnsignedInt, request.requestId)) return 0;
  if (!writer.identifier(kTagOid, request.principal)) return 0;
  if (!writer.identifier(kTagOid, request.object)) return 0;
  if (!writer.list(request.count)) return 0;
  for (std::uint32_t i = 1; i <= request.count; i++) {
    const std::uint32_t id[] = {kClass[0], kClass[1], i};
    if (!writer.fits(1)) return 0;
    writer.byte(kTagAttribute);
    if (!writer.identifier(kTagAid, id) || !writer.fits(1)) return 0;
    writer.byte(0);
  }
  return static_cast<std::size_t>(writer.at() - buffer);
}

}  // namespace ostrel::bench

#endif  // OSTREL_BENCH_FLAT_CODEC_H
