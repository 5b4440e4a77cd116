// The library itself.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <ostrel/elements.h>
#include <ostrel/tags.h>
#include <ostrel/veskPDU.h>

#include <cstdlib>

#include "answer_content.h"

namespace ostrel::bench {
namespace {

veskType* makeValue(const Item& item, veskOid& classOid) {
  switch (item.kind) {
    case Kind::kInteger:
      return new veskInt(static_cast<int>(item.bits));
    case Kind::kCounter:
      return new veskUnsignedInt(item.bits);
    case Kind::kShortText:
    case Kind::kLongText:
      return new veskString(item.text.data(),
                            static_cast<unsigned>(item.text.size()));
    case Kind::kAddress:
      return new veskAddress(in_addr{htonl(item.bits)});
    case Kind::kReal:
      return new veskDouble(item.real);
    case Kind::kTruth:
      return new veskBool(item.bits);
    case Kind::kObject:
      return new veskOid(classOid, item.object[2], item.object[3]);
  }
  return nullptr;
}

veskGetRespPDU* makeAnswer(const Content& content, veskList* attributes) {
  auto* answer = new veskGetRespPDU(content.status, attributes, nullptr);
  answer->requestId.value = content.requestId;
  return answer;
}

void destroy(veskGetRespPDU* answer) {
  answer->clear();
  delete answer;
}

// The class of an element and of a value that arrived is that of its tag.
void addValue(veskType* value, Checksum* sum) {
  switch (value->tag) {
    case kTagInt: {
      const auto bits =
          static_cast<std::uint32_t>(static_cast<veskInt*>(value)->value);
      return sum->add(bits);
    }
    case kTagUnsignedInt:
    case kTagBool:
      return sum->add(static_cast<veskUnsignedInt*>(value)->value);
    case kTagString: {
      const auto* string = static_cast<veskString*>(value);
      return sum->addText(string->text, string->length.value);
    }
    case kTagAddress: {
      const in_addr* address = static_cast<veskAddress*>(value)->addr;
      return sum->add(ntohl(address->s_addr));
    }
    case kTagDouble:
      return sum->addReal(static_cast<veskDouble*>(value)->value);
    case kTagOid:
      for (const std::uint32_t number : static_cast<veskOid*>(value)->component)
        sum->add(number);
  }
}

void addAttributes(veskList& list, Checksum* sum) {
  for (veskType* element : Elements(list)) {
    if (element->tag != kTagAttribute) stop("an element is no attribute");
    auto* attribute = static_cast<veskAttribute*>(element);
    for (const std::uint32_t number : attribute->id.component) sum->add(number);
    addValue(attribute->value, sum);
  }
}

void readValue(veskType* value, Item* item) {
  if (auto* text = dynamic_cast<veskString*>(value)) {
    item->text.assign(text->text, text->length.value);
    item->kind =
        item->text.size() == kLongText ? Kind::kLongText : Kind::kShortText;
  } else if (auto* real = dynamic_cast<veskDouble*>(value)) {
    item->kind = Kind::kReal;
    item->real = real->value;
  } else if (auto* object = dynamic_cast<veskOid*>(value)) {
    item->kind = Kind::kObject;
    for (unsigned i = 0; i < item->object.size(); i++)
      item->object[i] = object->component[i];
  } else if (auto* address = dynamic_cast<veskAddress*>(value)) {
    item->kind = Kind::kAddress;
    item->bits = ntohl(address->get(nullptr)->s_addr);
  } else if (auto* truth = dynamic_cast<veskBool*>(value)) {
    item->kind = Kind::kTruth;
    item->bits = truth->value;
  } else if (auto* counter = dynamic_cast<veskUnsignedInt*>(value)) {
    item->kind = Kind::kCounter;
    item->bits = counter->value;
  } else if (auto* integer = dynamic_cast<veskInt*>(value)) {
    item->kind = Kind::kInteger;
    item->bits = static_cast<std::uint32_t>(integer->value);
  }
}

class Ostrel final : public System {
 public:
  explicit Ostrel(const Content& content)
      : content_(content), classOid_("59.6.0.0"), answer_(fromNumbers()) {
    bytes_.resize(128 * (content.items.size() + 1));
    used_ = answer_->encode(bytes_.data(), room());
    if (used_ == 0) stop("the library does not encode");
  }
  ~Ostrel() override { destroy(answer_); }
  Ostrel(const Ostrel&) = delete;
  Ostrel& operator=(const Ostrel&) = delete;

  void build() override {
    veskGetRespPDU* answer = fromNumbers();
    benchmark::DoNotOptimize(answer);
    destroy(answer);
  }

  void buildFromNames() override {
    auto* attributes = new veskList;
    for (const Item& item : content_.items)
      veskAtAppendAttr(attributes, item.name.c_str(),
                       makeValue(item, classOid_));
    veskGetRespPDU* answer = makeAnswer(content_, attributes);
    benchmark::DoNotOptimize(answer);
    destroy(answer);
  }

  void encode() override {
    unsigned used = answer_->encode(bytes_.data(), room());
    benchmark::DoNotOptimize(used);
    benchmark::ClobberMemory();
  }

  void decode() override {
    veskType* arrived = nullptr;
    unsigned used = veskType::decodeCreate(bytes_.data(), used_, &arrived);
    benchmark::DoNotOptimize(used);
    benchmark::DoNotOptimize(arrived);
    veskType::destroyDecoded(arrived);
  }

  std::uint64_t decodeAndRead() override {
    veskType* arrived = nullptr;
    veskType::decodeCreate(bytes_.data(), used_, &arrived);
    auto* answer = static_cast<veskGetRespPDU*>(arrived);
    Checksum sum;
    sum.add(static_cast<std::uint64_t>(answer->status.value));
    sum.add(answer->requestId.value);
    addAttributes(*answer->list, &sum);
    veskType::destroyDecoded(arrived);
    return sum.sum();
  }

  void print() override {
    char* text = answer_->getString();
    benchmark::DoNotOptimize(text);
    std::free(text);
  }

  std::string bytes() override { return {bytes_.data(), used_}; }

  Content read() override {
    veskType* arrived = nullptr;
    Content content;
    if (veskType::decodeCreate(bytes_.data(), used_, &arrived) != used_)
      stop("the library does not decode");
    auto* answer = dynamic_cast<veskGetRespPDU*>(arrived);
    content.status = answer->status.value;
    content.requestId = answer->requestId.value;
    for (unsigned i = 0; i < answer->list->count; i++) {
      auto* attribute = answer->list->at<veskAttribute>(i);
      const std::uint32_t* id = attribute->id.component;
      content.items.push_back(namedItem({id[0], id[1], id[2]}));
      readValue(attribute->value, &content.items.back());
    }
    veskType::destroyDecoded(arrived);
    return content;
  }

 private:
  unsigned room() const { return static_cast<unsigned>(bytes_.size()); }

  veskGetRespPDU* fromNumbers() {
    auto* attributes = new veskList;
    veskAid id(classOid_, 0);
    for (const Item& item : content_.items) {
      id.component[2] = item.number;
      auto* attribute = new veskAttribute(&id);
      attribute->value = makeValue(item, classOid_);
      attributes->append(attribute);
    }
    return makeAnswer(content_, attributes);
  }

  const Content content_;
  veskOid classOid_;
  veskGetRespPDU* answer_;
  std::vector<char> bytes_;
  unsigned used_ = 0;
};

}  // namespace

std::unique_ptr<System> makeOstrel(const Content& content) {
  return std::make_unique<Ostrel>(content);
}

}  // namespace ostrel::bench
