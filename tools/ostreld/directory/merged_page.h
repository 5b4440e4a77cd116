// The pages of several object servers as one.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_PAGE_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_PAGE_H

#include <ostrel/veskPDU.h>

#include <cstddef>
#include <optional>
#include <vector>

#include "common/owned.h"
#include "objects/page.h"

namespace ostrel::tools::server {

// Results in ascending order of their identifiers, as far as every server's
// page goes: behind its end, a server may have more. Of one identifier all
// servers' results are there, in the order of the servers.
class MergedPage {
 public:
  // It has to outlive this object.
  explicit MergedPage(const Page* page) : page_(page) {}

  // Adds the results of the next server, and takes them out of the list. Its
  // address comes with each of them.
  void add(veskList* results, in_addr server);

  // Moves what the page asks for to the lists of an answer, as much as may be
  // sent at once, and of at most `longest` bytes.
  void moveTo(veskDSsearchRespPDU* answer, std::size_t longest);

 private:
  struct Result {
    Owned<veskType> value;
    veskOid* oid;  // in it
    in_addr server;
  };
  using Results = std::vector<Result>;

  static std::size_t lengthOf(Results::iterator first, Results::iterator last);

  const Page* page_;
  Results results_;
  std::optional<veskOid> end_;  // where the first of the servers' pages ends
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_PAGE_H
