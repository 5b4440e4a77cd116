// Return codes as texts, and as values for one item of a list.
//
// Every operation returns an int: 0 "No Error", -1 "Ostrel Arg List Error"
// (some items failed, and a list of veskError says which), 255 "Ostrel
// Internal Error", or one of 1 to 42. Codes 10 "Network Error",
// 11 "Encode/decode Error" and 12 "Address Error" come from the transport.

#ifndef OSTREL_VESKERROR_H
#define OSTREL_VESKERROR_H

#include <ostrel/type.h>

// The outcome for one item of a list (tag 26).
class OSTREL_API veskError : public veskType {
 public:
  veskError();  // index 0, code 0
  veskError(unsigned int index, int code);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;

  // For index 2 and code 5: "index 2 : 5(Permission Denied)".
  // Kept: shows codes 43 and 44 with their texts and does not know -1 and 255.
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskUnsignedInt index;  // position of the item, from 0
  veskInt code;
};

// Says what a code means: "5(Permission Denied)". Code 10 has ": timed out"
// and a newline behind it while errno is ETIMEDOUT, code -1 the list's text
// unless the list is null. Kept: of the codes beyond 42 only 255 is known.
// Returns text from malloc that the caller frees. Keeps errno.
OSTREL_API char* veskGetErrorString(int code, veskList* list);

// Prints the same in its own wording to standard output. Returns what the
// last print call returned: characters printed, or negative.
OSTREL_API int veskPrintErrorString(int code, veskList* list);

#endif  // OSTREL_VESKERROR_H
