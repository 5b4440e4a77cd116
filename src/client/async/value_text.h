// The text of values for people.

#ifndef OSTREL_SRC_VALUE_TEXT_H
#define OSTREL_SRC_VALUE_TEXT_H

#include <ostrel/value.h>

#include <string>

namespace ostrel {

// Adds what Value::text() gives. Lists add directly, so that the text is not
// copied at each level.
void addText(std::string* text, const Value& value);

}  // namespace ostrel

#endif  // OSTREL_SRC_VALUE_TEXT_H
