#include "store/record.h"

#include <algorithm>
#include <iterator>

namespace ostrel::tools::server {

Record::Key Record::keyOf(const veskAid& id) {
  return {id.component[0], id.component[1], id.component[2]};
}

void Record::append(const Key& key, std::string_view value) {
  values_.append(value);
  slots_.push_back({key, static_cast<std::uint32_t>(values_.size())});
}

veskAid Record::id(std::size_t at) const {
  veskAid id;
  id.valid = 1;
  std::copy(slots_[at].key.begin(), slots_[at].key.end(),
            std::begin(id.component));
  return id;
}

std::string_view Record::value(std::size_t at) const {
  const std::size_t begin = at == 0 ? 0 : slots_[at - 1].end;
  return std::string_view(values_).substr(begin, slots_[at].end - begin);
}

std::optional<std::string_view> Record::find(const Key& key) const {
  const auto found = std::lower_bound(
      slots_.begin(), slots_.end(), key,
      [](const Slot& slot, const Key& wanted) { return slot.key < wanted; });
  if (found == slots_.end() || found->key != key) return std::nullopt;
  return value(static_cast<std::size_t>(found - slots_.begin()));
}

std::size_t Record::memory() const {
  return sizeof *this + slots_.capacity() * sizeof(Slot) + values_.capacity();
}

}  // namespace ostrel::tools::server
