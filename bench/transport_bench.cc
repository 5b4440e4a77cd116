// Round trips of a get on loopback, everything on one processor: through the
// transaction handler, and the same system calls made by hand. Both talk to the
// same server process, in short turns, so that whatever else the machine does
// meets both; the ratio is the median of the turns' ratios.
//
//   by hand: sendmsg of two parts, then for each datagram of the answer ppoll,
//   recvmsg that peeks at 16 bytes, recvmsg of two parts. Nothing is encoded,
//   decoded or allocated.
//   transport: send(), then tick(), wait and recv() until the answer is there,
//   which is then freed.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform.h"

namespace {

namespace platform = ostrel::platform;

constexpr std::size_t kHeader = 16;
constexpr std::size_t kFragment = 1456;
constexpr int kRoundTripsInATurn = 200;

// Ids of four bytes throughout, so that bytes can be patched in place.
constexpr std::uint32_t kFirstId = 0x01000000;
constexpr std::size_t kIdAt = 5;  // in a PDU: tag, status 03 00, 43 04, id

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

void check(bool holds, const char* what) {
  if (!holds) fail(what);
}

void pinToOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN)) - 1, &set);
  check(::sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

int loopbackSocket(sockaddr_in* name) {
  const int socket = platform::openSocket();
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  check(platform::bindSocket(socket, address) == 0, "bind");
  check(platform::socketName(socket, name) == 0, "getsockname");
  return socket;
}

std::string encoded(veskPDU& pdu) {
  std::string bytes(65536, '\0');
  bytes.resize(pdu.encode(bytes.data(), static_cast<unsigned>(bytes.size())));
  check(!bytes.empty(), "encode");
  return bytes;
}

// A get answer with so many attributes, numbers and short texts in turn.
std::string answerBytes(int attributes) {
  veskList list;
  veskList errors;
  for (int i = 0; i < attributes; ++i) {
    veskOid classOid("59.6.0.0");
    veskAid id(classOid, static_cast<unsigned>(i) + 1);
    veskType* value = nullptr;
    if (i % 2 == 0) {
      value = new veskInt(1000 * i);
    } else {
      value = new veskString("a short text");
    }
    list.append(new veskAttribute(&id, value));
  }
  veskGetRespPDU answer(0, &list, &errors);
  answer.requestId = veskUnsignedInt(kFirstId);
  std::string bytes = encoded(answer);
  list.clear(1);
  return bytes;
}

// The datagrams of a message.
std::vector<std::string> fragments(const std::string& message) {
  std::vector<std::string> result;
  const std::size_t count = (message.size() + kFragment - 1) / kFragment;
  auto append = [](std::string& to, std::size_t number, int width) {
    for (int i = width - 1; i >= 0; --i) {
      to += static_cast<char>(number >> (8 * i) & 0xff);
    }
  };
  for (std::size_t i = 0; i < count; ++i) {
    std::string bytes;
    append(bytes, 1, 2);
    append(bytes, 0, 2);
    append(bytes, count, 2);
    append(bytes, i, 2);
    append(bytes, message.size(), 4);
    append(bytes, i * kFragment, 4);
    result.push_back(bytes + message.substr(i * kFragment, kFragment));
  }
  return result;
}

// A process that answers every request with the same attributes, under the
// request's id and a message id that counts up.
class Server {
 public:
  explicit Server(int attributes)
      : answer_(fragments(answerBytes(attributes))) {
    const int socket = loopbackSocket(&name);
    process_ = ::fork();
    check(process_ >= 0, "fork");
    if (process_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      serve(socket);
    }
    platform::closeSocket(socket);
  }
  ~Server() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::size_t datagrams() const { return answer_.size(); }
  sockaddr_in name = {};

 private:
  [[noreturn]] void serve(int socket) {
    std::uint16_t message = 0;
    for (;;) {
      char request[2048];
      sockaddr_in from = {};
      socklen_t size = sizeof from;
      const ssize_t got = ::recvfrom(socket, request, sizeof request, 0,
                                     reinterpret_cast<sockaddr*>(&from), &size);
      if (got < 0) fail("recvfrom");
      const std::uint16_t id = htons(message++);
      std::memcpy(&answer_[0][kHeader + kIdAt], request + kHeader + kIdAt, 4);
      for (std::string& bytes : answer_) {
        std::memcpy(&bytes[2], &id, sizeof id);
        ::sendto(socket, bytes.data(), bytes.size(), 0,
                 reinterpret_cast<const sockaddr*>(&from), sizeof from);
      }
    }
  }

  std::vector<std::string> answer_;
  pid_t process_;
};

class ByHand {
 public:
  explicit ByHand(const Server& server)
      : server_(server), socket_(loopbackSocket(&name_)) {
    veskOid oid("59.6.1.2");
    veskList none;
    veskGetPDU get(oid, &none);
    get.requestId = veskUnsignedInt(kFirstId);
    request_ = fragments(encoded(get))[0];
  }
  ~ByHand() { platform::closeSocket(socket_); }
  ByHand(const ByHand&) = delete;
  ByHand& operator=(const ByHand&) = delete;

  void roundTrip() {
    const std::uint32_t id = htonl(kFirstId + number_++);
    std::memcpy(&request_[kHeader + kIdAt], &id, sizeof id);
    iovec out[] = {{&request_[0], kHeader},
                   {&request_[kHeader], request_.size() - kHeader}};
    msghdr message = {};
    message.msg_name = const_cast<sockaddr_in*>(&server_.name);
    message.msg_namelen = sizeof server_.name;
    message.msg_iov = out;
    message.msg_iovlen = 2;
    check(::sendmsg(socket_, &message, 0) > 0, "sendmsg");
    for (std::size_t i = 0; i < server_.datagrams(); ++i) receive();
    benchmark::DoNotOptimize(data_);
  }

 private:
  void receive() {
    pollfd readable = {socket_, POLLIN, 0};
    const timespec limit = {3, 0};
    check(::ppoll(&readable, 1, &limit, nullptr) == 1, "ppoll");
    sockaddr_in from = {};
    char header[kHeader];
    iovec in[] = {{header, kHeader}, {data_, sizeof data_}};
    msghdr message = {};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = in;
    message.msg_iovlen = 1;
    check(::recvmsg(socket_, &message, MSG_PEEK) > 0, "recvmsg");
    message.msg_name = nullptr;
    message.msg_namelen = 0;
    message.msg_iovlen = 2;
    check(::recvmsg(socket_, &message, MSG_DONTWAIT) > 0, "recvmsg");
  }

  const Server& server_;
  sockaddr_in name_ = {};
  int socket_;
  std::string request_;
  char data_[65536];
  std::uint32_t number_ = 0;
};

class Transport {
 public:
  explicit Transport(const Server& server)
      : server_(server),
        socket_(handler_.open()),
        oid_("59.6.1.2"),
        request_(oid_, &none_) {
    handler_.nextRequestId = kFirstId;
  }
  ~Transport() { handler_.pending.clear(1); }

  // Leaves so many requests pending that nobody will answer.
  void leavePending(unsigned count) {
    sockaddr_in nobody = {};
    const int deaf = loopbackSocket(&nobody);
    for (unsigned i = 0; i < count; ++i) {
      others_.push_back(std::make_unique<veskGetPDU>(oid_, &none_));
      handler_.initialTimeout = 1000000 + i % 20;
      check(handler_.send(&nobody, others_.back().get()) == 0, "send");
    }
    handler_.initialTimeout = 3;
    platform::closeSocket(deaf);
  }

  void roundTrip() {
    check(handler_.send(&server_.name, &request_) == 0, "send");
    veskPDU* answer = nullptr;
    while (answer == nullptr) {
      long seconds = 0;
      int code = 0;
      handler_.tick(&seconds, &code, &answer);
      check(answer == nullptr, "no answer came");
      check(platform::waitReadable(socket_, seconds, 0) == 1, "wait");
      check(handler_.recv(nullptr, &answer) == 0, "recv");
    }
    veskType::destroyDecoded(answer);
  }

 private:
  const Server& server_;
  veskTransactionHandler handler_;
  int socket_;
  veskOid oid_;
  veskList none_;
  veskGetPDU request_;
  std::vector<std::unique_ptr<veskGetPDU>> others_;
};

template <class Client>
double nanosecondsForEach(Client& client) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kRoundTripsInATurn; ++i) client.roundTrip();
  const std::chrono::duration<double, std::nano> took =
      std::chrono::steady_clock::now() - start;
  return took.count() / kRoundTripsInATurn;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The argument is the number of attributes in the answer.
void roundTripsAgainstByHand(benchmark::State& state) {
  pinToOneProcessor();
  const Server server(static_cast<int>(state.range(0)));
  ByHand byHand(server);
  Transport transport(server);
  nanosecondsForEach(byHand);
  nanosecondsForEach(transport);
  std::vector<double> hand, library, ratios;
  for (auto step : state) {
    static_cast<void>(step);
    hand.push_back(nanosecondsForEach(byHand));
    library.push_back(nanosecondsForEach(transport));
    ratios.push_back(library.back() / hand.back());
  }
  state.counters["byHand_ns"] = median(hand);
  state.counters["transport_ns"] = median(library);
  state.counters["ratio"] = median(ratios);
  state.counters["datagrams"] = static_cast<double>(server.datagrams());
}
BENCHMARK(roundTripsAgainstByHand)
    ->Arg(0)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

// The argument is the number of requests that stay pending meanwhile; the ratio
// is to the same with 10 of them.
void roundTripsAmongOutstanding(benchmark::State& state) {
  pinToOneProcessor();
  const Server server(10);
  Transport few(server);
  few.leavePending(10);
  Transport many(server);
  many.leavePending(static_cast<unsigned>(state.range(0)));
  std::vector<double> amongMany, ratios;
  for (auto step : state) {
    static_cast<void>(step);
    const double amongFew = nanosecondsForEach(few);
    amongMany.push_back(nanosecondsForEach(many));
    ratios.push_back(amongMany.back() / amongFew);
  }
  state.counters["transport_ns"] = median(amongMany);
  state.counters["ratio"] = median(ratios);
}
BENCHMARK(roundTripsAmongOutstanding)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

}  // namespace
