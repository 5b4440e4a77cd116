#include "support/service_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <cstddef>

#include <cstdlib>
#include <cstring>

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

// A manager that hears what it is told.
class ServiceManagerTest : public testing::Test {
 protected:
  ServiceManagerTest() {
    const std::string name = "ostrel-test-" + std::to_string(getpid());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // A name that is no file begins with a zero byte.
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) +
                                               1 + name.size());
    EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), length), 0);
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
  }
  ~ServiceManagerTest() override {
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    close(socket);
  }

  std::string heard() {
    char bytes[200];
    const ssize_t length = recv(socket, bytes, sizeof bytes, 0);
    return length < 0 ? "nothing"
                      : std::string(bytes, static_cast<std::size_t>(length));
  }

  int socket;
};

TEST(JournalFields, AreTheTextItsPriorityAndTheLinesOwn) {
  const LogLine line = {
      Level::kWarning, "a text", {{"OSTREL_ADDRESS", "192.0.2.7"}}};
  EXPECT_THAT(journalFields(line), ElementsAre("MESSAGE=a text", "PRIORITY=4",
                                               "SYSLOG_IDENTIFIER=ostreld",
                                               "OSTREL_ADDRESS=192.0.2.7"));
}

TEST(Journal, IsWhereTheEnvironmentNamesThisVeryStream) {
  unsetenv("JOURNAL_STREAM");
  EXPECT_FALSE(journalReadsErrors());
  setenv("JOURNAL_STREAM", "1:1", 1);
  EXPECT_FALSE(journalReadsErrors());
  struct stat file = {};
  ASSERT_EQ(fstat(STDERR_FILENO, &file), 0);
  const std::string stream =
      std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
  setenv("JOURNAL_STREAM", stream.c_str(), 1);
  EXPECT_TRUE(journalReadsErrors());
  unsetenv("JOURNAL_STREAM");
}

TEST(Watchdog, LeavesTheWaitAloneWhereNobodyWatches) {
  Watchdog watchdog;
  EXPECT_EQ(watchdog.alive(100000, Watchdog::Time(1s)), 100000);
}

#ifdef OSTREL_HAS_SYSTEMD
TEST_F(ServiceManagerTest, HearsOfEachState) {
  tellReady();
  EXPECT_EQ(heard(), "READY=1");
  tellReloading();
  EXPECT_EQ(heard().substr(0, 27), "RELOADING=1\nMONOTONIC_USEC=");
  tellStopping();
  EXPECT_EQ(heard(), "STOPPING=1");
}

TEST_F(ServiceManagerTest, HearsOfLifeTwiceInTheTimeThatItSet) {
  setenv("WATCHDOG_USEC", "10000000", 1);
  Watchdog watchdog;
  const Watchdog::Time start(100s);
  EXPECT_EQ(watchdog.alive(100000, start), 5001);
  EXPECT_EQ(heard(), "WATCHDOG=1");
  EXPECT_EQ(watchdog.alive(100000, start + 2s), 3001);
  EXPECT_EQ(watchdog.alive(7, start + 2s), 7);
  EXPECT_EQ(heard(), "nothing");
  watchdog.alive(7, start + 5s);
  EXPECT_EQ(heard(), "WATCHDOG=1");
}
#endif

}  // namespace
}  // namespace ostrel::tools::server
