#include "requests/refusals.h"

#include <ostrel/codes.h>
#include <ostrel/veskError.h>

#include <cstdlib>
#include <memory>

#include "common/addresses.h"
#include "common/printed.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};

std::string reason(int code) {
  if (code == kNoError) return "dropped";
  const std::unique_ptr<char, Free> text(veskGetErrorString(code, nullptr));
  return text ? text.get() : std::to_string(code);
}

}  // namespace

void Refusals::note(const RequestKind& kind, veskPDU& request,
                    const sockaddr_in& from, int code, Time now) {
  unsigned more = 0;
  if (!logs(Level::kInfo) || !mayLog(from.sin_addr, now, &more)) return;
  std::string line = "refused " + describe(kind, request) + " by " +
                     endpointText(from) + " as " + printed(request.principal) +
                     ": " + reason(code);
  if (more != 0) line += " (" + std::to_string(more) + " more before)";
  log(Level::kInfo, line);
}

bool Refusals::mayLog(in_addr address, Time now, unsigned* more) {
  if (addresses_.size() >= kMostAddresses) {
    for (auto at = addresses_.begin(); at != addresses_.end();)
      at = now - at->second.logged >= kQuiet ? addresses_.erase(at)
                                             : std::next(at);
    if (addresses_.size() >= kMostAddresses &&
        addresses_.count(address.s_addr) == 0)
      return false;
  }
  const auto [found, fresh] =
      addresses_.try_emplace(address.s_addr, Address{now, 0});
  Address& known = found->second;
  if (fresh) return true;
  if (now - known.logged < kQuiet) {
    known.more++;
    return false;
  }
  *more = known.more;
  known = {now, 0};
  return true;
}

}  // namespace ostrel::tools::server
