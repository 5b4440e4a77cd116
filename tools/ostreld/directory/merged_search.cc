#include "directory/merged_search.h"

#include <ostrel/elements.h>
#include <ostrel/message.h>
#include <ostrel/names.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "common/addresses.h"
#include "common/encoding.h"
#include "directory/server_addresses.h"
#include "objects/attributes.h"
#include "requests/answer_bytes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr long kIdleSeconds = 60;

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

// Only an answer of the right kind, from the server that was asked, counts.
int codeOf(veskSearchRespPDU* answer, const sockaddr_in& asked,
           const sockaddr_in& from) {
  if (!sameEndpoint(asked, from)) {
    log(Level::kWarning, "an answer came from " + endpointText(from) +
                             ", which was not asked, instead of " +
                             endpointText(asked));
    return kNetworkError;
  }
  return answer == nullptr ? kCodingError : answer->status.value;
}

}  // namespace

MergedSearch::MergedSearch(veskTransactionHandler* handler,
                           std::size_t longestAnswer, Send send)
    : handler_(handler),
      longestAnswer_(longestAnswer),
      send_(std::move(send)) {}

MergedSearch::~MergedSearch() {
  // The handler must not be left with requests that are gone.
  for (auto& ask : asks_) handler_->flush(ask.first);
}

void MergedSearch::setServers(std::vector<sockaddr_in> servers) {
  servers_ = withoutRepeats(servers);
}

void MergedSearch::handle(const sockaddr_in& from, std::string_view request,
                          AnswerCache::Time now) {
  const std::string key = AnswerCache::keyOf(from, request);
  if (const std::string* given = answers_.find(key, now)) {
    std::string again = *given;
    send_(from, again);
    return;
  }
  if (underWay_.count(key) != 0) return;
  Owned<veskType> value = decoded(request);
  auto* pdu = dynamic_cast<veskPDU*>(value.get());
  if (pdu == nullptr) return;
  log(Level::kDebug, endpointText(from) + " tag " + std::to_string(pdu->tag));

  auto search = takeAs<veskDSsearchPDU>(value);
  if (search == nullptr) {
    const RequestKind* kind = kindOf(*pdu);
    if (kind == nullptr) return;
    answer(from, key, *pdu, *refusal(*kind, *pdu, kNoObjectManager));
    return;
  }
  if (isDiscovery(*search) || search->oid.valid == 0) {
    const auto code = isDiscovery(*search) ? kNoError : kOidFormat;
    answer(from, key, *search, *make<veskDSsearchRespPDU>(code));
    return;
  }
  if (!mayBegin(from)) {
    log(Level::kWarning, "too many searches at a time: dropped one");
    return;
  }
  begin(from, key, std::move(search));
}

bool MergedSearch::mayBegin(const sockaddr_in& from) const {
  // A key begins with the sender's address and port.
  const std::string sender = AnswerCache::keyOf(from, "");
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
void MergedSearch::answer(const sockaddr_in& from, const std::string& key,
                          veskPDU& request, veskPDU& answer) {
  answer.requestId = request.requestId;
  const auto whole = encoded(answer, longestAnswer_);
  std::string bytes =
      whole ? *whole : tooLongBytes(*kindOf(request), request, longestAnswer_);
  if (bytes.empty()) return;
  answers_.keep(key, bytes, std::chrono::steady_clock::now());
  send_(from, bytes);
}

void MergedSearch::begin(const sockaddr_in& from, const std::string& key,
                         Owned<veskDSsearchPDU> request) {
  auto query = std::make_shared<Query>();
  query->from = from;
  query->key = key;
  for (const sockaddr_in& server : servers_) {
    if (request->list2->count == 0 || named(*request->list2, server))
      query->parts.push_back({server, kNetworkError, nullptr});
  }
  query->request = std::move(request);
  query->outstanding = query->parts.size();
  underWay_.insert(key);
  if (query->parts.empty()) finish(*query);
  for (std::size_t i = 0; i < query->parts.size(); ++i) ask(query, i);
}

void MergedSearch::ask(const std::shared_ptr<Query>& query, std::size_t part) {
  veskDSsearchPDU& wanted = *query->request;
  auto request = std::make_unique<veskSearchPDU>(wanted.oid, wanted.list,
                                                 kSearchFlag, wanted.principal);
  const int code = handler_->send(&query->parts[part].server, request.get());
  const std::uint32_t id = request->requestId.value;
  asks_[id] = Ask{query, part, std::move(request)};
  if (code != kNoError) end(id, code, nullptr);
}

bool MergedSearch::receive() {
  char byte = 0;
  if (::recv(handler_->messageHandler->socket, &byte, sizeof byte,
             MSG_PEEK | MSG_DONTWAIT) < 0) {
    return false;
  }
  sockaddr_in from = {};
  veskPDU* arrived = nullptr;
  handler_->recv(&from, &arrived);
  Owned<veskPDU> pdu(arrived);
  if (pdu == nullptr) return true;
  const auto found = asks_.find(pdu->requestId.value);
  if (found == asks_.end()) return true;
  const Ask& asked = found->second;
  auto answer = takeAs<veskSearchRespPDU>(pdu);
  const int code =
      codeOf(answer.get(), asked.query->parts[asked.part].server, from);
  end(found->first, code, std::move(answer));
  return true;
}

long MergedSearch::tick() {
  long next = kIdleSeconds;
  for (bool more = true; more;) {
    int code = kNoError;
    veskPDU* silent = nullptr;
    more = handler_->tick(&next, &code, &silent) == 1;
    if (silent != nullptr) end(silent->requestId.value, code, nullptr);
  }
  return asks_.empty() ? kIdleSeconds : next;
}

// One server has answered, or will not.
void MergedSearch::end(std::uint32_t requestId, int code,
                       Owned<veskSearchRespPDU> answer) {
  const auto found = asks_.find(requestId);
  if (found == asks_.end()) return;
  const Ask ended = std::move(found->second);
  asks_.erase(found);
  Query& query = *ended.query;
  Part& part = query.parts[ended.part];
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

// The objects of all servers, in the order of the servers and in each server's
// own order, and beside each object the address of the server that has it. A
// server that failed is an error with the server's position; the search itself
// fails only when all of them did, since what comes with a failure is lost to
// clients. What a server said of it tells more than the silence of others.
void MergedSearch::finish(Query& query) {
  auto response = make<veskDSsearchRespPDU>();
  bool found = query.parts.empty();
  for (unsigned i = 0; i < query.parts.size(); ++i) {
    Part& part = query.parts[i];
    if (part.code != kNoError) addError(response->errors, i, part.code);
    if (part.code != kNoError && part.code != kArgListError) continue;
    if (part.code == kNoError) found = true;
    for (auto* oid : Elements<veskOid>(*part.answer->list)) {
      if (oid == nullptr) continue;
      response->list->append(new veskOid(*oid));
      response->list2->append(new veskAddress(part.server.sin_addr));
    }
  }
  if (!found) {
    const auto said = std::find_if(
        query.parts.begin(), query.parts.end(),
        [](const Part& part) { return part.code != kNetworkError; });
    response->status.value =
        said == query.parts.end() ? kNetworkError : said->code;
  }
  underWay_.erase(query.key);
  answer(query.from, query.key, *query.request, *response);
}

}  // namespace ostrel::tools::server
