// Who frees a value: owners for what a program built itself, and for what came
// out of bytes that a peer sent or a store held.

#ifndef OSTREL_TOOLS_COMMON_OWNED_H
#define OSTREL_TOOLS_COMMON_OWNED_H

#include <ostrel/type.h>

#include <memory>
#include <utility>

namespace ostrel::tools {

// Frees a value that was built here, with its elements and lists.
struct DestroyBuilt {
  void operator()(veskType* value) const;
};
template <class Value>
using Owned = std::unique_ptr<Value, DestroyBuilt>;

template <class Value, class... Arguments>
Owned<Value> make(Arguments&&... arguments) {
  return Owned<Value>(new Value(std::forward<Arguments>(arguments)...));
}

// Frees a value that was decoded, whole or not, with all that came inside it.
// Nothing else in the programs frees such a value.
struct DestroyDecoded {
  void operator()(veskType* value) const;
};
template <class Value>
using Arrived = std::unique_ptr<Value, DestroyDecoded>;

// The value as one of another class, which takes it over; null, and the value
// stays where it is, when it is none.
template <class Value, class Base, class Destroy>
std::unique_ptr<Value, Destroy> takeAs(std::unique_ptr<Base, Destroy>& value) {
  auto* typed = dynamic_cast<Value*>(value.get());
  if (typed != nullptr) value.release();
  return std::unique_ptr<Value, Destroy>(typed);
}

// A list that owns its elements, which were built here.
class OwnedList : public veskList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() override { clear(1); }

  // Hands all elements over to another list, which becomes their owner.
  void moveTo(veskList* other);
};

// Appends the elements of one list to another. They stay whose they are.
void appendAll(veskList* list, const veskList& elements);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_OWNED_H
