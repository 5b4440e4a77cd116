#include "model/description.h"

#include <ostrel/elements.h>

#include "value/values.h"

namespace ostrel {

void addField(Text* text, const char* lead, veskType& value) {
  text->add(lead).take(value.getString()).add(";\n");
}

void addOpening(Text* text, const char* lead, veskType& name) {
  text->add(lead).take(name.getString()).add(" {\n");
}

void addBlocks(Text* text, veskList& list) {
  for (veskType* block : Elements(list)) {
    if (block != nullptr) text->take(block->getString());
  }
}

void copyElements(veskList* to, veskList& from) {
  for (veskType* element : Elements(from)) to->append(copyOf(element));
}

}  // namespace ostrel
