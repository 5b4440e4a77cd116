// The system calls that the in-memory system stands in for.

#include "base/platform.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

namespace platform = ostrel::platform;
using Clock = std::chrono::steady_clock;

long millisecondsSince(Clock::time_point start) {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() -
                                                            start)
          .count());
}

class Platform : public ::testing::Test {
 protected:
  Platform() : socket(platform::openSocket()) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(platform::bindSocket(socket, address), 0);
    EXPECT_EQ(platform::socketName(socket, &name), 0);
  }
  ~Platform() override { platform::closeSocket(socket); }

  void sendToSelf(const char* header, const char* data) {
    EXPECT_EQ(platform::sendParts(socket, name, header, std::strlen(header),
                                  data, std::strlen(data)),
              static_cast<long>(std::strlen(header) + std::strlen(data)));
  }

  int socket;
  sockaddr_in name = {};
};

TEST_F(Platform, NowIsCalendarTime) {
  const std::time_t before = std::time(nullptr);
  const long now = platform::now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, std::time(nullptr));
}

TEST_F(Platform, PauseSleepsForTicksOfTenMilliseconds) {
  const auto start = Clock::now();
  platform::pause(3);
  EXPECT_GE(millisecondsSince(start), 30);
}

TEST_F(Platform, AllocateGivesZerosEvenForNoBytes) {
  char* block = static_cast<char*>(platform::allocate(100));
  EXPECT_EQ(std::string(block, 100), std::string(100, '\0'));
  std::free(block);
  void* none = platform::allocate(0);
  EXPECT_NE(none, nullptr);
  std::free(none);
}

TEST_F(Platform, PartsTravelAsOneDatagram) {
  sendToSelf("head", "data");
  char head[3] = {};
  sockaddr_in from = {};
  EXPECT_EQ(platform::peek(socket, &from, head, sizeof head), 3);
  EXPECT_EQ(std::string(head, 3), "hea");
  EXPECT_EQ(std::memcmp(&from, &name, sizeof from), 0);
  char data[3] = {};
  EXPECT_EQ(platform::receiveParts(socket, head, 3, data, 3), 6);
  EXPECT_EQ(std::string(data, 3), "dda");
}

TEST_F(Platform, ReadAndDiscardNeverBlock) {
  char byte = 0;
  EXPECT_EQ(platform::receiveParts(socket, &byte, 1, &byte, 0), -1);
  EXPECT_TRUE(errno == EAGAIN || errno == EWOULDBLOCK);
  EXPECT_EQ(platform::discard(socket), -1);
  EXPECT_TRUE(errno == EAGAIN || errno == EWOULDBLOCK);
}

TEST_F(Platform, DiscardTakesOneDatagramEvenAnEmptyOne) {
  sendToSelf("", "");
  sendToSelf("abc", "");
  EXPECT_EQ(platform::discard(socket), 0);
  EXPECT_EQ(platform::waitReadable(socket, 0, 0), 1);
  EXPECT_EQ(platform::discard(socket), 0);
  EXPECT_EQ(platform::waitReadable(socket, 0, 0), 0);
}

TEST_F(Platform, WaitEndsWhenADatagramIsThereOrTimeHasPassed) {
  auto start = Clock::now();
  EXPECT_EQ(platform::waitReadable(socket, 0, 30000), 0);
  EXPECT_GE(millisecondsSince(start), 29);
  sendToSelf("x", "");
  start = Clock::now();
  EXPECT_EQ(platform::waitReadable(socket, 60, 0), 1);
  EXPECT_EQ(platform::waitReadable(socket, 60, 0), 1);
  EXPECT_LT(millisecondsSince(start), 30000);
}

TEST_F(Platform, WaitForNoTimeOrLessOnlyLooks) {
  const auto start = Clock::now();
  EXPECT_EQ(platform::waitReadable(socket, 0, 0), 0);
  EXPECT_EQ(platform::waitReadable(socket, -5, 0), 0);
  EXPECT_EQ(platform::waitReadable(socket, 0, -5), 0);
  EXPECT_LT(millisecondsSince(start), 30000);
}

TEST_F(Platform, WaitTakesDescriptorsOf1024AndAbove) {
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_cur < 2000) {
    limit.rlim_cur = 2000;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  const int high = ::fcntl(socket, F_DUPFD, 1500);
  ASSERT_GE(high, 1500);
  EXPECT_EQ(platform::waitReadable(high, 0, 0), 0);
  sendToSelf("x", "");
  EXPECT_EQ(platform::waitReadable(high, 60, 0), 1);
  platform::closeSocket(high);
}

TEST_F(Platform, WaitOnNoSocketFails) {
  EXPECT_EQ(platform::waitReadable(-1, 60, 0), -1);
  EXPECT_EQ(errno, EBADF);
  const int closed = platform::openSocket();
  platform::closeSocket(closed);
  EXPECT_EQ(platform::waitReadable(closed, 60, 0), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(Platform, WaitEndsAtASignal) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before = {};
  ::sigaction(SIGALRM, &action, &before);
  const itimerval soon = {{0, 0}, {0, 20000}};
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  EXPECT_EQ(platform::waitReadable(socket, 60, 0), -1);
  EXPECT_EQ(errno, EINTR);
  ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(Platform, PauseOutlastsASignal) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before = {};
  ::sigaction(SIGALRM, &action, &before);
  const itimerval soon = {{0, 0}, {0, 10000}};
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  const auto start = Clock::now();
  errno = 0;
  platform::pause(5);
  EXPECT_GE(millisecondsSince(start), 50);
  EXPECT_EQ(errno, 0);
  ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(Platform, OptionsReachTheSocket) {
  EXPECT_EQ(platform::setSendBuffer(socket, 60000), 0);
  EXPECT_EQ(platform::setReceiveBuffer(socket, 40000), 0);
  EXPECT_EQ(platform::setMulticastTtl(socket, 7), 0);
  int sending = 0;
  int receiving = 0;
  socklen_t size = sizeof sending;
  ::getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &sending, &size);
  ::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &receiving, &size);
  EXPECT_GE(receiving, 40000);
  EXPECT_GT(sending, receiving);  // some systems add to both
  unsigned char ttl = 0;
  size = sizeof ttl;
  ::getsockopt(socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, &size);
  EXPECT_EQ(ttl, 7);
}

TEST_F(Platform, IdentityTellsSocketsAndFilesApart) {
  platform::Identity own;
  platform::Identity again;
  platform::Identity another;
  platform::Identity file;
  const int other = platform::openSocket();
  const int null = ::open("/dev/null", O_RDONLY);
  EXPECT_EQ(platform::identify(socket, &own), 0);
  EXPECT_EQ(platform::identify(socket, &again), 0);
  EXPECT_EQ(platform::identify(other, &another), 0);
  EXPECT_EQ(platform::identify(null, &file), 0);
  EXPECT_EQ(own.inode, again.inode);
  EXPECT_EQ(own.device, again.device);
  EXPECT_NE(own.inode, another.inode);
  EXPECT_NE(own.device, file.device);
  ::close(null);
  platform::closeSocket(other);
  EXPECT_EQ(platform::identify(other, &another), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(Platform, HostNameThatDoesNotFitIsTerminated) {
  char whole[256] = {};
  ASSERT_EQ(platform::hostName(whole, sizeof whole), 0);
  char cut[2] = {'x', 'x'};
  EXPECT_EQ(platform::hostName(cut, sizeof cut), 0);
  EXPECT_EQ(cut[1], '\0');
  EXPECT_EQ(cut[0], whole[0]);
}

TEST_F(Platform, ResolveFindsDottedNumbersAndRefusesNonsense) {
  in_addr address = {};
  EXPECT_TRUE(platform::resolveHost("127.0.0.1", &address));
  EXPECT_EQ(address.s_addr, htonl(INADDR_LOOPBACK));
  EXPECT_FALSE(platform::resolveHost("no such host", &address));
  EXPECT_EQ(address.s_addr, htonl(INADDR_LOOPBACK));
}

TEST_F(Platform, EffectiveUserIsTheProcesss) {
  EXPECT_EQ(platform::effectiveUser(), static_cast<long>(::geteuid()));
}

using PlatformDeathTest = Platform;

TEST_F(PlatformDeathTest, EffectiveUserIsNotTheRealOne) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may change its user";
  const auto asAnother = [] {
    if (::seteuid(1234) != 0) return 2;
    return platform::effectiveUser() == 1234 ? 0 : 1;
  };
  EXPECT_EXIT(::_exit(asAnother()), ::testing::ExitedWithCode(0), "");
}

constexpr int kNoSystem = 255;

// Resolves a name in a system of its own whose table of hosts is `hosts`.
// Returns the last number of the address, 0 without an address, or kNoSystem
// when there can be none: in a chroot, whose root cannot be mounted apart.
int resolveAmong(const char* hosts, const char* name) {
  constexpr const char* kTable = "/etc/hosts";
  if (::unshare(CLONE_NEWNS) != 0) return kNoSystem;
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    return kNoSystem;
  char path[] = "/tmp/ostrel_hosts_XXXXXX";
  const int file = ::mkstemp(path);
  const auto size = static_cast<ssize_t>(std::strlen(hosts));
  const bool placed = ::write(file, hosts, std::strlen(hosts)) == size &&
                      ::mount(path, kTable, nullptr, MS_BIND, nullptr) == 0;
  ::unlink(path);
  if (!placed) return kNoSystem;
  in_addr address = {};
  if (!platform::resolveHost(name, &address)) return 0;
  return static_cast<int>(ntohl(address.s_addr) & 0xff);
}

TEST_F(Platform, ResolveTakesTheFirstAddressInTheResolversOrder) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may replace the hosts";
  // Sorted by how near they are, the last two would come first.
  const char hosts[] =
      "203.0.113.7 several\n"
      "127.0.0.2 several\n"
      "192.0.2.3 several\n";
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(resolveAmong(hosts, "several"));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kNoSystem) {
    GTEST_SKIP() << "the table of hosts cannot be replaced here";
  }
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace
