// Lines on standard error, each with its level.

#ifndef OSTRELD_LOG_H
#define OSTRELD_LOG_H

#include <string>

namespace ostreld {

enum class Level { kError, kWarning, kInfo, kDebug };

// What is less important than this is not written; kInfo at first.
void setLogLevel(Level level);
bool logs(Level level);

// Writes "ostreld: LEVEL: TEXT". Control characters in the text, which may come
// from the network, are written as \xNN.
void log(Level level, const std::string& text);

}  // namespace ostreld

#endif  // OSTRELD_LOG_H
