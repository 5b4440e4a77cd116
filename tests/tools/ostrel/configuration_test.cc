#include "configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "command_line.h"

namespace ostrel::tools::cli {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class ConfigurationTest : public testing::Test {
 protected:
  ConfigurationTest() {
    std::string pattern = testing::TempDir() + "ostrel_config_XXXXXX";
    folder_ = mkdtemp(pattern.data());
    setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
    clear();
  }
  ~ConfigurationTest() override {
    clear();
    unsetenv("XDG_CONFIG_HOME");
    fs::remove_all(folder_);
  }

  fs::path file() const { return folder_ / "ostrel/config.toml"; }

  void write(const std::string& text) const {
    fs::create_directories(file().parent_path());
    std::ofstream(file()) << text;
  }

  // The settings of a command line with those arguments.
  static Settings settingsOf(std::vector<std::string> arguments = {}) {
    CommandLine line;
    arguments.insert(arguments.end(), {"verify", "59.200.0.1"});
    line.parse(arguments);
    line.configure();
    return line.settings();
  }

  // What is said about the configuration, without the file's name.
  std::string problem(const std::vector<std::string>& arguments = {}) const {
    try {
      settingsOf(arguments);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit, kUsage);
      std::string text = failure.what();
      const auto at = text.find(file().string());
      if (at != text.npos) text.replace(at, file().string().size(), "FILE");
      return text;
    }
    return "";
  }

 private:
  static void clear() {
    for (const char* name :
         {"OSTREL_SERVER", "OSTREL_DIRECTORY", "OSTREL_PRINCIPAL",
          "OSTREL_TIMEOUT", "OSTREL_RETRIES", "OSTREL_PROFILE"})
      unsetenv(name);
  }

  fs::path folder_;
};

TEST_F(ConfigurationTest, NeedsNoFile) {
  const Settings settings = settingsOf();
  EXPECT_EQ(settings.server, "");
  EXPECT_EQ(settings.timeout, 3);
  EXPECT_EQ(settings.retries, 2);
  EXPECT_FALSE(settings.json);
}

TEST_F(ConfigurationTest, TakesWhatTheFileSays) {
  write(
      "server = 'one:5235'\ndirectory = 'two'\nprincipal = 'none'\n"
      "timeout = 7\nretries = 0\njson = true\nquiet = false\n");
  const Settings settings = settingsOf();
  EXPECT_EQ(settings.server, "one:5235");
  EXPECT_EQ(settings.directory, "two");
  EXPECT_EQ(settings.principal, "none");
  EXPECT_EQ(settings.timeout, 7);
  EXPECT_EQ(settings.retries, 0);
  EXPECT_TRUE(settings.json);
  EXPECT_FALSE(settings.quiet);
}

TEST_F(ConfigurationTest, PrefersTheNearerPlace) {
  write(
      "timeout = 4\nretries = 4\nserver = 'four'\nprincipal = '59.4'\n"
      "[profile.a]\ntimeout = 3\nretries = 3\nserver = 'three'\n");
  setenv("OSTREL_TIMEOUT", "2", 1);
  setenv("OSTREL_RETRIES", "2", 1);
  const Settings settings = settingsOf({"--profile", "a", "--timeout", "1"});
  EXPECT_EQ(settings.timeout, 1);
  EXPECT_EQ(settings.retries, 2);
  EXPECT_EQ(settings.server, "three");
  EXPECT_EQ(settings.principal, "59.4");
}

TEST_F(ConfigurationTest, TakesTheProfileFromTheEnvironment) {
  write("[profile.a]\nserver = 'one'\n[profile.b]\nserver = 'two'\n");
  setenv("OSTREL_PROFILE", "a", 1);
  EXPECT_EQ(settingsOf().server, "one");
  EXPECT_EQ(settingsOf({"--profile", "b"}).server, "two");
  EXPECT_EQ(settingsOf({"--server", "three"}).server, "three");
}

TEST_F(ConfigurationTest, LetsAFlagBeTakenBack) {
  write("json = true\n");
  EXPECT_FALSE(settingsOf({"--json=false"}).json);
}

TEST_F(ConfigurationTest, AsksTheServerOfTheCommandLineForTheDirectory) {
  write("server = 'one'\ndirectory = 'two'\n");
  EXPECT_EQ(settingsOf({"--server", "three"}).directory, "three");
  EXPECT_EQ(settingsOf({"--directory", "four"}).directory, "four");
  EXPECT_EQ(settingsOf().directory, "two");
  write("server = 'one'\n");
  EXPECT_EQ(settingsOf().directory, "");
}

TEST_F(ConfigurationTest, SaysWhereAMistakeIs) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"a = \n", "FILE:1:"},
      {"\n  timout = 3\n",
       "FILE:2:3: there is no setting 'timout' (is 'timeout' meant?)"},
      {"colour = 3\n",
       "FILE:1:1: there is no setting 'colour' (known are: server, directory, "
       "principal, timeout, retries, json, quiet)"},
      {"timeout = 0\n", "FILE:1:1: "},
      {"timeout = 'soon'\n", "FILE:1:1: "},
      {"timeout = [1]\n", "FILE:1:1: 'timeout' has to be one value"},
      {"server = 'a:0'\n", "'a:0' is no HOST or HOST:PORT"},
      {"principal = 'me'\n", "'me' is no object identifier"},
      {"json = 1\n", "FILE:1:1: 'json' has to be true or false"},
      {"[site-a]\nserver = 'a'\n", "FILE:1:2: there is no table 'site-a'"},
      {"profile = 'a'\n", "FILE:1:1: 'profile' has to be a table"},
      {"[profile.a.b]\n", "there is no table 'b'"},
      {"[profile.a]\nsever = 'b'\n",
       "FILE:2:1: there is no setting 'sever' (is 'server' meant?)"},
  };
  for (const auto& [text, expected] : rows) {
    write(text);
    EXPECT_THAT(problem(), HasSubstr(expected)) << text;
  }
}

TEST_F(ConfigurationTest, NamesTheVariableOfAMistake) {
  setenv("OSTREL_TIMEOUT", "0", 1);
  EXPECT_THAT(problem(), HasSubstr("OSTREL_TIMEOUT: "));
}

TEST_F(ConfigurationTest, NamesTheProfilesThatThereAre) {
  write("[profile.site-a]\n[profile.site-b]\n");
  EXPECT_EQ(problem({"--profile", "site-c"}),
            "there is no profile 'site-c' in FILE (is 'site-a' meant?)");
  EXPECT_EQ(problem({"--profile", "home"}),
            "there is no profile 'home' in FILE (known are: site-a, site-b)");
  fs::remove(file());
  EXPECT_EQ(problem({"--profile", "home"}),
            "there is no profile 'home': there is no file FILE");
}

TEST_F(ConfigurationTest, TellsOfAFileThatCannotBeRead) {
  fs::create_directories(file());
  EXPECT_EQ(problem(),
            "the configuration file FILE cannot be read: Is a directory");
}

TEST_F(ConfigurationTest, TakesAnEmptyFileForNone) {
  write("");
  EXPECT_EQ(settingsOf().timeout, 3);
}

TEST_F(ConfigurationTest, MakesCompletionScriptsWhateverTheFileSays) {
  write("a = \n");
  CommandLine line;
  line.parse({"completion", "bash"});
  EXPECT_NO_THROW(line.configure());
}

TEST_F(ConfigurationTest, KnowsWhereEachValueComesFrom) {
  write("server = 'one'\n");
  setenv("OSTREL_TIMEOUT", "2", 1);
  CommandLine line;
  line.parse({"--retries", "9", "config", "show"});
  Configuration configuration;
  configuration.apply(line.app(), "");
  std::vector<std::string> shown;
  for (const Effective& each : configuration.effective())
    shown.push_back(each.name + "=" + each.value + " " + each.source);
  EXPECT_THAT(shown, testing::ElementsAre(
                         "server=one " + file().string() + ":1:1",
                         "directory=found by multicast default",
                         "principal=looked up default",
                         "timeout=2 OSTREL_TIMEOUT", "retries=9 command line",
                         "json=false default", "quiet=false default"));
}

}  // namespace
}  // namespace ostrel::tools::cli
