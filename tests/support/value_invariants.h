// Invariants of any bytes that are read as a value. The fuzzer aborts when one
// is broken, the property tests report it.
//
// Exceptions, by name:
// - Numbers may arrive with leading zero bytes, and validity bytes as anything
//   but 0: the second encoding is the shortest one, not that which arrived.
// - A copy has the tag of its class, not the one that arrived, and the copy of
//   an action response that of a set response: copies keep the text.
// - operator== never finds two opaques equal, nor two NaNs: compare() is asked.

#ifndef OSTREL_TESTS_SUPPORT_VALUE_INVARIANTS_H
#define OSTREL_TESTS_SUPPORT_VALUE_INVARIANTS_H

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ostrel/objectdesc.h"
#include "ostrel/type.h"
#include "ostrel/veskAttr.h"
#include "value/walk.h"

namespace ostrel::test {

// How much more room encode() may need than the bytes that decode() consumed:
// an invalid identifier takes 2 bytes and needs 22.
constexpr unsigned kMostSpareRoom = 20;

// A value made from bytes by decodeCreate, and freed as such.
class Arrival {
 public:
  explicit Arrival(const std::string& bytes) {
    // A block of its own: reading past its end is seen.
    const std::unique_ptr<char[]> block(new char[bytes.size()]);
    if (!bytes.empty()) std::memcpy(block.get(), bytes.data(), bytes.size());
    const auto size = static_cast<unsigned>(bytes.size());
    used_ = veskType::decodeCreate(block.get(), size, &value_);
    walked_ = walkValue(block.get(), size);
  }
  ~Arrival() { veskType::destroyDecoded(value_); }
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  unsigned used() const { return used_; }
  // The result of walking over the bytes, to compare with used().
  unsigned walked() const { return walked_; }
  veskType& operator*() const { return *value_; }

 private:
  veskType* value_ = nullptr;
  unsigned used_ = 0;
  unsigned walked_ = 0;
};

// The encoding in exactly `room` bytes; empty when it fails.
inline std::string encodedIn(veskType& value, unsigned room) {
  const std::unique_ptr<char[]> block(new char[room]);
  return std::string(block.get(), value.encode(block.get(), room));
}

// The printed text; a null pointer gives a text that no value prints.
inline std::string printed(veskType& value) {
  char* text = value.getString();
  const std::string result = text == nullptr ? "\x01(null)" : text;
  std::free(text);
  return result;
}

// Frees a copy that dup() made, and nothing that it shares with its source: the
// list of an object, the lists of a PDU, the default value of a description.
inline void releaseCopy(veskType* copy);

inline void releaseElements(veskList& list) {
  for (const listPointer* node = list.head.next; node != &list.head;
       node = node->next)
    releaseCopy(static_cast<veskType*>(node->data));
  list.clear(0);
}

template <class Callable>
bool releaseCallable(veskType* copy) {
  auto* description = dynamic_cast<Callable*>(copy);
  if (description != nullptr) releaseElements(description->arguments);
  return description != nullptr;
}

inline void releaseCopy(veskType* copy) {
  if (auto* list = dynamic_cast<veskList*>(copy)) {
    releaseElements(*list);
  } else if (auto* attribute = dynamic_cast<veskAttribute*>(copy)) {
    releaseCopy(attribute->value);
    attribute->value = nullptr;
  } else if (auto* object = dynamic_cast<veskObject*>(copy)) {
    object->attributeList = nullptr;
  } else if (auto* description = dynamic_cast<veskObjectDesc*>(copy)) {
    releaseElements(description->attributes);
    releaseElements(description->actions);
    releaseElements(description->events);
  } else if (!releaseCallable<veskActionDesc>(copy)) {
    releaseCallable<veskEventDesc>(copy);
  }
  delete copy;
}

class Copy {
 public:
  explicit Copy(veskType& source) : copy_(source.dup()) {}
  ~Copy() { releaseCopy(copy_); }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;

  veskType& operator*() const { return *copy_; }

 private:
  veskType* copy_;
};

// The copy of a plain veskType is a null value, whatever its own tag.
inline const char* brokenCopyInvariant(veskType& value) {
  const Copy first(value);
  const Copy second(*first);
  if (printed(*first) != printed(value)) return "a copy has another text";
  if (printed(*second) != printed(value)) return "a copy's copy differs";
  if ((*first).compare(*second) != 0) return "a copy's copy is not equal";
  return nullptr;
}

// Names the invariant that these bytes break, or returns null.
inline const char* brokenInvariant(const std::string& bytes) {
  const Arrival value(bytes);
  if (value.used() > bytes.size()) return "decode consumed more than given";
  if (value.walked() != value.used()) return "walking and decoding disagree";
  if (value.used() == 0) return nullptr;

  const unsigned room = value.used() + kMostSpareRoom;
  const std::string encoding = encodedIn(*value, room);
  if (encoding.empty()) return "what decoded does not encode";
  if (encoding.size() > value.used()) return "the encoding grew";

  const Arrival again(encoding);
  if (again.used() != encoding.size()) return "the encoding does not decode";
  if (encodedIn(*again, room) != encoding) return "the encoding is not stable";
  if (printed(*again) != printed(*value)) return "the text changed";
  if ((*value).compare(*again) != 0) return "the value changed";
  if ((*again).compare(*value) != 0) return "compare has a side";
  if (*value < *again || *value > *again) return "equal values have an order";
  if ((*value == *again) != (*again == *value)) return "equality has a side";
  return brokenCopyInvariant(*again);
}

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_VALUE_INVARIANTS_H
