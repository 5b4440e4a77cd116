// A command that asks every server of the command line at once: prints results
// as they come, goes on past failures, and tells at the end how many answered.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_EVERY_SERVER_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_EVERY_SERVER_H

#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "commands/command_support.h"
#include "session/session.h"

namespace ostrel::tools::cli {

class EveryServer {
 public:
  // Failures are told for each object, or one failure is the command's.
  enum class Failures { kForEachObject, kOfTheCommand };
  // Object servers, or what --directory names.
  EveryServer(Session& session, const char* command, Failures failures,
              Asked asked = Asked::kObjectServer);
  EveryServer(const EveryServer&) = delete;
  EveryServer& operator=(const EveryServer&) = delete;
  ~EveryServer();

  // Asks each server about a subject, the object or action as it was typed in.
  //   begin   makes the request: begin(server, handler, options)
  //   report  prints its result: report(target, *result, errors) is an Exit
  // Results of one server are reported in the order of the calls.
  template <class T, class Begin, class Report>
  void ask(const std::string& subject, Begin begin, Report report) {
    for (Row& row : rows_) {
      Entry& entry = row.entries.emplace_back();
      entry.subject = subject;
      entry.request =
          begin(row.target.at,
                Handler<T>([this, &row, &entry, report](Result<T>&& result) {
                  keep(row, entry, std::move(result), report);
                }),
                session_.requestOptions(principalFor(row)));
      if (isDry()) showDry(row);
    }
  }

  // Waits for what was asked. Returns the exit code: that of all answers where
  // they are alike, else kPartial. Throws Failure where that is the command's,
  // and when a signal came.
  Exit finish();

  // Whether it was said who answered.
  bool several() const { return several_; }

 private:
  // How a server fared. The later the worse.
  enum State { kAnswered, kRefusedIt, kSilent, kClosed, kUnreadable, kUnasked };

  struct Entry {
    std::string subject;
    Ticket request;
    std::function<Exit(const Target&)> report;  // when the answer is there
  };
  struct Row {
    Target target;
    std::deque<Entry> entries = {};  // whose results are not reported
    State state = kAnswered;
    bool closed = false;
  };

  template <class T, class Report>
  void keep(Row& row, Entry& entry, Result<T>&& result, Report& report) {
    if (!result && result.error().kind() == ostrel::Failure::portClosed)
      row.closed = true;
    // Functions that are copied hold what is copied.
    auto held = std::make_shared<Result<T>>(std::move(result));
    const Asked asked = asked_;
    entry.report = [held, report, asked](const Target& target) {
      if (!*held) throw failureOf(held->error(), target.at, asked);
      return report(target, **held, held->itemErrors());
    };
    reportDone(row);
  }

  bool isDry() const { return session_.output().settings().dryRun; }
  Endpoint principalFor(const Row& row) const;
  void showDry(Row& row);
  void reportDone(Row& row);
  void drop(Row& row);
  void fail(Row& row, const std::string& subject, const Failure& failure);
  void print(const std::string& server, const std::string& subject,
             const Failure& failure);
  std::string waitingFor() const;
  void summarise();

  Session& session_;
  const char* command_;
  Failures failures_;
  Asked asked_;
  bool several_ = false;
  std::deque<Row> rows_;  // their addresses stay
  std::size_t lost_ = 0;  // servers whose names are nobody's
  std::set<Exit> exits_;
  std::set<std::string> hints_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_EVERY_SERVER_H
