// load: makes objects of the lines that dump wrote, or writes them to objects
// that are there.

#include <chrono>
#include <cstdio>
#include <ctime>

#include "bulk/line_loop.h"
#include "bulk/load_state.h"
#include "commands/command_support.h"
#include "format/object_json.h"
#include "format/pdu_text.h"
#include "session/failures.h"
#include "session/waiting.h"

namespace ostrel::tools::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kShowEvery = std::chrono::milliseconds(500);

// How many lines are named that may have been carried out.
constexpr std::size_t kNamedLines = 10;

class Load : private LineLoop {
 public:
  Load(Session& session, const Arguments& arguments)
      : LineLoop(session, arguments.words), arguments_(arguments) {
    if (!arguments.state.empty()) state_.open(arguments.state);
  }

  Exit run();

 private:
  // What is to be done with the object of a line.
  struct Task {
    std::uint64_t line;
    Oid object;
  };

  void take(const std::string& line) override;
  void afterTurn() override;
  void send(const Task& task, Attributes attributes);
  void wouldSend(const Task& task);
  void ended(const Task& task, const Error* error, const Oid& now,
             const std::vector<ItemError>& errors);
  void succeeded(const Task& task, const Oid& now);
  void failed(const Task& task, const Failure& failure);
  void cancelled(const Task& task, const Error& error);
  void show();
  void tellRest();
  std::string named(const Task& task) const;
  Json about(const Task& task) const;
  Output& output() { return session_.output(); }

  const Arguments& arguments_;
  LoadState state_;
  std::string results_;
  std::uint64_t done_ = 0;
  std::uint64_t failures_ = 0;
  std::uint64_t skipped_ = 0;
  Exit exit_ = kDone;  // of the failures, while they are alike
  bool alike_ = true;
  std::string lastHint_;
  std::optional<Failure> fatal_;
  std::vector<std::uint64_t> unclear_;  // may have been carried out
  const std::time_t now_ = std::time(nullptr);
  const Clock::time_point start_ = Clock::now();
  Clock::time_point shown_ = start_;
};

std::string Load::named(const Task& task) const {
  return "line " + std::to_string(task.line) + " (" + task.object.text() + ")";
}

Json Load::about(const Task& task) const {
  Json json;
  json["command"] = "load";
  json["line"] = task.line;
  json["object"] = idJson(task.object);
  return json;
}

void Load::take(const std::string& line) {
  if (line.find_first_not_of(" \t\r") == line.npos) return;
  Task task = {reader_.number(), Oid()};
  Attributes attributes;
  try {
    const Json json = objectFrom(line);
    for (const char* member : {"object", "attributes"})
      if (!json.contains(member))
        throw TextError(std::string("there is no \"") + member + "\"");
    task.object = oidFrom(json.at("object"));
    if (!state_.isDone(task.line, task.object))
      attributes = attributesFrom(json.at("attributes"), now_);
    else
      task.line = 0;
  } catch (const TextError& error) {
    // What is behind it may be anything as well.
    fatal_.emplace(
        kDecode, "line " + std::to_string(task.line) + ": " + error.what(),
        "A line is {\"object\": \"59.200.0.1\", \"attributes\": [...]}, as "
        "ostrel dump writes it.");
    takeNoMore();
    return;
  }
  if (task.line == 0)
    ++skipped_;
  else if (output().settings().dryRun)
    wouldSend(task);
  else
    send(task, std::move(attributes));
}

void Load::wouldSend(const Task& task) {
  ++done_;
  Json json = about(task);
  json["would"] = arguments_.update ? "set" : "create";
  if (output().settings().json)
    results_ += cli::line(json) + "\n";
  else if (!output().settings().quiet)
    results_ += task.object.text() + ": would be " +
                (arguments_.update ? "set" : "created") + "\n";
}

void Load::send(const Task& task, Attributes attributes) {
  const Endpoint server = session_.server();
  const RequestOptions options = session_.requestOptions();
  begun();
  if (arguments_.update) {
    session_.client().set(
        server, task.object, std::move(attributes),
        [this, task](const Result<Done>& result) {
          ended(task, result ? nullptr : &result.error(), task.object,
                result.itemErrors());
        },
        options);
    return;
  }
  session_.client().create(
      server, task.object.classOid(), std::move(attributes),
      [this, task](const Result<Oid>& result) {
        ended(task, result ? nullptr : &result.error(),
              result ? *result : Oid(), result.itemErrors());
      },
      options);
}

void Load::ended(const Task& task, const Error* error, const Oid& now,
                 const std::vector<ItemError>& errors) {
  LineLoop::ended();
  if (error != nullptr && error->kind() == ostrel::Failure::cancelled)
    return cancelled(task, *error);
  if (error != nullptr) {
    if (error->mayHaveHappened()) unclear_.push_back(task.line);
    const Failure failure = failureOf(*error, session_.server());
    if (failure.exit == kRefused || failure.exit == kDecode ||
        error->systemError() == EMSGSIZE)
      return failed(task, failure);
    // A server that does not answer will not do so for the next one.
    if (!fatal_) fatal_.emplace(failure);
    return stop();
  }
  if (errors.empty() && now.valid()) return succeeded(task, now);
  std::string items;
  for (const ItemError& each : errors)
    items +=
        (items.empty() ? "" : ", ") +
        (each.identifier.valid() ? each.identifier.text()
                                 : "item " + std::to_string(each.position)) +
        ": " + codeText(each.code);
  if (items.empty()) items = "no object was made";
  failed(task, Failure(kPartial, items,
                       errors.empty() ? "" : hintFor(errors.back().code)));
}

void Load::succeeded(const Task& task, const Oid& now) {
  ++done_;
  state_.add(task.line, task.object, now);
  const Settings& settings = output().settings();
  if (settings.json) {
    Json json = about(task);
    json["server"] = session_.serverName();
    json["oid"] = idJson(now);
    results_ += cli::line(json) + "\n";
  } else if (arguments_.update) {
    if (!settings.quiet) results_ += task.object.text() + ": set\n";
  } else {
    results_ +=
        (settings.quiet ? "" : task.object.text() + " ") + now.text() + "\n";
  }
}

void Load::failed(const Task& task, const Failure& failure) {
  ++failures_;
  alike_ = alike_ && (exit_ == kDone || exit_ == failure.exit);
  exit_ = failure.exit;
  // Once for those that failed alike.
  const bool isNew = failure.hint != lastHint_;
  lastHint_ = failure.hint;
  output().failure(
      Failure(failure.exit, named(task) + ": " + failure.what(),
              isNew || output().settings().json ? failure.hint : "",
              failure.code),
      about(task));
}

void Load::cancelled(const Task& task, const Error& error) {
  if (error.mayHaveHappened()) unclear_.push_back(task.line);
}

void Load::afterTurn() {
  // What people are told has to be in the file.
  state_.save();
  if (!results_.empty()) {
    output().endProgress();
    output().write(results_);
    results_.clear();
  }
  show();
}

void Load::show() {
  const Clock::time_point now = Clock::now();
  if (now - shown_ < kShowEvery) return;
  shown_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double all = static_cast<double>(done_ + failures_);
  char text[96];
  std::snprintf(text, sizeof text, "%llu objects, %.0f a second",
                static_cast<unsigned long long>(done_ + failures_),
                all / seconds);
  std::string line = text;
  const auto share = reader_.share();
  if (share && *share > 0) {
    std::snprintf(text, sizeof text, ", %.0f %%, %.0f s left", *share * 100,
                  seconds / *share * (1 - *share));
    line += text;
  }
  output().progress(line);
}

// What a load that did not come to its end has to say.
void Load::tellRest() {
  Output& out = output();
  out.endProgress();
  if (!unclear_.empty()) {
    std::string lines;
    for (std::size_t i = 0; i < unclear_.size() && i < kNamedLines; ++i)
      lines += (i == 0 ? "" : ", ") + std::to_string(unclear_[i]);
    if (unclear_.size() > kNamedLines) lines += ", ...";
    out.announce(plural(static_cast<long>(unclear_.size()), "line") +
                 " may have been carried out, though no answer came: " + lines);
  }
  out.announce(plural(static_cast<long>(done_ + skipped_), "line") + " done: " +
               (arguments_.state.empty()
                    ? "with --resume FILE a load can go on where it ended"
                    : "the same command goes on behind them"));
}

Exit Load::run() {
  try {
    runLines();
  } catch (...) {
    afterTurn();
    tellRest();
    throw;
  }
  afterTurn();
  if (fatal_) {
    tellRest();
    throw *fatal_;
  }
  const bool dry = output().settings().dryRun;
  std::string text = plural(static_cast<long>(done_), "object") +
                     (dry ? " would be " : " ") +
                     (arguments_.update ? "set" : "created");
  if (skipped_ > 0) text += ", " + std::to_string(skipped_) + " done before";
  if (failures_ > 0) text += ", " + std::to_string(failures_) + " failed";
  output().note("ostrel: " + text);
  if (failures_ == 0) return kDone;
  return done_ == 0 && alike_ ? exit_ : kPartial;
}

Exit runLoad(Session& session, const Arguments& arguments) {
  return Load(session, arguments).run();
}

}  // namespace

std::vector<Command> loadCommands() {
  return {
      {"load", "Create or set the objects of lines that dump wrote",
       "Makes a new object of each line: the server chooses its identifier, "
       "which is\nprinted behind the one in the line. Identifiers inside "
       "values "
       "stay as they are.\n--update sets the attributes of the objects "
       "themselves.\n\n" +
           examples("  ostrel dump 59.200 >lamps.jsonl\n"
                    "  ostrel -s other load lamps.jsonl\n"
                    "  ostrel load --resume lamps.state lamps.jsonl\n"
                    "  ostrel load --update lamps.jsonl"),
       [](CLI::App& command, Arguments& arguments) {
         addWords(command, arguments, "FILE",
                  "Files; - or none: the standard input");
         command.add_flag("--update", arguments.update,
                          "Set objects that are there");
         command
             .add_option("--resume", arguments.state,
                         "Note in this file what is done, and go on from there")
             ->type_name("FILE");
       },
       inSession<runLoad>},
  };
}

}  // namespace ostrel::tools::cli
