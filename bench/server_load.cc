// server_load ask SYSTEM PORT PID OPERATION OUTSTANDING SECONDS OBJECTS
//     asks a server on 127.0.0.1 without a pause, and prints how many requests
//     it answered in a second, and the microseconds of its processor time (user
//     and system, all threads) for each
// server_load fill PORT OBJECTS
//     makes objects in an object server
// server_load watch PORT COUNT CHANGES OUTSTANDING
//     registers so often for changes of one object, and changes it; prints the
//     milliseconds of all registrations, and the median of those from the
//     answer to a change until all its events are here
// server_load disk FILE
//     prints the median of the milliseconds that a write of 4 KiB takes until
//     it is on the disk
// server_load register PORT COUNT OBJECT
//     registers so often for changes of an object, to a port where nobody
//     listens
// server_load ldif OBJECTS
//     prints the entries that an LDAP server is asked for

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

#include "server_requests.h"

namespace {

using Clock = std::chrono::steady_clock;
using server_load::Arrived;
using server_load::Question;

constexpr int kPatience = 20000;  // milliseconds until an answer is missed
constexpr double kWarmUp = 0.1;   // seconds that are not measured
constexpr std::uint16_t kDiscardPort = 9;

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

void check(bool holds, const char* what) {
  if (!holds)
    throw std::runtime_error(what + (": " + std::string(std::strerror(errno))));
}

// A connection to a server, and what has arrived on it.
class Connection {
 public:
  Connection(int type, std::uint16_t port) : socket_(socket(AF_INET, type, 0)) {
    const sockaddr_in server = loopback(port);
    const int room = 4 << 20;
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    check(connect(socket_, reinterpret_cast<const sockaddr*>(&server),
                  sizeof server) == 0,
          "connect");
  }
  ~Connection() { close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void send(const std::string& bytes) {
    check(::send(socket_, bytes.data(), bytes.size(), 0) ==
              static_cast<ssize_t>(bytes.size()),
          "send");
  }

  // Waits for an answer and returns how many there are.
  int receive(const Question& question) {
    pollfd ready = {socket_, POLLIN, 0};
    if (poll(&ready, 1, kPatience) <= 0) throw std::runtime_error("no answer");
    int answers = 0;
    for (;;) {
      const ssize_t got = recv(socket_, buffer_, sizeof buffer_, MSG_DONTWAIT);
      if (got <= 0) break;
      bytes_.append(buffer_, static_cast<std::size_t>(got));
      while (!bytes_.empty()) {
        const Arrived arrived = question.answer(bytes_);
        if (arrived.bytes == 0) break;
        bytes_.erase(0, arrived.bytes);
        if (arrived.last) ++answers;
      }
    }
    return answers;
  }

 private:
  int socket_;
  std::string bytes_;
  char buffer_[65536];
};

// Keeps so many requests outstanding until told to end.
class Load {
 public:
  Load(Connection* connection, const Question* question, std::uint32_t first)
      : connection_(connection), question_(question), next_(first) {}

  template <class More>
  long run(long outstanding, More more) {
    long asked = 0;
    long answered = 0;
    while (more(asked) || answered < asked) {
      for (; asked - answered < outstanding && more(asked); ++asked)
        connection_->send(question_->request(next_++));
      answered += connection_->receive(*question_);
    }
    return answered;
  }

 private:
  Connection* connection_;
  const Question* question_;
  std::uint32_t next_;
};

double seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

double processorSeconds(pid_t process) {
  clockid_t clock = 0;
  timespec time = {};
  check(clock_getcpuclockid(process, &clock) == 0, "clock_getcpuclockid");
  check(clock_gettime(clock, &time) == 0, "clock_gettime");
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_nsec) / 1e9;
}

// A server may know its last clients' numbers, so each run has its own.
std::uint32_t firstNumber() {
  return static_cast<std::uint32_t>(
             std::chrono::system_clock::now().time_since_epoch().count() /
             1000) &
         0x3FFFFFFF;
}

int ask(char** argument) {
  const std::string system = argument[0];
  const auto port = static_cast<std::uint16_t>(std::atoi(argument[1]));
  const pid_t process = std::atoi(argument[2]);
  const std::string operation = argument[3];
  const long outstanding = std::atol(argument[4]);
  const double length = std::atof(argument[5]);
  const Question question = server_load::questionFor(
      system, operation, static_cast<std::uint32_t>(std::atol(argument[6])));
  Connection connection(system == "ldap" ? SOCK_STREAM : SOCK_DGRAM, port);
  if (system == "ldap") {
    const Question any = server_load::questionFor(system, "set", 1);
    connection.send(server_load::bindRequest());
    if (connection.receive(any) != 1) throw std::runtime_error("no bind");
  }
  Load load(&connection, &question, firstNumber());
  auto start = Clock::now();
  load.run(outstanding, [&](long) { return seconds(start) < kWarmUp; });
  const double before = processorSeconds(process);
  start = Clock::now();
  const auto answered = static_cast<double>(
      load.run(outstanding, [&](long) { return seconds(start) < length; }));
  const double passed = seconds(start);
  const double used = processorSeconds(process) - before;
  std::printf("%.0f %.2f\n", answered / passed, used * 1e6 / answered);
  return 0;
}

int fill(std::uint16_t port, long objects) {
  constexpr long kOutstanding = 64;
  Connection connection(SOCK_DGRAM, port);
  const Question question = server_load::questionFor("ostrel", "create", 1);
  Load load(&connection, &question, 0);
  return load.run(kOutstanding, [&](long asked) { return asked < objects; }) ==
                 objects
             ? 0
             : 1;
}

int registerMany(std::uint16_t port, long count, std::uint32_t object) {
  constexpr long kOutstanding = 64;
  Connection connection(SOCK_DGRAM, port);
  const Question question = server_load::registration(object, kDiscardPort);
  Load load(&connection, &question, 0);
  load.run(kOutstanding, [&](long asked) { return asked < count; });
  return 0;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int disk(const char* name) {
  constexpr int kWrites = 200;
  const int file = open(name, O_CREAT | O_TRUNC | O_WRONLY, S_IRUSR | S_IWUSR);
  check(file >= 0, name);
  const std::string page(4096, 'x');
  std::vector<double> times;
  for (int i = 0; i < kWrites; ++i) {
    const auto start = Clock::now();
    check(write(file, page.data(), page.size()) > 0, "write");
    check(fdatasync(file) == 0, "fdatasync");
    times.push_back(seconds(start) * 1e3);
  }
  close(file);
  std::printf("%.2f\n", median(times));
  return 0;
}

int watch(std::uint16_t port, long count, int changes, long outstanding) {
  const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in name = loopback(0);
  socklen_t length = sizeof name;
  auto* address = reinterpret_cast<sockaddr*>(&name);
  const int room = 64 << 20;
  setsockopt(receiver, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
  setsockopt(receiver, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
  check(bind(receiver, address, length) == 0, "bind");
  check(getsockname(receiver, address, &length) == 0, "getsockname");

  Connection connection(SOCK_DGRAM, port);
  const Question registration =
      server_load::registration(0, ntohs(name.sin_port));
  auto start = Clock::now();
  Load(&connection, &registration, 0).run(outstanding, [&](long asked) {
    return asked < count;
  });
  const double registered = seconds(start) * 1e3;

  const Question change = server_load::changeOf(0);
  Load load(&connection, &change, firstNumber());
  std::vector<double> times;
  for (int i = 0; i < changes; ++i) {
    load.run(1, [](long asked) { return asked < 1; });
    start = Clock::now();
    char bytes[2048];
    for (long events = 0; events < count; ++events) {
      pollfd ready = {receiver, POLLIN, 0};
      if (poll(&ready, 1, kPatience) <= 0)
        throw std::runtime_error(std::to_string(count - events) +
                                 " events did not come");
      check(recv(receiver, bytes, sizeof bytes, 0) > 0, "recv");
    }
    times.push_back(seconds(start) * 1e3);
  }
  std::printf("%.0f %.2f\n", registered, median(times));
  close(receiver);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  const auto number = [&](int at) { return std::atol(argv[at]); };
  const auto port = [&] { return static_cast<std::uint16_t>(number(2)); };
  try {
    if (command == "ask" && argc == 9) return ask(argv + 2);
    if (command == "fill" && argc == 4) return fill(port(), number(3));
    if (command == "watch" && argc == 6)
      return watch(port(), number(3), static_cast<int>(number(4)), number(5));
    if (command == "disk" && argc == 3) return disk(argv[2]);
    if (command == "register" && argc == 5)
      return registerMany(port(), number(3),
                          static_cast<std::uint32_t>(number(4)));
    if (command == "ldif" && argc == 3) {
      std::fputs(
          server_load::ldif(static_cast<std::uint32_t>(number(2))).c_str(),
          stdout);
      return 0;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "server_load: %s\n", error.what());
    return 1;
  }
  return 2;
}
