// The limit: the flat codec, which knows this answer only.

#include <benchmark/benchmark.h>

#include <cstring>

#include "answer_content.h"
#include "flat_codec.h"

namespace ostrel::bench {
namespace {

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
      std::memcpy(to->text.room, from.text.data(), from.text.size());
      to->text.bytes = to->text.room;
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

void addValue(const FlatItem& item, Checksum* sum) {
  switch (item.tag) {
    case kTagString:
      return sum->addText(item.text.bytes, item.text.length);
    case kTagDouble:
      return sum->addReal(item.real);
    case kTagOid:
      for (const std::uint32_t number : item.object) sum->add(number);
      return;
    default:
      return sum->add(item.bits);
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

template <bool kCopiesTexts>
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
    std::size_t used = decodeBytes();
    benchmark::DoNotOptimize(used);
    benchmark::ClobberMemory();
  }

  std::uint64_t decodeAndRead() override {
    decodeBytes();
    Checksum sum;
    sum.add(static_cast<std::uint64_t>(arrived_->status));
    sum.add(arrived_->requestId);
    for (std::uint32_t i = 0; i < arrived_->count; i++) {
      const FlatItem& item = arrived_->items[i];
      for (const std::uint32_t number : item.id) sum.add(number);
      addValue(item, &sum);
    }
    return sum.sum();
  }

  std::string bytes() override { return {bytes_.data(), used_}; }

  Content read() override {
    if (decodeBytes() != used_) stop("the limit does not decode");
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
  std::size_t decodeBytes() {
    return decodeAnswer<kCopiesTexts>(bytes_.data(), used_, arrived_.get());
  }

  std::unique_ptr<FlatAnswer> source_;
  std::unique_ptr<FlatAnswer> arrived_;
  std::vector<char> bytes_;
  std::size_t used_ = 0;
};

}  // namespace

std::unique_ptr<System> makeLimit(const Content& content) {
  return std::make_unique<Limit<true>>(content);
}

std::unique_ptr<System> makeLimitInPlace(const Content& content) {
  return std::make_unique<Limit<false>>(content);
}

}  // namespace ostrel::bench
