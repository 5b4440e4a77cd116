// ostreld: the object server, the directory server, and care for a store.

#include <cstdio>
#include <exception>
#include <stdexcept>

#include "options.h"
#include "store/maintenance.h"

namespace {

using namespace ostrel::tools::server;

constexpr int kExitDamage = 1;
constexpr int kExitUsage = 2;
constexpr int kExitSetup = 3;
constexpr std::size_t kHelpColumn = 30;

int fail(const std::exception& error, int code) {
  log(Level::kError, error.what());
  return code;
}

// Prints what is wrong with a store.
int check(const StoreArguments& arguments) {
  const auto findings = checkStore(arguments.store);
  for (const std::string& finding : findings)
    std::printf("%s\n", finding.c_str());
  return findings.empty() ? 0 : kExitDamage;
}

int backup(const StoreArguments& arguments) {
  backupStore(arguments.store, arguments.copy);
  return 0;
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
  StoreArguments store;
  const CLI::App* serves = addServe(&app, &serve);
  addDirectory(&app, &directory);
  const CLI::App* checks = addCheck(&app, &store);
  const CLI::App* backsUp = addBackup(&app, &store);
  try {
    app.parse(count, texts);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitUsage;
  }
  try {
    if (checks->parsed()) return check(store);
    if (backsUp->parsed()) return backup(store);
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
