#include "store/memory_store.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace ostrel::tools::server {
namespace {

template <std::size_t kCount, class Identifier>
std::array<std::uint32_t, kCount> keyOf(const Identifier& id) {
  std::array<std::uint32_t, kCount> key;
  std::copy_n(std::begin(id.component), kCount, key.begin());
  return key;
}

template <class Identifier, std::size_t kCount>
Identifier fromKey(const std::array<std::uint32_t, kCount>& key) {
  Identifier id;
  id.valid = 1;
  std::copy(key.begin(), key.end(), std::begin(id.component));
  return id;
}

}  // namespace

std::vector<veskOid> MemoryStore::classes() {
  std::vector<veskOid> result;
  for (const auto& [key, attributes] : content_.objects) {
    veskOid classOid = fromKey<veskOid>(Oid{key[0], key[1], 0, 0});
    if (result.empty() || !(result.back() == classOid))
      result.push_back(classOid);
  }
  return result;
}

std::vector<veskOid> MemoryStore::objects(const veskOid& classOid) {
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

bool MemoryStore::has(const veskOid& oid) {
  return content_.objects.count(keyOf<4>(oid)) != 0;
}

std::vector<Store::Entry> MemoryStore::read(const veskOid& oid) {
  std::vector<Entry> result;
  const auto found = content_.objects.find(keyOf<4>(oid));
  if (found == content_.objects.end()) return result;
  for (const auto& [key, value] : found->second)
    result.push_back({fromKey<veskAid>(key), value});
  return result;
}

void MemoryStore::insert(const veskOid& oid) {
  if (!content_.objects.try_emplace(keyOf<4>(oid)).second)
    throw StoreError("an object is there already");
}

void MemoryStore::write(const veskOid& oid, const veskAid& id,
                        std::string_view value) {
  content_.objects[keyOf<4>(oid)][keyOf<3>(id)] = value;
}

void MemoryStore::remove(const veskOid& oid) {
  content_.objects.erase(keyOf<4>(oid));
}

std::uint64_t MemoryStore::takeNumber(const veskOid& classOid) {
  return ++content_.numbers[keyOf<2>(classOid)];
}

void MemoryStore::keepAnswer(std::string_view request, std::string_view answer,
                             std::int64_t expires) {
  content_.answers[std::string(request)] = {std::string(answer), expires};
}

std::optional<std::string> MemoryStore::answer(std::string_view request,
                                               std::int64_t now) {
  const auto found = content_.answers.find(request);
  if (found == content_.answers.end() || found->second.expires < now)
    return std::nullopt;
  return found->second.bytes;
}

void MemoryStore::forgetAnswers(std::int64_t now) {
  for (auto at = content_.answers.begin(); at != content_.answers.end();)
    at = at->second.expires < now ? content_.answers.erase(at) : std::next(at);
}

// A copy of everything: few objects live here.
void MemoryStore::begin() { before_ = content_; }

void MemoryStore::commit() { before_ = Content(); }

void MemoryStore::rollback() noexcept { content_ = std::move(before_); }

}  // namespace ostrel::tools::server
