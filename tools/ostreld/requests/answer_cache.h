// Answers that a directory server gave, so that a search that is sent again
// gets the same answer again without being passed on a second time.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_CACHE_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_CACHE_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ostrel::tools::server {

class AnswerCache {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // How long an answer is kept: longer than a client goes on asking with the
  // library's own schedule. And how much is kept in all; the oldest go first.
  static constexpr std::chrono::seconds kLife{60};
  static constexpr std::size_t kMostBytes = 16 << 20;

  // What an entry costs besides its bytes, about.
  static constexpr std::size_t kEntryBytes = 256;

  // What tells requests apart: the sender and every byte, among them the
  // request id.
  static std::string keyOf(const sockaddr_in& from, std::string_view request);

  // The answer that was given, or null. It lives until the next call.
  const std::string* find(const std::string& key, Time now);

  void keep(const std::string& key, std::string answer, Time now);

  std::size_t bytes() const { return bytes_; }

 private:
  struct Entry {
    std::string key;
    std::string answer;
    Time expires;

    std::size_t bytes() const {
      return key.size() + answer.size() + kEntryBytes;
    }
  };

  void forget(Time now);

  std::list<Entry> entries_;  // the oldest first
  std::unordered_map<std::string_view, std::list<Entry>::iterator> byKey_;
  std::size_t bytes_ = 0;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_ANSWER_CACHE_H
