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

std::string tooLongBytes(const RequestKind& kind, veskPDU& request,
                         std::size_t longest) {
  log(Level::kWarning, "an answer of more than " + std::to_string(longest) +
                           " bytes was replaced by an error");
  return refusalBytes(kind, request.requestId.value, kInternalError);
}

}  // namespace ostrel::tools::server
