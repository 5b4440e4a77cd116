#include "requests/policy.h"

#include <algorithm>
#include <stdexcept>

namespace ostrel::tools::server {
namespace {

veskOid principalFrom(const std::string& text) {
  veskOid oid(text.c_str());
  if (oid.valid == 0) throw std::invalid_argument("not an identifier: " + text);
  return oid;
}

bool isOneOf(const std::vector<veskOid>& principals, const Asker& asker) {
  veskOid principal = asker.principal;
  return principal.valid != 0 &&
         std::any_of(principals.begin(), principals.end(),
                     [&](veskOid each) { return each == principal; });
}

bool isIn(const std::vector<Network>& networks, const Asker& asker) {
  return std::any_of(networks.begin(), networks.end(),
                     [&](const Network& each) {
                       return contains(each, asker.address.sin_addr);
                     });
}

}  // namespace

Policy Policy::readOnly() {
  Policy policy;
  policy.rule_ = Rule::kNobody;
  return policy;
}

Policy Policy::writers(const std::vector<std::string>& principals) {
  Policy policy;
  policy.rule_ = Rule::kListed;
  for (const std::string& principal : principals) {
    if (principal == "any")
      policy.rule_ = Rule::kAnybody;
    else
      policy.writers_.push_back(principalFrom(principal));
  }
  return policy;
}

void Policy::administrators(const std::vector<std::string>& principals) {
  for (const std::string& principal : principals)
    administrators_.push_back(principalFrom(principal));
}

bool Policy::mayRead(const Asker& asker) const {
  return readers_.empty() || isIn(readers_, asker) || isIn(changers_, asker);
}

bool Policy::mayWrite(const Asker& asker) const {
  if (!mayRead(asker)) return false;
  if (!changers_.empty() && !isIn(changers_, asker)) return false;
  switch (rule_) {
    case Rule::kLoopback:
      return !changers_.empty() || isLoopback(asker.address.sin_addr);
    case Rule::kAnybody:
      return true;
    case Rule::kListed:
      return isOneOf(writers_, asker);
    default:
      return false;
  }
}

bool Policy::isAdministrator(const Asker& asker) const {
  return isOneOf(administrators_, asker) && mayWrite(asker);
}

}  // namespace ostrel::tools::server
