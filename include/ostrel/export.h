// Marks what programs may use. Everything else stays inside the library.

#ifndef OSTREL_EXPORT_H
#define OSTREL_EXPORT_H

// OSTREL_API goes before the name of each public class and function. The
// library is compiled with hidden visibility, so what lacks the mark is not
// among the symbols of the shared library.
#if defined(__GNUC__)
#define OSTREL_API __attribute__((visibility("default")))
#else
#define OSTREL_API
#endif

#endif  // OSTREL_EXPORT_H
