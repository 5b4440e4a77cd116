// batch: commands as lines of JSON from standard input, many at once, and
// answers as lines of JSON.

#include <algorithm>
#include <ctime>
#include <iterator>
#include <memory>
#include <string_view>

#include "bulk/line_loop.h"
#include "commands/command_support.h"
#include "commands/results.h"
#include "common/addresses.h"
#include "format/object_json.h"

namespace ostrel::tools::cli {
namespace {

// A line that is understood: what its answer begins with, and whom it asks.
struct Call {
  Json head;  // "id", "command", "server", and "oid" or "aid"
  Endpoint server;
};

class Batch : private LineLoop {
 public:
  explicit Batch(Session& session) : LineLoop(session, {}) {}

  Exit run();

 private:
  using Begin = void (Batch::*)(const Json& json, Call call);
  struct Row {
    const char* name;
    Begin begin;
  };
  static const Row kRows[];

  void take(const std::string& line) override;
  void afterTurn() override;

  void get(const Json& json, Call call);
  void set(const Json& json, Call call);
  void create(const Json& json, Call call);
  void clone(const Json& json, Call call);
  void remove(const Json& json, Call call);
  void verify(const Json& json, Call call);
  void search(const Json& json, Call call);
  void action(const Json& json, Call call);

  // Has `ask(handler, options)` make the request, and `print(answer, result)`
  // append what its answer has besides the head, the status and the errors.
  template <class T, class Ask, class Print>
  void send(Call call, Ask ask, Print print);

  // Clone and create, remove and verify differ in their names.
  using Make = Request<Oid> (Client::*)(const Endpoint&, Oid, Attributes,
                                        Handler<Oid>, RequestOptions);
  using Treat = Request<Done> (Client::*)(const Endpoint&, Oid, Handler<Done>,
                                          RequestOptions);
  void make(const Json& json, Call call, const char* subject, Make how);
  void treat(const Json& json, Call call, Treat how);

  void fail(const Call& call, const Failure& failure, bool mayHaveHappened);
  void answer(const Json& json, const std::string& more);

  std::string answers_;
  std::uint64_t done_ = 0;
  std::uint64_t failures_ = 0;
  Exit exit_ = kDone;  // of the failures, while they are alike
  bool alike_ = true;
};

const Json& memberOf(const Json& json, const char* name) {
  const auto found = json.find(name);
  if (found == json.end())
    throw TextError(std::string("there is no \"") + name + "\"");
  return *found;
}

// An array, or none of that name.
Json listOf(const Json& json, const char* name) {
  const auto found = json.find(name);
  return found != json.end() ? *found : Json::array();
}

Oid subjectOf(const Json& json, const char* name, Call* call) {
  const Oid oid = oidFrom(memberOf(json, name));
  call->head["oid"] = oid.text();
  return oid;
}

void Batch::answer(const Json& json, const std::string& more) {
  std::string text = line(json);
  text.pop_back();
  answers_ += text + more + "}\n";
}

void Batch::fail(const Call& call, const Failure& failure,
                 bool mayHaveHappened) {
  ++failures_;
  alike_ = alike_ && (exit_ == kDone || exit_ == failure.exit);
  exit_ = failure.exit;
  Json json = call.head;
  json["failure"] = exitName(failure.exit);
  json["status"] = failure.code != 0 ? codeJson(failure.code) : Json(nullptr);
  json["message"] = failure.what();
  json["hint"] = failure.hint.empty() ? Json(nullptr) : Json(failure.hint);
  if (mayHaveHappened) json["mayHaveHappened"] = true;
  answer(json, "");
}

template <class T, class Ask, class Print>
void Batch::send(Call call, Ask ask, Print print) {
  if (session_.output().settings().dryRun) {
    ++done_;
    call.head["would"] = "send";
    return answer(call.head, "");
  }
  const RequestOptions options = session_.requestOptions(call.server);
  begun();
  ask(Handler<T>([this, call, print](Result<T>&& result) {
        ended();
        if (!result) {
          const Error& error = result.error();
          if (error.kind() != ostrel::Failure::cancelled)
            fail(call, failureOf(error, call.server), error.mayHaveHappened());
          return;
        }
        const ItemErrors& errors = result.itemErrors();
        Json json = call.head;
        json["status"] = codeJson(errors.empty() ? kNoError : kArgListError);
        std::string more;
        print(&json, &more, *result);
        json["errors"] = errorsJson(errors);
        answer(json, more);
        if (errors.empty()) {
          ++done_;
          return;
        }
        ++failures_;
        alike_ = alike_ && (exit_ == kDone || exit_ == kPartial);
        exit_ = kPartial;
      }),
      options);
}

void appendAttributes(std::string* more, const Attributes& attributes) {
  *more += ",\"attributes\":";
  appendJson(more, attributes, Form::kWhole);
}

void Batch::get(const Json& json, Call call) {
  const Oid oid = subjectOf(json, "object", &call);
  const Aids wanted = idsFrom(listOf(json, "attributes"));
  const Endpoint server = call.server;
  send<Attributes>(
      std::move(call),
      [&](Handler<Attributes> handler, const RequestOptions& options) {
        session_.client().get(server, oid, wanted, std::move(handler), options);
      },
      [](Json*, std::string* more, const Attributes& attributes) {
        appendAttributes(more, attributes);
      });
}

void Batch::set(const Json& json, Call call) {
  const Oid oid = subjectOf(json, "object", &call);
  Attributes attributes =
      attributesFrom(memberOf(json, "attributes"), std::time(nullptr));
  const Endpoint server = call.server;
  send<Done>(
      std::move(call),
      [&](Handler<Done> handler, const RequestOptions& options) {
        session_.client().set(server, oid, std::move(attributes),
                              std::move(handler), options);
      },
      [](Json*, std::string*, Done) {});
}

void Batch::make(const Json& json, Call call, const char* subject, Make how) {
  const Oid from = oidFrom(memberOf(json, subject));
  Attributes attributes =
      attributesFrom(listOf(json, "attributes"), std::time(nullptr));
  const Endpoint server = call.server;
  send<Oid>(
      std::move(call),
      [&](Handler<Oid> handler, const RequestOptions& options) {
        (session_.client().*how)(server, from, std::move(attributes),
                                 std::move(handler), options);
      },
      [](Json* answer, std::string*, const Oid& oid) {
        (*answer)["oid"] = idJson(oid);
      });
}

void Batch::create(const Json& json, Call call) {
  make(json, std::move(call), "class", &Client::create);
}

void Batch::clone(const Json& json, Call call) {
  make(json, std::move(call), "object", &Client::clone);
}

void Batch::treat(const Json& json, Call call, Treat how) {
  const Oid oid = subjectOf(json, "object", &call);
  const Endpoint server = call.server;
  send<Done>(
      std::move(call),
      [&](Handler<Done> handler, const RequestOptions& options) {
        (session_.client().*how)(server, oid, std::move(handler), options);
      },
      [](Json*, std::string*, Done) {});
}

void Batch::remove(const Json& json, Call call) {
  treat(json, std::move(call), &Client::remove);
}

void Batch::verify(const Json& json, Call call) {
  treat(json, std::move(call), &Client::verify);
}

void Batch::search(const Json& json, Call call) {
  const Oid classOid = subjectOf(json, "class", &call);
  const std::vector<Term> terms =
      termsFrom(listOf(json, "conditions"), std::time(nullptr));
  SearchOptions search;
  if (json.contains("attributes"))
    search.wanted = idsFrom(json.at("attributes"));
  const bool whole = search.wanted.has_value();
  const Endpoint server = call.server;
  // The answer is one line, whatever it takes.
  auto found = std::make_shared<std::string>();
  send<Done>(
      std::move(call),
      [&](Handler<Done> handler, const RequestOptions& options) {
        search.request = options;
        session_.client().search(
            server, classOid, terms,
            [found, whole](std::vector<Object>&& page) {
              for (const Object& object : page) {
                if (!found->empty()) *found += ',';
                const std::string oid = "\"" + object.oid.text() + "\"";
                if (!whole) {
                  *found += oid;
                  continue;
                }
                *found += "{\"object\":" + oid;
                appendAttributes(found.get(), object.attributes);
                *found += '}';
              }
              return true;
            },
            std::move(handler), std::move(search));
      },
      [found](Json*, std::string* more, Done) {
        *more += ",\"found\":[" + *found + "]";
      });
}

void Batch::action(const Json& json, Call call) {
  const Aid action = aidFrom(memberOf(json, "action"));
  call.head["aid"] = action.text();
  Values arguments;
  for (const Json& each : listOf(json, "arguments"))
    arguments.push_back(valueFrom(each, std::time(nullptr)));
  // What must not be changed at the same time, where the line says it.
  const Oid oid = json.contains("object") ? oidFrom(json.at("object")) : Oid();
  const Endpoint server = call.server;
  send<Done>(
      std::move(call),
      [&](Handler<Done> handler, const RequestOptions& options) {
        session_.client().action(server, oid, action, std::move(arguments),
                                 std::move(handler), options);
      },
      [](Json*, std::string*, Done) {});
}

const Batch::Row Batch::kRows[] = {
    {"get", &Batch::get},       {"set", &Batch::set},
    {"create", &Batch::create}, {"clone", &Batch::clone},
    {"remove", &Batch::remove}, {"verify", &Batch::verify},
    {"search", &Batch::search}, {"action", &Batch::action},
};

void Batch::take(const std::string& line) {
  if (line.find_first_not_of(" \t\r") == line.npos) return;
  Call call;
  call.head["id"] = nullptr;
  try {
    const Json json = objectFrom(line);
    if (json.contains("id")) call.head["id"] = json.at("id");
    const Json& command = memberOf(json, "command");
    call.head["command"] = command;
    const auto* row =
        std::find_if(std::begin(kRows), std::end(kRows),
                     [&](const Row& each) { return command == each.name; });
    if (row == std::end(kRows))
      throw TextError("batch has no command " + cli::line(command));
    call.server = session_.server();
    if (json.contains("server")) {
      const Json& server = json.at("server");
      const auto named =
          server.is_string()
              ? Endpoint::parse(server.get_ref<const std::string&>())
              : std::nullopt;
      if (!named)
        throw TextError(cli::line(server) +
                        " is no ADDRESS or ADDRESS:PORT of a server");
      call.server = *named;
    }
    call.head["server"] =
        serverText(call.server.socketAddress(), kObjectServerPort);
    (this->*row->begin)(json, call);
  } catch (const TextError& error) {
    fail(call,
         Failure(kUsage, "line " + std::to_string(reader_.number()) + ": " +
                             error.what()),
         false);
  }
}

void Batch::afterTurn() {
  session_.output().write(answers_);
  answers_.clear();
}

Exit Batch::run() {
  runLines();
  afterTurn();
  if (failures_ == 0) return kDone;
  return done_ == 0 && alike_ ? exit_ : kPartial;
}

Exit runBatch(Session& session, const Arguments&) {
  return Batch(session).run();
}

}  // namespace

std::vector<Command> batchCommands() {
  return {
      {"batch", "Carry out commands from standard input, many at once",
       R"(Each line is a JSON object, and so is each answer. Answers come in any
order, each with the "id" of its command. Two changes of one object are
carried out in the order of their lines. Commands:

  {"id": 1, "command": "get", "object": "59.200.0.1", "attributes": ["59.200.1"]}
  {"id": 2, "command": "set", "object": "59.200.0.1", "attributes": ["59.200.2=int:5"]}
  {"id": 3, "command": "create", "class": "59.200", "attributes": [...]}
  {"id": 4, "command": "clone", "object": "59.200.0.1"}
  {"id": 5, "command": "remove", "object": "59.200.0.1"}
  {"id": 6, "command": "verify", "object": "59.200.0.1"}
  {"id": 7, "command": "search", "class": "59.200", "conditions": ["59.200.2>3"]}
  {"id": 8, "command": "action", "action": "59.200.20", "arguments": ["int:5"]}

"server": "10.0.0.7:5300" asks another server. Attributes and values are
written as on the command line, or as ostrel dump and --json write them.
With "attributes" a search finds objects with these, [] all of them.

Examples:
  echo '{"id": 1, "command": "verify", "object": "59.1.0.1"}' | ostrel batch)",
       [](CLI::App&, Arguments&) {}, inSession<runBatch>},
  };
}

}  // namespace ostrel::tools::cli
