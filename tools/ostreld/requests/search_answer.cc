#include "requests/search_answer.h"

#include <algorithm>

#include "common/encoding.h"

namespace ostrel::tools::server {
namespace {

// The most that an identifier takes.
constexpr unsigned kOidBytes = 22;

// Room for an unsigned int: encoding wants more than it then uses.
constexpr unsigned kCountBytes = 8;

std::string bytesOf(veskOid& oid) {
  char bytes[kOidBytes];
  return std::string(bytes, oid.encode(bytes, kOidBytes));
}

// How a list of so many elements begins.
std::string listHead(std::uint32_t count) {
  veskUnsignedInt number(count);
  char bytes[1 + kCountBytes] = {static_cast<char>(kTagList)};
  return std::string(bytes, 1 + number.encode(bytes + 1, kCountBytes));
}

// The PDU up to its last list, which is empty.
std::string headOf(veskSearchRespPDU& answer) {
  std::string bytes = *encoded(answer);
  bytes.resize(bytes.size() - listHead(0).size());
  return bytes;
}

}  // namespace

SearchAnswer::SearchAnswer(Places* places, veskSearchRespPDU* answer,
                           std::size_t longest)
    : places_(places), answer_(answer), longest_(longest), room_(longest) {}

void SearchAnswer::begin(Page* page) {
  page_ = page;
  head_ = headOf(*answer_).size();
  if (page->asked) room_ = std::min(longest_, kLongestPage);
}

// How long the answer is with one more result of so many bytes.
std::size_t SearchAnswer::lengthWith(std::size_t result) const {
  return head_ + listHead(count_ + 1).size() + results_.size() + result;
}

// What cannot be sent with its attributes comes as an identifier, so that the
// client can go on behind it.
std::string SearchAnswer::resultOf(veskOid& oid) {
  if (!page_->attributes) return bytesOf(oid);
  const std::size_t used = lengthWith(0) - results_.size();
  const std::size_t room = longest_ > used ? longest_ - used : 0;
  auto object =
      encodedObject(places_->managerOf(oid), oid, page_->wanted, room);
  return object ? std::move(*object) : bytesOf(oid);
}

bool SearchAnswer::add(veskOid& oid) {
  const bool ofPage = page_->asked;
  const std::string result = resultOf(oid);
  // The first of a page may be longer than others together.
  const std::size_t room = ofPage && count_ == 0 ? longest_ : room_;
  if (lengthWith(result.size()) > room) {
    tooMany_ = !ofPage || count_ == 0;
    return false;
  }
  results_ += result;
  count_++;
  return !ofPage || !page_->limit || count_ < *page_->limit;
}

void SearchAnswer::clear() {
  results_ = std::string();
  count_ = 0;
}

std::string SearchAnswer::finish() {
  if (tooMany_) return "";
  std::string bytes = headOf(*answer_);
  bytes += listHead(count_);
  bytes += results_;
  return bytes.size() <= longest_ ? bytes : "";
}

}  // namespace ostrel::tools::server
