// ostreld: the object server and the directory server.

#include <exception>
#include <stdexcept>

#include "options.h"

namespace {

using namespace ostrel::tools::server;

constexpr int kExitUsage = 2;
constexpr int kExitSetup = 3;
constexpr std::size_t kHelpColumn = 30;

int fail(const std::exception& error, int code) {
  log(Level::kError, error.what());
  return code;
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
    setLogLevel((objects ? serve.common : directory.common).logLevel());
    const int code = objects ? serveObjects(serve.complete())
                             : serveDirectory(directory.complete());
    logRepeats();
    return code;
  } catch (const std::invalid_argument& error) {
    return fail(error, kExitUsage);
  } catch (const std::exception& error) {
    return fail(error, kExitSetup);
  }
}
