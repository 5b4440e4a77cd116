#include "session/trace.h"

#include <sys/socket.h>

#include <algorithm>

#include "common/addresses.h"
#include "common/encoding.h"
#include "format/decode.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

constexpr std::size_t kLargestDatagram = 65536;

// Messages of which some fragments were shown; beyond this the oldest go.
constexpr std::size_t kMostPartials = 64;

// Digits on a line, as four times 8 bytes.
constexpr std::size_t kDigitsInLine = 64;

std::string hexLines(const std::string& bytes, const std::string& indent) {
  const std::string digits = hexText(bytes);
  std::string text;
  for (std::size_t i = 0; i < digits.size(); i += kDigitsInLine)
    text += indent + digits.substr(i, kDigitsInLine) + "\n";
  return text;
}

// A PDU and where it went or came from, in both forms.
struct Shown {
  std::string text;
  Json json;
};

Shown shown(const char* how, const char* preposition,
            const sockaddr_in& address, const std::string& pdu,
            const std::string& bytes, Json json) {
  const std::string endpoint = endpointText(address);
  Shown all;
  all.text = std::string(how) + " " + preposition + " " + endpoint + "\n" +
             pdu + hexLines(bytes, "    ");
  all.json["trace"] = how;
  all.json[preposition] = endpoint;
  all.json["pdu"] = std::move(json);
  all.json["hex"] = hexText(bytes);
  return all;
}

}  // namespace

void Trace::sent(const char* how, const sockaddr_in& to, veskPDU& pdu) {
  const Shown line = shown(how, "to", to, pduText(pdu, "  "),
                           encoded(pdu).value_or(""), toJson(&pdu));
  output_.trace(line.text, line.json);
}

void Trace::wouldSend(const sockaddr_in& to, veskPDU& pdu) {
  const Shown line = shown("would send", "to", to, pduText(pdu, "  "),
                           encoded(pdu).value_or(""), toJson(&pdu));
  output_.result(line.text, line.json);
}

void Trace::arriving(int socket) {
  std::string datagram(kLargestDatagram, '\0');
  sockaddr_in from = {};
  socklen_t length = sizeof from;
  const ssize_t size = recvfrom(socket, datagram.data(), datagram.size(),
                                MSG_PEEK | MSG_DONTWAIT,
                                reinterpret_cast<sockaddr*>(&from), &length);
  if (size < 0) return;
  datagram.resize(static_cast<std::size_t>(size));
  arrived(from, datagram);
}

void Trace::arrived(const sockaddr_in& from, const std::string& datagram) {
  const auto show = [&](const Shown& line) {
    output_.trace(line.text, line.json);
  };
  Datagram header;
  const std::string problem = readDatagram(datagram, &header);
  if (!problem.empty()) {
    show(shown("refused", "from", from, "  " + problem + "\n", datagram,
               nullptr));
    return;
  }
  std::vector<std::string> parts = {datagram};
  if (header.fragmentCount > 1) {
    const auto known = std::find_if(
        partials_.begin(), partials_.end(), [&](const Partial& partial) {
          return sameEndpoint(partial.from, from) &&
                 partial.messageId == header.messageId;
        });
    Partial partial = {from, header.messageId, {}};
    if (known != partials_.end()) {
      partial = std::move(*known);
      partials_.erase(known);
    }
    // The same again is no news.
    partial.fragments[header.fragment] = datagram;
    if (partial.fragments.size() < header.fragmentCount) {
      if (partials_.size() == kMostPartials) partials_.erase(partials_.begin());
      partials_.push_back(std::move(partial));
      return;
    }
    parts.clear();
    for (const auto& fragment : partial.fragments)
      parts.push_back(fragment.second);
  }
  const std::vector<Decoded> messages = decodeAll(parts);
  const Decoded& message = messages[0];
  if (message.value == nullptr) {
    show(shown("refused", "from", from, "  " + message.problem + "\n",
               message.bytes.empty() ? datagram : message.bytes, nullptr));
    return;
  }
  show(shown("received", "from", from, valueLines(message.value.get(), "  "),
             message.bytes, toJson(message.value.get())));
}

}  // namespace ostrel::tools::cli
