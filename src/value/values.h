// The checked cast from a value to its class.

#ifndef OSTREL_SRC_VALUES_H
#define OSTREL_SRC_VALUES_H

#include <ostrel/type.h>

#include <typeinfo>

namespace ostrel {

// Whether the value is of this very class, and not of one derived from it.
template <class T>
bool isExactly(const veskType& value) {
  return &typeid(value) == &typeid(T);
}

// The value as a T, or null when it is none. A tag is only a claim: it may
// have been decoded into an object of another class, or set to null.
template <class T>
T* as(veskType* value) {
  // Usually it is that very class, and this test is quick.
  if (value != nullptr && isExactly<T>(*value)) return static_cast<T*>(value);
  return dynamic_cast<T*>(value);
}

template <class T>
T* as(veskType& value) {
  return as<T>(&value);
}

// A copy of a value that may be missing.
inline veskType* copyOf(veskType* value) {
  return value == nullptr ? nullptr : value->dup();
}

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUES_H
