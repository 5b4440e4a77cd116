// What clients asked of a server, and what holds for everything that it sends
// them: it answers a request of theirs, by its id and with the response of its
// kind, no more often than it was asked, in bytes that decode and that are not
// too many.

#ifndef OSTREL_FUZZ_SERVERS_ASKED_H
#define OSTREL_FUZZ_SERVERS_ASKED_H

#include <ostrel/codes.h>
#include <ostrel/veskPDU.h>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "../script.h"
#include "common/addresses.h"
#include "common/encoding.h"
#include "net/fragment.h"

namespace fuzz {

// The tag of the response to a request with this one; 0 when it is no request.
// That to an action has the tag of that to a set.
inline unsigned responseTo(unsigned tag) {
  constexpr unsigned kTags[][2] = {{0x1C, 0x25}, {0x1D, 0x26}, {0x1E, 0x2B},
                                   {0x1F, 0x27}, {0x20, 0x28}, {0x21, 0x29},
                                   {0x23, 0x28}, {0x2C, 0x2D}, {0x2E, 0x2F}};
  for (const auto& row : kTags)
    if (row[0] == tag) return row[1];
  return 0;
}

// Whether such a request may change anything.
inline bool isChange(unsigned tag) {
  return tag == 0x1C || tag == 0x1D || tag == 0x1E || tag == 0x20 ||
         tag == 0x23;
}

// A request as its answer names it: whose it is, the response's tag, its id.
using Name = std::tuple<std::uint32_t, std::uint16_t, unsigned, std::uint32_t>;

inline Name nameOf(const sockaddr_in& client, unsigned response,
                   std::uint32_t id) {
  return {client.sin_addr.s_addr, client.sin_port, response, id};
}

class Asked {
 public:
  explicit Asked(std::size_t longest) : longest_(longest) {}

  // A message that the server is about to get. Returns the request's name, of
  // response 0 when it is none.
  Name note(const sockaddr_in& from, const std::string& message) {
    const auto header = ostrel::tools::headerIn(message);
    if (header == nullptr) return nameOf(from, 0, 0);
    const Name name =
        nameOf(from, responseTo(header->tag), header->requestId.value);
    open_[name]++;
    return name;
  }

  // Ends the run unless it is an answer as it ought to be. Returns its status.
  int check(const sockaddr_in& to, const std::string& answer, Name* name) {
    require(answer.size() <= longest_, "an answer is not too long");
    const auto value = ostrel::tools::decoded(answer);
    auto* pdu = dynamic_cast<veskPDU*>(value.get());
    require(pdu != nullptr, "an answer decodes");
    *name = nameOf(to, pdu->tag, pdu->requestId.value);
    const auto found = open_.find(*name);
    require(found != open_.end(),
            "an answer has the kind and id of a request of who gets it");
    if (--found->second == 0) open_.erase(found);
    return pdu->status.value;
  }

  void clear() { open_.clear(); }

 private:
  std::size_t longest_;
  std::map<Name, unsigned> open_;
};

// A request with any members: its tag, a header with the id, and bytes.
inline std::string requestIn(Script& script) {
  std::string result(1, static_cast<char>(script.number(1)));
  const auto id = static_cast<char>(script.number(1));
  result +=
      std::string("\x03\x00\x43\x01", 4) + id + std::string("\x0A\x00", 2);
  return result + script.bytes(script.number(2));
}

// The datagrams of a message, in order.
inline std::vector<std::string> datagramsOf(std::uint16_t id,
                                            const std::string& message) {
  using ostrel::tools::server::Fragment;
  Fragment fragment;
  fragment.id = id;
  fragment.count = static_cast<std::uint16_t>(
      ostrel::tools::server::fragmentsOf(message.size()));
  fragment.total = static_cast<std::uint32_t>(message.size());
  std::vector<std::string> result;
  for (; fragment.number < fragment.count; ++fragment.number) {
    const Fragment::Bytes header = fragment.bytes();
    result.emplace_back(header.begin(), header.end());
    result.back() += message.substr(fragment.offset, ostrel::kFragmentData);
    fragment.offset += ostrel::kFragmentData;
  }
  return result;
}

inline sockaddr_in clientAt(const char* host, std::uint16_t port) {
  return ostrel::tools::endpoint(*ostrel::tools::parseAddress(host), port);
}

}  // namespace fuzz

#endif  // OSTREL_FUZZ_SERVERS_ASKED_H
