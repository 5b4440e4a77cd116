// The only casts: from a value to its class; and how containers free values.

#ifndef OSTREL_SRC_VALUES_H
#define OSTREL_SRC_VALUES_H

#include <ostrel/type.h>

namespace ostrel {

// The value as a T, or null when it is none. A tag is only a claim: it may
// have been decoded into an object of another class, or set to null.
template <class T>
T* as(veskType* value) {
  return dynamic_cast<T*>(value);
}

template <class T>
T* as(veskType& value) {
  return dynamic_cast<T*>(&value);
}

// The element that a node of a value list holds; may be null.
inline veskType* element(const listPointer* node) {
  return static_cast<veskType*>(node->data);
}

// Reaches into values for the containers.
struct Arrived {
  // Makes a value that decode created own what arrived inside it.
  static void own(veskType& value) { value.ownsContents_ = true; }
  static bool owns(const veskType& value) { return value.ownsContents_; }
};

// Decodes the value at `buffer` into *value, where its holder frees it with
// destroyValue(). Returns the bytes consumed, or 0; *value is then null or the
// value as far as it got.
unsigned decodeHeld(char* buffer, unsigned length, veskType** value);

// Frees a value that a container holds, null included: a list is emptied with
// clear(1), and what arrived is freed with all that it holds.
void destroyValue(veskType* value);

// Empties and frees a list of values with its elements; null is allowed.
void destroyList(veskList* list);

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUES_H
