// The nodes of a list, for code that links many of them: the list itself, and
// the code that reads and frees whole answers.

#ifndef OSTREL_SRC_LIST_NODES_H
#define OSTREL_SRC_LIST_NODES_H

#include <ostrel/list.h>

#include "base/pool.h"

namespace ostrel {

// Makes a new node in `block` and links it before another one.
inline void joinNode(genericList& list, void* block, listPointer* before,
                     void* element) {
  listPointer* const last = before->prev;
  auto* const node = new (block) listPointer{before, last, element};
  last->next = node;
  before->prev = node;
  list.count++;
  list.cursorNode = nullptr;
}

// As the list's own append().
inline void appendElement(Pool::Lists& pool, genericList& list, void* element) {
  if (void* block = pool.takeKept(sizeof(listPointer)))
    return joinNode(list, block, &list.head, element);
  list.append(element);
}

// Empties the list, then hands each element to `use`.
template <class Use>
void drain(Pool::Lists& pool, genericList& list, Use use) {
  listPointer* node = list.head.next;
  list.head.next = list.head.prev = &list.head;
  list.count = 0;
  while (node != &list.head) {
    listPointer* const next = node->next;
    if (node->data != nullptr) use(node->data);
    pool.release(node, sizeof *node);
    node = next;
  }
}

}  // namespace ostrel

#endif  // OSTREL_SRC_LIST_NODES_H
