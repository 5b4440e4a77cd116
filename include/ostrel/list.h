// The library's container: an ordered sequence of untyped element pointers. It
// has a cursor, so a walk by index takes one step for each call. It knows
// nothing of its elements; lists of values are veskList, in type.h.

#ifndef OSTREL_LIST_H
#define OSTREL_LIST_H

#include <ostrel/export.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

// One node of a genericList. The list makes and frees its nodes.
struct OSTREL_API listPointer {
  listPointer* next;  // the list's head after the last node
  listPointer* prev;  // the list's head before the first node
  void* data;         // the element; null in the list's head

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block, std::size_t size) noexcept;
};

// A circular doubly linked list. Elements stay the property of the code that
// put them in; the list frees them only in clear() with a non-zero argument.
// Even reading by index moves the cursor: one thread at a time.
class OSTREL_API genericList {
 public:
  genericList();

  // Shares the other list's elements, as assignment does.
  genericList(const genericList& other);

  // Frees every node and no element.
  ~genericList();

  // Frees one element for clear(). This one releases the storage with plain
  // operator delete and runs no destructor; lists that own anything else
  // override it. Never called with null.
  virtual void destroy(void* element);

  // Drops this list's elements without freeing them, then appends the other's
  // element pointers in order: both lists share the elements afterwards, so
  // only one of them may free them. Returns this list.
  genericList& operator=(const genericList& other);

  // Puts the element at the end.
  void append(void* element);

  // Puts the element before position i (from 0), or at the end when the list
  // has no position i.
  void insert(unsigned i, void* element);

  // The node at position i, counted from 0; read its `data`. Stops the process
  // with the assertion "i < count" when the list is not that long.
  listPointer* index(unsigned i);

  // The first node that holds this very pointer, or null.
  listPointer* search(void* element);

  // Takes the node at position i out; stops the process as index() does when
  // there is none. The element itself is not freed.
  void remove(unsigned i);

  // The same for numbers of other types, so that remove(0) means a position.
  template <class Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
  void remove(Number i) {
    remove(static_cast<unsigned>(i));
  }

  // Takes the first node that holds this very pointer out; does nothing when
  // none does. The element itself is not freed.
  void remove(void* element);

  // Empties the list. A non-zero argument hands each element that is not null
  // to destroy() first.
  void clear(unsigned destroyElements);

  // Readable by everyone, changed by the list alone.
  listPointer head;           // stands before the first and after the last node
  std::uint32_t count;        // how many elements there are
  std::uint32_t cursorIndex;  // position of cursorNode, while that is not null
  listPointer* cursorNode;    // what index() returned last; null: nothing kept

 private:
  void link(listPointer* before, void* element);
  void unlink(listPointer* node);
};

#endif  // OSTREL_LIST_H
