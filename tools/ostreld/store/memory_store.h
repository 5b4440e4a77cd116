// Objects in memory: what tests use, and programs that need no file.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H

#include <algorithm>
#include <array>
#include <functional>
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

  std::vector<veskOid> objects(const veskOid& classOid, const veskOid& after,
                               std::size_t most) override {
    std::vector<veskOid> result;
    for (auto at = content_.objects.upper_bound(keyOf<4>(after));
         at != content_.objects.end() && result.size() < most &&
         at->first[0] == classOid.component[0] &&
         at->first[1] == classOid.component[1];
         ++at) {
      result.push_back(fromKey<veskOid>(at->first));
    }
    return result;
  }

  // There is no index; this says what one would.
  std::optional<std::vector<veskOid>> candidates(const veskOid& classOid,
                                                 const veskAid& id,
                                                 const KeyRange& keys,
                                                 std::size_t most) override {
    std::vector<veskOid> result;
    for (const veskOid& oid : objects(classOid)) {
      const auto& attributes = content_.objects.at(keyOf<4>(oid));
      const auto found = attributes.find(keyOf<3>(id));
      if (found == attributes.end()) continue;
      const auto key = indexKeyOf(found->second);
      if (key && keys.first <= *key && *key <= keys.last) result.push_back(oid);
    }
    if (result.size() > most) return std::nullopt;
    return result;
  }

  bool has(const veskOid& oid) override {
    return content_.objects.count(keyOf<4>(oid)) != 0;
  }

  std::shared_ptr<const Record> read(const veskOid& oid) override {
    const auto found = content_.objects.find(keyOf<4>(oid));
    if (found == content_.objects.end()) return nullptr;
    auto record = std::make_shared<Record>();
    for (const auto& [key, value] : found->second) record->append(key, value);
    return record;
  }

  std::optional<veskOid> classAfter(const veskOid& classOid) override {
    constexpr std::uint32_t kLast = 0xFFFFFFFF;
    const auto next = content_.objects.upper_bound(
        {classOid.component[0], classOid.component[1], kLast, kLast});
    if (next == content_.objects.end()) return std::nullopt;
    return fromKey<veskOid>(Oid{next->first[0], next->first[1], 0, 0});
  }

  std::optional<std::string> value(const veskOid& oid,
                                   const veskAid& id) override {
    const auto object = content_.objects.find(keyOf<4>(oid));
    if (object == content_.objects.end()) return std::nullopt;
    const auto found = object->second.find(keyOf<3>(id));
    if (found == object->second.end()) return std::nullopt;
    return found->second;
  }

  void scan(const veskOid& classOid, const veskOid& after, const veskAid& id,
            const Each& each) override {
    const Aid key = keyOf<3>(id);
    for (auto at = content_.objects.upper_bound(keyOf<4>(after));
         at != content_.objects.end() &&
         at->first[0] == classOid.component[0] &&
         at->first[1] == classOid.component[1];
         ++at) {
      const auto found = at->second.find(key);
      const bool has = found != at->second.end();
      if (!each(fromKey<veskOid>(at->first),
                has ? std::string_view(found->second) : std::string_view()))
        return;
    }
  }

  void insert(const veskOid& oid) override {
    const Oid key = keyOf<4>(oid);
    if (!content_.objects.try_emplace(key).second)
      throw StoreError("an object is there already");
    remember([this, key] { content_.objects.erase(key); });
  }

  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override {
    const Oid key = keyOf<4>(oid);
    auto& attributes = content_.objects[key];
    remember(
        [this, key, before = attributes] { content_.objects[key] = before; });
    attributes[keyOf<3>(id)] = value;
  }

  void remove(const veskOid& oid) override {
    const auto found = content_.objects.find(keyOf<4>(oid));
    if (found == content_.objects.end()) return;
    remember([this, before = *found] { content_.objects.insert(before); });
    content_.objects.erase(found);
  }

  std::uint64_t takeNumber(const veskOid& classOid) override {
    const Class key = keyOf<2>(classOid);
    remember([this, key] { --content_.numbers[key]; });
    return ++content_.numbers[key];
  }

  void keepAnswer(std::string_view request, const Answered& answer) override {
    const std::string key(request);
    const auto [at, fresh] = content_.answers.try_emplace(key, answer);
    if (fresh) {
      remember([this, key] { content_.answers.erase(key); });
      return;
    }
    remember(
        [this, key, before = at->second] { content_.answers[key] = before; });
    at->second = answer;
  }

  std::optional<Answered> answer(std::string_view request) override {
    const auto found = content_.answers.find(request);
    if (found == content_.answers.end()) return std::nullopt;
    return found->second;
  }

  void forgetAnswers(std::int64_t first, std::int64_t last) override {
    for (auto at = content_.answers.begin(); at != content_.answers.end();) {
      if (at->second.arrived >= first && at->second.arrived <= last) {
        ++at;
        continue;
      }
      remember([this, before = *at] { content_.answers.insert(before); });
      at = content_.answers.erase(at);
    }
  }

 protected:
  void commit() override { end(); }

 private:
  using Oid = std::array<std::uint32_t, 4>;
  using Aid = std::array<std::uint32_t, 3>;
  using Class = std::array<std::uint32_t, 2>;
  struct Content {
    std::map<Oid, std::map<Aid, std::string>> objects;
    std::map<Class, std::uint64_t> numbers;
    std::map<std::string, Answered, std::less<>> answers;
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

  // What undoes a change, if a transaction is under way.
  void remember(std::function<void()> undo) {
    if (recording_) undo_.push_back(std::move(undo));
  }

  void begin() override { recording_ = true; }
  void rollback() noexcept override {
    undoBackTo(0);
    end();
  }
  bool inTransaction() const override { return recording_; }
  void savepoint() override { savepoints_.push_back(undo_.size()); }
  void release() override { savepoints_.pop_back(); }
  void rollBackTo() noexcept override {
    undoBackTo(savepoints_.back());
    savepoints_.pop_back();
  }
  void undoBackTo(std::size_t length) noexcept {
    for (; undo_.size() > length; undo_.pop_back()) undo_.back()();
  }
  void end() {
    recording_ = false;
    undo_.clear();
    savepoints_.clear();
  }

  Content content_;
  bool recording_ = false;
  std::vector<std::function<void()>> undo_;  // the last change at the end
  std::vector<std::size_t> savepoints_;      // lengths of undo_
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
