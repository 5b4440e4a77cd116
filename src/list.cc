#include <ostrel/list.h>

#include "check.h"
#include "pool.h"
#include "ring.h"

using ostrel::Pool;
using ostrel::ringIndex;

namespace {

// Makes the node stand before another one.
void join(genericList& list, listPointer* node, listPointer* before,
          void* element) {
  listPointer* const last = before->prev;
  node->data = element;
  node->next = before;
  last->next = node;
  node->prev = last;
  before->prev = node;
  list.count++;
  list.cursorNode = nullptr;
}

// Apart, because whatever can reach the allocator saves registers first.
[[gnu::noinline]] void joinFresh(genericList& list, listPointer* before,
                                 void* element) {
  join(list, new listPointer, before, element);
}

}  // namespace

void* listPointer::operator new(std::size_t size) {
  return Pool::allocate(size);
}
void* listPointer::operator new(std::size_t, void* place) noexcept {
  return place;
}
void listPointer::operator delete(void* block, std::size_t size) noexcept {
  Pool::release(block, size);
}

genericList::genericList()
    : head{&head, &head, nullptr},
      count(0),
      cursorIndex(0),
      cursorNode(nullptr) {}

genericList::genericList(const genericList& other) : genericList() {
  *this = other;
}

genericList::~genericList() { clear(0); }

void genericList::destroy(void* element) { ::operator delete(element); }

genericList& genericList::operator=(const genericList& other) {
  if (this == &other) return *this;
  if (count != 0) clear(0);
  const listPointer* end = &other.head;
  for (const listPointer* node = end->next; node != end; node = node->next)
    append(node->data);
  return *this;
}

void genericList::link(listPointer* before, void* element) {
  void* block = Pool::takeKept(sizeof(listPointer));
  if (block == nullptr) return joinFresh(*this, before, element);
  join(*this, new (block) listPointer, before, element);
}

void genericList::unlink(listPointer* node) {
  node->prev->next = node->next;
  node->next->prev = node->prev;
  delete node;
  count--;
}

void genericList::append(void* element) { link(&head, element); }

void genericList::insert(unsigned i, void* element) {
  link(i < count ? index(i) : &head, element);
}

listPointer* genericList::index(unsigned i) {
  OSTREL_CHECK(i < count, "list", 127);
  return ringIndex<&listPointer::prev>(head, i, count, cursorIndex, cursorNode);
}

listPointer* genericList::search(void* element) {
  for (listPointer* node = head.next; node != &head; node = node->next) {
    if (node->data == element) return node;
  }
  return nullptr;
}

void genericList::remove(unsigned i) {
  unlink(index(i));
  cursorNode = nullptr;
}

void genericList::remove(void* element) {
  listPointer* node = search(element);
  if (node == nullptr) return;
  unlink(node);
  cursorNode = nullptr;
}

void genericList::clear(unsigned destroyElements) {
  // The chain is taken off first: what destroy() does finds the list empty.
  listPointer* node = head.next;
  head.next = head.prev = &head;
  count = 0;
  while (node != &head) {
    listPointer* next = node->next;
    if (destroyElements != 0 && node->data != nullptr) destroy(node->data);
    delete node;
    node = next;
  }
}
