#include "session/lookup_memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

namespace ostrel::tools::cli {
namespace {

namespace fs = std::filesystem;

class LookupMemory : public testing::Test {
 protected:
  LookupMemory() {
    std::string pattern = testing::TempDir() + "ostrel_lookup_XXXXXX";
    session_ = mkdtemp(pattern.data());
    setenv("XDG_RUNTIME_DIR", session_.c_str(), 1);
  }
  ~LookupMemory() override {
    unsetenv("XDG_RUNTIME_DIR");
    fs::remove_all(session_);
  }

  fs::path folder() const { return session_ / "ostrel"; }
  fs::path file() const { return folder() / "no-principal"; }

  // Has the failure be so many seconds ago.
  void setAge(long seconds) const {
    const timespec then = {std::time(nullptr) - seconds, 0};
    const timespec times[] = {then, then};
    ASSERT_EQ(utimensat(AT_FDCWD, file().c_str(), times, 0), 0);
  }

 private:
  fs::path session_;
};

TEST_F(LookupMemory, KnowsNothingAtFirst) {
  EXPECT_EQ(failedLookupAge(), std::nullopt);
  EXPECT_FALSE(fs::exists(folder()));
}

TEST_F(LookupMemory, RemembersAFailureForFiveMinutes) {
  rememberFailedLookup();
  ASSERT_TRUE(failedLookupAge());
  EXPECT_LE(*failedLookupAge(), 1);
  setAge(200);
  EXPECT_GE(failedLookupAge().value_or(0), 200);
  setAge(301);
  EXPECT_EQ(failedLookupAge(), std::nullopt);
}

TEST_F(LookupMemory, BeginsAnewWithTheNextFailure) {
  rememberFailedLookup();
  setAge(1000);
  rememberFailedLookup();
  EXPECT_LE(failedLookupAge().value_or(100), 1);
}

TEST_F(LookupMemory, ForgetsOnDemand) {
  rememberFailedLookup();
  forgetFailedLookup();
  EXPECT_EQ(failedLookupAge(), std::nullopt);
  forgetFailedLookup();
}

TEST_F(LookupMemory, DoesNotBelieveAFailureOfTheFuture) {
  rememberFailedLookup();
  setAge(-1000);
  EXPECT_EQ(failedLookupAge(), std::nullopt);
}

TEST_F(LookupMemory, MakesAFolderAndFileThatOthersCannotRead) {
  rememberFailedLookup();
  EXPECT_EQ(fs::status(folder()).permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(file()).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(LookupMemory, IgnoresAFolderThatOthersMayWriteTo) {
  rememberFailedLookup();
  fs::permissions(folder(), fs::perms::all);
  EXPECT_EQ(failedLookupAge(), std::nullopt);
}

TEST_F(LookupMemory, FollowsNoLink) {
  const fs::path elsewhere = folder().parent_path() / "elsewhere";
  fs::create_directory(folder());
  fs::permissions(folder(), fs::perms::owner_all);
  fs::create_symlink(elsewhere, file());
  rememberFailedLookup();
  EXPECT_FALSE(fs::exists(elsewhere));
  fs::remove_all(folder());
  fs::create_directory(elsewhere);
  fs::create_directory_symlink(elsewhere, folder());
  rememberFailedLookup();
  EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(LookupMemory, IgnoresWhatIsNoFile) {
  fs::create_directory(folder());
  fs::permissions(folder(), fs::perms::owner_all);
  ASSERT_EQ(mkfifo(file().c_str(), S_IRUSR | S_IWUSR), 0);
  rememberFailedLookup();
  EXPECT_EQ(failedLookupAge(), std::nullopt);
}

TEST_F(LookupMemory, DoesWithoutASession) {
  for (const char* path : {"", "relative", "/no/such/folder"}) {
    setenv("XDG_RUNTIME_DIR", path, 1);
    rememberFailedLookup();
    EXPECT_EQ(failedLookupAge(), std::nullopt);
  }
}

TEST_F(LookupMemory, DoesNotWriteIntoTheSessionOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(chown(folder().parent_path().c_str(), 1, 1), 0);
  rememberFailedLookup();
  EXPECT_FALSE(fs::exists(folder()));
}

}  // namespace
}  // namespace ostrel::tools::cli
