#include "format/decode.h"

#include <ostrel/codes.h>

#include <algorithm>

#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

std::uint32_t bigEndian(std::string_view bytes) {
  std::uint32_t number = 0;
  for (const char c : bytes)
    number = number << 8 | static_cast<unsigned char>(c);
  return number;
}

void decodeValue(Decoded* decoded) {
  const std::string& bytes = decoded->bytes;
  if (bytes.empty()) {
    decoded->problem = "there is nothing to decode";
    return;
  }
  Decoding decoding = tools::decode(bytes);
  decoded->used = decoding.used;
  if (decoding.used != 0) {
    decoded->value = std::move(decoding.value);
    return;
  }
  const unsigned tag = static_cast<unsigned char>(bytes[0]);
  decoded->problem = decoding.value == nullptr
                         ? "no value begins with the tag " + std::to_string(tag)
                         : "the bytes end too early, or hold a value that is "
                           "not known, inside "
                           "a value with the tag " +
                               std::to_string(tag);
}

// The other fragments of the message that `first` is one of.
bool sameMessage(const Datagram& first, const Datagram& other) {
  return first.messageId == other.messageId &&
         first.fragmentCount == other.fragmentCount &&
         first.totalLength == other.totalLength;
}

bool sameNumber(const Datagram& a, const Datagram& b) {
  return a.fragment == b.fragment;
}

// Whether a result has a datagram that is alike.
bool holds(const Decoded& decoded, const Datagram& datagram,
           bool (*alike)(const Datagram&, const Datagram&)) {
  return std::any_of(
      decoded.datagrams.begin(), decoded.datagrams.end(),
      [&](const Datagram& other) { return alike(other, datagram); });
}

// No encoding but that of the null value begins with a byte 0, and it ends
// there.
bool isDatagram(std::string_view bytes) {
  return bytes.size() > 1 && bytes[0] == '\0';
}

// Puts a message together, or says what is missing.
void assemble(Decoded* decoded) {
  std::vector<Datagram>& parts = decoded->datagrams;
  std::sort(parts.begin(), parts.end(), [](const auto& a, const auto& b) {
    return a.fragment < b.fragment;
  });
  const unsigned count = parts[0].fragmentCount;
  if (parts.size() < count) {
    decoded->problem = std::to_string(parts.size()) + " of " +
                       std::to_string(count) +
                       " fragments: the message is not complete";
    return;
  }
  for (const Datagram& part : parts) {
    if (part.offset != decoded->bytes.size()) {
      decoded->problem = "fragment " + std::to_string(part.fragment) +
                         " does not continue the one before";
      return;
    }
    decoded->bytes += part.data;
  }
  if (decoded->bytes.size() != parts[0].totalLength) {
    decoded->problem = "the fragments hold " +
                       std::to_string(decoded->bytes.size()) +
                       " bytes, not the " +
                       std::to_string(parts[0].totalLength) + " announced";
    return;
  }
  decodeValue(decoded);
}

}  // namespace

std::string readDatagram(std::string_view bytes, Datagram* datagram) {
  if (bytes.size() <= kFragmentHeader)
    return "a datagram has a header of 16 bytes and data behind it, these "
           "are " +
           std::to_string(bytes.size()) + " bytes";
  const unsigned version = bigEndian(bytes.substr(0, 2));
  if (version != kFragmentVersion)
    return "the version of the datagram is " + std::to_string(version) +
           ", not 1";
  datagram->messageId = bigEndian(bytes.substr(2, 2));
  datagram->fragmentCount = bigEndian(bytes.substr(4, 2));
  datagram->fragment = bigEndian(bytes.substr(6, 2));
  datagram->totalLength = bigEndian(bytes.substr(8, 4));
  datagram->offset = bigEndian(bytes.substr(12, 4));
  datagram->data = bytes.substr(kFragmentHeader);
  const unsigned count = datagram->fragmentCount;
  if (count == 0) return "the message has no fragments";
  if (datagram->fragment >= count)
    return "there is no fragment " + std::to_string(datagram->fragment + 1) +
           " of " + std::to_string(count);
  const std::uint64_t end =
      std::uint64_t{datagram->offset} + datagram->data.size();
  if (end > datagram->totalLength)
    return "the data ends at byte " + std::to_string(end) +
           ", the message at byte " + std::to_string(datagram->totalLength);
  if (count > 1 && datagram->totalLength > std::size_t{count} * kFragmentData)
    return std::to_string(count) + " fragments cannot hold " +
           std::to_string(datagram->totalLength) + " bytes";
  return "";
}

bool sameFragment(const Datagram& a, const Datagram& b) {
  return sameMessage(a, b) && a.fragment == b.fragment &&
         a.offset == b.offset && a.data == b.data;
}

std::string datagramText(const Datagram& datagram) {
  return "message " + std::to_string(datagram.messageId) + ", fragment " +
         std::to_string(datagram.fragment + 1) + " of " +
         std::to_string(datagram.fragmentCount) + ", bytes " +
         std::to_string(datagram.offset) + " to " +
         std::to_string(datagram.offset + datagram.data.size() - 1) + " of " +
         std::to_string(datagram.totalLength);
}

Json datagramJson(const Datagram& datagram) {
  Json json;
  json["messageId"] = datagram.messageId;
  json["fragmentCount"] = datagram.fragmentCount;
  json["fragment"] = datagram.fragment;
  json["totalLength"] = datagram.totalLength;
  json["offset"] = datagram.offset;
  json["length"] = datagram.data.size();
  return json;
}

std::vector<Decoded> decodeAll(const std::vector<std::string>& inputs) {
  std::vector<Decoded> results;
  for (const std::string& input : inputs) {
    if (!isDatagram(input)) {
      results.emplace_back();
      results.back().bytes = input;
      decodeValue(&results.back());
      continue;
    }
    Datagram datagram;
    const std::string problem = readDatagram(input, &datagram);
    if (!problem.empty()) {
      results.emplace_back();
      results.back().bytes = input;
      results.back().problem = "a receiver refuses the datagram: " + problem;
      continue;
    }
    if (std::any_of(results.begin(), results.end(), [&](const Decoded& other) {
          return holds(other, datagram, sameFragment);
        }))
      continue;
    // Another fragment of that number is of another sender's message.
    const auto found =
        std::find_if(results.begin(), results.end(), [&](const Decoded& other) {
          return holds(other, datagram, sameMessage) &&
                 !holds(other, datagram, sameNumber);
        });
    Decoded& message = found != results.end() ? *found : results.emplace_back();
    message.datagrams.push_back(std::move(datagram));
  }
  for (Decoded& result : results)
    if (!result.datagrams.empty()) assemble(&result);
  return results;
}

std::string decodedText(const Decoded& decoded) {
  std::string text;
  for (const Datagram& datagram : decoded.datagrams)
    text += datagramText(datagram) + "\n";
  if (decoded.value == nullptr) return text;
  text += valueLines(decoded.value.get(), "");
  const std::size_t rest = decoded.bytes.size() - decoded.used;
  if (rest != 0)
    text += std::to_string(rest) +
            (rest == 1 ? " byte follows: " : " bytes follow: ") +
            hexText(std::string_view(decoded.bytes).substr(decoded.used)) +
            "\n";
  return text;
}

Json decodedJson(const Decoded& decoded) {
  Json json;
  json["datagrams"] = Json::array();
  for (const Datagram& datagram : decoded.datagrams)
    json["datagrams"].push_back(datagramJson(datagram));
  json["bytes"] = decoded.bytes.size();
  json["used"] = decoded.used;
  json["value"] =
      decoded.value != nullptr ? toJson(decoded.value.get()) : Json(nullptr);
  json["problem"] =
      decoded.problem.empty() ? Json(nullptr) : Json(decoded.problem);
  return json;
}

}  // namespace ostrel::tools::cli
