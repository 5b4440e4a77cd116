#include <ostrel/list.h>

#include "base/check.h"
#include "base/pool.h"
#include "base/ring.h"
#include "value/list_nodes.h"

using ostrel::Pool;
using ostrel::ringIndex;

void* listPointer::operator new(std::size_t size) {
  return Pool::allocate(size);
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

genericList::~genericList() {
  if (count != 0) clear(0);
}

void genericList::destroy(void* element) { ::operator delete(element); }

genericList& genericList::operator=(const genericList& other) {
  if (this == &other) return *this;
  if (count != 0) clear(0);
  const listPointer* end = &other.head;
  for (const listPointer* node = end->next; node != end; node = node->next)
    append(node->data);
  return *this;
}

namespace {

// A function of its own: one that may call the allocator saves registers first.
[[gnu::noinline]] void linkFresh(genericList& list, listPointer* before,
                                 void* element) {
  ostrel::joinNode(list, Pool::allocate(sizeof(listPointer)), before, element);
}

}  // namespace

void genericList::link(listPointer* before, void* element) {
  if (void* const block = Pool::takeKept(sizeof(listPointer)))
    return ostrel::joinNode(*this, block, before, element);
  linkFresh(*this, before, element);
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
  if (count == 0) return;
  ostrel::drain(Pool::mine(), *this, [&](void* element) {
    if (destroyElements != 0) destroy(element);
  });
}
