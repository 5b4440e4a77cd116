#include "requests/policy.h"

#include <algorithm>
#include <stdexcept>

#include "common/addresses.h"

namespace ostrel::tools::server {

Policy Policy::readOnly() {
  Policy policy;
  policy.rule_ = Rule::kNobody;
  return policy;
}

Policy Policy::writers(const std::vector<std::string>& principals) {
  Policy policy;
  policy.rule_ = Rule::kListed;
  for (const std::string& principal : principals) {
    if (principal == "any") {
      policy.rule_ = Rule::kAnybody;
      continue;
    }
    veskOid oid(principal.c_str());
    if (oid.valid == 0)
      throw std::invalid_argument("not an identifier: " + principal);
    policy.writers_.push_back(oid);
  }
  return policy;
}

bool Policy::mayWrite(const Asker& asker) const {
  switch (rule_) {
    case Rule::kLoopback:
      return isLoopback(asker.address.sin_addr);
    case Rule::kAnybody:
      return true;
    case Rule::kListed: {
      veskOid principal = asker.principal;
      return principal.valid != 0 &&
             std::any_of(writers_.begin(), writers_.end(),
                         [&](veskOid writer) { return writer == principal; });
    }
    default:
      return false;
  }
}

}  // namespace ostrel::tools::server
