#include "commands/paged_search.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "format/object_json.h"

namespace ostrel::tools::cli {

void PagedSearch::ask(const std::string& subject, const Oid& classOid,
                      const std::vector<Term>& terms, const Take& take,
                      const End& end) {
  Output& output = session_.output();
  const std::vector<Target>& all = session_.servers({});
  Aids items;
  for (const Term& term : terms) items.push_back(term.attribute.id);
  servers_.ask<Done>(
      subject,
      [&](const Endpoint& server, Handler<Done> handler,
          const RequestOptions& options) {
        const Target target = *std::find_if(
            all.begin(), all.end(),
            [&](const Target& each) { return each.at == server; });
        SearchOptions search;
        search.request = options;
        search.wanted = wanted_;
        return session_.client().search(
            server, classOid, terms,
            [this, target, take, &output](std::vector<Object>&& page) {
              found_ += page.size();
              output.endProgress();
              take(target, page);
              return !output.broken();
            },
            std::move(handler), std::move(search));
      },
      [&output, classOid, end, items](const Target& server, Done,
                                      const ItemErrors& errors) {
        end(server, errors);
        return reportErrors(output, classOid.text(), errors, items);
      });
}

Exit PagedSearch::finish() {
  const Exit exit = servers_.finish();
  Output& output = session_.output();
  if (exit == kDone && found_ == 0 && !output.settings().dryRun)
    output.note("ostrel: nothing found");
  return exit;
}

std::vector<Term> termsFrom(const Words& words) {
  return termsFrom(Json(words), std::time(nullptr));
}

}  // namespace ostrel::tools::cli
