// --trace: every PDU as text and in hexadecimal, as it leaves and as it
// arrives. What arrives is looked at before the library takes it off the
// socket, so that datagrams which it refuses or drops are shown as well.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_TRACE_H
#define OSTREL_TOOLS_OSTREL_SESSION_TRACE_H

#include <netinet/in.h>
#include <ostrel/veskPDU.h>

#include <map>
#include <string>
#include <vector>

#include "terminal/output.h"

namespace ostrel::tools::cli {

class Trace {
 public:
  explicit Trace(Output& output) : output_(output) {}

  // What is sent to somebody; `how` is "sent" or "sent again".
  void sent(const char* how, const sockaddr_in& to, veskPDU& pdu);

  // What --dry-run does not send, which is a result and no trace.
  void wouldSend(const sockaddr_in& to, veskPDU& pdu);

  // Shows the datagram that waits at a socket, and the PDU once its last
  // fragment is there.
  void arriving(int socket);

 private:
  struct Partial {
    sockaddr_in from;
    unsigned messageId;
    std::map<unsigned, std::string> fragments;  // by number
  };

  void arrived(const sockaddr_in& from, const std::string& datagram);

  Output& output_;
  std::vector<Partial> partials_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_TRACE_H
