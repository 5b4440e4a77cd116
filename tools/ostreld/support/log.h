// What the servers say: lines on standard error, or entries of the system's
// journal where standard error leads there.
//
// spdlog would write the lines and the entries. It has no escapes for what
// comes from the network, counts only lines that repeat the one before, has no
// bound for what strangers cause, and gives its entries no fields of ours. With
// those added, what is left for it is less than a page.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H

#include <netinet/in.h>

#include <string>

namespace ostrel::tools::server {

enum class Level { kError, kWarning, kInfo, kDebug };

// What is less important than this is not written; kInfo at first.
void setLogLevel(Level level);
bool logs(Level level);

// Writes "TIME ostreld: LEVEL: TEXT". What a terminal could act on or hide in
// the text, which may come from the network, is written as \xNN. A line that
// was written in the ten seconds before is counted instead, and the count is
// written later, unless it is for debugging. So are lines beyond a number in
// ten seconds: whoever sends requests must not fill a disk.
void log(Level level, const std::string& text);

// Somebody was refused something: who, in whose name ("" for nobody's), what,
// and why, as in "a registration for 192.0.2.8", "the address is not its own".
struct Refusal {
  sockaddr_in who;
  std::string principal;
  std::string what;
  std::string why;
};

// Writes that at kInfo, and its parts as fields of the journal's entry. For one
// address and reason it is written once in ten seconds, and counted else.
void logRefusal(const Refusal& refusal);

// Writes the counts that are due later, and forgets the lines.
void logRepeats();

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_LOG_H
