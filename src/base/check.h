// Checks for programming errors. They stay in every build type: going on after
// one would corrupt memory, so the process stops with a line that says where.
#ifndef OSTREL_SRC_CHECK_H
#define OSTREL_SRC_CHECK_H

#include <cstdio>
#include <cstdlib>

namespace ostrel {

// Reports a failed check on standard error and aborts.
[[noreturn]] inline void failCheck(const char* expression, const char* source,
                                   int line) {
  std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", expression,
               source, line);
  std::fflush(stderr);
  std::abort();
}

}  // namespace ostrel

// Aborts unless `expression` holds. The report names `source` and `line` as
// given, not the place of the macro, so that it stays the same in every build.
#define OSTREL_CHECK(expression, source, line)            \
  do {                                                    \
    if (!(expression)) {                                  \
      ::ostrel::failCheck(#expression, (source), (line)); \
    }                                                     \
  } while (false)

#endif  // OSTREL_SRC_CHECK_H
