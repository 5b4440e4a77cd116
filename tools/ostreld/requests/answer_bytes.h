// The bytes of answers that have nothing but a code.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_BYTES_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "requests/request_router.h"

namespace ostrel::tools::server {

std::string refusalBytes(const RequestKind& kind, std::uint32_t requestId,
                         int code);

// The same for a request that was not decoded: its kind and its id come first
// in its bytes. "" when they do not tell.
std::string refusalBytes(std::string_view request, int code);

// What is sent instead of an answer of more than `longest` bytes: error 255, or
// for a search 100. Logs it.
std::string tooLongBytes(const RequestKind& kind, veskPDU& request,
                         std::size_t longest);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_BYTES_H
