// ostreld: the object server, the directory server, and care for a store.

#include <cstdio>
#include <exception>
#include <stdexcept>

#include "common/toml_file.h"
#include "configuration.h"
#include "store/maintenance.h"

namespace {

using namespace ostrel::tools::server;
using ostrel::tools::ConfigurationError;

constexpr int kExitDamage = 1;
constexpr int kExitUsage = 2;
constexpr int kExitSetup = 3;

int fail(const std::exception& error, int code) {
  log(Level::kError, error.what());
  return code;
}

// Prints what is wrong with a store.
int reportDamage(const std::string& store) {
  const auto findings = checkStore(store);
  for (const std::string& finding : findings)
    std::printf("%s\n", finding.c_str());
  return findings.empty() ? 0 : kExitDamage;
}

int check(Configuration& configuration) {
  try {
    configuration.check();
  } catch (const std::exception& error) {
    return fail(error, kExitUsage);
  }
  log(Level::kInfo, "nothing is wrong with the configuration");
  return 0;
}

int run(const std::vector<std::string>& arguments) {
  const auto configuration = std::make_shared<Configuration>();
  try {
    configuration->parse(arguments);
  } catch (const CLI::ParseError& error) {
    return configuration->explain(error) == 0 ? 0 : kExitUsage;
  }
  if (configuration->checksOnly()) return check(*configuration);
  if (configuration->checksStore())
    return reportDamage(configuration->store.store);
  if (configuration->backsUp()) {
    backupStore(configuration->store.store, configuration->store.copy);
    return 0;
  }
  setLogLevel(configuration->logLevel());
  Reload reload(arguments, configuration);
  if (!configuration->serves())
    return serveDirectory(
        configuration->directory.complete(), [&](const auto& take) {
          reload.read(
              [&](Configuration& now) { take(now.directory.complete()); });
        });
  const ObjectServerOptions options = configuration->serve.complete();
  prepareStore(options.store);
  return serveObjects(options, [&](const auto& take) {
    reload.read([&](Configuration& now) { take(now.serve.complete()); });
  });
}

}  // namespace

int main(int count, char** texts) {
  try {
    const int code = run({texts + 1, texts + count});
    logRepeats();
    return code;
  } catch (const ConfigurationError& error) {
    return fail(error, kExitUsage);
  } catch (const std::invalid_argument& error) {
    return fail(error, kExitUsage);
  } catch (const std::exception& error) {
    return fail(error, kExitSetup);
  }
}
