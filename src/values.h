// The only casts: from a value to its class; and how whatever holds values
// copies and frees them.

#ifndef OSTREL_SRC_VALUES_H
#define OSTREL_SRC_VALUES_H

#include <ostrel/type.h>

#include <typeinfo>

namespace ostrel {

// The value as a T, or null when it is none. A tag is only a claim: it may
// have been decoded into an object of another class, or set to null.
template <class T>
T* as(veskType* value) {
  // Mostly it is that very class, which is quickly told.
  if (value != nullptr && typeid(*value) == typeid(T))
    return static_cast<T*>(value);
  return dynamic_cast<T*>(value);
}

template <class T>
T* as(veskType& value) {
  return as<T>(&value);
}

// The element that a node of a value list holds; may be null.
inline veskType* element(const listPointer* node) {
  return static_cast<veskType*>(node->data);
}

// Decodes the value at `buffer` for a holder, which frees it with
// destroyValue(). Returns the bytes consumed, or 0; *value is then null or the
// value as far as it got.
unsigned decodeValue(char* buffer, unsigned length, veskType** value);

// A copy for a holder; null of null. What arrived is copied with all that it
// holds, where dup() alone would leave some classes sharing.
veskType* copyValue(veskType* value);

// Frees a value that something holds; null is allowed. A list is emptied with
// clear(1) first, and what arrived is freed with all that it holds.
void destroyValue(veskType* value);

// Empties a list with clear(1) and frees it; null is allowed.
void destroyList(veskList* list);

// Marks a value as a default that a description made itself; returns it.
veskType* ownDefault(veskType* value);
bool isOwnDefault(const veskType& value);

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUES_H
