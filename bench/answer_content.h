// The answer that every system of the comparison holds, and what is measured
// of each system. An answer to a get: status, request id, no principal, no
// errors, and attributes 59.6.1, 59.6.2, ... of eight kinds.

#ifndef OSTREL_BENCH_ANSWER_CONTENT_H
#define OSTREL_BENCH_ANSWER_CONTENT_H

#include <array>
#include <cstddef>
#include <cstdint>
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

  // Prints the in-memory answer into a text and frees that.
  virtual void print() = 0;

  // The bytes that encode() makes, and what decode() reads from them.
  virtual std::string bytes() = 0;
  virtual Content read() = 0;
};

using SystemMaker = std::unique_ptr<System> (*)(const Content& content);

std::unique_ptr<System> makeOstrel(const Content& content);
std::unique_ptr<System> makeLimit(const Content& content);
std::unique_ptr<System> makeXdr(const Content& content);

// Decodes to MessagePack's own objects; the second one on to plain structs.
std::unique_ptr<System> makeMsgpack(const Content& content);
std::unique_ptr<System> makeMsgpackStructs(const Content& content);

std::unique_ptr<System> makeCapnProto(const Content& content);

// For what a system has no counterpart of, and set-ups that fail.
[[noreturn]] void stop(const char* why);

}  // namespace ostrel::bench

#endif  // OSTREL_BENCH_ANSWER_CONTENT_H
