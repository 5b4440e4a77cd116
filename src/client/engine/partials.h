// Answers of several fragments, while some are missing. Only a server that has
// been asked may send them, and what is kept is what has arrived, whatever the
// headers claim.
//
// Fragments have to be cut as every sender cuts them: 1456 bytes in each but
// the last.

#ifndef OSTREL_SRC_PARTIALS_H
#define OSTREL_SRC_PARTIALS_H

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "client/engine/call.h"

namespace ostrel {

struct FragmentHeader {
  std::uint16_t messageId = 0;
  std::uint16_t count = 0;
  std::uint16_t number = 0;
  std::uint32_t total = 0;
  std::uint32_t offset = 0;
};

// Reads and checks a datagram's header against the datagram's size. False: it
// is none that any sender makes.
bool readFragmentHeader(const char* bytes, std::size_t size,
                        FragmentHeader* header);

// One message.
struct Partial {
  PeerAddress from;
  std::uint16_t messageId = 0;
  std::uint16_t count = 0;
  std::uint32_t total = 0;
  Moment expiry = 0;
  std::size_t bytes = 0;      // that have arrived
  std::uint32_t request = 0;  // the id that its first fragment has, once
  bool claimed = false;       // that one is there
  bool event = false;         // and begins an event
  std::map<std::uint16_t, std::string> parts;
};

class Partials {
 public:
  static constexpr unsigned kMost = 1024;
  static constexpr unsigned kMostFromOne = 16;
  static constexpr std::size_t kMostBytes = 128U << 20;
  static constexpr Moment kPatience = 60 * kSecond;

  Partials() = default;
  Partials(const Partials&) = delete;
  Partials& operator=(const Partials&) = delete;

  // Stores a fragment. Returns the message that it belongs to; null when it
  // belongs to none or has come before. Throws std::bad_alloc.
  Partial* store(const PeerAddress& from, const FragmentHeader& header,
                 const char* data, std::size_t size, Moment now);

  // The whole message; the entry is gone then.
  std::string take(Partial* partial);
  void drop(Partial* partial);

  // Drops what a peer sent, and what is too old.
  void forget(const PeerAddress& from);
  void expire(Moment now);

  std::size_t count() const { return entries_.size(); }
  std::size_t bytes() const { return bytes_; }
  std::uint64_t dropped() const { return dropped_; }

 private:
  using Key = std::pair<PeerAddress, std::uint16_t>;
  using Entries = std::map<Key, Partial>;

  Partial* find(const PeerAddress& from, const FragmentHeader& header,
                Moment now);
  void makeRoom(const PeerAddress& from, std::size_t bytes);
  bool dropOldest(const PeerAddress& from);

  Entries entries_;
  std::size_t bytes_ = 0;
  std::uint64_t dropped_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_PARTIALS_H
