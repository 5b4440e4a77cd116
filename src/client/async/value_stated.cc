// Between values that own themselves and those of the stated interface.

#include <ostrel/elements.h>
#include <ostrel/value.h>
#include <ostrel/veskPDU.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "client/async/value_codec.h"
#include "value/values.h"

namespace ostrel {
namespace {

// The encoding. How long it is shows only when it fits.
std::string encodingOf(veskType& value) {
  constexpr std::size_t kFirstRoom = 256;
  constexpr std::size_t kMostRoom = kLongestMessage;
  constexpr std::size_t kMore = 4;
  for (std::size_t room = kFirstRoom;;
       room = std::min(room * kMore, kMostRoom)) {
    std::string bytes(room, '\0');
    bytes.resize(value.encode(&bytes[0], static_cast<unsigned>(room)));
    if (!bytes.empty()) return bytes;
    if (room == kMostRoom)
      throw std::invalid_argument("the value cannot be encoded");
  }
}

// A value whose class the factory does not make; null when no class has the
// tag.
std::unique_ptr<veskType> madeBlank(Tag tag) {
  if (tag == kTagGauge) return std::make_unique<veskGauge>();
  if (tag == kTagCounter) return std::make_unique<veskCounter>();
  if (tag == kTagPDU) return std::make_unique<veskPDU>(kTagPDU);
  if (tag == kTagRespPDU)
    return std::make_unique<veskRespPDU>(kTagRespPDU, nullptr);
  return nullptr;
}

// The stated value that all of these bytes are, or no pointer.
Value::VeskPointer decodedStated(char* bytes, unsigned length) {
  veskType* made = nullptr;
  unsigned used = 0;
  try {
    used = veskType::decodeCreate(bytes, length, &made);
  } catch (...) {
    // Without memory the part that was made is the caller's as well.
    veskType::destroyDecoded(made);
    throw;
  }
  Value::VeskPointer owned(made);
  return used == length ? std::move(owned) : nullptr;
}

}  // namespace

Value Value::from(const veskType* source) {
  if (source == nullptr) return Value();
  // Neither of these changes the value; only their signatures are not const.
  auto& value = const_cast<veskType&>(*source);
  if (auto* list = ostrel::as<veskList>(value);
      list != nullptr && value.tag == kTagList) {
    Values elements;
    elements.reserve(list->count);
    for (const veskType* element : Elements(*list))
      elements.push_back(from(element));
    return Value(std::move(elements));
  }
  const std::string bytes = encodingOf(value);
  const auto tag = static_cast<Tag>(static_cast<unsigned char>(bytes[0]));
  if (tag == kTagGauge || tag == kTagCounter) {
    ByteReader reader(bytes.data() + 1, bytes.size() - 1);
    const std::uint32_t number = reader.integer();
    if (reader.ok() && reader.left() == 0) return Value(tag, number);
  }
  Value read;
  if (readWhole(bytes, &read)) return read;
  return Value(tag, std::string_view(bytes));
}

Value::VeskPointer Value::toVesk() const {
  if (tag_ == kTagList) {
    VeskPointer list(new veskList);
    for (const Value& element : *body_.list) {
      VeskPointer made = element.toVesk();
      if (made == nullptr) return nullptr;
      static_cast<veskList&>(*list).append(made.get());
      static_cast<void>(made.release());
    }
    return list;
  }
  std::string bytes = encode();
  const auto length = static_cast<unsigned>(bytes.size());
  if (std::unique_ptr<veskType> blank = madeBlank(tag_)) {
    VeskPointer made(blank.release());
    return made->decode(&bytes[0], length) == length ? std::move(made)
                                                     : nullptr;
  }
  return decodedStated(&bytes[0], length);
}

}  // namespace ostrel
