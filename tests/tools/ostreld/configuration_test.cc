#include "configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "common/addresses.h"
#include "common/toml_file.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ConfigurationTest : public testing::Test {
 protected:
  ConfigurationTest() {
    std::string pattern = testing::TempDir() + "ostreld_config_XXXXXX";
    folder_ = mkdtemp(pattern.data());
  }
  ~ConfigurationTest() override { fs::remove_all(folder_); }

  std::string file() const { return (folder_ / "ostreld.toml").string(); }
  void write(const std::string& text) const { std::ofstream(file()) << text; }

  // The arguments with the file behind them.
  std::vector<std::string> with(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--config", file()});
    return arguments;
  }
  std::shared_ptr<Configuration> read(
      const std::vector<std::string>& arguments) const {
    auto configuration = std::make_shared<Configuration>();
    configuration->parse(with(arguments));
    return configuration;
  }

  // What is said about a file, with FILE for its name.
  std::string problem(const std::string& text,
                      const std::vector<std::string>& arguments = {
                          "serve"}) const {
    write(text);
    try {
      read(arguments);
    } catch (const ConfigurationError& error) {
      std::string said = error.what();
      const auto at = said.find(file());
      if (at != said.npos) said.replace(at, file().size(), "FILE");
      return said;
    }
    return "";
  }

 private:
  fs::path folder_;
};

TEST_F(ConfigurationTest, TakesOptionsOfTheCommandFromItsTable) {
  write(
      "[serve]\nlisten = '127.0.0.2'\nport = 7\nwriter = ['59.1', 'any']\n"
      "memory = true\nrate = 5\nlog-level = 'debug'\n"
      "[directory]\nport = 8\n");
  const auto configuration = read({"serve"});
  const ObjectServerOptions options = configuration->serve.complete();
  EXPECT_EQ(addressText(options.listen), "127.0.0.2");
  EXPECT_EQ(options.port, 7);
  EXPECT_EQ(options.requestsPerSecond, 5U);
  EXPECT_EQ(options.store, kInMemory);
  EXPECT_THAT(configuration->serve.writers, ElementsAre("59.1", "any"));
  EXPECT_EQ(configuration->logLevel(), Level::kDebug);
  EXPECT_EQ(read({"directory"})->directory.complete().port, 8);
}

TEST_F(ConfigurationTest, KnowsEveryOptionOfTheDirectory) {
  write(
      "[directory]\nserver = ['127.0.0.1', '127.0.0.2:7']\nservers = 'f'\n"
      "interface = '127.0.0.3'\nno-multicast = true\ntimeout = 2\n"
      "retries = 3\nmax-answer = 1000\n");
  const DirectoryOptions options = read({"directory"})->directory.complete();
  EXPECT_THAT(options.servers, ElementsAre("127.0.0.1", "127.0.0.2:7"));
  EXPECT_EQ(options.serverFile, "f");
  ASSERT_EQ(options.interfaces.size(), 1U);
  EXPECT_FALSE(options.multicast);
  EXPECT_EQ(options.timeout, 2);
  EXPECT_EQ(options.retries, 3);
  EXPECT_EQ(options.longestAnswer, 1000U);
}

TEST_F(ConfigurationTest, LetsTheCommandLineWin) {
  write("[serve]\nport = 7\nwriter = ['59.1']\nstore = 'here.db'\n");
  const auto configuration =
      read({"serve", "--port", "9", "--writer", "59.2", "--memory"});
  EXPECT_EQ(configuration->serve.options.port, 9);
  EXPECT_THAT(configuration->serve.writers, ElementsAre("59.2"));
  EXPECT_EQ(configuration->serve.complete().store, kInMemory);
}

TEST_F(ConfigurationTest, TakesAFalseFlagForNone) {
  write("[serve]\nmemory = false\nstore = 'here.db'\n");
  EXPECT_EQ(read({"serve"})->serve.complete().store, "here.db");
}

TEST_F(ConfigurationTest, TakesTheFileInFrontOfTheCommandToo) {
  write("[serve]\nport = 7\n");
  Configuration configuration;
  configuration.parse({"--config", file(), "serve"});
  EXPECT_EQ(configuration.serve.options.port, 7);
}

TEST_F(ConfigurationTest, SaysWhereAMistakeIs) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"[serve]\nport = \n", "FILE:2:"},
      {"[serve]\n  prot = 1\n",
       "FILE:2:3: [serve] has no option 'prot' (is 'port' meant?)"},
      {"[serve]\nserver = 'a'\n", "FILE:2:1: [serve] has no option 'server'"},
      {"[serve]\nhelp = true\n", "[serve] has no option 'help'"},
      {"[serv]\n", "FILE:1:2: there is no table 'serv' (is 'serve' meant?)"},
      {"port = 1\n",
       "FILE:1:1: 'port' stands outside of [serve] and [directory]"},
      {"[serve.port]\n", "FILE:1:8: 'port' has to be a value"},
      {"[serve]\nport = 'x'\n", "FILE:2:1: "},
      {"[serve]\nport = [1, 2]\n", "FILE:2:1: "},
      {"[serve]\nport = 70000\n", "FILE:2:1: "},
      {"[serve]\nlisten = 'localhost'\n",
       "FILE:2:1: --listen: not an IPv4 address: localhost"},
      {"[serve]\nlog-level = 'loud'\n", "FILE:2:1: "},
      {"[serve]\nmemory = 1\n", "FILE:2:1: 'memory' has to be true or false"},
      {"[serve]\nread-only = true\nwriter = 'any'\n",
       "FILE:3:1: 'writer' and 'read-only' exclude each other"},
      {"[directory]\ntimeout = 0\n", "FILE:2:1: "},
  };
  for (const auto& [text, expected] : rows)
    EXPECT_THAT(problem(text), HasSubstr(expected)) << text;
}

TEST_F(ConfigurationTest, DoesNotNameOptionsThatAreNotShown) {
  EXPECT_THAT(problem("[serve]\ncolour = 1\n"),
              testing::Not(HasSubstr("clock-rate")));
}

TEST_F(ConfigurationTest, RefusesAFileThatIsNotThere) {
  EXPECT_THROW(read({"serve"}), CLI::FileError);
}

TEST_F(ConfigurationTest, NeedsACommandOrACheck) {
  write("");
  EXPECT_THROW(read({}), CLI::RequiredError);
  EXPECT_TRUE(read({"--check-config"})->checksOnly());
  EXPECT_EQ(read({"--check-config"})->command(), nullptr);
}

TEST_F(ConfigurationTest, ChecksWhatTheServersWouldBeginWith) {
  write("[serve]\nwriter = 'me'\n");
  EXPECT_THROW(read({"serve", "--check-config"})->check(),
               std::invalid_argument);
  EXPECT_THROW(read({"--check-config"})->check(), std::invalid_argument);
  EXPECT_NO_THROW(read({"directory", "--check-config"})->check());
  write("[serve]\nmemory = true\n[directory]\nservers = '/no/such/file'\n");
  EXPECT_NO_THROW(read({"serve", "--check-config"})->check());
  EXPECT_THROW(read({"--check-config"})->check(), std::runtime_error);
}

TEST_F(ConfigurationTest, MakesNothingWhenItChecks) {
  const std::string folder = file() + ".d";
  write("[serve]\nstore = '" + folder + "/objects.db'\n");
  read({"serve", "--check-config"})->check();
  EXPECT_FALSE(fs::exists(folder));
}

TEST_F(ConfigurationTest, TellsWhatCanChangeFromWhatNeedsARestart) {
  write("[serve]\nport = 7\nlog-level = 'info'\n");
  const auto begun = read({"serve"});
  write("[serve]\nport = 8\nlog-level = 'debug'\nwriter = 'any'\ncache = 1\n");
  const auto second = read({"serve"});
  const Changes first = changesBetween(*begun, *begun, *second);
  EXPECT_THAT(first.taken,
              testing::UnorderedElementsAre("log-level", "writer"));
  EXPECT_THAT(first.needARestart,
              testing::UnorderedElementsAre("port", "cache"));
  // What was taken is in effect; what was not still is not.
  const Changes again = changesBetween(*begun, *second, *read({"serve"}));
  EXPECT_THAT(again.taken, IsEmpty());
  EXPECT_THAT(again.needARestart,
              testing::UnorderedElementsAre("port", "cache"));
}

TEST_F(ConfigurationTest, TakesOverLimitsAndWhoMayDoWhat) {
  const auto changed = [&](const char* command, const std::string& text) {
    const std::string table = "[" + std::string(command) + "]\n";
    write(table);
    const auto begun = read({command});
    write(table + text);
    return changesBetween(*begun, *begun, *read({command}));
  };
  const Changes serve = changed(
      "serve",
      "rate = 1\nanswer-bytes = 2000\nevent-bytes = 3000\nmax-answer = 1000\n"
      "budget = 2\nmax-registrations = 5\nmax-registrations-per-address = 6\n"
      "events-to = '192.0.2.0/24'\nallow = '192.0.2.0/24'\n"
      "allow-write = '192.0.2.0/24'\nadministrator = '59.110.1.1'\n");
  EXPECT_EQ(serve.taken.size(), 11U);
  EXPECT_THAT(serve.needARestart, IsEmpty());
  const Changes directory = changed(
      "directory", "rate = 1\nanswer-bytes = 2000\nmax-answer = 1000\n");
  EXPECT_EQ(directory.taken.size(), 2U);
  EXPECT_THAT(directory.needARestart, ElementsAre("max-answer"));
}

TEST_F(ConfigurationTest, HandsOverWhatIsConfiguredNow) {
  write("[serve]\nwriter = '59.1'\n");
  Reload reload(with({"serve"}), read({"serve"}));
  write("[serve]\nwriter = '59.2'\nlog-level = 'error'\n");
  std::vector<std::string> writers;
  reload.read([&](Configuration& now) { writers = now.serve.writers; });
  EXPECT_THAT(writers, ElementsAre("59.2"));
  EXPECT_FALSE(logs(Level::kInfo));
  setLogLevel(Level::kInfo);
}

TEST_F(ConfigurationTest, ChangesNothingWhenItCannotBeTaken) {
  write("[serve]\nlog-level = 'info'\n");
  Reload reload(with({"serve"}), read({"serve"}));
  write("[serve]\nlog-level = 'error'\n");
  const auto refuse = [](Configuration&) {
    throw std::runtime_error("no server is there");
  };
  EXPECT_THROW(reload.read(refuse), std::runtime_error);
  EXPECT_TRUE(logs(Level::kInfo));
  write("[serve\n");
  bool taken = false;
  EXPECT_THROW(reload.read([&](Configuration&) { taken = true; }),
               ConfigurationError);
  EXPECT_FALSE(taken);
}

}  // namespace
}  // namespace ostrel::tools::server
