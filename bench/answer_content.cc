#include "answer_content.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace ostrel::bench {
namespace {

constexpr unsigned kContentSeed = 59;
constexpr std::uint32_t kRequestId = 0x01020304;

using Random = std::mt19937;

std::string randomText(Random* random, std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; i++)
    text += static_cast<char>('a' + (*random)() % 26);
  return text;
}

Item makeItem(Random* random, std::uint32_t number, Kind kind) {
  constexpr std::uint32_t kHighestBit = 0x80000000;
  Item item = namedItem({kClass[0], kClass[1], number});
  item.kind = kind;
  switch (kind) {
    case Kind::kInteger:
    case Kind::kCounter:
    case Kind::kAddress:
      item.bits = static_cast<std::uint32_t>((*random)()) | kHighestBit;
      break;
    case Kind::kShortText:
      item.text = randomText(random, kShortText);
      break;
    case Kind::kLongText:
      item.text = randomText(random, kLongText);
      break;
    case Kind::kReal:
      item.real = static_cast<double>((*random)()) / 7;
      break;
    case Kind::kTruth:
      item.bits = (*random)() % 2;
      break;
    case Kind::kObject:
      item.object = {kClass[0], kClass[1],
                     static_cast<std::uint32_t>((*random)() % 1000),
                     static_cast<std::uint32_t>((*random)() % 100000)};
      break;
  }
  return item;
}

Content fill(const std::vector<Kind>& kinds) {
  Random random(kContentSeed);
  Content content;
  content.requestId = kRequestId;
  std::uint32_t number = 1;
  for (const Kind kind : kinds)
    content.items.push_back(makeItem(&random, number++, kind));
  return content;
}

std::vector<Kind> cycle(unsigned count) {
  std::vector<Kind> kinds;
  for (unsigned i = 0; i < count; i++)
    kinds.push_back(static_cast<Kind>(i % kKinds));
  return kinds;
}

}  // namespace

bool operator==(const Item& a, const Item& b) {
  return a.name == b.name && a.number == b.number && a.kind == b.kind &&
         a.bits == b.bits && a.real == b.real && a.text == b.text &&
         a.object == b.object;
}

bool operator==(const Content& a, const Content& b) {
  return a.status == b.status && a.requestId == b.requestId &&
         a.items == b.items;
}

Content cycling(unsigned count) { return fill(cycle(count)); }

Content shuffled(unsigned count, unsigned seed) {
  std::vector<Kind> kinds = cycle(count);
  Random random(seed);
  std::shuffle(kinds.begin(), kinds.end(), random);
  return fill(kinds);
}

std::uint64_t checksum(const Content& content) {
  Checksum sum;
  sum.add(static_cast<std::uint64_t>(content.status));
  sum.add(content.requestId);
  for (const Item& item : content.items) {
    for (const std::uint32_t number : kClass) sum.add(number);
    sum.add(item.number);
    sum.add(item.bits);
    if (item.kind == Kind::kReal) sum.addReal(item.real);
    sum.addText(item.text.data(), item.text.size());
    for (const std::uint32_t number : item.object) sum.add(number);
  }
  return sum.sum();
}

std::unique_ptr<System> checkedSystem(SystemMaker make,
                                      const Content& content) {
  std::unique_ptr<System> system = make(content);
  if (!(system->read() == content))
    stop("a system does not give back what it was given");
  if (system->decodeAndRead() != checksum(content))
    stop("a system does not read all that it decodes");
  if (makeLimit(content)->bytes() != makeOstrel(content)->bytes())
    stop("the limit's bytes are not the library's");
  return system;
}

Item namedItem(const AttributeId& id) {
  Item item;
  item.number = id[2];
  item.name = std::to_string(id[0]) + "." + std::to_string(id[1]) + "." +
              std::to_string(id[2]);
  return item;
}

AttributeId parseName(const std::string& name) {
  AttributeId id = {};
  const char* at = name.data();
  const char* const end = at + name.size();
  for (std::uint32_t& number : id) {
    at = std::from_chars(at, end, number).ptr;
    if (at != end) at++;
  }
  return id;
}

void stop(const char* why) {
  std::fprintf(stderr, "benchmark: %s\n", why);
  std::exit(1);
}

}  // namespace ostrel::bench
