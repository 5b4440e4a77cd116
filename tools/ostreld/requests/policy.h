// Who may read and who may change what, by the address that a request comes
// from and the principal that it names.
//
// A principal is a claim that nothing proves, and an address can be forged, so
// the policy keeps programs from mistakes and not intruders from the objects:
// those are kept away by where the server listens.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H

#include <string>
#include <vector>

#include "common/addresses.h"
#include "objects/manager.h"

namespace ostrel::tools::server {

class Policy {
 public:
  // Everybody may read; requests from this machine may change.
  Policy() = default;

  // Nobody may change anything.
  static Policy readOnly();

  // Only requests in the name of one of these principals may change, from
  // anywhere; "any" stands for every request. Throws std::invalid_argument when
  // a text is neither that nor an identifier.
  static Policy writers(const std::vector<std::string>& principals);

  // Only requests from these networks may read; all may when there is none.
  // Those that may change from their networks may read as well.
  void allow(std::vector<Network> networks) { readers_ = std::move(networks); }

  // Only requests from these networks may change, in place of this machine's.
  // Where writers are named, both have to fit.
  void allowWrite(std::vector<Network> networks) {
    changers_ = std::move(networks);
  }

  // Principals that may end what others registered. Throws as writers() does.
  void administrators(const std::vector<std::string>& principals);

  bool mayRead(const Asker& asker) const;

  // Whoever may not read may not change.
  bool mayWrite(const Asker& asker) const;
  bool isAdministrator(const Asker& asker) const;

 private:
  enum class Rule { kLoopback, kNobody, kListed, kAnybody };

  Rule rule_ = Rule::kLoopback;
  std::vector<veskOid> writers_;
  std::vector<veskOid> administrators_;
  std::vector<Network> readers_;
  std::vector<Network> changers_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H
