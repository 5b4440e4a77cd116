#include "client/engine/partials.h"

#include <ostrel/codes.h>

#include <algorithm>

#include "value/wire.h"

namespace ostrel {

bool readFragmentHeader(const char* bytes, std::size_t size,
                        FragmentHeader* header) {
  ByteReader reader(bytes, size);
  const auto version = reader.number<std::uint16_t>();
  header->messageId = reader.number<std::uint16_t>();
  header->count = reader.number<std::uint16_t>();
  header->number = reader.number<std::uint16_t>();
  header->total = reader.number<std::uint32_t>();
  header->offset = reader.number<std::uint32_t>();
  if (!reader.ok() || reader.left() == 0 || version != kFragmentVersion)
    return false;
  if (header->count == 0 || header->number >= header->count) return false;
  if (header->count == 1)
    return header->offset == 0 && header->total == reader.left();
  const std::uint32_t fragments =
      header->total / kFragmentData + (header->total % kFragmentData ? 1 : 0);
  if (fragments != header->count) return false;
  if (header->offset != header->number * kFragmentData) return false;
  const std::uint32_t behind = header->total - header->offset;
  return reader.left() == std::min(behind, std::uint32_t{kFragmentData});
}

Partial* Partials::store(const PeerAddress& from, const FragmentHeader& header,
                         const char* data, std::size_t size, Moment now) {
  makeRoom(from, size);
  Partial* partial = find(from, header, now);
  if (partial == nullptr) return nullptr;
  const auto stored = partial->parts.try_emplace(header.number, data, size);
  if (!stored.second) return nullptr;
  partial->bytes += size;
  bytes_ += size;
  return partial;
}

// The message of a fragment, a new one if need be. Null when the fragment
// contradicts it.
Partial* Partials::find(const PeerAddress& from, const FragmentHeader& header,
                        Moment now) {
  const Key key(from, header.messageId);
  const auto found = entries_.find(key);
  if (found != entries_.end()) {
    Partial& known = found->second;
    const bool same =
        known.count == header.count && known.total == header.total;
    return same ? &known : nullptr;
  }
  Partial& fresh = entries_[key];
  fresh.from = from;
  fresh.messageId = header.messageId;
  fresh.count = header.count;
  fresh.total = header.total;
  fresh.expiry = now + kPatience;
  return &fresh;
}

std::string Partials::take(Partial* partial) {
  std::string message;
  message.reserve(partial->total);
  for (const auto& part : partial->parts) message += part.second;
  drop(partial);
  return message;
}

void Partials::drop(Partial* partial) {
  bytes_ -= partial->bytes;
  entries_.erase(Key(partial->from, partial->messageId));
}

void Partials::forget(const PeerAddress& from) {
  auto at = entries_.lower_bound(Key(from, 0));
  while (at != entries_.end() && at->first.first == from) {
    Partial* partial = &at->second;
    ++at;
    drop(partial);
    dropped_++;
  }
}

void Partials::expire(Moment now) {
  for (auto at = entries_.begin(); at != entries_.end();) {
    Partial* partial = &at->second;
    ++at;
    if (now <= partial->expiry) continue;
    drop(partial);
    dropped_++;
  }
}

// Who sends too much loses what it began first.
void Partials::makeRoom(const PeerAddress& from, std::size_t bytes) {
  unsigned own = 0;
  for (auto at = entries_.lower_bound(Key(from, 0));
       at != entries_.end() && at->first.first == from; ++at)
    own++;
  if (own > kMostFromOne) dropOldest(from);
  while (entries_.size() >= kMost || bytes_ + bytes > kMostBytes) {
    std::map<PeerAddress, std::size_t> held;
    for (const auto& entry : entries_)
      held[entry.first.first] += entry.second.bytes + kFragmentData;
    const auto largest = std::max_element(
        held.begin(), held.end(),
        [](const auto& a, const auto& b) { return a.second < b.second; });
    if (largest == held.end() || !dropOldest(largest->first)) return;
  }
}

bool Partials::dropOldest(const PeerAddress& from) {
  Partial* oldest = nullptr;
  for (auto at = entries_.lower_bound(Key(from, 0));
       at != entries_.end() && at->first.first == from; ++at) {
    if (oldest == nullptr || at->second.expiry < oldest->expiry)
      oldest = &at->second;
  }
  if (oldest == nullptr) return false;
  drop(oldest);
  dropped_++;
  return true;
}

}  // namespace ostrel
