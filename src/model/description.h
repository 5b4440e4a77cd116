// Shared by the descriptions: their lines of text and their lists. Actions and
// events share everything but a word and a tag.

#ifndef OSTREL_SRC_DESCRIPTION_H
#define OSTREL_SRC_DESCRIPTION_H

#include <ostrel/type.h>

#include "base/text.h"
#include "value/members.h"

namespace ostrel {

// Adds "LEAD VALUE;" and a newline; the lead has the tabs and the keyword.
void addField(Text* text, const char* lead, veskType& value);

// Adds "LEAD NAME {" and a newline.
void addOpening(Text* text, const char* lead, veskType& name);

// Adds the texts of all elements, one after another.
void addBlocks(Text* text, veskList& list);

// Puts copies of all elements of one list into another.
void copyElements(veskList* to, veskList& from);

// Actions and events: a name, an identifier and arguments.
template <class Callable>
Members callableOrder(Callable& self) {
  return {self.name, self.id, self.arguments};
}

template <class Callable>
char* callableText(Callable& self, const char* lead) {
  Text text;
  addOpening(&text, lead, self.name);
  addField(&text, "\t\tid ", self.id);
  addBlocks(&text, self.arguments);
  return text.add("\t};\n").release();
}

template <class Callable>
veskType* copyCallable(Callable& self) {
  veskList arguments;
  copyElements(&arguments, self.arguments);
  return new Callable(self.name, self.id, arguments);
}

}  // namespace ostrel

#endif  // OSTREL_SRC_DESCRIPTION_H
