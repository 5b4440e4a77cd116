#include "common/owned.h"

#include <ostrel/elements.h>
#include <ostrel/veskPDU.h>

namespace ostrel::tools {

void DestroyBuilt::operator()(veskType* value) const {
  if (auto* pdu = dynamic_cast<veskPDU*>(value)) pdu->clear();
  if (auto* list = dynamic_cast<veskList*>(value)) list->clear(1);
  delete value;
}

void DestroyDecoded::operator()(veskType* value) const {
  veskType::destroyDecoded(value);
}

void OwnedList::moveTo(veskList* other) {
  appendAll(other, *this);
  clear(0);
}

void appendAll(veskList* list, const veskList& elements) {
  for (veskType* element : Elements(elements)) list->append(element);
}

}  // namespace ostrel::tools
