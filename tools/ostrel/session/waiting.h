// Waiting where people can see it and end it.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_WAITING_H
#define OSTREL_TOOLS_OSTREL_SESSION_WAITING_H

#include <chrono>
#include <string>

namespace ostrel::tools::cli {

// How long something has taken.
class Stopwatch {
 public:
  // Whether people are to be told that they wait.
  bool isLong() const;

  // "3 seconds".
  std::string secondsText() const;

 private:
  std::chrono::steady_clock::duration passed() const;

  std::chrono::steady_clock::time_point start_ =
      std::chrono::steady_clock::now();
};

// "1 time", "2 times".
std::string plural(long count, const char* what);

// Waits until a socket can be read, at most a second. Returns whether it can.
// Throws Failure when a signal came.
bool waitFor(int socket);

// Waits until one of two descriptors, either of which may be -1, can be read,
// at most so long. Throws Failure when a signal came.
void waitForEither(int first, int second, int milliseconds);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_WAITING_H
