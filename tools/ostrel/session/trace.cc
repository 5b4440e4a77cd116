#include "session/trace.h"

#include <sys/socket.h>

#include <algorithm>

#include "common/addresses.h"
#include "common/encoding.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

constexpr std::size_t kLargestDatagram = 65536;

// Messages of which some fragments were shown; beyond this the oldest go.
constexpr std::size_t kMostPartials = 64;

// Requests whose first transmission is remembered.
constexpr std::size_t kMostIds = 65536;

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

void Trace::sent(const sockaddr_in& to, veskPDU& pdu) {
  const Shown line = shown("sent", "to", to, pduText(pdu, "  "),
                           encoded(pdu).value_or(""), toJson(&pdu));
  output_.trace(line.text, line.json);
}

void Trace::wouldSend(const sockaddr_in& to, veskPDU& pdu) {
  const Shown line = shown("would send", "to", to, pduText(pdu, "  "),
                           encoded(pdu).value_or(""), toJson(&pdu));
  output_.result(line.text, line.json);
}

bool Trace::wouldSend(const ostrel::Datagram& datagram) {
  const sockaddr_in to = datagram.peer.socketAddress();
  const auto message = assembled(false, to, datagram.bytes);
  if (!message) return false;
  // The identifier of a request is chosen when it is sent.
  if (auto* pdu = dynamic_cast<veskPDU*>(message->value.get())) {
    pdu->requestId.value = 0;
    wouldSend(to, *pdu);
  }
  return true;
}

void Trace::passing(const ostrel::Datagram& datagram) {
  const sockaddr_in peer = datagram.peer.socketAddress();
  if (datagram.received) return arrived(peer, datagram.bytes);
  const auto message = assembled(false, peer, datagram.bytes);
  if (!message || message->value == nullptr) return;
  const char* how = isAgain(*message->value) ? "sent again" : "sent";
  const Shown line =
      shown(how, "to", peer, valueLines(message->value.get(), "  "),
            message->bytes, toJson(message->value.get()));
  output_.trace(line.text, line.json);
}

bool Trace::isAgain(const veskType& value) {
  auto* pdu = dynamic_cast<const veskPDU*>(&value);
  if (pdu == nullptr) return false;
  if (sent_.size() == kMostIds) sent_.clear();
  return !sent_.insert(pdu->requestId.value).second;
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

// What a datagram completes, or is: one that receivers refuse is a problem
// without a value. Nothing while fragments are missing.
std::optional<Decoded> Trace::assembled(bool received, const sockaddr_in& peer,
                                        std::string_view datagram) {
  Datagram header;
  const std::string problem = readDatagram(datagram, &header);
  if (!problem.empty()) {
    Decoded refused;
    refused.bytes = std::string(datagram);
    refused.problem = problem;
    return refused;
  }
  std::vector<std::string> parts = {std::string(datagram)};
  if (header.fragmentCount > 1) {
    const auto known = std::find_if(
        partials_.begin(), partials_.end(), [&](const Partial& partial) {
          return partial.received == received &&
                 sameEndpoint(partial.peer, peer) &&
                 partial.messageId == header.messageId;
        });
    Partial partial = {received, peer, header.messageId, {}};
    if (known != partials_.end()) {
      partial = std::move(*known);
      partials_.erase(known);
    }
    // The same again is no news.
    partial.fragments[header.fragment] = parts[0];
    if (partial.fragments.size() < header.fragmentCount) {
      if (partials_.size() == kMostPartials) partials_.erase(partials_.begin());
      partials_.push_back(std::move(partial));
      return std::nullopt;
    }
    parts.clear();
    for (const auto& fragment : partial.fragments)
      parts.push_back(fragment.second);
  }
  std::vector<Decoded> messages = decodeAll(parts);
  Decoded& message = messages[0];
  if (message.value == nullptr && message.bytes.empty())
    message.bytes = std::string(datagram);
  return std::move(message);
}

void Trace::arrived(const sockaddr_in& from, std::string_view datagram) {
  const auto message = assembled(true, from, datagram);
  if (!message) return;
  veskType* value = message->value.get();
  const Shown line =
      value != nullptr
          ? shown("received", "from", from, valueLines(value, "  "),
                  message->bytes, toJson(value))
          : shown("refused", "from", from, "  " + message->problem + "\n",
                  message->bytes, nullptr);
  output_.trace(line.text, line.json);
}

}  // namespace ostrel::tools::cli
