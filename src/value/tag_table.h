// What depends on the class of a value: making it by its tag, and freeing it.

#ifndef OSTREL_SRC_TAG_TABLE_H
#define OSTREL_SRC_TAG_TABLE_H

#include <ostrel/type.h>

#include "value/layout.h"
#include "value/wire.h"

namespace ostrel {

// The layout of the class with this tag; an empty one where there is none.
const Layout& layoutOf(unsigned char tag);

// Reads elements and appends them to the list. After a failure the reader has
// failed; elements read before it stay in the list.
void readElements(ByteReader& reader, std::uint32_t count, veskList& list);

// Writes all elements; a null one is a failure.
void writeElements(ByteWriter& writer, const veskList& list);

// Frees what a list or an attribute holds: a list is emptied with clear(1)
// before. Null is allowed.
void freeHeld(veskType* value);

// Frees a list of our own with its elements, as clear(1) does. Null is allowed.
void freeList(veskList* list);

}  // namespace ostrel

#endif  // OSTREL_SRC_TAG_TABLE_H
