// Round trips of a get on loopback for the benchmarks: a server process, and
// three clients of it, by bare system calls, by hand and through the transport.
//
//   bare: sendto, then recv for each datagram of the answer, which blocks.
//   by hand: what the transport asks of the system: sendmsg of two parts, then
//   for each datagram of the answer ppoll, recvmsg that peeks at 16 bytes,
//   recvmsg of two parts. Nothing is encoded, decoded or allocated.
//   transport: send(), then tick(), wait and recv() until the answer is there,
//   which is then freed.
//
// All of them ask with the same bytes.

#ifndef OSTREL_BENCH_ROUND_TRIPS_H
#define OSTREL_BENCH_ROUND_TRIPS_H

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

namespace round_trips {

namespace platform = ostrel::platform;

constexpr std::size_t kHeader = 16;
constexpr std::size_t kFragment = 1456;
constexpr int kRoundTripsInATurn = 200;

// Ids of four bytes throughout, so that bytes can be patched in place.
constexpr std::uint32_t kFirstId = 0x01000000;
constexpr std::size_t kIdAt = 5;  // in a PDU: tag, status 03 00, 43 04, id

[[noreturn]] inline void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

inline void check(bool holds, const char* what) {
  if (!holds) fail(what);
}

inline void pinToOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN)) - 1, &set);
  check(::sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

// A socket on loopback; port 0 lets the system choose.
inline int loopbackSocket(sockaddr_in* name, unsigned short port = 0) {
  const int socket = platform::openSocket();
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  check(platform::bindSocket(socket, address) == 0, "bind");
  check(platform::socketName(socket, name) == 0, "getsockname");
  return socket;
}

inline std::string encoded(veskPDU& pdu) {
  std::string bytes(65536, '\0');
  bytes.resize(pdu.encode(bytes.data(), static_cast<unsigned>(bytes.size())));
  check(!bytes.empty(), "encode");
  return bytes;
}

// What all clients ask: a get of so many attributes, in a principal's name or
// in nobody's.
struct Question {
  explicit Question(int attributes = 0, const char* name = nullptr)
      : principal(name) {
    veskOid classOid("59.6.0.0");
    for (int i = 0; i < attributes; ++i) {
      veskAid id(classOid, static_cast<unsigned>(i) + 1);
      list.append(new veskAttribute(&id));
    }
  }
  ~Question() { list.clear(1); }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  veskOid oid{"59.6.1.2"};
  veskOid principal;
  veskList list;
};

constexpr char kShortText[] = "a short text";

// A get answer with so many attributes, numbers and short texts in turn.
inline std::string answerBytes(int attributes) {
  veskList list;
  veskList errors;
  for (int i = 0; i < attributes; ++i) {
    veskOid classOid("59.6.0.0");
    veskAid id(classOid, static_cast<unsigned>(i) + 1);
    veskType* value = nullptr;
    if (i % 2 == 0) {
      value = new veskInt(1000 * i);
    } else {
      value = new veskString(kShortText);
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
inline std::vector<std::string> fragments(const std::string& message) {
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
  explicit Server(int attributes, unsigned short port = 0)
      : answer_(fragments(answerBytes(attributes))) {
    const int socket = loopbackSocket(&name, port);
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

// The question as a datagram, with the next id each time.
class Datagram {
 public:
  explicit Datagram(Question& question) {
    veskGetPDU get(question.oid, &question.list, question.principal);
    get.requestId = veskUnsignedInt(kFirstId);
    const std::vector<std::string> all = fragments(encoded(get));
    check(all.size() == 1, "the question must fit into one datagram");
    bytes_ = all[0];
  }
  std::string& next() {
    const std::uint32_t id = htonl(kFirstId + number_++);
    std::memcpy(&bytes_[kHeader + kIdAt], &id, sizeof id);
    return bytes_;
  }

 private:
  std::string bytes_;
  std::uint32_t number_ = 0;
};

class Bare {
 public:
  Bare(const Server& server, Question& question)
      : server_(server), request_(question), socket_(loopbackSocket(&name_)) {}
  ~Bare() { platform::closeSocket(socket_); }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  void roundTrip() {
    const std::string& bytes = request_.next();
    check(::sendto(socket_, bytes.data(), bytes.size(), 0,
                   reinterpret_cast<const sockaddr*>(&server_.name),
                   sizeof server_.name) > 0,
          "sendto");
    for (std::size_t i = 0; i < server_.datagrams(); ++i)
      check(::recv(socket_, data_, sizeof data_, 0) > 0, "recv");
    benchmark::DoNotOptimize(data_);
  }

 private:
  const Server& server_;
  Datagram request_;
  sockaddr_in name_ = {};
  int socket_;
  char data_[65536];
};

class ByHand {
 public:
  ByHand(const Server& server, Question& question)
      : server_(server), request_(question), socket_(loopbackSocket(&name_)) {}
  ~ByHand() { platform::closeSocket(socket_); }
  ByHand(const ByHand&) = delete;
  ByHand& operator=(const ByHand&) = delete;

  void roundTrip() {
    std::string& bytes = request_.next();
    iovec out[] = {{&bytes[0], kHeader},
                   {&bytes[kHeader], bytes.size() - kHeader}};
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
  Datagram request_;
  sockaddr_in name_ = {};
  int socket_;
  char data_[65536];
};

class Transport {
 public:
  Transport(const Server& server, Question& question)
      : server_(server),
        socket_(handler_.open()),
        question_(question),
        request_(question.oid, &question.list, question.principal) {
    handler_.nextRequestId = kFirstId;
  }
  ~Transport() { handler_.pending.clear(1); }

  // Leaves so many requests pending that nobody will answer.
  void leavePending(unsigned count) {
    sockaddr_in nobody = {};
    const int deaf = loopbackSocket(&nobody);
    for (unsigned i = 0; i < count; ++i) {
      others_.push_back(
          std::make_unique<veskGetPDU>(question_.oid, &question_.list));
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
  Question& question_;
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

inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace round_trips

#endif  // OSTREL_BENCH_ROUND_TRIPS_H
