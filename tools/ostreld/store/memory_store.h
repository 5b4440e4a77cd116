// Objects in memory: what tests use, and programs that need no file.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <utility>

#include "store/store.h"

namespace ostrel::tools::server {

class MemoryStore : public Store {
 public:
  std::vector<veskOid> classes() override {
    std::vector<veskOid> result;
    for (const auto& [key, attributes] : content_.objects) {
      veskOid classOid = fromKey<veskOid>(Oid{key[0], key[1], 0, 0});
      if (result.empty() || !(result.back() == classOid))
        result.push_back(classOid);
    }
    return result;
  }

  std::vector<veskOid> objects(const veskOid& classOid) override {
    const Oid first = {classOid.component[0], classOid.component[1], 0, 0};
    std::vector<veskOid> result;
    for (auto at = content_.objects.lower_bound(first);
         at != content_.objects.end() && at->first[0] == first[0] &&
         at->first[1] == first[1];
         ++at) {
      result.push_back(fromKey<veskOid>(at->first));
    }
    return result;
  }

  bool has(const veskOid& oid) override {
    return content_.objects.count(keyOf<4>(oid)) != 0;
  }

  std::vector<Entry> read(const veskOid& oid) override {
    std::vector<Entry> result;
    const auto found = content_.objects.find(keyOf<4>(oid));
    if (found == content_.objects.end()) return result;
    for (const auto& [key, value] : found->second)
      result.push_back({fromKey<veskAid>(key), value});
    return result;
  }

  void insert(const veskOid& oid) override {
    if (!content_.objects.try_emplace(keyOf<4>(oid)).second)
      throw StoreError("an object is there already");
  }

  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override {
    content_.objects[keyOf<4>(oid)][keyOf<3>(id)] = value;
  }

  void remove(const veskOid& oid) override {
    content_.objects.erase(keyOf<4>(oid));
  }

  std::uint64_t takeNumber(const veskOid& classOid) override {
    return ++content_.numbers[keyOf<2>(classOid)];
  }

  void keepAnswer(std::string_view request, std::string_view answer,
                  std::int64_t expires) override {
    content_.answers[std::string(request)] = {std::string(answer), expires};
  }

  std::optional<std::string> answer(std::string_view request,
                                    std::int64_t now) override {
    const auto found = content_.answers.find(request);
    if (found == content_.answers.end() || found->second.expires < now)
      return std::nullopt;
    return found->second.bytes;
  }

  void forgetAnswers(std::int64_t now) override {
    for (auto at = content_.answers.begin(); at != content_.answers.end();)
      at =
          at->second.expires < now ? content_.answers.erase(at) : std::next(at);
  }

 private:
  using Oid = std::array<std::uint32_t, 4>;
  using Aid = std::array<std::uint32_t, 3>;
  using Class = std::array<std::uint32_t, 2>;
  struct Answer {
    std::string bytes;
    std::int64_t expires;
  };
  struct Content {
    std::map<Oid, std::map<Aid, std::string>> objects;
    std::map<Class, std::uint64_t> numbers;
    std::map<std::string, Answer, std::less<>> answers;
  };

  template <std::size_t kCount, class Identifier>
  static std::array<std::uint32_t, kCount> keyOf(const Identifier& id) {
    std::array<std::uint32_t, kCount> key;
    std::copy_n(std::begin(id.component), kCount, key.begin());
    return key;
  }

  template <class Identifier, std::size_t kCount>
  static Identifier fromKey(const std::array<std::uint32_t, kCount>& key) {
    Identifier id;
    id.valid = 1;
    std::copy(key.begin(), key.end(), std::begin(id.component));
    return id;
  }

  // A copy of everything: few objects live here.
  void begin() override { before_ = content_; }
  void commit() override { before_ = Content(); }
  void rollback() noexcept override { content_ = std::move(before_); }

  Content content_;
  Content before_;  // what a transaction began with
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
