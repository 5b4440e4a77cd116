// The limit: the library's very bytes, written and read by code that knows
// nothing but this one answer, from and to one flat struct whose room is there
// beforehand. It checks every bound and allocates nothing.

#include <ostrel/tags.h>

#include <benchmark/benchmark.h>

#include <cstring>

#include "answer_content.h"
#include "wire.h"

namespace ostrel::bench {
namespace {

// How many bytes a number has without its leading zero bytes: 0 to 4.
unsigned significantBytes(std::uint32_t number) {
  return number == 0 ? 0 : 4 - static_cast<unsigned>(__builtin_clz(number)) / 8;
}

struct FlatText {
  std::uint32_t length;
  char bytes[kLongText];
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
  void body(std::uint32_t value) {
    const unsigned length = significantBytes(value);
    byte(length);
    const std::uint64_t shifted = std::uint64_t{value} << (32 - 8 * length);
    store(bigEndian(static_cast<std::uint32_t>(shifted)));
    at_ += length;
  }

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
    if (!has(1)) return false;
    const unsigned length = byte();
    if (length <= sizeof *value && has(sizeof *value)) {
      const std::uint64_t word = load<std::uint32_t>();
      *value = static_cast<std::uint32_t>(word >> (32 - 8 * length));
      at_ += length;
      return true;
    }
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
        if (item->text.length > kLongText || !has(item->text.length))
          return false;
        std::memcpy(item->text.bytes, at_, item->text.length);
        at_ += item->text.length;
        return true;
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

std::size_t encodeAnswer(const FlatAnswer& answer, char* buffer,
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

std::size_t decodeAnswer(const char* buffer, std::size_t length,
                         FlatAnswer* answer) {
  Reader reader(buffer, length);
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

void fillValue(const Item& from, FlatItem* to) {
  to->bits = from.bits;
  switch (from.kind) {
    case Kind::kInteger:
      to->tag = kTagInt;
      break;
    case Kind::kCounter:
      to->tag = kTagUnsignedInt;
      break;
    case Kind::kShortText:
    case Kind::kLongText:
      to->tag = kTagString;
      to->text.length = static_cast<std::uint32_t>(from.text.size());
      std::memcpy(to->text.bytes, from.text.data(), from.text.size());
      break;
    case Kind::kAddress:
      to->tag = kTagAddress;
      break;
    case Kind::kReal:
      to->tag = kTagDouble;
      to->real = from.real;
      break;
    case Kind::kTruth:
      to->tag = kTagBool;
      break;
    case Kind::kObject:
      to->tag = kTagOid;
      std::memcpy(to->object, from.object.data(), sizeof to->object);
      break;
  }
}

void readValue(const FlatItem& from, Item* item) {
  switch (from.tag) {
    case kTagString:
      item->text.assign(from.text.bytes, from.text.length);
      item->kind =
          item->text.size() == kLongText ? Kind::kLongText : Kind::kShortText;
      break;
    case kTagDouble:
      item->kind = Kind::kReal;
      item->real = from.real;
      break;
    case kTagOid:
      item->kind = Kind::kObject;
      std::memcpy(item->object.data(), from.object, sizeof from.object);
      break;
    case kTagAddress:
      item->kind = Kind::kAddress;
      item->bits = from.bits;
      break;
    case kTagBool:
      item->kind = Kind::kTruth;
      item->bits = from.bits;
      break;
    default:
      item->kind = from.tag == kTagInt ? Kind::kInteger : Kind::kCounter;
      item->bits = from.bits;
  }
}

class Limit final : public System {
 public:
  explicit Limit(const Content& content)
      : source_(std::make_unique<FlatAnswer>()),
        arrived_(std::make_unique<FlatAnswer>()) {
    source_->status = content.status;
    source_->requestId = content.requestId;
    for (const Item& item : content.items) {
      FlatItem& flat = source_->items[source_->count++];
      flat.id[0] = kClass[0];
      flat.id[1] = kClass[1];
      flat.id[2] = item.number;
      fillValue(item, &flat);
    }
    bytes_.resize(128 * (content.items.size() + 1));
    used_ = encodeAnswer(*source_, bytes_.data(), bytes_.size());
    if (used_ == 0) stop("the limit does not encode");
  }

  void build() override { stop("the limit is not built"); }
  void buildFromNames() override { stop("the limit is not built"); }
  void print() override { stop("the limit does not print"); }

  void encode() override {
    std::size_t used = encodeAnswer(*source_, bytes_.data(), bytes_.size());
    benchmark::DoNotOptimize(used);
    benchmark::ClobberMemory();
  }

  void decode() override {
    std::size_t used = decodeAnswer(bytes_.data(), used_, arrived_.get());
    benchmark::DoNotOptimize(used);
    benchmark::ClobberMemory();
  }

  std::string bytes() override { return {bytes_.data(), used_}; }

  Content read() override {
    if (decodeAnswer(bytes_.data(), used_, arrived_.get()) != used_)
      stop("the limit does not decode");
    Content content;
    content.status = arrived_->status;
    content.requestId = arrived_->requestId;
    for (std::uint32_t i = 0; i < arrived_->count; i++) {
      const FlatItem& flat = arrived_->items[i];
      content.items.push_back(namedItem({flat.id[0], flat.id[1], flat.id[2]}));
      readValue(flat, &content.items.back());
    }
    return content;
  }

 private:
  std::unique_ptr<FlatAnswer> source_;
  std::unique_ptr<FlatAnswer> arrived_;
  std::vector<char> bytes_;
  std::size_t used_ = 0;
};

}  // namespace

std::unique_ptr<System> makeLimit(const Content& content) {
  return std::make_unique<Limit>(content);
}

}  // namespace ostrel::bench
