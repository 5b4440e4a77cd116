// A way to walk a list of values with `for` and with the standard algorithms:
//
//   for (veskAttribute* attribute : ostrel::Elements<veskAttribute>(list))
//     if (attribute != nullptr) print(*attribute);

#ifndef OSTREL_ELEMENTS_H
#define OSTREL_ELEMENTS_H

#include <ostrel/type.h>

#include <cstddef>
#include <iterator>
#include <type_traits>

namespace ostrel {

// The elements of a list, in order, each seen as a Value: null where the
// element is of another class or null itself, so that positions stay those of
// the list. Each step takes the same time, however long the list, and leaves
// the list's cursor alone.
//
// The elements and the list stay whose they are. Elements that are appended
// during a walk are reached; an element may be removed once the walk has gone
// past it.
template <class Value = veskType>
class Elements {
 public:
  class Iterator {
   public:
    // An iterator returns a pointer and no reference, so C++17 allows only the
    // input category, although a walk can be repeated. In C++20 it is a forward
    // iterator.
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::forward_iterator_tag;
    using value_type = Value*;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Value*;

    Iterator() : node_(nullptr) {}
    explicit Iterator(const listPointer* node) : node_(node) {}

    Value* operator*() const {
      auto* element = static_cast<veskType*>(node_->data);
      if constexpr (std::is_same_v<Value, veskType>)
        return element;
      else
        return dynamic_cast<Value*>(element);
    }
    Iterator& operator++() {
      node_ = node_->next;
      return *this;
    }
    Iterator operator++(int) {
      const Iterator before = *this;
      node_ = node_->next;
      return before;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) {
      return a.node_ == b.node_;
    }
    friend bool operator!=(const Iterator& a, const Iterator& b) {
      return a.node_ != b.node_;
    }

   private:
    const listPointer* node_;
  };

  using iterator = Iterator;
  using const_iterator = Iterator;
  using value_type = Value*;

  // The list has to outlive the walk. A null pointer stands for an empty list.
  explicit Elements(const veskList& list) : list_(&list) {}
  explicit Elements(const veskList* list) : list_(list) {}

  Iterator begin() const {
    return list_ != nullptr ? Iterator(list_->head.next) : end();
  }
  Iterator end() const {
    return list_ != nullptr ? Iterator(&list_->head) : Iterator();
  }

 private:
  const veskList* list_;
};

}  // namespace ostrel

#endif  // OSTREL_ELEMENTS_H
