#include "commands/every_server.h"

#include <algorithm>
#include <iterator>

#include "session/waiting.h"

namespace ostrel::tools::cli {
namespace {

// Of a server's states, as people and programs read them.
constexpr const char* kStates[] = {"answered", "refused",    "silent",
                                   "closed",   "unreadable", "unreachable"};

// Whether the server is there, so that it is asked for the rest.
bool isAnswer(const Failure& failure) {
  return failure.exit == kRefused || failure.exit == kDecode;
}

}  // namespace

EveryServer::EveryServer(Session& session, const char* command,
                         Failures failures, Asked asked)
    : session_(session), command_(command), failures_(failures), asked_(asked) {
  const auto lost = [this](const std::string& name, const Failure& failure) {
    ++lost_;
    several_ = true;
    exits_.insert(failure.exit);
    print(escaped(name), "", failure);
  };
  const std::vector<Target> targets = asked == Asked::kDirectory
                                          ? session.directories(lost)
                                          : session.servers(lost);
  for (const Target& target : targets) rows_.push_back({target});
  several_ = rows_.size() + lost_ > 1;
}

// No handler finds this gone.
EveryServer::~EveryServer() {
  for (Row& row : rows_) drop(row);
  session_.output().setPrefix("");
}

// Among several servers none is the one that the lookup may fail for.
Endpoint EveryServer::principalFor(const Row& row) const {
  return several_ ? Endpoint() : row.target.at;
}

void EveryServer::showDry(Row& row) {
  Entry& entry = row.entries.back();
  session_.show(entry.request);
  if (!entry.report) row.entries.pop_back();
}

void EveryServer::drop(Row& row) {
  for (Entry& entry : row.entries) entry.request.forget();
  row.entries.clear();
}

// What is reported has left the row before, as a report may end the command.
void EveryServer::reportDone(Row& row) {
  while (!row.entries.empty() && row.entries.front().report) {
    const Entry entry = std::move(row.entries.front());
    row.entries.pop_front();
    if (several_) session_.output().setPrefix(row.target.name + ": ");
    try {
      exits_.insert(entry.report(row.target));
    } catch (const Failure& failure) {
      fail(row, entry.subject, failure);
    }
    session_.output().setPrefix("");
  }
}

void EveryServer::fail(Row& row, const std::string& subject,
                       const Failure& failure) {
  const State state = failure.exit == kRefused    ? kRefusedIt
                      : failure.exit == kDecode   ? kUnreadable
                      : row.closed                ? kClosed
                      : failure.exit == kNoAnswer ? kSilent
                                                  : kUnasked;
  row.state = std::max(row.state, state);
  session_.output().setPrefix("");
  // A server that does not answer will not do so for the next one.
  if (!isAnswer(failure)) drop(row);
  const bool ofAll = failures_ == Failures::kOfTheCommand || !isAnswer(failure);
  if (ofAll && !several_) throw failure;
  exits_.insert(failure.exit);
  print(row.target.name, subject, failure);
}

void EveryServer::print(const std::string& server, const std::string& subject,
                        const Failure& failure) {
  Json about;
  about["command"] = command_;
  if (!subject.empty())
    about[std::string_view(command_) == "action" ? "aid" : "oid"] = subject;
  if (several_) about["server"] = server;
  // The others say whom they are about.
  std::string who;
  if (isAnswer(failure)) {
    if (several_) who = server + ": ";
    who += escaped(subject) + ": ";
  }
  const bool known = !hints_.insert(failure.hint).second && several_;
  const bool json = session_.output().settings().json;
  session_.output().failure(
      Failure(failure.exit, who + failure.what(),
              known && !json ? "" : failure.hint, failure.code),
      about);
}

std::string EveryServer::waitingFor() const {
  if (!several_) return rows_[0].target.at.text();
  const auto count = std::count_if(rows_.begin(), rows_.end(), [](auto& row) {
    return !row.entries.empty();
  });
  return std::to_string(count) + " of " +
         plural(static_cast<long>(rows_.size() + lost_), "server");
}

Exit EveryServer::finish() {
  Output& output = session_.output();
  const auto isDone = [&] {
    return output.broken() ||
           std::all_of(rows_.begin(), rows_.end(),
                       [](const Row& row) { return row.entries.empty(); });
  };
  session_.await(isDone, [this] { return waitingFor(); });
  if (several_ && !isDry()) summarise();
  if (exits_.size() > 1) return kPartial;
  return exits_.empty() ? kDone : *exits_.begin();
}

void EveryServer::summarise() {
  long counts[std::size(kStates)] = {};
  for (const Row& row : rows_) ++counts[row.state];
  counts[kUnasked] += static_cast<long>(lost_);
  std::string text;
  Json json;
  json["command"] = command_;
  for (std::size_t i = 0; i < std::size(kStates); ++i) {
    json["summary"][kStates[i]] = counts[i];
    if (i != kAnswered && counts[i] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(counts[i]) + " " +
            kStates[i];
  }
  session_.output().result("", json);
  session_.output().note("ostrel: " + text);
}

}  // namespace ostrel::tools::cli
