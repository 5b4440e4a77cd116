// The cursor walk that the pointer list and the timer queue share: both are
// rings with an embedded sentinel that remember the node last reached by index,
// so that counting upwards costs one step for each call.
#ifndef OSTREL_SRC_RING_H
#define OSTREL_SRC_RING_H

namespace ostrel {

// Finds node `i` of the ring behind `sentinel` and makes it the cursor.
//   Previous       the member that leads backwards (the two node types differ
//                  in its name); `next` leads forwards in both.
//   count          nodes in the ring, the sentinel not among them; the caller
//                  has checked that i < count.
//   cursorIndex,   the node last returned and its place; cursorNode is null
//   cursorNode     when nothing is remembered. Both are updated.
//   steps          when given, grows by the links that were followed.
template <auto Previous, typename Node>
Node* ringIndex(Node& sentinel, unsigned i, unsigned count,
                unsigned& cursorIndex, Node*& cursorNode,
                unsigned long* steps = nullptr) {
  Node* node = sentinel.next;
  unsigned forward = 0;
  unsigned backward = 0;
  if (cursorNode != nullptr && i - cursorIndex <= 1) {
    node = cursorNode;
    forward = i - cursorIndex;
  } else if (i == 0) {
    forward = 0;
  } else if (i == count - 1) {
    node = sentinel.*Previous;
  } else if (cursorNode == nullptr) {
    forward = i;
  } else if (i > cursorIndex) {
    node = cursorNode;
    forward = i - cursorIndex;
  } else if (cursorIndex - i > i) {
    forward = i;
  } else {
    node = cursorNode;
    backward = cursorIndex - i;
  }
  if (steps != nullptr) *steps += forward + backward;
  for (; forward > 0; --forward) node = node->next;
  for (; backward > 0; --backward) node = node->*Previous;
  cursorIndex = i;
  cursorNode = node;
  return node;
}

}  // namespace ostrel

#endif  // OSTREL_SRC_RING_H
