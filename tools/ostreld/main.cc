// The servers' command line.

#include <arpa/inet.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/log.h"
#include "directory/directory_loop.h"
#include "requests/object_server_loop.h"

namespace {

using namespace ostrel::tools;
using server::Level;

constexpr int kExitUsage = 2;
constexpr int kExitSetup = 3;
constexpr std::size_t kHelpColumn = 30;

// Bounds of what a message may be allowed to be, in bytes: the answers that
// have no lists fit into the least.
constexpr int kLeastLength = 256;
constexpr int kMostLength = 64 << 20;

const std::map<std::string, Level> kLevels = {{"error", Level::kError},
                                              {"warning", Level::kWarning},
                                              {"info", Level::kInfo},
                                              {"debug", Level::kDebug}};

std::vector<std::string> levelNames() {
  std::vector<std::string> names;
  for (const auto& [name, level] : kLevels) names.push_back(name);
  return names;
}

struct Common {
  std::string listen = "127.0.0.1";
  std::string level = "info";
};

bool isAddress(const std::string& text, in_addr* address) {
  return inet_pton(AF_INET, text.c_str(), address) == 1;
}

const CLI::Validator kAddress(
    [](const std::string& text) {
      in_addr address = {};
      return isAddress(text, &address) ? "" : "not an IPv4 address: " + text;
    },
    "");

void addCommon(CLI::App* command, Common* common) {
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
}

// The user's home directory; "" when there is none.
std::string home() {
  const char* given = std::getenv("HOME");
  if (given != nullptr && *given != '\0') return given;
  const passwd* user = getpwuid(geteuid());
  return user == nullptr ? "" : user->pw_dir;
}

// Where a service's or user's state belongs; "" when that cannot be told.
std::string defaultStore() {
  const auto value = [](const char* name) {
    const char* text = std::getenv(name);
    return std::string(text == nullptr ? "" : text);
  };
  const std::string service = value("STATE_DIRECTORY");
  if (!service.empty()) return service + "/objects.db";
  std::string state = value("XDG_STATE_HOME");
  if (state.empty()) {
    const std::string folder = home();
    if (folder.empty() || folder == "/") return "";
    state = folder + "/.local/state";
  }
  return state + "/ostreld/objects.db";
}

void makeFolderOf(const std::string& store) {
  const auto folder = std::filesystem::path(store).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder);
}

struct ServeArguments {
  Common common;
  server::ServeOptions options;
  std::string store;
  bool memory = false;
  bool readOnly = false;
  std::vector<std::string> writers;
};

CLI::App* addServe(CLI::App* app, ServeArguments* arguments) {
  CLI::App* serve = app->add_subcommand("serve", "Run an object server");
  serve->footer(
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
      "SIGTERM and Ctrl-C end it.");
  addCommon(serve, &arguments->common);
  auto& options = arguments->options;
  serve->add_option("--port", options.port, "UDP port; clients use 5135")
      ->capture_default_str();
  auto* store = serve
                    ->add_option("--store", arguments->store,
                                 "File that holds the objects")
                    ->default_str(defaultStore());
  serve
      ->add_flag("--memory", arguments->memory,
                 "Keep the objects in memory alone")
      ->excludes(store);
  auto* readOnly =
      serve->add_flag("--read-only", arguments->readOnly, "Nobody may write");
  serve
      ->add_option("--writer", arguments->writers,
                   "Principal whose requests may write, from anywhere; may be "
                   "repeated; \"any\" stands for every request")
      ->excludes(readOnly)
      ->allow_extra_args(false);
  serve
      ->add_option("--max-request", options.longestRequest,
                   "Longest request, in bytes")
      ->check(CLI::Range(kLeastLength, kMostLength).description(""))
      ->capture_default_str();
  serve
      ->add_option("--max-answer", options.longestAnswer,
                   "Longest answer, in bytes; instead of a longer one error "
                   "255 is sent")
      ->check(CLI::Range(kLeastLength, kMostLength).description(""))
      ->capture_default_str();
  serve
      ->add_option(
          "--rate", options.requestsPerSecond,
          "Requests, and further datagrams of answers, in a second for "
          "each sender's address; 0: any number")
      ->capture_default_str();
  serve
      ->add_option("--clock-rate", options.clockRate,
                   "Let the hours of registrations pass so many times as fast")
      ->check(CLI::PositiveNumber)
      ->group("");
  return serve;
}

struct DirectoryArguments {
  Common common;
  server::DirectoryOptions options;
  std::vector<std::string> interfaces;
  bool noMulticast = false;
};

CLI::App* addDirectory(CLI::App* app, DirectoryArguments* arguments) {
  CLI::App* directory =
      app->add_subcommand("directory", "Run a directory server");
  directory->footer(
      "It finds objects by asking all object servers that it knows, and is "
      "found by\nmulticast to 224.0.1.2.\n\n"
      "A server file has one HOST or HOST:PORT on each line; # begins a "
      "comment.\n\n"
      "Examples:\n"
      "  ostreld directory --server 127.0.0.1 --server 127.0.0.2\n"
      "  ostreld directory --listen 0.0.0.0 --servers /etc/ostreld/servers\n\n"
      "SIGHUP reads the server file again, SIGTERM and Ctrl-C end it.");
  addCommon(directory, &arguments->common);
  auto& options = arguments->options;
  directory->add_option("--port", options.port, "UDP port; clients use 5136")
      ->capture_default_str();
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
  directory
      ->add_option("--max-answer", options.longestAnswer,
                   "Longest answer, in bytes; instead of a longer one error "
                   "255 is sent")
      ->check(CLI::Range(kLeastLength, kMostLength).description(""))
      ->capture_default_str();
  directory
      ->add_option(
          "--rate", options.requestsPerSecond,
          "Requests, and further datagrams of answers, in a second for "
          "each sender's address; 0: any number")
      ->capture_default_str();
  return directory;
}

in_addr addressOf(const std::string& text) {
  in_addr address = {};
  if (!isAddress(text, &address))
    throw std::invalid_argument("not an IPv4 address: " + text);
  return address;
}

int runServe(ServeArguments& arguments) {
  auto& options = arguments.options;
  options.listen = addressOf(arguments.common.listen);
  if (arguments.readOnly) {
    options.policy = server::Policy::readOnly();
  } else if (!arguments.writers.empty()) {
    options.policy = server::Policy::writers(arguments.writers);
  }
  if (arguments.memory) {
    options.store = ":memory:";
  } else {
    options.store = arguments.store.empty() ? defaultStore() : arguments.store;
    if (options.store.empty()) {
      throw std::runtime_error(
          "the user has no home directory (HOME): say with --store where the "
          "objects are kept");
    }
    // What the objects hold is nobody else's business.
    umask(S_IRWXG | S_IRWXO);
    makeFolderOf(options.store);
  }
  return server::serve(options);
}

int runDirectory(DirectoryArguments& arguments) {
  auto& options = arguments.options;
  options.listen = addressOf(arguments.common.listen);
  options.multicast = !arguments.noMulticast;
  for (const std::string& interface : arguments.interfaces)
    options.interfaces.push_back(addressOf(interface));
  return server::serveDirectory(options);
}

}  // namespace

int main(int count, char** texts) {
  CLI::App app("Servers for objects of system administration.", "ostreld");
  app.set_version_flag("--version", std::string("ostreld " OSTREL_VERSION));
  app.require_subcommand(1);
  app.get_formatter()->column_width(kHelpColumn);
  app.footer("ostreld COMMAND --help says more about each.");
  ServeArguments serve;
  DirectoryArguments directory;
  const CLI::App* serves = addServe(&app, &serve);
  addDirectory(&app, &directory);
  try {
    app.parse(count, texts);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitUsage;
  }
  try {
    const bool objects = serves->parsed();
    const Common& common = objects ? serve.common : directory.common;
    server::setLogLevel(kLevels.at(common.level));
    const int code = objects ? runServe(serve) : runDirectory(directory);
    server::logRepeats();
    return code;
  } catch (const std::invalid_argument& error) {
    server::log(Level::kError, error.what());
    return kExitUsage;
  } catch (const std::exception& error) {
    server::log(Level::kError, error.what());
    return kExitSetup;
  }
}
