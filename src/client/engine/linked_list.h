// A doubly linked list whose links are members of its elements: putting an
// element in and taking it out takes no memory and no search. The list owns
// nothing.

#ifndef OSTREL_SRC_LINKED_LIST_H
#define OSTREL_SRC_LINKED_LIST_H

namespace ostrel {

template <class T>
struct Links {
  T* previous = nullptr;
  T* next = nullptr;
};

template <class T, Links<T> T::*kLinks>
class LinkedList {
 public:
  LinkedList() = default;
  LinkedList(const LinkedList&) = delete;
  LinkedList& operator=(const LinkedList&) = delete;

  bool empty() const { return first_ == nullptr; }
  T* first() const { return first_; }
  T* last() const { return last_; }
  static T* after(const T* element) { return (element->*kLinks).next; }

  void append(T* element) {
    Links<T>& links = element->*kLinks;
    links.previous = last_;
    links.next = nullptr;
    (last_ != nullptr ? (last_->*kLinks).next : first_) = element;
    last_ = element;
  }

  void remove(T* element) {
    Links<T>& links = element->*kLinks;
    (links.previous != nullptr ? (links.previous->*kLinks).next : first_) =
        links.next;
    (links.next != nullptr ? (links.next->*kLinks).previous : last_) =
        links.previous;
    links = {};
  }

  // The first element, taken out; null when there is none.
  T* take() {
    T* element = first_;
    if (element != nullptr) remove(element);
    return element;
  }

 private:
  T* first_ = nullptr;
  T* last_ = nullptr;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_LINKED_LIST_H
