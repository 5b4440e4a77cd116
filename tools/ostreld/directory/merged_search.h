// The directory without its sockets: turns a search of the directory into a
// search of each object server, side by side over one transaction handler, and
// merges what they answer.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H

#include <netinet/in.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/owned.h"
#include "requests/answer_cache.h"

namespace ostrel::tools::server {

class MergedSearch {
 public:
  // Searches that are under way at a time: in all, of one address and of one
  // port there. More are dropped as if lost.
  static constexpr std::size_t kMostQueries = 64;
  static constexpr std::size_t kMostOfAddress = 48;
  static constexpr std::size_t kMostOfPort = 16;

  using Send = std::function<void(const sockaddr_in& to, std::string& answer)>;

  // The handler is open and has the time-out and retries that servers get; it
  // has to outlive this object. Answers leave through `send`.
  MergedSearch(veskTransactionHandler* handler, std::size_t longestAnswer,
               Send send);
  ~MergedSearch();
  MergedSearch(const MergedSearch&) = delete;
  MergedSearch& operator=(const MergedSearch&) = delete;

  // Searches that are under way still end with the servers that they began
  // with.
  void setServers(std::vector<sockaddr_in> servers);

  // Takes a client's request. Discovery and what cannot be answered is answered
  // at once, a search when all servers have answered or were given up.
  void handle(const sockaddr_in& from, std::string_view request,
              AnswerCache::Time now);

  // Takes one datagram of an object server off the handler's socket, never
  // waiting for one. Returns whether there was one.
  bool receive();

  // Asks silent servers again and gives up what was silent for too long.
  // Returns the seconds until it has to be called again.
  long tick();

  // Whether tick() has anything to wait for.
  bool busy() const { return !asks_.empty(); }

 private:
  // What one server said.
  struct Part {
    sockaddr_in server;
    int code;
    Owned<veskSearchRespPDU> answer;
  };
  struct Query {
    sockaddr_in from;
    std::string key;
    Owned<veskDSsearchPDU> request;
    std::vector<Part> parts;
    std::size_t outstanding;
  };
  struct Ask {
    std::shared_ptr<Query> query;
    std::size_t part;
    std::unique_ptr<veskSearchPDU> request;  // its list is the query's
  };

  void answer(const sockaddr_in& from, const std::string& key, veskPDU& request,
              veskPDU& answer);
  void begin(const sockaddr_in& from, const std::string& key,
             Owned<veskDSsearchPDU> request);
  void ask(const std::shared_ptr<Query>& query, std::size_t part);
  void end(std::uint32_t requestId, int code, Owned<veskSearchRespPDU> answer);
  void finish(Query& query);
  bool mayBegin(const sockaddr_in& from) const;

  veskTransactionHandler* handler_;
  std::size_t longestAnswer_;
  Send send_;
  std::vector<sockaddr_in> servers_;
  std::unordered_map<std::uint32_t, Ask> asks_;  // by request id
  std::unordered_set<std::string> underWay_;
  AnswerCache answers_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H
