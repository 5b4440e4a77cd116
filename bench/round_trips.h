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

#include <netinet/in.h>
#include <ostrel/codes.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace round_trips {

using ostrel::kObjectServerPort;

constexpr std::size_t kHeader = ostrel::kFragmentHeader;
constexpr int kRoundTripsInATurn = 200;
constexpr char kShortText[] = "a short text";

// Ids of four bytes throughout, so that bytes can be patched in place.
constexpr std::uint32_t kFirstId = 0x01000000;

void check(bool holds, const char* what);

void pinToOneProcessor();

std::string encoded(veskPDU& pdu);

// What all clients ask: a get of so many attributes, in a principal's name or
// in nobody's.
struct Question {
  explicit Question(int attributes = 0, const char* name = nullptr);
  ~Question() { list.clear(1); }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  veskOid oid{"59.6.1.2"};
  veskOid principal;
  veskList list;
};

// A get answer with so many attributes, numbers and short texts in turn.
std::string answerBytes(int attributes);

// A process that answers every request with the same attributes, under the
// request's id and a message id that counts up.
class Server {
 public:
  explicit Server(int attributes, unsigned short port = 0);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::size_t datagrams() const { return answer_.size(); }
  sockaddr_in name = {};

 private:
  [[noreturn]] void serve(int socket);

  std::vector<std::string> answer_;
  pid_t process_;
};

// The question as a datagram, with the next id each time.
class Datagram {
 public:
  explicit Datagram(Question& question);
  std::string& next();

 private:
  std::string bytes_;
  std::uint32_t number_ = 0;
};

// A socket of its own on loopback, and the server.
class Client {
 public:
  explicit Client(const Server& server);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

 protected:
  const Server& server_;
  sockaddr_in name_ = {};
  int socket_;
  char data_[65536];
};

class Bare : public Client {
 public:
  Bare(const Server& server, Question& question)
      : Client(server), request_(question) {}
  void roundTrip();

 private:
  Datagram request_;
};

// The transport's system calls, for whatever datagram.
class Calls : public Client {
 public:
  explicit Calls(const Server& server) : Client(server) {}

 protected:
  void exchange(char* datagram, std::size_t size);
  void receive();
};

class ByHand : public Calls {
 public:
  ByHand(const Server& server, Question& question)
      : Calls(server), request_(question) {}
  void roundTrip();

 private:
  Datagram request_;
};

class Transport {
 public:
  Transport(const Server& server, Question& question);
  ~Transport() { handler_.pending.clear(1); }

  // Leaves so many requests pending that nobody will answer.
  void leavePending(unsigned count);

  void roundTrip();

 private:
  const Server& server_;
  veskTransactionHandler handler_;
  int socket_;
  Question& question_;
  veskGetPDU request_;
  std::vector<std::unique_ptr<veskGetPDU>> others_;
};

template <class AnyClient>
double nanosecondsForEach(AnyClient& client) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kRoundTripsInATurn; ++i) client.roundTrip();
  const std::chrono::duration<double, std::nano> took =
      std::chrono::steady_clock::now() - start;
  return took.count() / kRoundTripsInATurn;
}

double median(std::vector<double> values);

}  // namespace round_trips

#endif  // OSTREL_BENCH_ROUND_TRIPS_H
