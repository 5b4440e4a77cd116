// From a tag to an empty value of its class.

#ifndef OSTREL_SRC_TAG_TABLE_H
#define OSTREL_SRC_TAG_TABLE_H

class veskType;

namespace ostrel {

// Makes a value with its class's default constructor.
using ValueMaker = veskType* (*)();

// The maker of the class with this tag, or null when there is none.
ValueMaker makerOf(unsigned char tag);

}  // namespace ostrel

#endif  // OSTREL_SRC_TAG_TABLE_H
