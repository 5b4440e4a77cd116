#include "store/cached_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ostrel::tools::server {
namespace {

// What an object costs besides its record: the places in the list and the map.
constexpr std::size_t kPlaceBytes = 160;

std::size_t costOf(const Record& record) {
  return record.memory() + kPlaceBytes;
}

}  // namespace

std::size_t CachedStore::Hash::operator()(const Key& key) const {
  return static_cast<std::size_t>(
      keyedHash(secret, {reinterpret_cast<const char*>(key.data()),
                         sizeof(std::uint32_t) * key.size()}));
}

CachedStore::CachedStore(Store* store, std::size_t mostBytes)
    : store_(store), mostBytes_(mostBytes) {}

CachedStore::Key CachedStore::keyOf(const veskOid& oid) {
  Key key;
  std::copy_n(std::begin(oid.component), key.size(), key.begin());
  return key;
}

std::vector<veskOid> CachedStore::classes() { return store_->classes(); }

std::vector<veskOid> CachedStore::objects(const veskOid& classOid) {
  return store_->objects(classOid);
}

std::vector<veskOid> CachedStore::objects(const veskOid& classOid,
                                          const veskOid& after,
                                          std::size_t most) {
  return store_->objects(classOid, after, most);
}

std::optional<std::vector<veskOid>> CachedStore::candidates(
    const veskOid& classOid, const veskAid& id, const KeyRange& keys,
    std::size_t most) {
  return store_->candidates(classOid, id, keys, most);
}

std::optional<veskOid> CachedStore::classAfter(const veskOid& classOid) {
  return store_->classAfter(classOid);
}

// What is not held is not read whole for one attribute.
std::optional<std::string> CachedStore::value(const veskOid& oid,
                                              const veskAid& id) {
  const auto found = byKey_.find(keyOf(oid));
  if (found == byKey_.end()) return store_->value(oid, id);
  const auto value = found->second->record->find(Record::keyOf(id));
  return value ? std::make_optional<std::string>(*value) : std::nullopt;
}

void CachedStore::scan(const veskOid& classOid, const veskOid& after,
                       const veskAid& id, const Each& each) {
  store_->scan(classOid, after, id, each);
}

bool CachedStore::has(const veskOid& oid) {
  return byKey_.count(keyOf(oid)) != 0 || store_->has(oid);
}

std::shared_ptr<const Record> CachedStore::read(const veskOid& oid) {
  const Key key = keyOf(oid);
  const auto found = byKey_.find(key);
  if (found != byKey_.end()) {
    held_.splice(held_.begin(), held_, found->second);
    return found->second->record;
  }
  auto record = store_->read(oid);
  if (record != nullptr && changed_.count(key) == 0) hold(key, record);
  return record;
}

void CachedStore::insert(const veskOid& oid) {
  change(oid);
  store_->insert(oid);
}

void CachedStore::write(const veskOid& oid, const veskAid& id,
                        std::string_view value) {
  change(oid);
  store_->write(oid, id, value);
}

void CachedStore::remove(const veskOid& oid) {
  change(oid);
  store_->remove(oid);
}

std::uint64_t CachedStore::takeNumber(const veskOid& classOid) {
  return store_->takeNumber(classOid);
}

void CachedStore::keepAnswer(std::string_view request, const Answered& answer) {
  store_->keepAnswer(request, answer);
}

std::optional<Store::Answered> CachedStore::answer(std::string_view request) {
  return store_->answer(request);
}

void CachedStore::forgetAnswers(std::int64_t first, std::int64_t last) {
  store_->forgetAnswers(first, last);
}

void CachedStore::shrink() { store_->shrink(); }

void CachedStore::begin() { transaction_.emplace(*store_); }

void CachedStore::commit() {
  transaction_->commit();
  transaction_.reset();
  changed_.clear();
}

void CachedStore::rollback() noexcept {
  while (!savepoints_.empty()) savepoints_.pop_back();
  transaction_.reset();
  changed_.clear();
}

bool CachedStore::inTransaction() const {
  return transaction_ && !transaction_->lost();
}

void CachedStore::savepoint() { savepoints_.emplace_back(*store_); }

void CachedStore::release() {
  savepoints_.back().keep();
  savepoints_.pop_back();
}

// What was changed before the savepoint is still changed.
void CachedStore::rollBackTo() noexcept { savepoints_.pop_back(); }

void CachedStore::change(const veskOid& oid) {
  const Key key = keyOf(oid);
  if (transaction_) changed_.insert(key);
  drop(key);
}

void CachedStore::hold(const Key& key, std::shared_ptr<const Record> record) {
  const std::size_t cost = costOf(*record);
  if (cost > mostBytes_) return;
  while (bytes_ + cost > mostBytes_) drop(held_.back().key);
  held_.push_front({key, std::move(record)});
  try {
    byKey_[key] = held_.begin();
  } catch (...) {
    held_.pop_front();
    throw;
  }
  bytes_ += cost;
}

void CachedStore::drop(const Key& key) {
  const auto found = byKey_.find(key);
  if (found == byKey_.end()) return;
  bytes_ -= costOf(*found->second->record);
  held_.erase(found->second);
  byKey_.erase(found);
}

}  // namespace ostrel::tools::server
