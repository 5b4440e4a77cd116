#include "directory/merged_search.h"

#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <algorithm>
#include <utility>

#include "common/addresses.h"
#include "common/encoding.h"
#include "directory/merged_page.h"
#include "directory/server_addresses.h"
#include "objects/attributes.h"
#include "objects/search.h"
#include "requests/answer_bytes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// What tells requests apart: the sender and every byte, among them the request
// id.
std::string searchKey(const sockaddr_in& from, const std::string& request) {
  std::string key;
  key.append(reinterpret_cast<const char*>(&from.sin_addr),
             sizeof from.sin_addr);
  key.append(reinterpret_cast<const char*>(&from.sin_port),
             sizeof from.sin_port);
  return key + request;
}

bool isDiscovery(veskDSsearchPDU& request) {
  return request.oid.valid == 0 && request.list->count == 0 &&
         request.list2->count == 0;
}

// Whether a search that names servers in its second list names this one.
bool named(veskList& servers, const sockaddr_in& server) {
  const Elements<veskAddress> all(servers);
  return std::any_of(all.begin(), all.end(), [&](veskAddress* address) {
    const in_addr* held = address == nullptr ? nullptr : address->get(nullptr);
    return held != nullptr && held->s_addr == server.sin_addr.s_addr;
  });
}

}  // namespace

MergedSearch::MergedSearch(Asking* asking, std::size_t longestAnswer, Send send,
                           Counters* counters)
    : asking_(asking),
      longestAnswer_(longestAnswer),
      send_(std::move(send)),
      counters_(counters) {}

void MergedSearch::setServers(std::vector<sockaddr_in> servers) {
  servers_ = withoutRepeats(servers);
}

void MergedSearch::handle(const Message& request, Time now) {
  const sockaddr_in& from = request.from;
  const std::string key = searchKey(from, request.bytes);
  if (underWay_.count(key) != 0) return counters_->add(Counter::kRepeats);
  Owned<veskType> value = decoded(request.bytes);
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  if (pdu == nullptr) return counters_->add(Counter::kMalformed);
  if (logs(Level::kDebug))
    log(Level::kDebug, endpointText(from) + " tag " + std::to_string(pdu->tag));

  auto search = takeAs<veskDSsearchPDU>(value);
  if (search == nullptr) {
    const RequestKind* kind = kindOf(*pdu);
    if (kind == nullptr) return counters_->add(Counter::kMalformed);
    answer(from, *pdu, *refusal(*kind, *pdu, kNoObjectManager));
    return;
  }
  if (isDiscovery(*search) || search->oid.valid == 0) {
    const auto code = isDiscovery(*search) ? kNoError : kOidFormat;
    answer(from, *search, *make<veskDSsearchRespPDU>(code));
    return;
  }
  if (!mayBegin(from)) {
    counters_->add(Counter::kAnswersDropped);
    log(Level::kWarning, "too many searches at a time: dropped one");
    return;
  }
  begin(from, key, std::move(search), now);
}

bool MergedSearch::mayBegin(const sockaddr_in& from) const {
  // A key begins with the sender's address and port.
  const std::string sender = searchKey(from, "");
  const auto alike = [&](std::size_t bytes) {
    return static_cast<std::size_t>(std::count_if(
        underWay_.begin(), underWay_.end(), [&](const std::string& key) {
          return key.compare(0, bytes, sender, 0, bytes) == 0;
        }));
  };
  return underWay_.size() < kMostQueries &&
         alike(sizeof from.sin_addr) < kMostOfAddress &&
         alike(sender.size()) < kMostOfPort;
}

// The request is one that kindOf() knows.
void MergedSearch::answer(const sockaddr_in& from, veskPDU& request,
                          veskPDU& answer) {
  answer.requestId = request.requestId;
  const auto whole = encoded(answer, longestAnswer_);
  std::string bytes =
      whole ? *whole : tooLongBytes(*kindOf(request), request, longestAnswer_);
  if (!bytes.empty()) send_(from, bytes);
}

void MergedSearch::begin(const sockaddr_in& from, const std::string& key,
                         Owned<veskDSsearchPDU> request, Time now) {
  auto query = std::make_shared<Query>();
  query->from = from;
  query->key = key;
  for (const sockaddr_in& server : servers_) {
    if (request->list2->count == 0 || named(*request->list2, server))
      query->parts.push_back({server, kNetworkError, nullptr});
  }
  // The servers say what is wrong with conditions.
  OwnedList errors;
  if (checkConditions(*request->list, &errors) == kNoError)
    query->page.emplace(*request->list);
  query->request = std::move(request);
  query->outstanding = query->parts.size();
  underWay_.insert(key);
  if (query->parts.empty()) finish(*query);
  for (std::size_t i = 0; i < query->parts.size(); ++i) ask(query, i, now);
}

void MergedSearch::ask(const std::shared_ptr<Query>& query, std::size_t part,
                       Time now) {
  veskDSsearchPDU& wanted = *query->request;
  // Its list is the query's.
  veskSearchPDU request(wanted.oid, wanted.list, kSearchFlag, wanted.principal);
  const int code = asking_->ask(query->parts[part].server, &request, now);
  if (code != kNoError) return take(*query, part, code, nullptr);
  asks_[request.requestId.value] = {query, part};
}

bool MergedSearch::receive(Time now) {
  Owned<veskPDU> pdu;
  if (!asking_->receive(now, &pdu)) return false;
  if (pdu == nullptr) return true;
  const std::uint32_t id = pdu->requestId.value;
  auto answer = takeAs<veskSearchRespPDU>(pdu);
  // Only an answer of the right kind counts.
  const int code = answer == nullptr ? kCodingError : answer->status.value;
  end(id, code, std::move(answer));
  return true;
}

std::optional<MergedSearch::Time> MergedSearch::tick(Time now) {
  while (const auto silent = asking_->tick(now))
    end(*silent, kNetworkError, nullptr);
  return asking_->nextDue();
}

// One server has answered, or will not.
void MergedSearch::end(std::uint32_t requestId, int code,
                       Owned<veskSearchRespPDU> answer) {
  const auto found = asks_.find(requestId);
  if (found == asks_.end()) return;
  const Ask ended = found->second;
  asks_.erase(found);
  take(*ended.query, ended.part, code, std::move(answer));
}

void MergedSearch::take(Query& query, std::size_t at, int code,
                        Owned<veskSearchRespPDU> answer) {
  Part& part = query.parts[at];
  part.code = code;
  part.answer = std::move(answer);
  if (code == kNetworkError) {
    log(Level::kWarning, "the object server " + endpointText(part.server) +
                             " did not answer a search");
  } else if (code != kNoError && code != kArgListError) {
    log(Level::kInfo, "the object server " + endpointText(part.server) +
                          " refused a search: " + std::to_string(code));
  }
  if (--query.outstanding == 0) finish(query);
}

// The objects of all servers, and beside each the address of the server that
// has it: in the order of the servers and in each server's own order, or those
// of a page. A server that failed is an error with the server's position; the
// search itself fails only when all of them did, since what comes with a
// failure is lost to clients. What a server said of it tells more than the
// silence of others.
void MergedSearch::finish(Query& query) {
  auto response = make<veskDSsearchRespPDU>();
  bool found = query.parts.empty();
  std::optional<MergedPage> merged;
  if (query.page && query.page->asked) merged.emplace(&*query.page);
  for (unsigned i = 0; i < query.parts.size(); ++i) {
    Part& part = query.parts[i];
    if (part.code != kNoError) addError(response->errors, i, part.code);
    if (part.code != kNoError && part.code != kArgListError) continue;
    if (part.code == kNoError) found = true;
    if (merged) {
      merged->add(part.answer->list, part.server.sin_addr);
      continue;
    }
    for (auto* oid : Elements<veskOid>(*part.answer->list)) {
      if (oid == nullptr) continue;
      response->list->append(new veskOid(*oid));
      response->list2->append(new veskAddress(part.server.sin_addr));
    }
  }
  if (merged) merged->moveTo(response.get(), longestAnswer_);
  if (!found) {
    const auto said = std::find_if(
        query.parts.begin(), query.parts.end(),
        [](const Part& part) { return part.code != kNetworkError; });
    response->status.value =
        said == query.parts.end() ? kNetworkError : said->code;
  }
  underWay_.erase(query.key);
  answer(query.from, *query.request, *response);
}

}  // namespace ostrel::tools::server
