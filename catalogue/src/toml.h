// The TOML parser as this library uses it: its headers alone, no exceptions. A
// syntax error comes back as a value.

#ifndef OSTREL_CATALOGUE_TOML_H
#define OSTREL_CATALOGUE_TOML_H

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#define TOML_ENABLE_WINDOWS_COMPAT 0

#include <toml++/toml.h>

#endif  // OSTREL_CATALOGUE_TOML_H
