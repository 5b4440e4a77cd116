// The bytes of a search's answer, while the search goes on.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCH_ANSWER_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCH_ANSWER_H

#include <ostrel/veskPDU.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "net/outbox.h"
#include "objects/search.h"

namespace ostrel::tools::server {

// An answer whose list of results, its last member, grows.
class SearchAnswer {
 public:
  // A page ends before its answer is so long that it would not leave at once.
  static constexpr std::size_t kLongestPage = Outbox::kQuickMessage;

  // The PDU stands before the results; its own list stays empty. Both have to
  // outlive this object.
  SearchAnswer(Places* places, veskSearchRespPDU* answer, std::size_t longest);

  // Before the first result: what a page is to be. It has to outlive this
  // object.
  void begin(Page* page);

  // Adds what was found. Returns whether there may be more.
  bool add(veskOid& oid);

  // How many bytes the results take.
  std::size_t size() const { return results_.size(); }

  // Frees the results.
  void clear();

  // The whole answer; "" when not all that was found had room, and no page was
  // asked for.
  std::string finish();

 private:
  std::string resultOf(veskOid& oid);
  std::size_t lengthWith(std::size_t result) const;

  Places* places_;
  veskSearchRespPDU* answer_;
  Page* page_ = nullptr;
  std::size_t head_ = 0;  // bytes before the results
  std::size_t longest_;   // what an answer may have
  std::size_t room_;      // what this one may have
  std::string results_;
  std::uint32_t count_ = 0;
  bool tooMany_ = false;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCH_ANSWER_H
