// A search in pages.

#ifndef OSTREL_SRC_SEARCH_H
#define OSTREL_SRC_SEARCH_H

#include <vector>

#include "client/async/composite.h"

namespace ostrel {

class Search : public Composite<Done> {
 public:
  using Page = UniqueFunction<bool(std::vector<Object>&&)>;

  Search(ClientState& state, const Endpoint& server, const Oid& classOid,
         std::vector<Term> terms, Page page, SearchOptions options,
         Handler<Done> end);

  // Asks for the next page.
  void next();

 private:
  void arrived(Result<Values>&& found);
  void arrivedWhole(Result<Values>&& found);
  void nextObjects();
  void objectArrived(std::size_t at, Result<Attributes>&& attributes);
  // Hands a page over. Returns whether to go on; if not, the search has ended
  // or gone.
  bool give(std::vector<Object> objects);
  void succeed();

  Endpoint server_;
  Oid classOid_;
  std::vector<Term> terms_;
  Page page_;
  SearchOptions options_;
  Oid behind_{0, 0};
  bool first_ = true;
  std::vector<ItemError> errors_;
  // For servers that know no pages.
  std::vector<Oid> left_;   // found, in reverse order
  std::size_t before_ = 0;  // objects of former pages
  std::vector<Object> objects_;
  std::vector<bool> there_;
  std::size_t waitsFor_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_SEARCH_H
