#include "options.h"

#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <stdexcept>

#include "common/addresses.h"
#include "common/environment.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

// Bounds of what a message may be allowed to be, in bytes: the answers that
// have no lists fit into the least.
constexpr int kLeastLength = 256;
constexpr int kMostLength = 64 << 20;

constexpr int kMostCache = 1 << 30;

// A registration has eleven values.
constexpr int kLeastValues = 64;

// What an address may be allowed in a second.
constexpr int kMostInASecond = 1000000000;

// Bound of what a request may be allowed to take.
constexpr int kMostSeconds = 3600;

const std::map<std::string, Level> kLevels = {{"error", Level::kError},
                                              {"warning", Level::kWarning},
                                              {"info", Level::kInfo},
                                              {"debug", Level::kDebug}};

std::vector<std::string> levelNames() {
  std::vector<std::string> names;
  for (const auto& [name, level] : kLevels) names.push_back(name);
  return names;
}

in_addr addressFrom(const std::string& text) {
  const auto address = parseAddress(text);
  if (!address) throw std::invalid_argument("not an IPv4 address: " + text);
  return *address;
}

std::vector<Network> networksFrom(const std::vector<std::string>& texts) {
  std::vector<Network> networks;
  for (const std::string& text : texts) {
    const auto network = parseNetwork(text);
    if (!network) throw std::invalid_argument("not a network: " + text);
    networks.push_back(*network);
  }
  return networks;
}

const CLI::Validator kNetwork(
    [](const std::string& text) {
      return parseNetwork(text)
                 ? ""
                 : "not an IPv4 network, such as 10.0.0.0/8: " + text;
    },
    "");

const CLI::Validator kAddress(
    [](const std::string& text) {
      return parseAddress(text) ? "" : "not an IPv4 address: " + text;
    },
    "");

// Where a server listens and what it logs.
void addListening(CLI::App* command, CommonArguments* common,
                  ServerOptions* options) {
  command
      ->add_option("--listen", common->listen,
                   "IPv4 address to listen on; 0.0.0.0 stands for all of this "
                   "machine's")
      ->check(kAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  command
      ->add_option("--log-level", common->level,
                   "What is logged to standard error, with all that is more "
                   "important: error, warning, info or debug")
      ->check(CLI::IsMember(levelNames()).description(""))
      ->capture_default_str();
  command
      ->add_option("--port", options->port,
                   "UDP port; clients use " + std::to_string(options->port))
      ->capture_default_str();
}

void addLength(CLI::App* command, const char* name, std::size_t* length,
               const char* help) {
  command->add_option(name, *length, help)
      ->check(CLI::Range(kLeastLength, kMostLength).description(""))
      ->capture_default_str();
}

void addBytes(CLI::App* command, const char* name, std::uint32_t* bytes,
              const std::string& what) {
  command
      ->add_option(name, *bytes,
                   what + " in a second for each address; 0: any number")
      ->check(CLI::Range(0, kMostInASecond).description(""))
      ->capture_default_str();
}

// What a server sends at the most.
void addBounds(CLI::App* command, ServerOptions* options) {
  addLength(command, "--max-answer", &options->longestAnswer,
            "Longest answer, in bytes; instead of a longer one error 255 is "
            "sent");
  command
      ->add_option(
          "--rate", options->requestsPerSecond,
          "Requests, further datagrams of answers, and events in a second "
          "for each address; 0: any number")
      ->check(CLI::Range(0, kMostInASecond).description(""))
      ->capture_default_str();
  addBytes(command, "--answer-bytes", &options->answerBytesPerSecond,
           "Bytes of answers");
}

// Registrations for events: where to, and how many.
void addRegistrations(CLI::App* serve, ServeArguments* arguments) {
  RegistrationRules& rules = arguments->options.registrations;
  serve
      ->add_option("--events-to", arguments->eventsTo,
                   "Network whose addresses anybody may register for; may be "
                   "repeated; else events go to who registered alone")
      ->check(kNetwork)
      ->type_name("NETWORK")
      ->allow_extra_args(false);
  serve
      ->add_option("--max-registrations", rules.most,
                   "Registrations for events at a time")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  serve
      ->add_option("--max-registrations-per-address", rules.mostOfOne,
                   "Those that one address makes, or gets events for")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
}

// Where a service's or user's state belongs; "" when that cannot be told.
std::string defaultStore() {
  const std::string service = environment("STATE_DIRECTORY");
  if (!service.empty()) return service + "/objects.db";
  const std::string state = userFolder("XDG_STATE_HOME", ".local/state");
  return state.empty() ? "" : state + "/ostreld/objects.db";
}

constexpr const char* kServeFooter =
    "Requests from this machine may write, others may not, unless --writer "
    "or\n--read-only say otherwise. A principal is what the sender claims to "
    "be.\n\n"
    "Examples:\n"
    "  ostreld serve                          objects in the state "
    "directory\n"
    "  ostreld serve --memory                 objects that end with the "
    "server\n"
    "  ostreld serve --listen 127.0.0.2 --store second.db\n"
    "  ostreld serve --listen 0.0.0.0 --writer 59.110.1.1000\n\n"
    "SIGHUP reads the configuration file again, SIGTERM and Ctrl-C end it.";

constexpr const char* kDirectoryFooter =
    "It finds objects by asking all object servers that it knows, and is "
    "found by\nmulticast to 224.0.1.2.\n\n"
    "A server file has one HOST or HOST:PORT on each line; # begins a "
    "comment.\n\n"
    "Examples:\n"
    "  ostreld directory --server 127.0.0.1 --server 127.0.0.2\n"
    "  ostreld directory --listen 0.0.0.0 --servers /etc/ostreld/servers\n\n"
    "SIGHUP reads the configuration and the server file again, SIGTERM and "
    "Ctrl-C end it.";

}  // namespace

Level CommonArguments::logLevel() const { return kLevels.at(level); }

CLI::App* addServe(CLI::App* app, ServeArguments* arguments) {
  CLI::App* serve = app->add_subcommand("serve", "Run an object server");
  serve->footer(kServeFooter);
  auto& options = arguments->options;
  addListening(serve, &arguments->common, &options);
  auto* store = serve
                    ->add_option("--store", arguments->store,
                                 "File that holds the objects")
                    ->default_str(defaultStore());
  serve
      ->add_flag("--memory", arguments->memory,
                 "Keep the objects in memory alone")
      ->excludes(store);
  serve
      ->add_option("--no-index", arguments->unindexed,
                   "Class or attribute whose values are not indexed for "
                   "searches; may be repeated")
      ->type_name("OID|AID")
      ->allow_extra_args(false);
  serve->add_flag("!--no-check", options.checkPages,
                  "Do not look for damaged pages before the file is used");
  auto* readOnly =
      serve->add_flag("--read-only", arguments->readOnly, "Nobody may write");
  serve
      ->add_option("--writer", arguments->writers,
                   "Principal whose requests may write, from anywhere; may be "
                   "repeated; \"any\" stands for every request")
      ->excludes(readOnly)
      ->allow_extra_args(false);
  serve
      ->add_option("--administrator", arguments->administrators,
                   "Principal that may end what others registered, if it may "
                   "write; may be repeated")
      ->type_name("OID")
      ->allow_extra_args(false);
  serve
      ->add_option("--allow", arguments->allowed,
                   "Network whose requests are answered, 10.0.0.0/8 for "
                   "instance; may be repeated; all unless given")
      ->check(kNetwork)
      ->type_name("NETWORK")
      ->allow_extra_args(false);
  serve
      ->add_option("--allow-write", arguments->allowedToWrite,
                   "Network whose requests may write, in place of this "
                   "machine; may be repeated")
      ->excludes(readOnly)
      ->check(kNetwork)
      ->type_name("NETWORK")
      ->allow_extra_args(false);
  addLength(serve, "--max-request", &options.longestRequest,
            "Longest request, in bytes");
  serve
      ->add_option("--max-values", options.mostValues,
                   "Values in a request, and in an object, those inside others "
                   "included; what has more is refused with code 2")
      ->check(CLI::Range(kLeastValues, kMostLength).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  serve
      ->add_option("--cache", options.cacheBytes,
                   "Memory for objects that were read, in bytes")
      ->check(CLI::Range(0, kMostCache).description(""))
      ->capture_default_str();
  addBounds(serve, &options);
  addBytes(serve, "--event-bytes", &options.eventBytesPerSecond,
           "Bytes of events");
  addRegistrations(serve, arguments);
  serve
      ->add_option("--budget", arguments->budget,
                   "Seconds of work that a request may take")
      ->check(CLI::Range(1, kMostSeconds).description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
  serve
      ->add_option("--clock-rate", options.clockRate,
                   "Let the hours of registrations pass so many times as fast")
      ->check(CLI::PositiveNumber)
      ->group("");
  return serve;
}

ObjectServerOptions ServeArguments::complete() {
  options.listen = addressFrom(common.listen);
  options.budget = std::chrono::seconds(budget);
  if (readOnly)
    options.policy = Policy::readOnly();
  else if (!writers.empty())
    options.policy = Policy::writers(writers);
  options.registrations.eventsTo = networksFrom(eventsTo);
  for (const std::string& text : unindexed) options.unindexed.add(text);
  options.policy.administrators(administrators);
  options.policy.allow(networksFrom(allowed));
  options.policy.allowWrite(networksFrom(allowedToWrite));
  if (memory) {
    options.store = kInMemory;
    return options;
  }
  options.store = store.empty() ? defaultStore() : store;
  if (options.store.empty()) {
    throw std::runtime_error(
        "the user has no home directory (HOME): say with --store where the "
        "objects are kept");
  }
  return options;
}

void prepareStore(const std::string& store) {
  if (store == kInMemory) return;
  // What the objects hold is nobody else's business.
  umask(S_IRWXG | S_IRWXO);
  const auto folder = std::filesystem::path(store).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder);
}

CLI::App* addCheck(CLI::App* app, StoreArguments* arguments) {
  CLI::App* check =
      app->add_subcommand("check", "Look for damage in the file of a server");
  check->footer(
      "A server may be using the file. What is wrong is printed, a line each.\n"
      "Exit codes: 0 nothing, 1 something is wrong, 3 it cannot be read.");
  check->add_option("STORE", arguments->store, "File that holds objects")
      ->required();
  return check;
}

CLI::App* addBackup(CLI::App* app, StoreArguments* arguments) {
  CLI::App* backup =
      app->add_subcommand("backup", "Copy the file of a server in use");
  backup->footer(
      "The copy is the store as it was at one moment. The server goes on.");
  backup->add_option("STORE", arguments->store, "File that holds objects")
      ->required();
  backup->add_option("FILE", arguments->copy, "The copy: a new file")
      ->required();
  return backup;
}

CLI::App* addDirectory(CLI::App* app, DirectoryArguments* arguments) {
  CLI::App* directory =
      app->add_subcommand("directory", "Run a directory server");
  directory->footer(kDirectoryFooter);
  auto& options = arguments->options;
  addListening(directory, &arguments->common, &options);
  directory
      ->add_option("--server", options.servers,
                   "Object server, HOST or HOST:PORT; may be repeated")
      ->type_name("HOST")
      ->allow_extra_args(false);
  directory
      ->add_option("--servers", options.serverFile, "File of object servers")
      ->type_name("FILE");
  directory
      ->add_option("--interface", arguments->interfaces,
                   "Address of an interface on which the group is joined; may "
                   "be repeated; where the server listens unless given")
      ->check(kAddress)
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  directory->add_flag("--no-multicast", arguments->noMulticast,
                      "Answer only what is sent to this server itself");
  directory
      ->add_option("--timeout", options.timeout,
                   "Seconds until a silent object server is asked again")
      ->check(CLI::Range(1, 60))
      ->type_name("SECONDS")
      ->capture_default_str();
  directory
      ->add_option("--retries", options.retries,
                   "How often it is asked again, each time after twice as long")
      ->check(CLI::Range(0, 5))
      ->type_name("NUMBER")
      ->capture_default_str();
  addBounds(directory, &options);
  return directory;
}

DirectoryOptions DirectoryArguments::complete() {
  options.listen = addressFrom(common.listen);
  options.multicast = !noMulticast;
  for (const std::string& interface : interfaces)
    options.interfaces.push_back(addressFrom(interface));
  return options;
}

}  // namespace ostrel::tools::server
