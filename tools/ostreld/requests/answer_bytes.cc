#include "requests/answer_bytes.h"

#include <ostrel/codes.h>

#include "common/encoding.h"
#include "support/limits.h"
#include "support/log.h"

namespace ostrel::tools::server {

std::string refusalBytes(const RequestKind& kind, std::uint32_t requestId,
                         int code) {
  const Owned<veskPDU> refused = refusal(kind, requestId, code);
  return encoded(*refused, kLongestRefusal).value_or("");
}

std::string refusalBytes(std::string_view request, int code) {
  if (request.empty()) return "";
  const auto* kind = kindOf(static_cast<unsigned char>(request.front()));
  request.remove_prefix(1);
  if (kind == nullptr) return "";
  // No member of a header is longer.
  const Decoding status = decode(request.substr(0, kLongestRefusal));
  if (status.used == 0 || status.used > request.size()) return "";
  request.remove_prefix(status.used);
  const Decoding id = decode(request.substr(0, kLongestRefusal));
  auto* requestId = dynamic_cast<veskUnsignedInt*>(id.value.get());
  if (id.used == 0 || requestId == nullptr) return "";
  return refusalBytes(*kind, requestId->value, code);
}

std::string tooLongBytes(const RequestKind& kind, veskPDU& request,
                         std::size_t longest) {
  log(Level::kWarning, "an answer of more than " + std::to_string(longest) +
                           " bytes was replaced by an error");
  const bool search = dynamic_cast<veskSearchPDU*>(&request) != nullptr ||
                      dynamic_cast<veskDSsearchPDU*>(&request) != nullptr;
  return refusalBytes(kind, request.requestId.value,
                      search ? kTooManyResults : kInternalError);
}

}  // namespace ostrel::tools::server
