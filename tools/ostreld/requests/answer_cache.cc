#include "requests/answer_cache.h"

#include <utility>

namespace ostrel::tools::server {

std::string AnswerCache::keyOf(const sockaddr_in& from,
                               std::string_view request) {
  std::string key;
  key.append(reinterpret_cast<const char*>(&from.sin_addr),
             sizeof from.sin_addr);
  key.append(reinterpret_cast<const char*>(&from.sin_port),
             sizeof from.sin_port);
  key.append(request);
  return key;
}

const std::string* AnswerCache::find(const std::string& key, Time now) {
  forget(now);
  const auto found = byKey_.find(key);
  return found == byKey_.end() ? nullptr : &found->second->answer;
}

void AnswerCache::keep(const std::string& key, std::string answer, Time now) {
  forget(now);
  if (byKey_.count(key) != 0) return;
  entries_.push_back({key, std::move(answer), now + kLife});
  bytes_ += entries_.back().bytes();
  byKey_.emplace(entries_.back().key, std::prev(entries_.end()));
  forget(now);
}

void AnswerCache::forget(Time now) {
  while (!entries_.empty() &&
         (entries_.front().expires <= now || bytes_ > kMostBytes)) {
    const Entry& oldest = entries_.front();
    bytes_ -= oldest.bytes();
    byKey_.erase(oldest.key);
    entries_.pop_front();
  }
}

}  // namespace ostrel::tools::server
