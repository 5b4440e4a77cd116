// The keys that say what a value may be: those that attributes and arguments
// share.

#ifndef OSTREL_CATALOGUE_VALUE_READER_H
#define OSTREL_CATALOGUE_VALUE_READER_H

#include <ostrel/class_description.h>

#include "table_reader.h"

namespace ostrel {

void readValueKeys(TableReader& table, ValueDescription* value);

// The text of a default value, as readValue() takes it; reports what is wrong.
std::optional<std::string> readDefault(TableReader& table,
                                       const ValueDescription& value);

// The "text" of a part: what it is for, in up to 1000 bytes.
std::string readText(TableReader& table);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_VALUE_READER_H
