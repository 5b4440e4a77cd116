// Hostile clients of an object server over a store in memory, whose changes
// fail now and then, with batches, time and restarts in between. What comes is
// answered as asked.h says; a change that is refused changes nothing, and one
// that is sent again is made once; and when all times have passed nothing is
// held of anybody.

#include <array>
#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "../bounds.h"
#include "../script.h"
#include "asked.h"
#include "machine/host_manager.h"
#include "net/reassembly.h"
#include "objects/registrations.h"
#include "objects/stored_objects.h"
#include "requests/request_executor.h"
#include "store/cached_store.h"
#include "store/memory_store.h"
#include "support/log.h"

namespace {

using fuzz::Name;
using fuzz::require;
using namespace ostrel::tools::server;
using namespace std::chrono_literals;

// Small enough that inputs reach them.
constexpr std::size_t kLongestRequest = 8192;
constexpr std::size_t kLongestAnswer = 600;
constexpr std::size_t kMostValuesHere = 64;
constexpr std::size_t kCacheBytes = 2000;

// What may be held in the end, in bytes: for each message that came, room in
// tables that do not shrink, and for any.
constexpr std::size_t kLeftForEach = 1024;
constexpr std::size_t kLeftForAny = 65536;

// How long what is sent again is surely known as such.
constexpr std::chrono::seconds kRepeatLife{59};

class FuzzClock : public Clock {
 public:
  double now() const override { return time; }
  double time = 1000000;
};

// One change fails when told, or the end of a transaction.
class FuzzStore : public MemoryStore {
 public:
  void insert(const veskOid& oid) override {
    count();
    MemoryStore::insert(oid);
  }
  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override {
    count();
    MemoryStore::write(oid, id, value);
  }
  void remove(const veskOid& oid) override {
    count();
    MemoryStore::remove(oid);
  }
  void keepAnswer(std::string_view request, const Answered& given) override {
    count();
    keys.emplace(request);
    kept++;
    MemoryStore::keepAnswer(request, given);
  }

  unsigned untilFailure = 0;  // 0: nothing fails
  bool lostCommit = false;
  unsigned kept = 0;           // answers
  std::set<std::string> keys;  // of all answers that were kept

 protected:
  void commit() override {
    lostCommit = untilFailure == 1;
    count();
    MemoryStore::commit();
  }

 private:
  void count() {
    if (untilFailure != 0 && --untilFailure == 0)
      throw StoreError("as the script says");
  }
};

// Every object with all that it has.
std::string contentOf(Store& store) {
  std::string result;
  for (const veskOid& classOid : store.classes()) {
    for (const veskOid& oid : store.objects(classOid)) {
      for (const auto number : oid.component)
        result += std::to_string(number) + '.';
      const auto record = store.read(oid);
      for (std::size_t i = 0; i < record->count(); ++i) {
        for (const auto number : record->id(i).component)
          result += ' ' + std::to_string(number);
        result += '=';
        result += record->value(i);
      }
    }
  }
  return result;
}

class Target {
 public:
  Target(fuzz::Script& script, fuzz::MemoryBound& memory)
      : script_(script), memory_(memory) {
    rules_.most = 8;
    rules_.mostOfOne = 4;
    rules_.isOwn = ostrel::tools::isLoopback;
    start();
    held_ = fuzz::Memory::held;
  }

  void play() {
    while (!script_.done()) {
      const unsigned action = script_.number(1);
      const sockaddr_in& from = kClients[action >> 3 & 3];
      switch (action & 7) {
        case 0:
          pass(std::chrono::milliseconds(script_.number(2)) *
               kUnits[action >> 3 & 3]);
          break;
        case 1:
          send(from, script_.bytes(script_.number(2)));
          break;
        case 2:
          send(from, fuzz::requestIn(script_));
          break;
        case 3:
          deliver(from, script_.bytes(script_.number(1)));
          break;
        case 4:
          sendAgain();
          break;
        case 5:
          executor_->work({});
          break;
        case 6:
          store_.untilFailure = 1 + script_.number(1) % 8;
          break;
        default:
          finish();
          start();
          break;
      }
      if ((action & 0x80) == 0) finish();
    }
    settle();
  }

 private:
  using Time = RequestExecutor::Time;

  // A request of the present batch: whether it changed anything so far, and
  // whether it was a change that was made now, and not before.
  struct Change {
    Name name;
    bool changed;
    bool made;
  };

  // The last change that was made alone, and its answer.
  struct Last {
    Message message;
    std::string answer;
  };

  // The server begins; what is in the store stays.
  void start() {
    store_.untilFailure = 0;
    last_.reset();
    executor_.reset();
    registrations_.emplace(&objects_, &clock_, &counters_, rules_);
    router_.emplace(&objects_, &*registrations_, Policy());
    router_->add(&host_);
    executor_.emplace(&cached_, &*registrations_, &*router_, &counters_,
                      RequestLimits{kLongestAnswer, 10s, kMostValuesHere});
  }

  void pass(std::chrono::milliseconds time) {
    finish();
    now_ += time;
    clock_.time += std::chrono::duration<double>(time).count();
    reassembly_.expire(now_);
    try {
      registrations_->tick();
      executor_->tick(now_);
    } catch (const StoreError&) {
    }
    collect();
  }

  void send(const sockaddr_in& from, const std::string& message) {
    for (const std::string& each : fuzz::datagramsOf(nextMessage_++, message))
      deliver(from, each);
  }

  void deliver(const sockaddr_in& from, const std::string& datagram) {
    memory_.arrived(datagram.size());
    arrived_ += datagram.size();
    Message message;
    if (!reassembly_.take(from, datagram, now_, nullptr, &message)) return;
    message.arrived = now_;
    handle(message);
  }

  void handle(Message message) {
    const std::string before = contentOf(store_);
    if (!executor_->inBatch() && batch_.empty()) beginning_ = before;
    const Name name = asked_.note(message.from, message.bytes);
    last_ = {message, ""};
    messages_++;
    const unsigned kept = store_.kept;
    executor_->handle(message, now_);
    batch_.push_back({name, contentOf(store_) != before, store_.kept != kept});
    if (!executor_->inBatch()) finish();
  }

  // A client that got no answer: the same bytes, and the next message.
  void sendAgain() {
    if (!last_ || last_->answer.empty()) return;
    finish();
    store_.untilFailure = 0;
    const Last first = *last_;
    if (now_ - first.message.arrived > kRepeatLife) return;
    Message message = first.message;
    message.id++;
    const std::string before = contentOf(store_);
    asked_.note(message.from, message.bytes);
    executor_->handle(message, now_);
    executor_->finishBatch();
    std::vector<Answer> answers = executor_->takeAnswers();
    require(answers.size() == 1 && answers[0].bytes == first.answer,
            "what is sent again has the same answer");
    require(contentOf(store_) == before, "what is sent again is made once");
    Name name;
    asked_.check(answers[0].to, answers[0].bytes, &name);
  }

  // Ends the batch.
  void finish() {
    store_.lostCommit = false;
    executor_->finishBatch();
    if (store_.lostCommit) {
      require(contentOf(store_) == beginning_,
              "of a batch that is not kept nothing is");
      batch_.clear();
    }
    const std::vector<std::string> made = collect();
    if (batch_.size() == 1 && batch_[0].made && made.size() == 1)
      last_->answer = made[0];
    else if (!batch_.empty())
      last_.reset();
    batch_.clear();
    require(contentOf(store_) == contentOf(cached_),
            "what is held of the store is what it has");
  }

  // Takes what the server sends. Returns the answers to changes that were made.
  std::vector<std::string> collect() {
    std::vector<std::string> made;
    for (Answer& each : executor_->takeAnswers()) {
      Name name;
      const int status = asked_.check(each.to, each.bytes, &name);
      if (status != 0 && status != -1)
        checkRefused(name);
      else if (fuzz::isChange(static_cast<unsigned char>(tagOf(name))))
        made.push_back(each.bytes);
    }
    for (const Outgoing& each : registrations_->takeOutgoing())
      require(ostrel::tools::decoded(*each.bytes) != nullptr,
              "an event decodes");
    return made;
  }

  // The tag of a request with this name.
  static unsigned tagOf(const Name& name) {
    for (unsigned tag = 0; tag < 256; ++tag)
      if (fuzz::responseTo(tag) == std::get<2>(name)) return tag;
    return 0;
  }

  // Where several have the name, it does not tell which was refused.
  void checkRefused(const Name& name) {
    unsigned alike = 0;
    bool changed = false;
    for (const Change& each : batch_) {
      if (each.name != name) continue;
      alike++;
      changed = each.changed;
    }
    require(alike != 1 || !changed, "a refused change changes nothing");
  }

  // Nobody sends any more, and all times pass.
  void settle() {
    store_.untilFailure = 0;
    finish();
    while (executor_->work(std::chrono::steady_clock::now() + 1h)) {
    }
    for (int i = 0; i < 4; ++i) pass(1h);
    require(reassembly_.count() == 0 && reassembly_.bytes() == 0,
            "no message stays incomplete");
    ostrel::tools::OwnedList left;
    veskOid classOid("59.6.0.0");
    registrations_->list(classOid, &left);
    require(left.count == 0, "no registration stays");
    for (const std::string& key : store_.keys)
      require(!store_.answer(key), "no answer stays");
    store_.keys.clear();
    removeAll();
    asked_.clear();
    last_.reset();
    beginning_ = "";
    const auto held = static_cast<std::size_t>(
        std::max<std::ptrdiff_t>(0, fuzz::Memory::held - held_));
    require(held <= kLeftForAny + kLeftForEach * messages_ + arrived_,
            "memory returns to where it was");
  }

  void removeAll() {
    for (const veskOid& classOid : store_.classes())
      for (const veskOid& oid : store_.objects(classOid)) cached_.remove(oid);
  }

  static constexpr std::array<int, 4> kUnits = {1, 10, 1000, 60000};
  static const std::array<sockaddr_in, 4> kClients;

  fuzz::Script& script_;
  fuzz::MemoryBound& memory_;
  fuzz::Asked asked_{kLongestAnswer};
  FuzzClock clock_;
  Counters counters_;
  FuzzStore store_;
  CachedStore cached_{&store_, kCacheBytes};
  StoredObjects objects_{&cached_, kMostValuesHere};
  RegistrationRules rules_;
  std::optional<Registrations> registrations_;
  HostManager host_{ostrel::tools::loopbackAddress(), &counters_};
  std::optional<RequestRouter> router_;
  std::optional<RequestExecutor> executor_;
  Reassembly reassembly_{kLongestRequest, &counters_};

  Time now_ = Time{} + 1000h;
  std::uint16_t nextMessage_ = 0;
  std::vector<Change> batch_;
  std::string beginning_;  // what the store had before the batch
  std::optional<Last> last_;
  std::size_t messages_ = 0;
  std::size_t arrived_ = 0;
  std::ptrdiff_t held_ = 0;  // in the beginning
};

// Two programs of this machine, another of its addresses, and a stranger.
const std::array<sockaddr_in, 4> Target::kClients = {
    fuzz::clientAt("127.0.0.1", 4000), fuzz::clientAt("127.0.0.1", 4001),
    fuzz::clientAt("127.0.0.2", 4000), fuzz::clientAt("192.0.2.7", 4000)};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  setLogLevel(Level::kError);
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  Target(script, memory).play();
  return 0;
}
