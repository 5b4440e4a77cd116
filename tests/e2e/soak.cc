// soak OSTRELD STORE REQUESTS KILLS
//
// Fifty programs make, write, read, verify and remove objects on an object
// server that is killed so many times meanwhile, spread evenly, and begun anew
// on the same store. They talk to it at 127.0.0.1, where lossy_relay stands;
// the server is at 127.0.0.2. A request that is not answered is sent again as
// the library does it: the same request id in the next message, after time-outs
// that are shorter. Ends with 0 when every answer was right and the store has
// in the end what was acknowledged, once, and nothing else. A request that was
// given up may have been made or not. Prints the figures.

#include <arpa/inet.h>
#include <fcntl.h>
#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/message.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kClients = 50;
constexpr std::size_t kMostObjects = 30;  // of a client
constexpr auto kFirstTimeout = 100ms;
constexpr auto kLongestTimeout = 800ms;
// Less than the minute in which the server knows a retransmission.
constexpr auto kPatience = 40s;

constexpr const char* kServerAddress = "127.0.0.2";
constexpr const char* kNumber = "59.200.1";    // no two creates have the same
constexpr const char* kSequence = "59.200.2";  // counts the sets of a client

std::mt19937 random_source(20);

unsigned choose(unsigned count) {
  return std::uniform_int_distribution<unsigned>(0, count - 1)(random_source);
}

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

std::string text(veskOid& oid) {
  const std::unique_ptr<char, decltype(&std::free)> result(oid.getString(),
                                                           std::free);
  return result.get();
}

// The number that an attribute has; -1 when there is none.
int numberIn(veskList& attributes, const char* name) {
  veskAid id(name);
  for (auto* each : ostrel::Elements<veskAttribute>(attributes)) {
    if (each == nullptr || !(each->id == id)) continue;
    auto* value = dynamic_cast<veskInt*>(each->value);
    if (value != nullptr) return value->value;
  }
  return -1;
}

// The server's process.
class Server {
 public:
  Server(const char* program, const char* store)
      : program_(program), store_(store) {
    start();
  }
  ~Server() { kill(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void start() {
    process_ = fork();
    require(process_ >= 0, "cannot start a process");
    if (process_ != 0) return;
    const std::string log = std::string(store_) + ".log";
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDERR_FILENO);
    execl(program_, program_, "serve", "--listen", kServerAddress, "--store",
          store_, "--rate", "0", nullptr);
    _exit(1);
  }

  void kill() {
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  void requireRunning() const {
    require(waitpid(process_, nullptr, WNOHANG) == 0,
            "the server ended by itself");
  }

 private:
  const char* program_;
  const char* store_;
  pid_t process_ = 0;
};

struct Object {
  veskOid oid;
  int number;
  int sequence = 0;  // as it was acknowledged
  int asked = 0;     // the same, or what a request that was given up asked for
  bool mayBeGone = false;
};

enum class Kind { kCreate, kSet, kGet, kVerify, kRemove };

// What all clients know in the end.
struct Outcome {
  std::map<int, Object> there;  // by number
  std::set<int> gone;           // numbers of what was removed
  std::set<int> unknown;        // numbers of creates that were given up
  std::set<std::string> given;  // identifiers
  long answered = 0;
  long givenUp = 0;
  long sent = 0;
};

class Client {
 public:
  Client(int number, Outcome* outcome)
      : nextNumber_(number),
        messageId_(static_cast<std::uint16_t>(choose(65536))),
        outcome_(outcome),
        socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in relay = {};
    relay.sin_family = AF_INET;
    relay.sin_port = htons(ostrel::kObjectServerPort);
    relay.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(connect(socket_, reinterpret_cast<sockaddr*>(&relay),
                    sizeof relay) == 0,
            "cannot connect");
  }
  ~Client() { close(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  int descriptor() const { return socket_; }
  bool isIdle() const { return request_.empty(); }
  Clock::time_point due() const { return due_; }

  // Asks for something.
  void begin() {
    const std::size_t count = objects_.size();
    static constexpr Kind kKinds[] = {
        Kind::kCreate, Kind::kCreate, Kind::kSet, Kind::kSet,    Kind::kSet,
        Kind::kSet,    Kind::kGet,    Kind::kGet, Kind::kVerify, Kind::kRemove};
    kind_ = kKinds[choose(std::size(kKinds))];
    if (count == 0) kind_ = Kind::kCreate;
    if (count == kMostObjects && kind_ == Kind::kCreate) kind_ = Kind::kRemove;
    at_ = count == 0 ? 0 : choose(static_cast<unsigned>(count));
    if (kind_ == Kind::kCreate) nextNumber_ += kClients;
    if (kind_ == Kind::kSet) ++sequence_;
    request_ = encodeRequest();
    end_ = Clock::now() + kPatience;
    timeout_ = kFirstTimeout;
    send();
  }

  // The answer did not come in time.
  void waitLonger() {
    if (Clock::now() >= end_) return giveUp();
    timeout_ =
        std::min<std::chrono::milliseconds>(2 * timeout_, kLongestTimeout);
    send();
  }

  // Takes what came; most of it may be answers that came before.
  void receive() {
    char datagram[ostrel::kFragmentHeader + ostrel::kFragmentData];
    ssize_t got = 0;
    while ((got = recv(socket_, datagram, sizeof datagram, MSG_DONTWAIT)) > 0) {
      if (got <= static_cast<ssize_t>(ostrel::kFragmentHeader)) continue;
      veskType* value = nullptr;
      veskType::decodeCreate(
          datagram + ostrel::kFragmentHeader,
          static_cast<unsigned>(got) - ostrel::kFragmentHeader, &value);
      const std::unique_ptr<veskType, void (*)(veskType*)> owner(
          value, veskType::destroyDecoded);
      auto* answer = dynamic_cast<veskPDU*>(value);
      require(answer != nullptr, "an answer does not decode");
      if (isIdle() || answer->requestId.value != requestId_) continue;
      take(*answer);
      request_.clear();
      requestId_++;
      outcome_->answered++;
    }
  }

  // Adds what it knows of its objects.
  void finish() {
    for (Object& each : objects_) outcome_->there.emplace(each.number, each);
  }

 private:
  std::string encodeRequest() {
    veskOid classOid("59.200.0.0");
    veskInt number(nextNumber_), sequence(kind_ == Kind::kSet ? sequence_ : 0);
    veskList attributes;
    std::unique_ptr<veskPDU> pdu;
    veskOid& oid = kind_ == Kind::kCreate ? classOid : objects_[at_].oid;
    switch (kind_) {
      case Kind::kCreate:
        veskAppendAttr(&attributes, kNumber, &number);
        veskAppendAttr(&attributes, kSequence, &sequence);
        pdu = std::make_unique<veskCreatePDU>(oid, &attributes);
        break;
      case Kind::kSet:
        veskAppendAttr(&attributes, kSequence, &sequence);
        pdu = std::make_unique<veskSetPDU>(oid, &attributes);
        break;
      case Kind::kGet:
        pdu = std::make_unique<veskGetPDU>(oid, &attributes);
        break;
      case Kind::kVerify:
        pdu = std::make_unique<veskVerifyPDU>(oid);
        break;
      case Kind::kRemove:
        pdu = std::make_unique<veskRemovePDU>(oid);
        break;
    }
    pdu->requestId.value = requestId_;
    std::string bytes(ostrel::kFragmentData, '\0');
    bytes.resize(
        pdu->encode(bytes.data(), static_cast<unsigned>(bytes.size())));
    attributes.clear(1);
    return bytes;
  }

  void send() {
    const auto length = static_cast<std::uint32_t>(request_.size());
    const std::uint16_t fields[] = {ostrel::kFragmentVersion,
                                    messageId_++,
                                    1,
                                    0,
                                    static_cast<std::uint16_t>(length >> 16),
                                    static_cast<std::uint16_t>(length),
                                    0,
                                    0};
    std::string datagram;
    for (const std::uint16_t field : fields) {
      datagram += static_cast<char>(field >> 8);
      datagram += static_cast<char>(field & 0xFF);
    }
    datagram += request_;
    ::send(socket_, datagram.data(), datagram.size(), 0);
    outcome_->sent++;
    due_ = Clock::now() + timeout_;
  }

  void take(veskPDU& answer) {
    const int status = answer.status.value;
    const std::string number = std::to_string(
        kind_ == Kind::kCreate ? nextNumber_ : objects_[at_].number);
    if (kind_ == Kind::kCreate) {
      auto* created = dynamic_cast<veskCreateRespPDU*>(&answer);
      require(created != nullptr && status == 0, "a create failed: " + number);
      require(outcome_->given.insert(text(created->oid)).second,
              "an identifier was given twice: " + text(created->oid));
      objects_.push_back({veskOid(created->oid), nextNumber_});
      return;
    }
    Object& object = objects_[at_];
    if (kind_ == Kind::kRemove) {
      require(status == 0, "an object was removed twice: " + number);
      outcome_->gone.insert(object.number);
      objects_.erase(objects_.begin() + static_cast<std::ptrdiff_t>(at_));
      return;
    }
    require(status == 0, "an object is missing: " + number);
    if (kind_ == Kind::kSet) object.sequence = object.asked = sequence_;
    if (kind_ != Kind::kGet) return;
    auto* got = dynamic_cast<veskGetRespPDU*>(&answer);
    require(got != nullptr && numberIn(*got->list, kNumber) == object.number &&
                numberIn(*got->list, kSequence) == object.sequence,
            "an object has another value than was set last: " + number);
  }

  // Whether it was made is not known; what it was about is not used again.
  void giveUp() {
    outcome_->givenUp++;
    request_.clear();
    requestId_++;
    if (kind_ == Kind::kCreate) {
      outcome_->unknown.insert(nextNumber_);
      return;
    }
    Object object = objects_[at_];
    objects_.erase(objects_.begin() + static_cast<std::ptrdiff_t>(at_));
    if (kind_ == Kind::kSet) object.asked = sequence_;
    if (kind_ == Kind::kRemove) object.mayBeGone = true;
    outcome_->there.emplace(object.number, object);
  }

  int nextNumber_;
  int sequence_ = 0;
  std::uint16_t messageId_;
  std::uint32_t requestId_ = 0;
  Outcome* outcome_;
  int socket_;
  std::vector<Object> objects_;

  // The request under way: its bytes, and what it is about.
  std::string request_;
  Kind kind_ = Kind::kCreate;
  std::size_t at_ = 0;
  std::chrono::milliseconds timeout_{};
  Clock::time_point due_;
  Clock::time_point end_;
};

// Has the clients ask until there are so many answers or losses.
void play(Server& server, Outcome& outcome, long requests, long kills) {
  std::vector<std::unique_ptr<Client>> clients;
  std::vector<pollfd> ready;
  for (int i = 0; i < kClients; ++i) {
    clients.push_back(std::make_unique<Client>(i, &outcome));
    ready.push_back({clients.back()->descriptor(), POLLIN, 0});
  }
  long begun = 0;
  long killed = 0;
  while (outcome.answered + outcome.givenUp < requests) {
    auto due = Clock::now() + 1s;
    for (const auto& client : clients) {
      if (client->isIdle() && begun < requests) {
        client->begin();
        ++begun;
      }
      if (!client->isIdle() && client->due() <= Clock::now())
        client->waitLonger();
      if (!client->isIdle()) due = std::min(due, client->due());
    }
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
    poll(ready.data(), ready.size(),
         std::max(0, static_cast<int>(wait.count())));
    for (std::size_t i = 0; i < clients.size(); ++i)
      if (ready[i].revents != 0) clients[i]->receive();
    server.requireRunning();
    if (killed == kills ||
        outcome.answered < (killed + 1) * requests / (kills + 1))
      continue;
    // Wherever the server is in its work.
    usleep(choose(5000));
    server.kill();
    server.start();
    ++killed;
  }
  require(killed == kills, "the server was killed too seldom");
  for (const auto& client : clients) client->finish();
}

using Answer = std::unique_ptr<veskPDU, void (*)(veskType*)>;

// Asks the server itself, where nothing is lost.
Answer ask(veskMessageHandler& handler, veskPDU& request) {
  sockaddr_in server = {};
  server.sin_family = AF_INET;
  server.sin_port = htons(ostrel::kObjectServerPort);
  inet_pton(AF_INET, kServerAddress, &server.sin_addr);
  request.requestId.value++;
  handler.send(&server, &request);
  veskPDU* answer = nullptr;
  // A long answer comes in pieces.
  while (answer == nullptr) {
    pollfd ready = {handler.socket, POLLIN, 0};
    require(poll(&ready, 1, 10000) == 1, "no answer in the end");
    handler.recv(&server, &answer);
  }
  return {answer, veskType::destroyDecoded};
}

// Compares what the server has with what the clients know.
void compare(Outcome& outcome) {
  veskMessageHandler handler;
  require(handler.open(0) >= 0, "cannot open a socket");
  veskOid classOid("59.200.0.0");
  veskList none;
  veskSearchPDU search(classOid, &none, 1U);
  const Answer searched = ask(handler, search);
  auto* found = dynamic_cast<veskSearchRespPDU*>(searched.get());
  require(found != nullptr && found->status.value == 0,
          "the last search failed");
  std::set<int> numbers;
  for (auto* oid : ostrel::Elements<veskOid>(*found->list)) {
    veskGetPDU get(*oid, &none);
    const Answer read = ask(handler, get);
    auto* object = dynamic_cast<veskGetRespPDU*>(read.get());
    require(object != nullptr && object->status.value == 0,
            "an object cannot be read");
    const int number = numberIn(*object->list, kNumber);
    const int sequence = numberIn(*object->list, kSequence);
    const std::string name = text(*oid) + ", number " + std::to_string(number);
    require(numbers.insert(number).second, "created twice: " + name);
    if (outcome.unknown.count(number) != 0) continue;
    require(outcome.gone.count(number) == 0, "removed, and there: " + name);
    const auto known = outcome.there.find(number);
    require(known != outcome.there.end() && known->second.oid == *oid,
            "nobody knows of it: " + name);
    require(
        sequence == known->second.sequence || sequence == known->second.asked,
        "it has another value than was set last: " + name);
  }
  for (auto& [number, object] : outcome.there)
    require(object.mayBeGone || numbers.count(number) != 0,
            "missing: " + text(object.oid));
  std::printf("objects %zu\n", numbers.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const long requests = std::atol(argv[3]);
  const long kills = std::atol(argv[4]);
  try {
    const auto start = Clock::now();
    Outcome outcome;
    Server server(argv[1], argv[2]);
    play(server, outcome, requests, kills);
    const std::chrono::duration<double> took = Clock::now() - start;
    std::printf(
        "answered %ld\ngiven up %ld\nsent %ld\nkills %ld\n"
        "removed %zu\nseconds %.0f\n",
        outcome.answered, outcome.givenUp, outcome.sent, kills,
        outcome.gone.size(), took.count());
    compare(outcome);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 1;
  }
}
