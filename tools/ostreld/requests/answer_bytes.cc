#include "requests/answer_bytes.h"

#include <ostrel/codes.h>

#include "common/encoding.h"
#include "support/limits.h"
#include "support/log.h"

namespace ostrel::tools::server {

std::string refusalBytes(const RequestKind& kind, veskPDU& request, int code) {
  const Owned<veskPDU> refused = refusal(kind, request, code);
  return encoded(*refused, kLongestRefusal).value_or("");
}

std::string tooLongBytes(const RequestKind& kind, veskPDU& request,
                         std::size_t longest) {
  log(Level::kWarning, "an answer of more than " + std::to_string(longest) +
                           " bytes was replaced by an error");
  return refusalBytes(kind, request, kInternalError);
}

}  // namespace ostrel::tools::server
