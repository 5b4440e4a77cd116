#include "client/async/search.h"

#include <ostrel/codes.h>

#include <algorithm>

namespace ostrel {
namespace {

// Operation codes that ask for a page. Their attribute is the invalid one.
constexpr auto kOnlyBehind = static_cast<SearchOperator>(16);
constexpr auto kAtMost = static_cast<SearchOperator>(17);
constexpr auto kWithAttributes = static_cast<SearchOperator>(18);

// An identifier, or an object with attributes.
bool toObject(const Value& value, Object* object) {
  if (const auto oid = value.as<Oid>()) {
    object->oid = *oid;
    return true;
  }
  auto whole = value.as<Object>();
  if (!whole) return false;
  *object = *std::move(whole);
  return true;
}

// Whether a server does not know the codes that ask for a page: it refuses the
// search, or the terms behind those that the program asked for.
bool knowsNoPages(const Result<Values>& found, std::size_t terms) {
  const auto isUnknown = [](int code) {
    return code == kBadValue || code == kAidFormat;
  };
  if (!found)
    return found.error().kind() == Failure::refused &&
           isUnknown(found.error().code());
  const std::vector<ItemError>& errors = found.itemErrors();
  return std::any_of(errors.begin(), errors.end(), [&](const ItemError& error) {
    return error.position >= terms && isUnknown(error.code);
  });
}

Error notWhatWasAsked(const Endpoint& server) {
  return Error(Failure::undecodable, kCodingError, EBADMSG, false,
               "search from " + server.text());
}

}  // namespace

Search::Search(ClientState& state, const Endpoint& server, const Oid& classOid,
               std::vector<Term> terms, Page page, SearchOptions options,
               Handler<Done> end)
    : Composite(state, "search", std::move(end)),
      server_(server),
      classOid_(classOid),
      terms_(std::move(terms)),
      page_(std::move(page)),
      options_(std::move(options)) {
  options_.page = std::max(options_.page, 1U);
}

void Search::next() {
  guarded([&] {
    std::vector<Term> terms = terms_;
    terms.emplace_back(Aid(), kOnlyBehind, Value(behind_));
    terms.emplace_back(Aid(), kAtMost, Value(options_.page));
    if (options_.wanted) {
      Values wanted;
      for (const Aid& one : *options_.wanted) wanted.emplace_back(one);
      terms.emplace_back(Aid(), kWithAttributes, Value(std::move(wanted)));
    }
    ask(searchOf(server_, classOid_, terms,
                 [this](Result<Values>&& found) { arrived(std::move(found)); }),
        options_.request);
  });
}

void Search::arrived(Result<Values>&& found) {
  allAnswered();
  if (first_ && knowsNoPages(found, terms_.size())) {
    ask(searchOf(
            server_, classOid_, terms_,
            [this](Result<Values>&& all) { arrivedWhole(std::move(all)); }),
        options_.request);
    return;
  }
  if (!found) return finish(found.error());
  for (const ItemError& error : found.itemErrors()) errors_.push_back(error);
  first_ = false;
  if (found->empty()) return succeed();
  std::vector<Object> objects;
  for (const Value& each : *found) {
    Object object;
    // In ascending order, or the search would never end.
    const bool right = toObject(each, &object) && object.oid > behind_;
    if (!right) return finish(notWhatWasAsked(server_));
    behind_ = object.oid;
    // A server names an object that is too long for an answer, and no more.
    if (options_.wanted && each.as<Oid>())
      errors_.push_back(
          {static_cast<std::uint32_t>(before_), Aid(), kTooManyResults});
    else
      objects.push_back(std::move(object));
    before_++;
  }
  if (objects.empty() || give(std::move(objects))) next();
}

bool Search::give(std::vector<Object> objects) {
  Page page = std::move(page_);
  bool more = false;
  Ticket self;
  state_.name(this, &self);
  ClientState& state = state_;
  try {
    more = page(std::move(objects));
  } catch (...) {
    // It may have forgotten the search before.
    if (Operation* still = state.find(self)) still->cancel(state);
    throw;
  }
  if (state.find(self) == nullptr) return false;
  page_ = std::move(page);
  if (cancelled_) return false;
  if (!more) succeed();
  return more;
}

void Search::succeed() { finish(Result<Done>(Done{}, std::move(errors_))); }

void Search::arrivedWhole(Result<Values>&& found) {
  allAnswered();
  if (!found) return finish(found.error());
  errors_ = found.itemErrors();
  for (auto at = found->rbegin(); at != found->rend(); ++at) {
    Object object;
    if (!toObject(*at, &object)) return finish(notWhatWasAsked(server_));
    left_.push_back(object.oid);
  }
  nextObjects();
}

// As many objects as make a page, with their attributes if they are wanted.
void Search::nextObjects() {
  before_ += objects_.size();
  objects_.clear();
  while (objects_.size() < options_.page && !left_.empty()) {
    objects_.emplace_back(left_.back(), Attributes());
    left_.pop_back();
  }
  if (objects_.empty()) return succeed();
  if (!options_.wanted) {
    if (give(objects_)) nextObjects();
    return;
  }
  there_.assign(objects_.size(), false);
  waitsFor_ = objects_.size();
  guarded([this] {
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      ask(getOf(server_, objects_[i].oid, *options_.wanted,
                [this, i](Result<Attributes>&& attributes) {
                  objectArrived(i, std::move(attributes));
                }),
          options_.request);
    }
  });
}

void Search::objectArrived(std::size_t at, Result<Attributes>&& attributes) {
  waitsFor_--;
  const auto position = static_cast<std::uint32_t>(before_ + at);
  if (attributes) {
    for (const ItemError& error : attributes.itemErrors())
      errors_.push_back({position, error.identifier, error.code});
    objects_[at].attributes = *std::move(attributes);
    there_[at] = true;
  } else if (attributes.error().kind() != Failure::refused) {
    return finish(attributes.error());
  } else if (attributes.error().code() != kNoSuchName) {
    // One that was removed meanwhile is merely left out.
    errors_.push_back({position, Aid(), attributes.error().code()});
  }
  if (waitsFor_ > 0) return;
  allAnswered();
  std::vector<Object> objects;
  for (std::size_t i = 0; i < objects_.size(); ++i)
    if (there_[i]) objects.push_back(std::move(objects_[i]));
  if (objects.empty() || give(std::move(objects))) nextObjects();
}

}  // namespace ostrel
