// The signals that ask the tool to end.

#ifndef OSTREL_TOOLS_OSTREL_TERMINAL_SIGNALS_H
#define OSTREL_TOOLS_OSTREL_TERMINAL_SIGNALS_H

namespace ostrel::tools::cli {

// From now on SIGINT, SIGTERM and SIGHUP are noted instead of ending the
// program, and writing to a pipe that has no reader fails.
void catchSignals();

// Whether one of them came.
bool interrupted();

// Forgets the one that came and those of the next second, so that what was
// begun can be undone: many send a signal to the process and to its group.
void forgetSignals();

// A descriptor that can be read once a signal came; -1 before catchSignals().
int signalEnd();

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_TERMINAL_SIGNALS_H
