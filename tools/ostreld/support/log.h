// Lines on standard error, each with its level.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H

#include <string>

namespace ostrel::tools::server {

enum class Level { kError, kWarning, kInfo, kDebug };

// What is less important than this is not written; kInfo at first.
void setLogLevel(Level level);
bool logs(Level level);

// Writes "ostreld: LEVEL: TEXT". Control characters in the text, which may come
// from the network, are written as \xNN. A line that was written in the ten
// seconds before is counted instead, and the count is written later, unless it
// is for debugging: whoever sends requests must not fill a disk.
void log(Level level, const std::string& text);

// Writes the counts that are due later, and forgets the lines.
void logRepeats();

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H
