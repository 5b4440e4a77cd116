#include "bulk/line_loop.h"

#include <cerrno>
#include <cstring>

#include "session/waiting.h"

namespace ostrel::tools::cli {
namespace {

// Enough for all that a client has under way with some servers; what waits
// beyond that only takes memory.
constexpr std::size_t kMostUnderWay = 1024;

constexpr int kShowMilliseconds = 1000;

}  // namespace

void LineLoop::runLines() {
  try {
    while (!stopped_ && !session_.output().broken() &&
           (hasLines() || underWay_ > 0))
      turn();
  } catch (...) {
    stopped_ = true;
    session_.client().close();
    throw;
  }
  session_.client().close();
}

void LineLoop::turn() {
  Client& client = session_.client();
  bool waits = false;  // for the input
  while (!stopped_ && hasLines() && underWay_ < kMostUnderWay) {
    const auto line = reader_.next();
    waits = !line && hasLines();
    if (!line) break;
    take(*line);
  }
  client.process();
  afterTurn();
  const bool done = stopped_ || (!hasLines() && underWay_ == 0);
  if (done) return;
  const int descriptor = client.descriptor();
  if (descriptor < 0)
    throw Failure(kSetup, std::string("cannot wait for answers: ") +
                              std::strerror(errno));
  // There may be lines that have room now.
  if (hasLines() && !waits && underWay_ < kMostUnderWay) return;
  waitForEither(descriptor, waits ? reader_.descriptor() : -1,
                kShowMilliseconds);
}

}  // namespace ostrel::tools::cli
