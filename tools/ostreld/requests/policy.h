// Who may write. Whoever asks may read.
//
// A principal is a claim that nothing proves, so the policy keeps programs from
// mistakes and not intruders from the objects: those are kept away by where the
// server listens.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H

#include <string>
#include <vector>

#include "objects/manager.h"

namespace ostrel::tools::server {

class Policy {
 public:
  // Requests from this machine may write.
  Policy() = default;

  // Nobody may.
  static Policy readOnly();

  // Only requests in the name of one of these principals may, from anywhere;
  // "any" stands for every request. Throws std::invalid_argument when a text is
  // neither that nor an identifier.
  static Policy writers(const std::vector<std::string>& principals);

  bool mayWrite(const Asker& asker) const;

 private:
  enum class Rule { kLoopback, kNobody, kListed, kAnybody };

  Rule rule_ = Rule::kLoopback;
  std::vector<veskOid> writers_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_POLICY_H
