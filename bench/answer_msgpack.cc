// MessagePack, from msgpack-cxx: an answer is the array
//
//   [status, request id, principal or nil, [errors...], [attributes...]]
//
// and an attribute is [[59, 6, 5], kind, value], the kind being a small number
// that tells counters from addresses.
//
// In memory it has two forms, each with its own build, encode and decode:
// MessagePack's own tree of objects in a zone, which like the library's values
// says of itself what it is ("msgpack"), and the program's structs
// ("msgpack-structs").

#include <benchmark/benchmark.h>

#include <msgpack.hpp>
#include <optional>
#include <variant>

#include "answer_content.h"

namespace ostrel::bench {
namespace {

struct PackedCounter {
  std::uint32_t value;
};

struct PackedAddress {
  std::uint32_t value;
};

// A value's place here is its kind in the packed bytes.
using PackedValue = std::variant<std::int32_t, PackedCounter, std::string,
                                 PackedAddress, double, bool, ObjectId>;

struct PackedAttribute {
  AttributeId id;
  PackedValue value;
};

struct PackedError {
  std::uint32_t index;
  std::int32_t code;
  MSGPACK_DEFINE(index, code)
};

struct PackedAnswer {
  std::int32_t status = 0;
  std::uint32_t requestId = 0;
  std::optional<ObjectId> principal;
  std::vector<PackedError> errors;
  std::vector<PackedAttribute> attributes;
  MSGPACK_DEFINE(status, requestId, principal, errors, attributes)
};

// What is packed of a value behind its kind.
template <class Plain>
const Plain& plain(const Plain& value) {
  return value;
}
std::uint32_t plain(const PackedCounter& counter) { return counter.value; }
std::uint32_t plain(const PackedAddress& address) { return address.value; }

template <class Value>
Value converted(const msgpack::object& object) {
  return object.as<Value>();
}
template <>
PackedCounter converted(const msgpack::object& object) {
  return {object.as<std::uint32_t>()};
}
template <>
PackedAddress converted(const msgpack::object& object) {
  return {object.as<std::uint32_t>()};
}

PackedValue convertedValue(std::uint32_t kind, const msgpack::object& object) {
  switch (kind) {
    case 0:
      return converted<std::int32_t>(object);
    case 1:
      return converted<PackedCounter>(object);
    case 2:
      return converted<std::string>(object);
    case 3:
      return converted<PackedAddress>(object);
    case 4:
      return converted<double>(object);
    case 5:
      return converted<bool>(object);
    case 6:
      return converted<ObjectId>(object);
    default:
      throw msgpack::type_error();
  }
}

}  // namespace
}  // namespace ostrel::bench

namespace msgpack {
MSGPACK_API_VERSION_NAMESPACE(MSGPACK_DEFAULT_API_NS) {
  namespace adaptor {

  using ostrel::bench::PackedAttribute;

  template <>
  struct pack<PackedAttribute> {
    template <class Stream>
    packer<Stream>& operator()(packer<Stream>& out,
                               const PackedAttribute& from) const {
      out.pack_array(3);
      out.pack(from.id);
      out.pack(static_cast<std::uint32_t>(from.value.index()));
      std::visit(
          [&out](const auto& value) {
            using ostrel::bench::plain;
            out.pack(plain(value));
          },
          from.value);
      return out;
    }
  };

  template <>
  struct convert<PackedAttribute> {
    const msgpack::object& operator()(const msgpack::object& from,
                                      PackedAttribute& to) const {
      if (from.type != type::ARRAY || from.via.array.size != 3)
        throw type_error();
      const msgpack::object* member = from.via.array.ptr;
      member[0].convert(to.id);
      to.value = ostrel::bench::convertedValue(member[1].as<std::uint32_t>(),
                                               member[2]);
      return from;
    }
  };

  }  // namespace adaptor
}
}  // namespace msgpack

namespace ostrel::bench {
namespace {

PackedValue makeValue(const Item& item) {
  switch (item.kind) {
    case Kind::kInteger:
      return static_cast<std::int32_t>(item.bits);
    case Kind::kCounter:
      return PackedCounter{item.bits};
    case Kind::kShortText:
    case Kind::kLongText:
      return item.text;
    case Kind::kAddress:
      return PackedAddress{item.bits};
    case Kind::kReal:
      return item.real;
    case Kind::kTruth:
      return item.bits != 0;
    case Kind::kObject:
      return item.object;
  }
  return {};
}

struct ValueReader {
  Item* item;

  void operator()(std::int32_t value) const {
    item->kind = Kind::kInteger;
    item->bits = static_cast<std::uint32_t>(value);
  }
  void operator()(PackedCounter value) const {
    item->kind = Kind::kCounter;
    item->bits = value.value;
  }
  void operator()(const std::string& value) const {
    item->text = value;
    item->kind = value.size() == kLongText ? Kind::kLongText : Kind::kShortText;
  }
  void operator()(PackedAddress value) const {
    item->kind = Kind::kAddress;
    item->bits = value.value;
  }
  void operator()(double value) const {
    item->kind = Kind::kReal;
    item->real = value;
  }
  void operator()(bool value) const {
    item->kind = Kind::kTruth;
    item->bits = value ? 1 : 0;
  }
  void operator()(const ObjectId& value) const {
    item->kind = Kind::kObject;
    item->object = value;
  }
};

struct ValueAdder {
  Checksum* sum;

  void operator()(std::int32_t value) const {
    sum->add(static_cast<std::uint32_t>(value));
  }
  void operator()(PackedCounter value) const { sum->add(value.value); }
  void operator()(const std::string& value) const {
    sum->addText(value.data(), value.size());
  }
  void operator()(PackedAddress value) const { sum->add(value.value); }
  void operator()(double value) const { sum->addReal(value); }
  void operator()(bool value) const { sum->add(value); }
  void operator()(const ObjectId& value) const {
    for (const std::uint32_t number : value) sum->add(number);
  }
};

// What both forms share: the bytes, and how they are read back.
class Packed : public System {
 public:
  void print() override { stop("MessagePack does not print"); }

  std::string bytes() override { return {bytes_.data(), bytes_.size()}; }

  Content read() override {
    const PackedAnswer answer = decoded();
    Content content;
    content.status = answer.status;
    content.requestId = answer.requestId;
    for (const PackedAttribute& attribute : answer.attributes) {
      content.items.push_back(namedItem(attribute.id));
      std::visit(ValueReader{&content.items.back()}, attribute.value);
    }
    return content;
  }

 protected:
  explicit Packed(const Content& content) : content_(content) {}

  PackedAnswer decoded() {
    return msgpack::unpack(bytes_.data(), bytes_.size())
        .get()
        .as<PackedAnswer>();
  }

  const Content content_;
  msgpack::sbuffer bytes_;
};

AttributeId numberedId(const Item& item) {
  return {kClass[0], kClass[1], item.number};
}

AttributeId namedId(const Item& item) { return parseName(item.name); }

class MsgpackStructs final : public Packed {
 public:
  explicit MsgpackStructs(const Content& content)
      : Packed(content), answer_(make(numberedId)) {
    msgpack::pack(bytes_, answer_);
  }

  void build() override {
    PackedAnswer answer = make(numberedId);
    benchmark::DoNotOptimize(answer);
  }

  void buildFromNames() override {
    PackedAnswer answer = make(namedId);
    benchmark::DoNotOptimize(answer);
  }

  void encode() override {
    bytes_.clear();
    msgpack::pack(bytes_, answer_);
    benchmark::ClobberMemory();
  }

  void decode() override {
    PackedAnswer answer = decoded();
    benchmark::DoNotOptimize(answer);
  }

  std::uint64_t decodeAndRead() override {
    const PackedAnswer answer = decoded();
    Checksum sum;
    sum.add(static_cast<std::uint64_t>(answer.status));
    sum.add(answer.requestId);
    for (const PackedAttribute& attribute : answer.attributes) {
      for (const std::uint32_t number : attribute.id) sum.add(number);
      std::visit(ValueAdder{&sum}, attribute.value);
    }
    return sum.sum();
  }

 private:
  template <class IdOf>
  PackedAnswer make(IdOf idOf) {
    PackedAnswer answer;
    answer.status = content_.status;
    answer.requestId = content_.requestId;
    answer.attributes.reserve(content_.items.size());
    for (const Item& item : content_.items)
      answer.attributes.push_back({idOf(item), makeValue(item)});
    return answer;
  }

  PackedAnswer answer_;
};

// An array of objects in the zone, to be filled in.
msgpack::object* makeArray(msgpack::object* object, std::uint32_t size,
                           msgpack::zone& zone) {
  object->type = msgpack::type::ARRAY;
  object->via.array.size = size;
  object->via.array.ptr = static_cast<msgpack::object*>(zone.allocate_align(
      sizeof(msgpack::object) * size, MSGPACK_ZONE_ALIGNOF(msgpack::object)));
  return object->via.array.ptr;
}

template <std::size_t kCount>
void makeNumbers(msgpack::object* object,
                 const std::array<std::uint32_t, kCount>& numbers,
                 msgpack::zone& zone) {
  msgpack::object* each = makeArray(object, kCount, zone);
  for (const std::uint32_t number : numbers) *each++ = msgpack::object(number);
}

msgpack::object makeObject(const Item& item, msgpack::zone& zone) {
  switch (item.kind) {
    case Kind::kInteger:
      return msgpack::object(static_cast<std::int32_t>(item.bits));
    case Kind::kCounter:
    case Kind::kAddress:
      return msgpack::object(item.bits);
    case Kind::kShortText:
    case Kind::kLongText:
      return msgpack::object(item.text, zone);
    case Kind::kReal:
      return msgpack::object(item.real);
    case Kind::kTruth:
      return msgpack::object(item.bits != 0);
    case Kind::kObject: {
      msgpack::object object;
      makeNumbers(&object, item.object, zone);
      return object;
    }
  }
  return {};
}

// Every number and text in a tree of objects.
void addObject(const msgpack::object& object, Checksum* sum) {
  switch (object.type) {
    case msgpack::type::BOOLEAN:
      return sum->add(object.via.boolean);
    case msgpack::type::POSITIVE_INTEGER:
      return sum->add(object.via.u64);
    case msgpack::type::NEGATIVE_INTEGER:
      return sum->add(static_cast<std::uint32_t>(object.via.i64));
    case msgpack::type::STR:
      return sum->addText(object.via.str.ptr, object.via.str.size);
    case msgpack::type::ARRAY:
      for (std::uint32_t i = 0; i < object.via.array.size; i++)
        addObject(object.via.array.ptr[i], sum);
      return;
    default:
      return;
  }
}

// A value's place among the alternatives of PackedValue.
std::uint32_t packedKind(Kind kind) {
  switch (kind) {
    case Kind::kInteger:
      return 0;
    case Kind::kCounter:
      return 1;
    case Kind::kShortText:
    case Kind::kLongText:
      return 2;
    case Kind::kAddress:
      return 3;
    case Kind::kReal:
      return 4;
    case Kind::kTruth:
      return 5;
    case Kind::kObject:
      return 6;
  }
  return 0;
}

class MsgpackObjects final : public Packed {
 public:
  explicit MsgpackObjects(const Content& content)
      : Packed(content), answer_(make(numberedId, zone_)) {
    msgpack::pack(bytes_, answer_);
  }

  void build() override {
    msgpack::zone zone;
    msgpack::object answer = make(numberedId, zone);
    benchmark::DoNotOptimize(answer);
  }

  void buildFromNames() override {
    msgpack::zone zone;
    msgpack::object answer = make(namedId, zone);
    benchmark::DoNotOptimize(answer);
  }

  void encode() override {
    bytes_.clear();
    msgpack::pack(bytes_, answer_);
    benchmark::ClobberMemory();
  }

  void decode() override {
    msgpack::object_handle handle =
        msgpack::unpack(bytes_.data(), bytes_.size());
    benchmark::DoNotOptimize(handle);
  }

  std::uint64_t decodeAndRead() override {
    const msgpack::object_handle handle =
        msgpack::unpack(bytes_.data(), bytes_.size());
    const msgpack::object* member = handle.get().via.array.ptr;
    Checksum sum;
    addObject(member[0], &sum);
    addObject(member[1], &sum);
    const msgpack::object_array& attributes = member[4].via.array;
    for (std::uint32_t i = 0; i < attributes.size; i++) {
      const msgpack::object* attribute = attributes.ptr[i].via.array.ptr;
      addObject(attribute[0], &sum);
      // A double without a fraction is packed as an integer.
      if (attribute[1].via.u64 == packedKind(Kind::kReal))
        sum.addReal(attribute[2].as<double>());
      else
        addObject(attribute[2], &sum);
    }
    return sum.sum();
  }

 private:
  template <class IdOf>
  msgpack::object make(IdOf idOf, msgpack::zone& zone) {
    msgpack::object answer;
    msgpack::object* member = makeArray(&answer, 5, zone);
    member[0] = msgpack::object(content_.status);
    member[1] = msgpack::object(content_.requestId);
    member[2] = msgpack::object();
    makeArray(&member[3], 0, zone);
    auto count = static_cast<std::uint32_t>(content_.items.size());
    msgpack::object* each = makeArray(&member[4], count, zone);
    for (const Item& item : content_.items) {
      msgpack::object* attribute = makeArray(each++, 3, zone);
      makeNumbers(&attribute[0], idOf(item), zone);
      attribute[1] = msgpack::object(packedKind(item.kind));
      attribute[2] = makeObject(item, zone);
    }
    return answer;
  }

  msgpack::zone zone_;
  msgpack::object answer_;
};

}  // namespace

std::unique_ptr<System> makeMsgpack(const Content& content) {
  return std::make_unique<MsgpackObjects>(content);
}

std::unique_ptr<System> makeMsgpackStructs(const Content& content) {
  return std::make_unique<MsgpackStructs>(content);
}

}  // namespace ostrel::bench
