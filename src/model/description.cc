#include "model/description.h"

#include "value/values.h"

namespace ostrel {

void addField(Text* text, const char* lead, veskType& value) {
  text->add(lead).take(value.getString()).add(";\n");
}

void addOpening(Text* text, const char* lead, veskType& name) {
  text->add(lead).take(name.getString()).add(" {\n");
}

void addBlocks(Text* text, veskList& list) {
  const listPointer* end = &list.head;
  for (const listPointer* node = end->next; node != end; node = node->next) {
    if (element(node) != nullptr) text->take(element(node)->getString());
  }
}

void copyElements(veskList* to, veskList& from) {
  const listPointer* end = &from.head;
  for (const listPointer* node = end->next; node != end; node = node->next)
    to->append(copyOf(element(node)));
}

}  // namespace ostrel
