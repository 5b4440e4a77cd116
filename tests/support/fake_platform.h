// A system that lives in memory: a clock that moves when told, and a network
// whose datagrams a script may lose, double, delay, reorder or cut. Tests that
// link fake_platform.cc in place of the real calls run whole retransmission
// schedules in no time, and see every call that the library makes.
//
// Time passes only in advance(), in the library's pauses, and in waits with
// nothing to read. Peers are scripts called with each datagram that reaches
// their address; they answer with bytes.

#ifndef OSTREL_TESTS_SUPPORT_FAKE_PLATFORM_H
#define OSTREL_TESTS_SUPPORT_FAKE_PLATFORM_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <queue>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace fake {

// An endpoint from dotted text and a port in host order.
sockaddr_in endpoint(const char* address, unsigned short port);
// "192.0.2.1:5135"
std::string text(const sockaddr_in& address);
bool same(const sockaddr_in& a, const sockaddr_in& b);

struct Datagram {
  sockaddr_in from;
  sockaddr_in to;
  std::string bytes;
  std::int64_t at = 0;    // microseconds of the clock when it was sent
  unsigned char ttl = 1;  // networks it may cross, if it goes to a group
};

// What happens to one datagram: it is lost, or delivered once or several times.
// Each delivery has its delay in microseconds and its own bytes.
struct Delivery {
  std::int64_t delay;
  std::string bytes;
};
using Policy = std::function<std::vector<Delivery>(const Datagram&)>;

// A policy for soak tests: it loses and duplicates datagrams with the given
// probabilities, and delays each copy by up to `spread` microseconds, so that
// they overtake one another. The same seed gives the same network.
Policy lossy(unsigned seed, double loss, double duplication,
             std::int64_t spread);

enum class Call {
  kAllocate,
  kPause,
  kOpen,
  kBind,
  kSetSendBuffer,
  kSetReceiveBuffer,
  kSetMulticastTtl,
  kSocketName,
  kClose,
  kIdentify,
  kSend,
  kPeek,
  kReceive,
  kDiscard,
  kWait,
  kHostName,
  kResolve,
  kRandom,
  kLocalAddress,
  kOpenWakeup,
  kOpenReadiness,
  kSetTimer,
  kCalls  // how many there are
};

// Another program on the network, played by a script.
class Peer {
 public:
  // Sends bytes from this peer's own address, through the policy.
  void send(const sockaddr_in& to, const std::string& bytes) const;

  sockaddr_in address;
  std::function<void(Peer&, const Datagram&)> script;
  std::set<std::uint32_t> groups;  // s_addr of the groups it listens to
  int hops = 1;                    // the time-to-live that a group send needs
  unsigned long received = 0;
};
using Script = std::function<void(Peer&, const Datagram&)>;

// Everything about the one fake system. Tests call reset() first.
class Platform {
 public:
  struct Wait {
    int socket;
    long seconds;
    long microseconds;
  };
  struct Setting {
    Call call;
    int socket;
    int value;
  };
  struct Socket {
    sockaddr_in name;
    bool bound = false;
    bool open = true;
    std::uint64_t inode = 0;
    unsigned char ttl = 1;
    std::deque<Datagram> queue;
    std::deque<Datagram> refused;  // reports that nobody has taken yet
  };

  Platform();
  // Back to the beginning: no sockets, peers, failures or records.
  void reset();

  // The clock.
  static constexpr std::int64_t kSecond = 1000 * 1000;
  std::int64_t clock = 0;  // microseconds
  long seconds() const { return static_cast<long>(clock / kSecond); }
  // Lets time pass and delivers what falls due on the way.
  void advance(double seconds);

  // The host that the library runs on.
  sockaddr_in host;      // its address; the port is not used
  std::string hostName;  // "testhost"
  std::map<std::string, in_addr> hosts;
  long user = 0;
  int nextDescriptor = 0;  // number of the next socket
  unsigned short nextPort = 0;

  // The network.
  Policy policy;  // null: each datagram arrives once and at once
  Peer& addPeer(const char* address, unsigned short port, Script script);
  // A peer that also listens to a multicast group.
  Peer& addPeer(const char* address, unsigned short port, const char* group,
                int hops, Script script);
  // Machines that answer for ports at which nobody listens, "192.0.2.1:5135".
  std::set<std::string> closedPorts;
  // Puts a datagram on the network, the policy included.
  void send(const sockaddr_in& from, const sockaddr_in& to,
            const std::string& bytes, unsigned char ttl = 1);
  // Queues a datagram at a socket of the library, without the policy.
  void deliver(const sockaddr_in& from, int socket, const std::string& bytes);
  // Delivers what is due by now.
  void run();
  // The address at which others reach a socket of the library.
  sockaddr_in addressOf(int socket) const;
  std::size_t queued(int socket) const;
  bool idle() const { return events_.empty(); }

  // Makes `times` calls of a kind fail with `error`, after `skip` more calls
  // that succeed. Several such orders are carried out one after another.
  void failNext(Call call, int error, unsigned times = 1, unsigned skip = 0);

  // Called first in each call; may be null. It may let time pass, as when the
  // process is stopped there.
  std::function<void(Call)> atCall;

  // What the library did.
  bool recording = true;  // off: only the counts are kept
  std::vector<Datagram> sent;
  std::vector<unsigned> pauses;      // ticks
  std::vector<int> closed;           // descriptors
  std::vector<Setting> settings;     // socket options
  std::vector<std::uint16_t> bound;  // ports asked for
  std::vector<Wait> waits;
  std::vector<Call> calls;  // all, in order
  unsigned long count(Call call) const;
  std::map<int, Socket> sockets;
  std::set<int> awake;          // wake-ups that were waked
  std::set<int> descriptors;    // open, but no sockets
  std::int64_t timer = -1;      // as it was set last
  std::uint64_t nextInode = 0;  // of the next socket

  // For fake_platform.cc: notes a call; false when it is to fail.
  bool enter(Call call);
  Socket* socket(int descriptor);
  bool awaitDatagram(Socket& socket, std::int64_t until);

 private:
  struct Event {
    std::int64_t at;
    std::uint64_t order;
    Datagram datagram;
  };
  struct Later {
    bool operator()(const Event& a, const Event& b) const {
      return a.at != b.at ? a.at > b.at : a.order > b.order;
    }
  };
  struct Failure {
    int error;
    unsigned times;
    unsigned skip;
  };

  void arrive(const Datagram& datagram);
  bool isHere(const in_addr& address) const;

  std::priority_queue<Event, std::vector<Event>, Later> events_;
  std::uint64_t order_ = 0;
  std::deque<Peer> peers_;
  std::map<Call, std::deque<Failure>> failures_;
  std::vector<unsigned long> counts_;
};

// The system that the library under test runs on.
Platform& platform();

// Whether the library is inside a call of this system now. What is allocated
// then is not the library's.
bool inside();

// Marks a call of this system while it lasts.
class InCall {
 public:
  InCall();
  ~InCall();
  InCall(const InCall&) = delete;
  InCall& operator=(const InCall&) = delete;
};

}  // namespace fake

#endif  // OSTREL_TESTS_SUPPORT_FAKE_PLATFORM_H
