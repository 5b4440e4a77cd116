#include "random_values.h"

#include <cstring>

namespace ostrel::test {

namespace {

constexpr unsigned kMostElements = 5;
constexpr unsigned kMostText = 40;
constexpr unsigned kMostMutations = 4;

// Bytes that steer decoding.
constexpr unsigned char kTellingBytes[] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,  12,  15,
    23, 24, 25, 26, 31, 39, 65, 66, 67, 68, 77, 127, 128, 255};

template <class T>
T pick(Random& random, const T* choices, std::size_t count) {
  return choices[random.below(static_cast<unsigned>(count))];
}

unsigned char randomByte(Random& random) {
  if (random.below(3) == 0) return static_cast<unsigned char>(random.bits());
  return pick(random, kTellingBytes, sizeof kTellingBytes);
}

veskType* randomFloat(Random& random) {
  const std::uint32_t bits = random.number();
  veskFloat* value = new veskFloat;
  std::memcpy(&value->value, &bits, sizeof bits);
  return value;
}

veskType* randomDouble(Random& random) {
  const std::uint64_t bits = random.bits() >> random.below(64);
  veskDouble* value = new veskDouble;
  std::memcpy(&value->value, &bits, sizeof bits);
  return value;
}

veskType* randomString(Random& random) {
  const std::string text = random.text(kMostText);
  veskString* value = new veskString;
  if (!text.empty())
    value->set(text.data(), static_cast<unsigned>(text.size()));
  return value;
}

veskType* randomOpaque(Random& random) {
  const std::string text = random.text(kMostText);
  return new veskOpaque(text.data(), static_cast<unsigned>(text.size()));
}

veskType* randomAddress(Random& random) {
  if (random.below(4) == 0) return new veskAddress;
  in_addr address;
  address.s_addr = random.number();
  return new veskAddress(address);
}

veskType* randomList(Random& random, unsigned depth) {
  veskList* list = new veskList;
  const unsigned count = random.below(kMostElements + 1);
  for (unsigned i = 0; i < count; ++i) {
    list->append(randomValue(random, depth - 1));
  }
  return list;
}

}  // namespace

std::uint64_t Random::bits() {
  state_ += 0x9E3779B97F4A7C15u;
  std::uint64_t mixed = state_;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
  return mixed ^ (mixed >> 31);
}

unsigned Random::below(unsigned bound) {
  return static_cast<unsigned>(bits() % bound);
}

std::uint32_t Random::number() {
  constexpr std::uint32_t kEdges[] = {
      0,          1,          0x7F,       0x80,       0xFF,       0x100,
      0x7FFF,     0x8000,     0xFFFF,     0x10000,    0xFFFFFF,   0x1000000,
      0x7F800001, 0x7FC00000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
  if (below(3) == 0) return pick(*this, kEdges, sizeof kEdges / sizeof *kEdges);
  return static_cast<std::uint32_t>(bits()) >> below(32);
}

std::string Random::text(unsigned most) {
  std::string result(below(most + 1), '\0');
  for (char& character : result) {
    const unsigned kind = below(10);
    if (kind == 0) continue;
    character = static_cast<char>(kind == 1 ? bits() : 'a' + below(26));
  }
  return result;
}

std::string randomIdentifier(Random& random, unsigned components) {
  if (random.below(8) == 0) return "none";
  std::string text;
  for (unsigned i = 0; i < components; ++i) {
    text += (i == 0 ? "" : ".") + std::to_string(random.number());
  }
  return text;
}

veskType* randomValue(Random& random, unsigned depth) {
  constexpr unsigned kPlainKinds = 18;
  const unsigned kind =
      random.below(depth == 0 ? kPlainKinds : 2 + kPlainKinds);
  const std::uint32_t number = random.number();
  switch (kind) {
    case 0:
      return new veskType;
    case 1:
      return new veskChar(static_cast<signed char>(number & 0x7F));
    case 2:
      return new veskShort(static_cast<short>(number & 0xFFFF));
    case 3:
      return new veskInt(static_cast<int>(number));
    case 4:
      return new veskLong(static_cast<std::int32_t>(number));
    case 5:
      return randomFloat(random);
    case 6:
      return randomDouble(random);
    case 7:
      return new veskBool(number);
    case 8:
      return randomOpaque(random);
    case 9:
      return randomString(random);
    case 10:
      return new veskOid(randomIdentifier(random, 2 + random.below(3)).c_str());
    case 11:
      return new veskAid(randomIdentifier(random, 2 + random.below(2)).c_str());
    case 12:
      return new veskTime(number);
    case 13:
      return randomAddress(random);
    case 14:
      return new veskUnsignedChar(static_cast<unsigned char>(number & 0xFF));
    case 15:
      return new veskUnsignedShort(
          static_cast<unsigned short>(number & 0xFFFF));
    case 16:
      return new veskUnsignedInt(number);
    case 17:
      return new veskUnsignedLong(number);
    default:
      return randomList(random, depth);
  }
}

Bytes randomBytes(Random& random, unsigned most) {
  Bytes bytes(random.below(most + 1));
  for (unsigned char& byte : bytes) byte = randomByte(random);
  return bytes;
}

Bytes mutated(Random& random, Bytes bytes) {
  const unsigned mutations = 1 + random.below(kMostMutations);
  for (unsigned i = 0; i < mutations; ++i) {
    const unsigned place =
        random.below(static_cast<unsigned>(bytes.size()) + 1);
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
    if (place == bytes.size() || random.below(4) == 0) {
      bytes.insert(at, randomByte(random));
    } else if (random.below(3) == 0) {
      bytes.erase(at);
    } else {
      *at = randomByte(random);
    }
  }
  return bytes;
}

}  // namespace ostrel::test
