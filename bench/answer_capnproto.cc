// Cap'n Proto. Its in-memory answer is its encoding, so "encode" makes the
// answer and one flat array of it, and "decode" visits every field.

#include <benchmark/benchmark.h>
#include <capnp/message.h>
#include <capnp/serialize.h>

#include <cstring>

#include "answer.capnp.h"
#include "answer_content.h"

namespace ostrel::bench {
namespace {

void fillValue(const Item& item, capnproto::Attribute::Builder attribute) {
  switch (item.kind) {
    case Kind::kInteger:
      attribute.setInteger(static_cast<std::int32_t>(item.bits));
      break;
    case Kind::kCounter:
      attribute.setCounter(item.bits);
      break;
    case Kind::kShortText:
    case Kind::kLongText:
      attribute.setText({item.text.c_str(), item.text.size()});
      break;
    case Kind::kAddress:
      attribute.setAddress(item.bits);
      break;
    case Kind::kReal:
      attribute.setReal(item.real);
      break;
    case Kind::kTruth:
      attribute.setTruth(item.bits != 0);
      break;
    case Kind::kObject: {
      auto object = attribute.initObject();
      object.setA(item.object[0]);
      object.setB(item.object[1]);
      object.setC(item.object[2]);
      object.setD(item.object[3]);
      break;
    }
  }
}

void visitValue(capnproto::Attribute::Reader attribute) {
  switch (attribute.which()) {
    case capnproto::Attribute::INTEGER:
      benchmark::DoNotOptimize(attribute.getInteger());
      break;
    case capnproto::Attribute::COUNTER:
      benchmark::DoNotOptimize(attribute.getCounter());
      break;
    case capnproto::Attribute::TEXT: {
      const auto text = attribute.getText();
      benchmark::DoNotOptimize(text.begin());
      benchmark::DoNotOptimize(text.size());
      break;
    }
    case capnproto::Attribute::ADDRESS:
      benchmark::DoNotOptimize(attribute.getAddress());
      break;
    case capnproto::Attribute::REAL:
      benchmark::DoNotOptimize(attribute.getReal());
      break;
    case capnproto::Attribute::TRUTH:
      benchmark::DoNotOptimize(attribute.getTruth());
      break;
    case capnproto::Attribute::OBJECT: {
      const auto object = attribute.getObject();
      benchmark::DoNotOptimize(object.getA());
      benchmark::DoNotOptimize(object.getB());
      benchmark::DoNotOptimize(object.getC());
      benchmark::DoNotOptimize(object.getD());
      break;
    }
  }
}

void addValue(capnproto::Attribute::Reader attribute, Checksum* sum) {
  switch (attribute.which()) {
    case capnproto::Attribute::INTEGER:
      return sum->add(static_cast<std::uint32_t>(attribute.getInteger()));
    case capnproto::Attribute::COUNTER:
      return sum->add(attribute.getCounter());
    case capnproto::Attribute::TEXT: {
      const auto text = attribute.getText();
      return sum->addText(text.begin(), text.size());
    }
    case capnproto::Attribute::ADDRESS:
      return sum->add(attribute.getAddress());
    case capnproto::Attribute::REAL:
      return sum->addReal(attribute.getReal());
    case capnproto::Attribute::TRUTH:
      return sum->add(attribute.getTruth());
    case capnproto::Attribute::OBJECT: {
      const auto object = attribute.getObject();
      sum->add(object.getA());
      sum->add(object.getB());
      sum->add(object.getC());
      return sum->add(object.getD());
    }
  }
}

void readValue(capnproto::Attribute::Reader attribute, Item* item) {
  switch (attribute.which()) {
    case capnproto::Attribute::INTEGER:
      item->kind = Kind::kInteger;
      item->bits = static_cast<std::uint32_t>(attribute.getInteger());
      break;
    case capnproto::Attribute::COUNTER:
      item->kind = Kind::kCounter;
      item->bits = attribute.getCounter();
      break;
    case capnproto::Attribute::TEXT:
      item->text = attribute.getText().cStr();
      item->kind =
          item->text.size() == kLongText ? Kind::kLongText : Kind::kShortText;
      break;
    case capnproto::Attribute::ADDRESS:
      item->kind = Kind::kAddress;
      item->bits = attribute.getAddress();
      break;
    case capnproto::Attribute::REAL:
      item->kind = Kind::kReal;
      item->real = attribute.getReal();
      break;
    case capnproto::Attribute::TRUTH:
      item->kind = Kind::kTruth;
      item->bits = attribute.getTruth() ? 1 : 0;
      break;
    case capnproto::Attribute::OBJECT: {
      const auto object = attribute.getObject();
      item->kind = Kind::kObject;
      item->object = {object.getA(), object.getB(), object.getC(),
                      object.getD()};
      break;
    }
  }
}

class CapnProto final : public System {
 public:
  explicit CapnProto(const Content& content) : content_(content) {
    capnp::MallocMessageBuilder message;
    fillFromNumbers(&message);
    words_ = capnp::messageToFlatArray(message);
  }

  void build() override {
    capnp::MallocMessageBuilder message;
    fillFromNumbers(&message);
    benchmark::ClobberMemory();
  }

  void buildFromNames() override {
    capnp::MallocMessageBuilder message;
    fill(&message, [](const Item& item) { return parseName(item.name); });
    benchmark::ClobberMemory();
  }

  void encode() override {
    capnp::MallocMessageBuilder message;
    fillFromNumbers(&message);
    const kj::Array<capnp::word> words = capnp::messageToFlatArray(message);
    benchmark::DoNotOptimize(words.begin());
    benchmark::ClobberMemory();
  }

  void decode() override {
    capnp::FlatArrayMessageReader message(words_);
    const auto answer = message.getRoot<capnproto::Answer>();
    benchmark::DoNotOptimize(answer.getStatus());
    benchmark::DoNotOptimize(answer.getRequestId());
    benchmark::DoNotOptimize(answer.hasPrincipal());
    benchmark::DoNotOptimize(answer.getErrors().size());
    for (const auto attribute : answer.getAttributes()) {
      benchmark::DoNotOptimize(attribute.getA());
      benchmark::DoNotOptimize(attribute.getB());
      benchmark::DoNotOptimize(attribute.getC());
      visitValue(attribute);
    }
  }

  std::uint64_t decodeAndRead() override {
    capnp::FlatArrayMessageReader message(words_);
    const auto answer = message.getRoot<capnproto::Answer>();
    Checksum sum;
    sum.add(static_cast<std::uint64_t>(answer.getStatus()));
    sum.add(answer.getRequestId());
    for (const auto attribute : answer.getAttributes()) {
      sum.add(attribute.getA());
      sum.add(attribute.getB());
      sum.add(attribute.getC());
      addValue(attribute, &sum);
    }
    return sum.sum();
  }

  void print() override { stop("Cap'n Proto is not printed"); }

  std::string bytes() override {
    const auto bytes = words_.asBytes();
    return {bytes.begin(), bytes.end()};
  }

  Content read() override {
    capnp::FlatArrayMessageReader message(words_);
    const auto answer = message.getRoot<capnproto::Answer>();
    Content content;
    content.status = answer.getStatus();
    content.requestId = answer.getRequestId();
    for (const auto attribute : answer.getAttributes()) {
      content.items.push_back(
          namedItem({attribute.getA(), attribute.getB(), attribute.getC()}));
      readValue(attribute, &content.items.back());
    }
    return content;
  }

 private:
  template <class IdOf>
  void fill(capnp::MallocMessageBuilder* message, IdOf idOf) {
    auto answer = message->initRoot<capnproto::Answer>();
    answer.setStatus(content_.status);
    answer.setRequestId(content_.requestId);
    answer.initErrors(0);
    auto attributes =
        answer.initAttributes(static_cast<unsigned>(content_.items.size()));
    unsigned position = 0;
    for (const Item& item : content_.items) {
      auto attribute = attributes[position++];
      const AttributeId id = idOf(item);
      attribute.setA(id[0]);
      attribute.setB(id[1]);
      attribute.setC(id[2]);
      fillValue(item, attribute);
    }
  }
  void fillFromNumbers(capnp::MallocMessageBuilder* message) {
    fill(message, [](const Item& item) {
      return AttributeId{kClass[0], kClass[1], item.number};
    });
  }

  const Content content_;
  kj::Array<capnp::word> words_;
};

}  // namespace

std::unique_ptr<System> makeCapnProto(const Content& content) {
  return std::make_unique<CapnProto>(content);
}

}  // namespace ostrel::bench
