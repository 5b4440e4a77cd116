// Shared by the two kinds of value operations.

#ifndef OSTREL_SRC_VALUE_OP_H
#define OSTREL_SRC_VALUE_OP_H

#include <ostrel/veskAttr.h>

namespace ostrel {

// The attribute's own encoding and then the code.
unsigned encodeValueOp(veskAttribute& attribute, veskChar& op, char* buffer,
                       unsigned length);

// The attribute's own text and then the code.
char* valueOpText(veskAttribute& attribute, const veskChar& op);

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUE_OP_H
