// poll: reads attributes of an object again and again, at one server or many.

#include <chrono>
#include <cstdint>
#include <deque>
#include <set>

#include "bulk/interval.h"
#include "commands/command_support.h"
#include "commands/results.h"
#include "format/object_json.h"
#include "format/pdu_text.h"
#include "session/failures.h"
#include "session/waiting.h"

namespace ostrel::tools::cli {
namespace {

using Clock = std::chrono::steady_clock;

class Poll {
 public:
  Poll(Session& session, const Arguments& arguments);
  ~Poll();
  Poll(const Poll&) = delete;
  Poll& operator=(const Poll&) = delete;

  Exit run();

 private:
  struct Row {
    Target target;
    Request<Attributes> request = {};
    std::uint64_t round = 0;  // of the request
    bool waits = false;
  };

  void beginRound();
  void ask(Row& row, const std::string& time);
  void answered(Row& row, const std::string& time, Result<Attributes>&& result);
  void show(const Row& row, const std::string& time,
            const Attributes& attributes, const ItemErrors& errors);
  void missed(const Row& row, const std::string& time);
  void loop();
  bool isDone() const;
  bool mayBegin() const {
    return arguments_.count == 0 || round_ < arguments_.count;
  }
  Json about(const Row& row, const std::string& time,
             std::uint64_t round) const;
  Output& output() { return session_.output(); }

  Session& session_;
  const Arguments& arguments_;
  const Oid oid_;
  const Aids wanted_;
  const Millis every_;
  std::deque<Row> rows_;  // their addresses stay
  std::set<Exit> exits_;
  std::uint64_t round_ = 0;
  std::uint64_t missed_ = 0;
  Clock::time_point next_ = Clock::now();
};

Poll::Poll(Session& session, const Arguments& arguments)
    : session_(session),
      arguments_(arguments),
      oid_(parseOid(arguments.id)),
      wanted_(aidsFrom(arguments.words)),
      every_(*parseInterval(arguments.every)) {
  const auto lost = [this](const std::string& name, const Failure& failure) {
    exits_.insert(failure.exit);
    Json json;
    json["command"] = "poll";
    json["server"] = name;
    output().failure(
        Failure(failure.exit, escaped(name) + ": " + failure.what(),
                failure.hint, failure.code),
        json);
  };
  for (const Target& target : session.servers(lost)) rows_.push_back({target});
}

// No handler finds this gone.
Poll::~Poll() {
  for (Row& row : rows_) row.request.forget();
}

Json Poll::about(const Row& row, const std::string& time,
                 std::uint64_t round) const {
  Json json;
  json["command"] = "poll";
  json["server"] = row.target.name;
  json["time"] = time;
  json["round"] = round;
  json["oid"] = oid_.text();
  return json;
}

void Poll::beginRound() {
  const std::string time = timeNow();
  ++round_;
  for (Row& row : rows_) {
    if (row.waits)
      missed(row, time);
    else
      ask(row, time);
  }
}

void Poll::ask(Row& row, const std::string& time) {
  const bool alone = rows_.size() == 1;
  const RequestOptions options =
      session_.requestOptions(alone ? row.target.at : Endpoint());
  row.waits = true;
  row.round = round_;
  row.request = session_.client().get(
      row.target.at, oid_, wanted_,
      [this, &row, time](Result<Attributes>&& result) {
        row.waits = false;
        answered(row, time, std::move(result));
      },
      options);
}

void Poll::answered(Row& row, const std::string& time,
                    Result<Attributes>&& result) {
  Output& out = output();
  if (rows_.size() > 1) out.setPrefix(row.target.name + ": ");
  if (result) {
    show(row, time, *result, result.itemErrors());
    exits_.insert(reportErrors(out, oid_.text(), result.itemErrors(), wanted_));
  } else {
    const Failure failure = failureOf(result.error(), row.target.at);
    exits_.insert(failure.exit);
    // Those that fail the same way round after round need no advice.
    out.failure(
        Failure(failure.exit, time + " " + failure.what(),
                row.round == 1 || out.settings().json ? failure.hint : "",
                failure.code),
        about(row, time, row.round));
  }
  out.setPrefix("");
}

void Poll::show(const Row& row, const std::string& time,
                const Attributes& attributes, const ItemErrors& errors) {
  const Settings& settings = output().settings();
  if (settings.json) {
    Json json = resultJson(row.target, "poll", errors);
    json.update(about(row, time, row.round));
    json["errors"] = errorsJson(errors);
    std::string text = line(json);
    text.back() = ',';
    text += "\"attributes\":";
    appendJson(&text, attributes, Form::kShown);
    output().write(text + "}\n");
    return;
  }
  std::string text = settings.quiet ? "" : time;
  const char* gap = settings.quiet ? "" : " ";
  for (const Attribute& attribute : attributes) {
    const auto shown = printable(ostrel::Value(attribute));
    auto& copy = dynamic_cast<veskAttribute&>(*shown);
    text += gap;
    text += settings.quiet ? plainText(copy.value) : attributeText(copy);
    gap = settings.quiet ? " " : ", ";
  }
  output().result(text + "\n", Json());
}

// The last request has no answer yet; the server gets no second one beside it.
void Poll::missed(const Row& row, const std::string& time) {
  ++missed_;
  exits_.insert(kNoAnswer);
  Output& out = output();
  if (out.settings().json) {
    Json json = about(row, time, round_);
    json["missed"] = true;
    out.result("", json);
    return;
  }
  const std::string who = rows_.size() > 1 ? row.target.name + ": " : "";
  out.itemFailure(who + time + " missed: round " + std::to_string(row.round) +
                  " is not answered yet");
}

bool Poll::isDone() const {
  if (session_.output().broken()) return true;
  if (mayBegin()) return false;
  for (const Row& row : rows_)
    if (row.waits) return false;
  return true;
}

void Poll::loop() {
  Client& client = session_.client();
  const int descriptor = client.descriptor();
  if (descriptor < 0) throw Failure(kSetup, "cannot wait for answers");
  while (!isDone()) {
    const Clock::time_point now = Clock::now();
    if (mayBegin() && now >= next_) {
      beginRound();
      next_ += every_;
      // A program that was held up leaves out what it is too late for.
      const auto late = now >= next_ ? (now - next_) / every_ + 1 : 0;
      next_ += every_ * late;
      if (late > 0)
        output().announce(plural(static_cast<long>(late), "round") +
                          " left out: this program was held up");
    }
    client.process();
    if (isDone()) return;
    constexpr Millis kLongestTurn{1000};
    const auto left = std::chrono::ceil<Millis>(next_ - Clock::now());
    const Millis wait =
        mayBegin() ? std::clamp(left, Millis(0), kLongestTurn) : kLongestTurn;
    waitForEither(descriptor, -1, static_cast<int>(wait.count()));
  }
}

Exit Poll::run() {
  if (output().settings().dryRun) {
    for (Row& row : rows_) {
      ask(row, timeNow());
      session_.show(row.request);
    }
    return kDone;
  }
  // Of no server the name could be resolved.
  if (rows_.empty() && exits_.size() == 1) return *exits_.begin();
  if (rows_.empty()) return kPartial;
  try {
    loop();
  } catch (const Failure& failure) {
    // Ctrl-C is how polling ends.
    if (failure.exit != kInterrupted) throw;
  }
  if (missed_ > 0)
    output().note("ostrel: " + plural(static_cast<long>(missed_), "read") +
                  " missed");
  if (exits_.size() > 1) return kPartial;
  return exits_.empty() ? kDone : *exits_.begin();
}

Exit runPoll(Session& session, const Arguments& arguments) {
  return Poll(session, arguments).run();
}

const CLI::Validator kInterval(
    [](const std::string& text) {
      return parseInterval(text) ? ""
                                 : "'" + escaped(text) +
                                       "' is no interval: 500ms, 10s, 5m or "
                                       "1h is, from 10ms to 24h";
    },
    "");

}  // namespace

std::vector<Command> pollCommands() {
  return {
      {"poll", "Read attributes of an object again and again",
       "Every server is asked at the same time. One that has not answered when "
       "its next\nturn comes misses that turn. Ctrl-C ends it.\n\n" +
           examples("  ostrel poll --every 10s 59.1.0.1 59.1.4 59.1.5\n"
                    "  ostrel -s a,b,c --json poll --every 1m 59.1.0.1"),
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "OBJECT", "The object");
         addWords(command, arguments, "ATTRIBUTE",
                  "Attributes; all of them without any");
         command
             .add_option("--every", arguments.every,
                         "How often, with its unit: ms, s, m or h")
             ->type_name("INTERVAL")
             ->required()
             ->check(kInterval);
         command
             .add_option("--count", arguments.count, "End after so many rounds")
             ->type_name("COUNT")
             ->check(CLI::PositiveNumber.description(""));
       },
       inSession<runPoll>},
  };
}

}  // namespace ostrel::tools::cli
