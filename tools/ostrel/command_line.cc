#include "command_line.h"

#include <algorithm>

#include "completion.h"
#include "version.h"

namespace ostrel::tools::cli {
namespace {

constexpr const char* kAbout =
    "Reads, writes, creates, removes, searches and watches objects on an "
    "object "
    "server.";

constexpr const char* kTop = R"(Examples:
  ostrel create 59.200 59.200.1=printer 59.200.2=int:5
  ostrel get 59.200.0.1
  ostrel set 59.200.0.1 59.200.1='colour printer'
  ostrel search 59.200 '59.200.2>3'
  ostrel watch 59.200
  ostrel --server printers.example.org --json walk 59.110

Help on one command:  ostrel COMMAND --help

Exit codes: 0 done, 1 refused by the server, 2 usage, 3 no answer, 4 some or
all attributes or some objects failed, 5 cannot be decoded, 6 set-up, network or
output, 130 interrupted.)";

constexpr const char* kValues = R"(Values are written TYPE:VALUE.
  int:5 uint:5 short:5 ushort:5 long:5 ulong:5    whole numbers, 0x for hex
  float:1.5 double:1.5 bool:true
  gauge:5 counter:5   servers refuse these: send uint:5
  string:abc          escapes: \n \t \r \xNN \\
  char:A uchar:\xff   one character
  time:now+1h         now, now-30m (s m h d w), 2026-11-21T03:19:26Z, seconds
  oid:59.6.0.1 aid:59.6.1 addr:10.0.0.1 addr:none
  opaque:00ff         bytes in hexadecimal
  list:[int:1,abc]    \, \[ and \] stand for themselves in its texts
Without a type: 5 is an int, 1.5 a double, true a bool, 59.6.1 an aid,
59.6.0.1 an oid, and everything else a string.)";

std::string examples(const std::string& lines) { return "Examples:\n" + lines; }

}  // namespace

CommandLine::CommandLine() : app_(kAbout, "ostrel") {
  app_.require_subcommand(1);
  app_.footer(kTop);
  app_.set_version_flag("--version", "ostrel " OSTREL_VERSION);
  const auto formatter = app_.get_formatter();
  formatter->column_width(26);
  formatter->label("TEXT", "");
  formatter->label("UINT", "");
  formatter->label("REQUIRED", "");
  formatter->label("SUBCOMMAND", "COMMAND");
  // So that an alias may give options which the command line overrides.
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_.add_option("-s,--server", settings_.server,
                  "Server, by name or address; else this host")
      ->type_name("NAME|ADDRESS");
  app_.add_option("-t,--timeout", settings_.timeout,
                  "Wait so long before sending again, then twice as long (3)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 3600).description(""));
  app_.add_option("-r,--retries", settings_.retries,
                  "Send again so many times (2)")
      ->type_name("COUNT")
      ->check(CLI::Range(0, 20).description(""));
  app_.add_option("-p,--principal", settings_.principal,
                  "On whose behalf; else this host's server is asked")
      ->type_name("OID|none");
  app_.add_flag("-n,--dry-run", settings_.dryRun,
                "Show what would be sent, and send nothing");
  app_.add_flag("-j,--json", settings_.json,
                "Print JSON, one object on each line");
  app_.add_flag("-q,--quiet", settings_.quiet,
                "Print only values and identifiers");
  app_.add_flag("--trace", settings_.trace,
                "Show all that is sent and received, in text and hex");
  addObjectVerbs();
  addClassVerbs();
  addOtherVerbs();
}

CLI::App* CommandLine::add(const std::string& name,
                           const std::string& description,
                           const std::string& more, Run run) {
  CLI::App* command = app_.add_subcommand(name, description);
  command->option_defaults()->multi_option_policy(
      CLI::MultiOptionPolicy::Throw);
  command->fallthrough();
  command->group("Commands");
  command->footer(more);
  command->callback([this, run] { run_ = run; });
  return command;
}

void CommandLine::addObjectVerbs() {
  CLI::App* get = add("get", "Read attributes of an object",
                      examples("  ostrel get 59.200.0.1\n"
                               "  ostrel get 59.200.0.1 59.200.1 59.200.2\n"
                               "  name=$(ostrel -q get 59.200.0.1 59.200.1)"),
                      [this](Output& output) {
                        Session session(output);
                        return runGet(session, id_, words_);
                      });
  get->add_option("OBJECT", id_, "The object")->required();
  get->add_option("ATTRIBUTE", words_, "Attributes; all of them without any");

  CLI::App* set =
      add("set", "Write attributes of an object",
          examples("  ostrel set 59.200.0.1 59.200.1=lamp 59.200.2=int:7\n"
                   "  ostrel set 59.200.0.1 59.200.3=time:now+1h\n\n") +
              kValues,
          [this](Output& output) {
            Session session(output);
            return runSet(session, id_, words_);
          });
  set->add_option("OBJECT", id_, "The object")->required();
  set->add_option("ATTRIBUTE=VALUE", words_, "What to write")->required();

  CLI::App* create =
      add("create", "Create an object and print its identifier",
          examples("  ostrel create 59.200\n"
                   "  ostrel create 59.200 59.200.1=lamp 59.200.2=int:7\n\n") +
              kValues,
          [this](Output& output) {
            Session session(output);
            return runCreate(session, id_, words_);
          });
  create->add_option("CLASS", id_, "The class of the new object")->required();
  create->add_option("ATTRIBUTE=VALUE", words_, "Its attributes");

  CLI::App* clone =
      add("clone", "Copy an object and print the copy's identifier",
          examples("  ostrel clone 59.200.0.1\n"
                   "  ostrel clone 59.200.0.1 59.200.1='second lamp'\n\n") +
              kValues,
          [this](Output& output) {
            Session session(output);
            return runClone(session, id_, words_);
          });
  clone->add_option("OBJECT", id_, "The object to copy")->required();
  clone->add_option("ATTRIBUTE=VALUE", words_,
                    "Attributes that the copy has instead");

  CLI::App* remove = add("remove", "Remove objects",
                         examples("  ostrel remove 59.200.0.1\n"
                                  "  ostrel remove $(ostrel search 59.200)"),
                         [this](Output& output) {
                           Session session(output);
                           return runRemove(session, words_);
                         });
  remove->add_option("OBJECT", words_, "The objects")->required();

  CLI::App* verify =
      add("verify", "Ask whether objects are there",
          examples("  ostrel verify 59.200.0.1\n"
                   "  ostrel -q verify 59.200.0.1 && echo there"),
          [this](Output& output) {
            Session session(output);
            return runVerify(session, words_);
          });
  verify->add_option("OBJECT", words_, "The objects")->required();
}

void CommandLine::addClassVerbs() {
  constexpr const char* kConditions = R"(Conditions; quote < and > in a shell:
  59.200.2=5   equals          59.200.2!=5  there, and not equal
  59.200.2<5   less            59.200.2<=5  less or equal
  59.200.2>5   greater         59.200.2>=5  greater or equal
  59.200.2     is there        59.200.1~lam contains
  59.200.2@9=5 the operation code 9, if the server knows it
All of them have to hold. Values are written as with ostrel set.)";

  CLI::App* search =
      add("search", "List the objects of a class that meet conditions",
          examples("  ostrel search 59.200\n"
                   "  ostrel search 59.200 '59.200.2>3' 59.200.1~lamp\n\n") +
              kConditions,
          [this](Output& output) {
            Session session(output);
            return runSearch(session, id_, words_);
          });
  search->add_option("CLASS", id_, "The class")->required();
  search->add_option("CONDITION", words_, "What the objects have to meet");

  CLI::App* walk = add("walk", "Print the objects of a class with attributes",
                       examples("  ostrel walk 59.110\n"
                                "  ostrel walk 59.200 '59.200.2>3'\n\n") +
                           kConditions,
                       [this](Output& output) {
                         Session session(output);
                         return runWalk(session, id_, words_);
                       });
  walk->add_option("CLASS", id_, "The class")->required();
  walk->add_option("CONDITION", words_, "What the objects have to meet");

  CLI::App* find =
      add("find", "Search through the directory service",
          "Prints each object with the address of the server that holds it.\n"
          "Without --server the directory is looked for by multicast.\n\n" +
              examples("  ostrel find 59.200\n"
                       "  ostrel --server 10.0.0.1 find 59.200 59.200.1=lamp"
                       "\n\n") +
              kConditions,
          [this](Output& output) {
            Session session(output);
            return runFind(session, id_, words_);
          });
  find->add_option("CLASS", id_, "The class")->required();
  find->add_option("CONDITION", words_, "What the objects have to meet");
}

void CommandLine::addOtherVerbs() {
  CLI::App* discover =
      add("discover", "List the directory servers that answer a multicast",
          "Asks further away until somebody answers, 16 seconds at most.\n\n" +
              examples("  ostrel discover\n"
                       "  ostrel discover --hops 1"),
          [this](Output& output) {
            Session session(output);
            return runDiscover(session, hops_);
          });
  discover->add_option("--hops", hops_, "Across 1, 2, 4 or 8 networks (8)")
      ->type_name("COUNT")
      ->check(CLI::IsMember({1, 2, 4, 8}).description(""));

  CLI::App* action =
      add("action", "Have an action done",
          "The target of an action does not travel: the server tells it from\n"
          "the action and its arguments. 59.200.1=5 is an attribute, other\n"
          "words are values; -- goes before words that begin with a dash.\n\n" +
              examples("  ostrel action 59.200.20 oid:59.200.0.1 int:3\n"
                       "  ostrel action 59.200.21 59.200.1=lamp\n\n") +
              kValues,
          [this](Output& output) {
            Session session(output);
            return runAction(session, id_, words_);
          });
  action->add_option("ACTION", id_, "The action")->required();
  action->add_option("ARGUMENT", words_, "Its arguments");

  CLI::App* watch = add(
      "watch", "Print events as they happen, until Ctrl-C",
      "Registers with the server, renews the registration while it runs and\n"
      "removes it at the end. Events are identifiers, or: any, created,\n"
      "changed, removed. A class stands for all its objects.\n\n" +
          examples("  ostrel watch 59.200\n"
                   "  ostrel watch 59.200.0.1 changed removed\n"
                   "  ostrel --json watch 59.200 --count 1 --seconds 60"),
      [this](Output& output) {
        Session session(output);
        watch_.oid = id_;
        watch_.events = words_;
        return runWatch(session, watch_);
      });
  watch->add_option("OBJECT", id_, "The object or class")->required();
  watch->add_option("EVENT", words_, "Events; any without one");
  watch->add_option("--count", watch_.count, "End after so many events")
      ->type_name("COUNT");
  watch->add_option("--seconds", watch_.seconds, "End after so long")
      ->type_name("SECONDS");
  watch
      ->add_option("--deliver-to", watch_.deliverTo,
                   "This host's address, where the server finds it by another")
      ->type_name("ADDRESS");

  CLI::App* decode = add(
      "decode", "Print values, PDUs and datagrams given in hexadecimal",
      "White space, colons and 0x before digits do not count. What begins\n"
      "with 00 and goes on is a datagram; the fragments of one message are\n"
      "put together. Without arguments each line of the standard input is\n"
      "one. Sends nothing.\n\n" +
          examples("  ostrel decode 1f03004301050a000a01013b01060000804300\n"
                   "  ostrel --json decode 0x030105\n"
                   "  ostrel decode < datagrams.txt"),
      [this](Output& output) { return runDecode(output, words_); });
  decode->add_option("HEX", words_, "Each a value or a datagram");

  CLI::App* completion =
      add("completion", "Print a completion script for a shell",
          examples("  eval \"$(ostrel completion bash)\"\n"
                   "  ostrel completion zsh > ~/.zfunc/_ostrel"),
          [this](Output& output) {
            output.write(shell_ == "bash" ? bashCompletion(app_)
                                          : zshCompletion(app_));
            return kDone;
          });
  completion->add_option("SHELL", shell_, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}).description(""));
}

void CommandLine::parse(std::vector<std::string> arguments) {
  // The library takes them from the end.
  std::reverse(arguments.begin(), arguments.end());
  app_.parse(arguments);
}

std::string CommandLine::command() const {
  const auto chosen = app_.get_subcommands();
  return chosen.empty() ? "" : chosen[0]->get_name();
}

std::string CommandLine::textFor(const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr)
    return std::string(error.what()) + "\n";
  if (dynamic_cast<const CLI::CallForHelp*>(&error) != nullptr)
    return app_.help();  // of the command, when there is one
  if (!app_.get_subcommands().empty()) return error.what();
  const std::vector<std::string> unknown = app_.remaining();
  if (!unknown.empty())
    return "there is no " +
           std::string(unknown[0].substr(0, 1) == "-" ? "option" : "command") +
           " '" + escaped(unknown[0]) + "'";
  return error.what();
}

Exit CommandLine::run(Output& output) { return run_(output); }

}  // namespace ostrel::tools::cli
