// --trace: every PDU as text and in hexadecimal, as it leaves and as it
// arrives. What arrives is looked at before the library judges it, so that
// datagrams which it refuses or drops are shown as well.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_TRACE_H
#define OSTREL_TOOLS_OSTREL_SESSION_TRACE_H

#include <netinet/in.h>
#include <ostrel/client.h>
#include <ostrel/veskPDU.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "format/decode.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

class Trace {
 public:
  explicit Trace(Output& output) : output_(output) {}

  // Shows a datagram of the client, and the PDU once its last fragment is
  // there.
  void passing(const ostrel::Datagram& datagram);

  // The same for what --dry-run does not send, which is a result and no trace.
  // Returns whether the PDU was whole.
  bool wouldSend(const ostrel::Datagram& datagram);

  // What is sent to somebody otherwise.
  void sent(const sockaddr_in& to, veskPDU& pdu);
  void wouldSend(const sockaddr_in& to, veskPDU& pdu);

  // Shows the datagram that waits at a socket.
  void arriving(int socket);

 private:
  struct Partial {
    bool received;
    sockaddr_in peer;
    unsigned messageId;
    std::map<unsigned, std::string> fragments;  // by number
  };

  std::optional<Decoded> assembled(bool received, const sockaddr_in& peer,
                                   std::string_view datagram);
  void arrived(const sockaddr_in& from, std::string_view datagram);
  bool isAgain(const veskType& pdu);

  Output& output_;
  std::vector<Partial> partials_;
  std::set<std::uint32_t> sent_;  // request ids
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_TRACE_H
