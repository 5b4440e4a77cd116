// From a tag to a value of its class.

#ifndef OSTREL_SRC_TAG_TABLE_H
#define OSTREL_SRC_TAG_TABLE_H

class veskType;

namespace ostrel {

// Makes a value with its class's default constructor, stores it and decodes
// it. Returns the bytes consumed, or 0.
using ValueMaker = unsigned (*)(char* buffer, unsigned length, veskType** out);

// The maker of the class with this tag, or null when there is none.
ValueMaker makerOf(unsigned char tag);

}  // namespace ostrel

#endif  // OSTREL_SRC_TAG_TABLE_H
