// The directory without its sockets: turns a search of the directory into a
// search of each object server, all side by side, and merges what they answer.

#ifndef OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H
#define OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H

#include <netinet/in.h>
#include <ostrel/veskPDU.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/owned.h"
#include "directory/asking.h"
#include "net/message.h"
#include "objects/page.h"
#include "support/counters.h"

namespace ostrel::tools::server {

class MergedSearch {
 public:
  // Searches that are under way at a time: in all, of one address and of one
  // port there. More are dropped as if lost.
  static constexpr std::size_t kMostQueries = 64;
  static constexpr std::size_t kMostOfAddress = 48;
  static constexpr std::size_t kMostOfPort = 16;

  using Time = Asking::Time;
  using Send = std::function<void(const sockaddr_in& to, std::string& answer)>;

  // What asks the servers, and the counters, have to outlive this object.
  // Answers leave through `send`.
  MergedSearch(Asking* asking, std::size_t longestAnswer, Send send,
               Counters* counters);
  MergedSearch(const MergedSearch&) = delete;
  MergedSearch& operator=(const MergedSearch&) = delete;

  // Searches that are under way still end with the servers that they began
  // with.
  void setServers(std::vector<sockaddr_in> servers);

  // Takes a client's request. Discovery and what cannot be answered is answered
  // at once, a search when all servers have answered or were given up. One that
  // is sent again meanwhile is answered once; one that comes later is a new
  // search, since what is read is never answered from an old answer.
  void handle(const Message& request, Time now);

  // Takes one datagram of an object server, never waiting for one. Returns
  // whether there was one.
  bool receive(Time now);

  // Asks silent servers again and gives up what was silent for too long.
  // Returns when it has to be called again; never, when nothing is awaited.
  std::optional<Time> tick(Time now);

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
    std::optional<Page> page;  // if one is asked for
    std::vector<Part> parts;
    std::size_t outstanding;
  };
  struct Ask {
    std::shared_ptr<Query> query;
    std::size_t part;
  };

  void answer(const sockaddr_in& from, veskPDU& request, veskPDU& answer);
  void begin(const sockaddr_in& from, const std::string& key,
             Owned<veskDSsearchPDU> request, Time now);
  void ask(const std::shared_ptr<Query>& query, std::size_t part, Time now);
  void end(std::uint32_t requestId, int code, Owned<veskSearchRespPDU> answer);
  void take(Query& query, std::size_t part, int code,
            Owned<veskSearchRespPDU> answer);
  void finish(Query& query);
  bool mayBegin(const sockaddr_in& from) const;

  Asking* asking_;
  std::size_t longestAnswer_;
  Send send_;
  Counters* counters_;
  std::vector<sockaddr_in> servers_;
  std::unordered_map<std::uint32_t, Ask> asks_;  // by request id
  std::unordered_set<std::string> underWay_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_DIRECTORY_MERGED_SEARCH_H
