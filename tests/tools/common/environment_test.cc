#include "common/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace ostrel::tools {
namespace {

class Environment : public testing::Test {
 protected:
  ~Environment() override {
    setenv("HOME", home_.c_str(), 1);
    unsetenv("OSTREL_TEST_FOLDER");
  }

  std::string folder() const {
    return userFolder("OSTREL_TEST_FOLDER", ".config");
  }

 private:
  std::string home_ = environment("HOME");
};

TEST_F(Environment, GivesNothingForWhatIsNotSet) {
  EXPECT_EQ(environment("OSTREL_TEST_FOLDER"), "");
}

TEST_F(Environment, TakesTheUsersHomeFromTheDatabaseWithoutHome) {
  unsetenv("HOME");
  EXPECT_NE(home(), "");
}

TEST_F(Environment, NamesTheFolderThatIsGivenOrOneBelowHome) {
  setenv("HOME", "/home/ada", 1);
  EXPECT_EQ(folder(), "/home/ada/.config");
  setenv("OSTREL_TEST_FOLDER", "/etc/ada", 1);
  EXPECT_EQ(folder(), "/etc/ada");
}

TEST_F(Environment, DoesNotTakeTheRootForAHome) {
  setenv("HOME", "/", 1);
  EXPECT_EQ(folder(), "");
}

}  // namespace
}  // namespace ostrel::tools
