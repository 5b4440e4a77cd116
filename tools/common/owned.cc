#include "common/owned.h"

#include <ostrel/elements.h>

namespace ostrel::tools {

void OwnedList::moveTo(veskList* other) {
  appendAll(other, *this);
  clear(0);
}

void appendAll(veskList* list, const veskList& elements) {
  for (veskType* element : Elements(elements)) list->append(element);
}

}  // namespace ostrel::tools
