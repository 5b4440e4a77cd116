#include "directory/merged_search.h"

#include <ostrel/message.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "base/codes.h"
#include "base/log.h"
#include "directory/server_addresses.h"
#include "requests/request_router.h"

namespace ostrel::tools::server {
namespace {

constexpr long kIdleSeconds = 60;
constexpr std::size_t kLongestRefusal = 256;

bool isDiscovery(veskDSsearchPDU& request) {
  return request.oid.valid == 0 && request.list->count == 0 &&
         request.list2->count == 0;
}

// Whether a search that names servers in its second list names this one.
bool named(veskList& servers, const sockaddr_in& server) {
  bool found = false;
  forEach(servers, [&](unsigned, veskType* element) {
    auto* address = dynamic_cast<veskAddress*>(element);
    const in_addr* held = address == nullptr ? nullptr : address->get(nullptr);
    if (held != nullptr && held->s_addr == server.sin_addr.s_addr) found = true;
  });
  return found;
}

// Only an answer of the right kind, from the server that was asked, counts.
int codeOf(veskSearchRespPDU* answer, const sockaddr_in& asked,
           const sockaddr_in& from) {
  if (!sameAddress(asked, from)) {
    log(Level::kWarning, "an answer came from " + text(from) +
                             ", which was not asked, instead of " +
                             text(asked));
    return kNetworkError;
  }
  return answer == nullptr ? kCodingError : answer->status.value;
}

}  // namespace

Directory::Directory(veskTransactionHandler* handler, std::size_t longestAnswer,
                     Send send)
    : handler_(handler),
      longestAnswer_(longestAnswer),
      send_(std::move(send)) {}

Directory::~Directory() {
  // The handler must not be left with requests that are gone.
  for (auto& ask : asks_) handler_->flush(ask.first);
}

void Directory::setServers(std::vector<sockaddr_in> servers) {
  servers_ = withoutRepeats(servers);
}

void Directory::handle(const sockaddr_in& from, std::string_view request,
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
  log(Level::kDebug, text(from) + " tag " + std::to_string(pdu->tag));

  auto* search = dynamic_cast<veskDSsearchPDU*>(pdu);
  if (search == nullptr) {
    const auto refused = refusal(*pdu, kNoObjectManager);
    if (refused != nullptr) answer(from, key, *pdu, *refused);
    return;
  }
  if (isDiscovery(*search) || search->oid.valid == 0) {
    const auto code = isDiscovery(*search) ? kNoError : kOidFormat;
    const auto response = make<veskDSsearchRespPDU>(code);
    answer(from, key, *pdu, *response);
    return;
  }
  if (!mayBegin(from)) {
    log(Level::kWarning, "too many searches at a time: dropped one");
    return;
  }
  value.release();
  begin(from, key, Owned<veskDSsearchPDU>(search));
}

bool Directory::mayBegin(const sockaddr_in& from) const {
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

void Directory::answer(const sockaddr_in& from, const std::string& key,
                       veskPDU& pdu, veskPDU& answer) {
  answer.requestId = pdu.requestId;
  auto bytes = encoded(answer, longestAnswer_);
  if (!bytes) {
    log(Level::kWarning, "an answer of more than " +
                             std::to_string(longestAnswer_) +
                             " bytes was replaced by an error");
    bytes = encoded(*refusal(pdu, kInternalError), kLongestRefusal);
  }
  if (!bytes) return;
  send_(from, *bytes);
  answers_.keep(key, std::move(*bytes), std::chrono::steady_clock::now());
}

void Directory::begin(const sockaddr_in& from, const std::string& key,
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

void Directory::ask(const std::shared_ptr<Query>& query, std::size_t part) {
  veskDSsearchPDU& wanted = *query->request;
  auto request = std::make_unique<veskSearchPDU>(wanted.oid, wanted.list, 1U,
                                                 wanted.principal);
  const int code = handler_->send(&query->parts[part].server, request.get());
  const std::uint32_t id = request->requestId.value;
  asks_[id] = Ask{query, part, std::move(request)};
  if (code != kNoError) end(id, code, nullptr);
}

bool Directory::receive() {
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
  auto* answer = dynamic_cast<veskSearchRespPDU*>(pdu.get());
  const int code = codeOf(answer, asked.query->parts[asked.part].server, from);
  if (answer != nullptr) pdu.release();
  end(found->first, code, Owned<veskSearchRespPDU>(answer));
  return true;
}

long Directory::tick() {
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
void Directory::end(std::uint32_t requestId, int code,
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
    log(Level::kWarning,
        "the object server " + text(part.server) + " did not answer a search");
  } else if (code != kNoError && code != kItemErrors) {
    log(Level::kInfo, "the object server " + text(part.server) +
                          " refused a search: " + std::to_string(code));
  }
  if (--query.outstanding == 0) finish(query);
}

// The objects of all servers, in the order of the servers and in each server's
// own order, and beside each object the address of the server that has it. A
// server that failed is an error with the server's position; the search itself
// fails only when all of them did, since what comes with a failure is lost to
// clients. What a server said of it tells more than the silence of others.
void Directory::finish(Query& query) {
  auto response = make<veskDSsearchRespPDU>();
  bool found = query.parts.empty();
  for (unsigned i = 0; i < query.parts.size(); ++i) {
    Part& part = query.parts[i];
    if (part.code != kNoError) addError(response->errors, i, part.code);
    if (part.code != kNoError && part.code != kItemErrors) continue;
    if (part.code == kNoError) found = true;
    forEach(*part.answer->list, [&](unsigned, veskType* element) {
      auto* oid = dynamic_cast<veskOid*>(element);
      if (oid == nullptr) return;
      response->list->append(new veskOid(*oid));
      response->list2->append(new veskAddress(part.server.sin_addr));
    });
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
