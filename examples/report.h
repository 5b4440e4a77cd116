// What every example does with a result and with a value.

#ifndef OSTREL_EXAMPLES_REPORT_H
#define OSTREL_EXAMPLES_REPORT_H

#include <ostrel/type.h>
#include <ostrel/veskError.h>

#include <cstdio>
#include <cstdlib>

// Says on standard error what a result other than 0 means. `errors` tells more
// about -1 and may be null. Returns the exit status of a program that ends so.
inline int report(int code, veskList* errors) {
  if (code == 0) return EXIT_SUCCESS;
  char* text = veskGetErrorString(code, errors);
  std::fprintf(stderr, "%s\n", text);
  std::free(text);
  return EXIT_FAILURE;
}

// Prints a value on a line of its own.
inline void print(veskType* value) {
  char* text = value->getString();
  std::printf("%s\n", text);
  std::free(text);
}

inline int usage(const char* program, const char* arguments) {
  std::fprintf(stderr, "usage: %s %s\n", program, arguments);
  return EXIT_FAILURE;
}

#endif  // OSTREL_EXAMPLES_REPORT_H
