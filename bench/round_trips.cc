#include "round_trips.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/platform.h"

namespace round_trips {

namespace platform = ostrel::platform;

namespace {

constexpr std::size_t kFragment = 1456;
constexpr std::size_t kIdAt = 5;  // in a PDU: tag, status 03 00, 43 04, id

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

// A socket on loopback; port 0 lets the system choose.
int loopbackSocket(sockaddr_in* name, unsigned short port = 0) {
  const int socket = platform::openSocket();
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  check(platform::bindSocket(socket, address) == 0, "bind");
  check(platform::socketName(socket, name) == 0, "getsockname");
  return socket;
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

}  // namespace

void check(bool holds, const char* what) {
  if (!holds) fail(what);
}

void pinToOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN)) - 1, &set);
  check(::sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

std::string encoded(veskPDU& pdu) {
  std::string bytes(65536, '\0');
  bytes.resize(pdu.encode(bytes.data(), static_cast<unsigned>(bytes.size())));
  check(!bytes.empty(), "encode");
  return bytes;
}

Question::Question(int attributes, const char* name) : principal(name) {
  veskOid classOid("59.6.0.0");
  for (int i = 0; i < attributes; ++i) {
    veskAid id(classOid, static_cast<unsigned>(i) + 1);
    list.append(new veskAttribute(&id));
  }
}

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

Server::Server(int attributes, unsigned short port)
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

Server::~Server() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

void Server::serve(int socket) {
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

Datagram::Datagram(Question& question) {
  veskGetPDU get(question.oid, &question.list, question.principal);
  get.requestId = veskUnsignedInt(kFirstId);
  const std::vector<std::string> all = fragments(encoded(get));
  check(all.size() == 1, "the question must fit into one datagram");
  bytes_ = all[0];
}

std::string& Datagram::next() {
  const std::uint32_t id = htonl(kFirstId + number_++);
  std::memcpy(&bytes_[kHeader + kIdAt], &id, sizeof id);
  return bytes_;
}

Client::Client(const Server& server)
    : server_(server), socket_(loopbackSocket(&name_)) {}

Client::~Client() { platform::closeSocket(socket_); }

void Bare::roundTrip() {
  const std::string& bytes = request_.next();
  check(::sendto(socket_, bytes.data(), bytes.size(), 0,
                 reinterpret_cast<const sockaddr*>(&server_.name),
                 sizeof server_.name) > 0,
        "sendto");
  for (std::size_t i = 0; i < server_.datagrams(); ++i)
    check(::recv(socket_, data_, sizeof data_, 0) > 0, "recv");
  benchmark::DoNotOptimize(data_);
}

void ByHand::roundTrip() {
  std::string& bytes = request_.next();
  exchange(bytes.data(), bytes.size());
}

void Calls::exchange(char* datagram, std::size_t size) {
  iovec out[] = {{datagram, kHeader}, {datagram + kHeader, size - kHeader}};
  msghdr message = {};
  message.msg_name = const_cast<sockaddr_in*>(&server_.name);
  message.msg_namelen = sizeof server_.name;
  message.msg_iov = out;
  message.msg_iovlen = 2;
  check(::sendmsg(socket_, &message, 0) > 0, "sendmsg");
  for (std::size_t i = 0; i < server_.datagrams(); ++i) receive();
  benchmark::DoNotOptimize(data_);
}

void Calls::receive() {
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

Transport::Transport(const Server& server, Question& question)
    : server_(server),
      socket_(handler_.open()),
      question_(question),
      request_(question.oid, &question.list, question.principal) {
  handler_.nextRequestId = kFirstId;
}

void Transport::leavePending(unsigned count) {
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

void Transport::roundTrip() {
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

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace round_trips
