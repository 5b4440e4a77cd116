// Who frees a value: owners for what a program built itself, and for what came
// out of bytes that a peer sent or a store held.

#ifndef OSTREL_TOOLS_COMMON_OWNED_H
#define OSTREL_TOOLS_COMMON_OWNED_H

#include <ostrel/type.h>

#include <memory>
#include <utility>

namespace ostrel::tools {

// Frees a value with all that can be reached from it, whether a program built
// it or a peer sent it or it was stored: nothing in the programs shares values.
struct DestroyWhole {
  void operator()(veskType* value) const { veskType::destroyDecoded(value); }
};
template <class Value>
using Owned = std::unique_ptr<Value, DestroyWhole>;

template <class Value, class... Arguments>
Owned<Value> make(Arguments&&... arguments) {
  return Owned<Value>(new Value(std::forward<Arguments>(arguments)...));
}

// The value as one of another class, which takes it over; null, and the value
// stays where it is, when it is none.
template <class Value, class Base>
Owned<Value> takeAs(Owned<Base>& value) {
  auto* typed = dynamic_cast<Value*>(value.get());
  if (typed != nullptr) value.release();
  return Owned<Value>(typed);
}

// A list that owns its elements, and frees them whole.
class OwnedList : public veskList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() override { destroyDecodedElements(); }

  // Hands all elements over to another list, which becomes their owner.
  void moveTo(veskList* other);
};

// Appends the elements of one list to another. They stay whose they are.
void appendAll(veskList* list, const veskList& elements);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_OWNED_H
