// Searches at every server of the command line whose results are printed page
// by page, as they arrive.

#ifndef OSTREL_TOOLS_OSTREL_COMMANDS_PAGED_SEARCH_H
#define OSTREL_TOOLS_OSTREL_COMMANDS_PAGED_SEARCH_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/every_server.h"
#include "commands/results.h"

namespace ostrel::tools::cli {

class PagedSearch {
 public:
  // With these attributes, none: all; std::nullopt: identifiers alone.
  PagedSearch(Session& session, const char* command, std::optional<Aids> wanted)
      : session_(session),
        servers_(session, command, EveryServer::Failures::kOfTheCommand),
        wanted_(std::move(wanted)) {}

  // Takes each page, and is told the end with the errors of the search. Pages
  // of one server are in ascending order.
  using Take =
      std::function<void(const Target& server, const std::vector<Object>&)>;
  using End =
      std::function<void(const Target& server, const ItemErrors& errors)>;

  // Has every server search a class; `subject` is the class as it was typed in.
  // Several classes are searched at the same time.
  void ask(const std::string& subject, const Oid& classOid,
           const std::vector<Term>& terms, const Take& take, const End& end);

  // Waits for what was asked. Returns the exit code, and throws, as
  // EveryServer does.
  Exit finish();

  bool severalServers() const { return servers_.several(); }
  std::size_t found() const { return found_; }

 private:
  Session& session_;
  EveryServer servers_;
  std::optional<Aids> wanted_;
  std::size_t found_ = 0;
};

// Conditions as they are typed in.
std::vector<Term> termsFrom(const Words& words);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMMANDS_PAGED_SEARCH_H
