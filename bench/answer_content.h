// The answer that every system of the comparison holds, and what is measured
// of each system. An answer to a get: status, request id, no principal, no
// errors, and attributes 59.6.1, 59.6.2, ... of eight kinds.

#ifndef OSTREL_BENCH_ANSWER_CONTENT_H
#define OSTREL_BENCH_ANSWER_CONTENT_H

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace ostrel::bench {

// A counter travels as a plain unsigned number: decoding knows no counters.
enum class Kind : std::uint8_t {
  kInteger,
  kCounter,
  kShortText,
  kLongText,
  kAddress,
  kReal,
  kTruth,
  kObject,
};

constexpr unsigned kKinds = 8;
constexpr unsigned kMostItems = 1000;
constexpr std::size_t kShortText = 12;
constexpr std::size_t kLongText = 64;

// The class of the object that answers: 59.6.
constexpr std::uint32_t kClass[] = {59, 6};

using ObjectId = std::array<std::uint32_t, 4>;
using AttributeId = std::array<std::uint32_t, 3>;

// One attribute as plain data. What its kind does not need stays 0.
struct Item {
  std::string name;  // "59.6.5"
  std::uint32_t number = 0;
  Kind kind = Kind::kInteger;
  std::uint32_t bits = 0;  // number, counter, address or truth
  double real = 0;
  std::string text;
  ObjectId object = {};
};

struct Content {
  std::int32_t status = 0;
  std::uint32_t requestId = 0;
  std::vector<Item> items;
};

bool operator==(const Item& a, const Item& b);
bool operator==(const Content& a, const Content& b);

// `count` items, the kinds one after the other, or shuffled with a seed.
Content cycling(unsigned count);
Content shuffled(unsigned count, unsigned seed);

// An item without its value, for systems to fill in what they decoded.
Item namedItem(const AttributeId& id);

// "59.6.5" as numbers, the quickest way that the standard library has.
AttributeId parseName(const std::string& name);

// What reading all of an answer comes to: a sum over every number, over every
// byte of every text, and over the pattern of every double. The compiler keeps
// nothing from one step to the next, as where a program's own code stands
// between.
class Checksum {
 public:
  void add(std::uint64_t number) {
    sum_ += number;
    benchmark::DoNotOptimize(sum_);
  }
  void addReal(double real) {
    std::uint64_t pattern;
    std::memcpy(&pattern, &real, sizeof pattern);
    add(pattern);
  }
  void addText(const char* text, std::size_t length) {
    add(length);
    std::uint64_t word = 0;
    for (; length >= sizeof word; length -= sizeof word, text += sizeof word) {
      std::memcpy(&word, text, sizeof word);
      add(word);
    }
    for (; length != 0; length--) add(byteAt(text++));
  }
  std::uint64_t sum() const { return sum_; }

 private:
  static unsigned char byteAt(const char* at) {
    return static_cast<unsigned char>(*at);
  }

  std::uint64_t sum_ = 0;
};

std::uint64_t checksum(const Content& content);

// A system under measurement, set up with one content: it holds the in-memory
// answer and the answer's bytes.
class System {
 public:
  virtual ~System() = default;

  // Makes the in-memory answer from the content and frees it.
  virtual void build() = 0;

  // The same from the items' names in place of their numbers.
  virtual void buildFromNames() = 0;

  // Turns the in-memory answer into bytes in a buffer that is there already.
  virtual void encode() = 0;

  // Turns the bytes into an in-memory answer and frees it.
  virtual void decode() = 0;

  // The same, and reads all of the answer before freeing it. Returns the sum.
  virtual std::uint64_t decodeAndRead() = 0;

  // Prints the in-memory answer into a text and frees that.
  virtual void print() = 0;

  // The bytes that encode() makes, and what decode() reads from them.
  virtual std::string bytes() = 0;
  virtual Content read() = 0;
};

using SystemMaker = std::unique_ptr<System> (*)(const Content& content);

std::unique_ptr<System> makeOstrel(const Content& content);

// The first copies the texts, the second leaves them in the bytes.
std::unique_ptr<System> makeLimit(const Content& content);
std::unique_ptr<System> makeLimitInPlace(const Content& content);

std::unique_ptr<System> makeXdr(const Content& content);

// Decodes to MessagePack's own objects; the second one on to plain structs.
std::unique_ptr<System> makeMsgpack(const Content& content);
std::unique_ptr<System> makeMsgpackStructs(const Content& content);

std::unique_ptr<System> makeCapnProto(const Content& content);

// How a system goes through the tables, and which of its operations do.
struct NamedSystem {
  const char* name;
  SystemMaker make;
  bool builds;
  bool encodes;
};

constexpr NamedSystem kSystems[] = {
    {"ostrel", makeOstrel, true, true},
    {"limit", makeLimit, false, true},
    {"limit-in-place", makeLimitInPlace, false, false},
    {"xdr", makeXdr, true, true},
    {"msgpack", makeMsgpack, true, true},
    {"msgpack-structs", makeMsgpackStructs, true, true},
    {"capnproto", makeCapnProto, true, true},
};

// The system with this content, after checking that it gives all of it back
// and that the limit's bytes are the library's.
std::unique_ptr<System> checkedSystem(SystemMaker make, const Content& content);

// For what a system has no counterpart of, and set-ups that fail.
[[noreturn]] void stop(const char* why);

}  // namespace ostrel::bench

#endif  // OSTREL_BENCH_ANSWER_CONTENT_H
