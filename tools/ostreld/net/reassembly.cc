#include "net/reassembly.h"

#include <algorithm>
#include <utility>

#include "common/addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr std::size_t kLargestDatagram = 65507;  // what UDP over IPv4 carries
constexpr std::size_t kLargestSingle = kLargestDatagram - kFragmentHeader;
constexpr std::chrono::seconds kSweep{1};

// What tells messages apart: the sender's address and port, and the id.
std::uint64_t messageKey(const sockaddr_in& from, std::uint16_t id) {
  constexpr unsigned kAddressShift = 32;
  constexpr unsigned kPortShift = 16;
  return std::uint64_t{from.sin_addr.s_addr} << kAddressShift |
         std::uint64_t{from.sin_port} << kPortShift | id;
}

// Whether the message that this fragment opens can be true.
bool canBe(const Fragment& fragment) {
  if (fragment.count == 1) return fragment.total <= kLargestSingle;
  return fragment.number < fragment.count &&
         fragment.total <= fragment.count * kFragmentData;
}

}  // namespace

// The longest message has room beside others, whatever it is.
Reassembly::Reassembly(std::size_t longest, Counters* counters)
    : longest_(longest),
      mostBytes_(
          std::max(std::min(kMostBytes, longest * kLongest), longest * 2)),
      mostBytesOfOne_(std::max(
          std::min(kMostBytesOfOne, longest * kLongestOfOne), longest * 2)),
      counters_(counters) {}

bool Reassembly::refuse(Counter why) {
  counters_->add(why);
  return false;
}

bool Reassembly::take(const sockaddr_in& from, std::string_view datagram,
                      Time now, RateLimit* rate, Message* message) {
  if (datagram.size() <= kFragmentHeader) return refuse(Counter::kMalformed);
  const Fragment fragment = Fragment::of(datagram);
  std::string_view data = datagram.substr(kFragmentHeader);
  if (fragment.version != kFragmentVersion || fragment.count == 0)
    return refuse(Counter::kMalformed);

  const std::uint64_t key = messageKey(from, fragment.id);
  const bool whole = fragment.count == 1;
  if (!whole) expire(now);
  const auto known = whole ? byKey_.end() : byKey_.find(key);
  if (known == byKey_.end()) {
    if (!canBe(fragment) || fragment.offset >= fragment.total)
      return refuse(Counter::kMalformed);
    if (!mayBegin(from, fragment.total, now, rate)) return false;
  } else if (fragment.number >= known->second->count ||
             fragment.offset >= known->second->total) {
    return refuse(Counter::kMalformed);
  }
  if (whole) {
    if (fragment.offset != 0 || data.size() < fragment.total)
      return refuse(Counter::kMalformed);
    message->from = from;
    message->id = fragment.id;
    message->bytes.assign(data.substr(0, fragment.total));
    return true;
  }
  if (known == byKey_.end()) open(from, fragment, now);
  if (!add(key, fragment, data)) return false;
  const auto partial = byKey_.at(key);
  if (partial->pieces.size() < partial->count) return false;
  finish(*partial, message);
  forget(partial);
  return true;
}

bool Reassembly::mayBegin(const sockaddr_in& from, std::size_t total, Time now,
                          RateLimit* rate) {
  if (total > longest_) {
    log(Level::kWarning, "dropped a message of more than " +
                             std::to_string(longest_) + " bytes");
    return refuse(Counter::kTooLong);
  }
  if (rate == nullptr || rate->allows(from.sin_addr, now)) return true;
  if (logs(Level::kDebug))
    log(Level::kDebug, "too many requests of " + endpointText(from));
  return refuse(Counter::kOverRate);
}

void Reassembly::open(const sockaddr_in& from, const Fragment& fragment,
                      Time now) {
  Share& share = shares_[from.sin_addr.s_addr];
  share.count++;
  while (share.count > kMostOfOne) dropOf(from.sin_addr, false);
  while (partials_.size() >= kMost) dropOf(largest(false), false);
  const std::size_t before = partials_.size();
  try {
    partials_.push_back({{from, fragment.id, "", {}},
                         fragment.count,
                         fragment.total,
                         now + kLife,
                         &share,
                         {},
                         0});
    byKey_[messageKey(from, fragment.id)] = std::prev(partials_.end());
  } catch (...) {
    if (partials_.size() > before) partials_.pop_back();
    if (--share.count == 0) shares_.erase(from.sin_addr.s_addr);
    throw;
  }
}

// Keeps a fragment's bytes, unless it is here already. Returns whether it was
// kept.
bool Reassembly::add(std::uint64_t key, const Fragment& fragment,
                     std::string_view data) {
  const auto partial = byKey_.at(key);
  if (partial->pieces.count(fragment.number) != 0) return false;
  // Whoever goes on sending is the last to lose anything.
  partials_.splice(partials_.end(), partials_, partial);
  data = data.substr(0, partial->total - fragment.offset);
  const std::size_t cost = data.size() + kFragmentCost;
  const in_addr address = partial->message.from.sin_addr;
  makeRoom(address, cost);
  if (byKey_.count(key) == 0) return false;
  partial->pieces.emplace(fragment.number,
                          Piece{fragment.offset, std::string(data)});
  partial->bytes += cost;
  shares_[address.s_addr].bytes += cost;
  bytes_ += cost;
  return true;
}

void Reassembly::makeRoom(in_addr address, std::size_t bytes) {
  const auto held = [&] {
    const auto share = shares_.find(address.s_addr);
    return share == shares_.end() ? 0 : share->second.bytes;
  };
  while (held() != 0 && held() + bytes > mostBytesOfOne_) dropOf(address, true);
  while (bytes_ != 0 && bytes_ + bytes > mostBytes_)
    dropOf(largest(true), true);
}

// Of those for which `size` is largest: where the number counts, what has
// fewest fragments; then what waits longest.
template <class Size>
Reassembly::Partials::iterator Reassembly::victim(bool byBytes, Size size) {
  auto result = partials_.begin();
  std::size_t most = 0;
  for (auto each = partials_.begin(); each != partials_.end(); ++each) {
    const std::size_t here = size(each);
    const bool less = !byBytes && each->pieces.size() < result->pieces.size();
    if (here < most || (here == most && !less)) continue;
    result = each;
    most = here;
  }
  return result;
}

// The address that holds most.
in_addr Reassembly::largest(bool byBytes) {
  const auto found = victim(byBytes, [=](Partials::iterator partial) {
    return byBytes ? partial->share->bytes : partial->share->count;
  });
  return found->message.from.sin_addr;
}

// Drops the message that waits longest of the address's port that holds most.
// Among ports that hold the same, that is one's turn whose message has least:
// those that do not go on.
void Reassembly::dropOf(in_addr address, bool byBytes) {
  struct Port {
    Partials::iterator longest;  // of its messages, what waits longest
    std::size_t size;
  };
  std::unordered_map<in_port_t, Port> ports;
  for (auto each = partials_.begin(); each != partials_.end(); ++each) {
    const sockaddr_in& from = each->message.from;
    if (from.sin_addr.s_addr != address.s_addr) continue;
    const auto port = ports.try_emplace(from.sin_port, Port{each, 0}).first;
    port->second.size += byBytes ? each->bytes : 1;
  }
  const auto dropped = victim(byBytes, [&](Partials::iterator partial) {
    const sockaddr_in& from = partial->message.from;
    if (from.sin_addr.s_addr != address.s_addr) return std::size_t{0};
    const Port& port = ports.at(from.sin_port);
    return port.longest == partial ? 1 + port.size : 0;
  });
  counters_->add(Counter::kPartialsDropped);
  forget(dropped);
}

void Reassembly::finish(const Partial& partial, Message* message) {
  message->from = partial.message.from;
  message->id = partial.message.id;
  message->bytes.assign(partial.total, '\0');
  for (const auto& [number, piece] : partial.pieces)
    message->bytes.replace(piece.offset, piece.bytes.size(), piece.bytes);
}

void Reassembly::forget(Partials::iterator partial) {
  const sockaddr_in& from = partial->message.from;
  const auto share = shares_.find(from.sin_addr.s_addr);
  share->second.count--;
  share->second.bytes -= partial->bytes;
  bytes_ -= partial->bytes;
  if (share->second.count == 0) shares_.erase(share);
  byKey_.erase(messageKey(from, partial->message.id));
  partials_.erase(partial);
}

void Reassembly::expire(Time now) {
  if (now < nextSweep_) return;
  nextSweep_ = now + kSweep;
  for (auto each = partials_.begin(); each != partials_.end();) {
    const auto partial = each++;
    if (now <= partial->expires) continue;
    counters_->add(Counter::kPartialsDropped);
    forget(partial);
  }
}

}  // namespace ostrel::tools::server
