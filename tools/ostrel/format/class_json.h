// The JSON form of a description. It is documented in docs/classes.md.

#ifndef OSTREL_TOOLS_OSTREL_FORMAT_CLASS_JSON_H
#define OSTREL_TOOLS_OSTREL_FORMAT_CLASS_JSON_H

#include <ostrel/catalogue.h>

#include "format/value_types.h"

namespace ostrel::tools::cli {

// The keys of the class file, with attributes, actions and events as arrays,
// ordered by number. What a base has is not repeated, but for key and columns.
Json classJson(const Catalogue& catalogue, const ClassDescription& description);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_FORMAT_CLASS_JSON_H
