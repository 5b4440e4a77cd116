// What commands have in common that make a request of each line they read, many
// at once: they read on while few requests are under way.

#ifndef OSTREL_TOOLS_OSTREL_BULK_LINE_LOOP_H
#define OSTREL_TOOLS_OSTREL_BULK_LINE_LOOP_H

#include <cstddef>
#include <string>
#include <vector>

#include "bulk/line_reader.h"
#include "session/session.h"

namespace ostrel::tools::cli {

class LineLoop {
 public:
  LineLoop(Session& session, const std::vector<std::string>& files)
      : session_(session), reader_(files) {}
  virtual ~LineLoop() = default;
  LineLoop(const LineLoop&) = delete;
  LineLoop& operator=(const LineLoop&) = delete;

 protected:
  // Takes all lines and waits for what was asked. Whatever comes out of it,
  // first all requests are ended as cancelled, and their handlers have run.
  void runLines();

  // Makes requests of a line; begun() and ended() count them.
  virtual void take(const std::string& line) = 0;

  // After each turn: writes what the answers made.
  virtual void afterTurn() = 0;

  void begun() { ++underWay_; }
  void ended() { --underWay_; }

  // No more lines are taken, but the answers of those before are waited for.
  void takeNoMore() { enough_ = true; }

  // No more lines are taken, and what is under way is cancelled.
  void stop() { stopped_ = true; }
  Session& session_;
  LineReader reader_;

 private:
  void turn();
  bool hasLines() const { return !enough_ && !reader_.atEnd(); }

  std::size_t underWay_ = 0;
  bool enough_ = false;
  bool stopped_ = false;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_BULK_LINE_LOOP_H
