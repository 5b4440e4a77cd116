// Attributes and objects that own what they hold: what requests are made of,
// and what answers bring.

#ifndef OSTREL_ATTRIBUTES_H
#define OSTREL_ATTRIBUTES_H

#include <ostrel/export.h>
#include <ostrel/identifier.h>
#include <ostrel/names.h>
#include <ostrel/result.h>
#include <ostrel/value.h>

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostrel {

// An attribute: its identifier, and its value unless it has none. Without a
// value an attribute names what a request asks for.
class Attribute {
 public:
  Attribute() = default;  // not valid, without a value
  Attribute(Aid identifier) : id(identifier) {}
  Attribute(const char* identifier) : id(identifier) {}
  Attribute(Aid identifier, Value held)
      : id(identifier), hasValue(true), value(std::move(held)) {}

  // "59.6.1 = 5".
  OSTREL_API std::string text() const;

  friend bool operator==(const Attribute& a, const Attribute& b) noexcept {
    return a.id == b.id && a.hasValue == b.hasValue && a.value == b.value;
  }
  friend bool operator!=(const Attribute& a, const Attribute& b) noexcept {
    return !(a == b);
  }
  friend std::ostream& operator<<(std::ostream& out, const Attribute& self) {
    return out << self.text();
  }

  Aid id;
  bool hasValue = false;  // a null value is a value, too
  Value value;            // null without one
};

// A condition of a search: an attribute, what to compare its value by, and with
// what. Without a value it asks whether the attribute is there.
class Term {
 public:
  Term() = default;
  Term(Aid identifier) : attribute(identifier), comparison(kOperatorPresent) {}
  Term(const char* identifier) : Term(Aid(identifier)) {}
  Term(Aid identifier, SearchOperator by, Value held)
      : attribute(identifier, std::move(held)), comparison(by) {}

  // The same with kOperatorEquals.
  Term(Aid identifier, Value held)
      : Term(identifier, kOperatorEquals, std::move(held)) {}

  // "59.6.1 = 5 op = 1".
  OSTREL_API std::string text() const;

  friend bool operator==(const Term& a, const Term& b) noexcept {
    return a.attribute == b.attribute && a.comparison == b.comparison;
  }
  friend bool operator!=(const Term& a, const Term& b) noexcept {
    return !(a == b);
  }
  friend std::ostream& operator<<(std::ostream& out, const Term& self) {
    return out << self.text();
  }

  Attribute attribute;
  SearchOperator comparison = kOperatorEquals;  // servers may know others
};

// A sequence of attributes, in the order in which they were put there or
// arrived. An identifier may occur more than once.
//
//   ostrel::Attributes wanted{{"59.6.1", 5}, {"59.6.2", "on"}};
//   std::cout << wanted.at("59.6.2");
class OSTREL_API Attributes {
 public:
  using value_type = Attribute;
  using size_type = std::size_t;
  using iterator = std::vector<Attribute>::iterator;
  using const_iterator = std::vector<Attribute>::const_iterator;

  Attributes() noexcept = default;
  Attributes(std::initializer_list<Attribute> attributes)
      : attributes_(attributes) {}
  explicit Attributes(std::vector<Attribute> attributes) noexcept
      : attributes_(std::move(attributes)) {}

  std::size_t size() const noexcept { return attributes_.size(); }
  bool empty() const noexcept { return attributes_.empty(); }
  iterator begin() noexcept { return attributes_.begin(); }
  iterator end() noexcept { return attributes_.end(); }
  const_iterator begin() const noexcept { return attributes_.begin(); }
  const_iterator end() const noexcept { return attributes_.end(); }

  // The attribute at a position, which must be below size().
  Attribute& operator[](std::size_t position) { return attributes_[position]; }
  const Attribute& operator[](std::size_t position) const {
    return attributes_[position];
  }

  // The value of the first attribute with this identifier, null when that has
  // none. Without such an attribute at() throws std::out_of_range, which names
  // it, and find() returns a null pointer.
  const Value& at(const Aid& id) const;
  const Value* find(const Aid& id) const noexcept;
  Value* find(const Aid& id) noexcept;
  bool contains(const Aid& id) const noexcept { return find(id) != nullptr; }

  void append(Attribute attribute) {
    attributes_.push_back(std::move(attribute));
  }
  void append(Aid id, Value value) {
    attributes_.emplace_back(id, std::move(value));
  }
  void reserve(std::size_t count) { attributes_.reserve(count); }
  void clear() noexcept { attributes_.clear(); }

  // A list of attributes, as it travels.
  std::string encode() const;

  // The attributes that all of these bytes are. Of an attribute with an
  // operation code the code is dropped. The error is Failure::undecodable.
  static Result<Attributes> decode(std::string_view bytes,
                                   std::size_t most = kMostValues);

  // "59.6.1 = 5, 59.6.2 = on".
  std::string text() const;

  friend bool operator==(const Attributes& a, const Attributes& b) noexcept {
    return a.attributes_ == b.attributes_;
  }
  friend bool operator!=(const Attributes& a, const Attributes& b) noexcept {
    return !(a == b);
  }
  friend std::ostream& operator<<(std::ostream& out, const Attributes& self) {
    return out << self.text();
  }

 private:
  std::vector<Attribute> attributes_;
};

// An object: its identifier and attributes.
class OSTREL_API Object {
 public:
  Object() = default;
  Object(Oid identifier, Attributes held)
      : oid(identifier), attributes(std::move(held)) {}

  // As it travels, and back.
  std::string encode() const;
  static Result<Object> decode(std::string_view bytes,
                               std::size_t most = kMostValues);

  // "59.6.0.1 : 59.6.1 = 5".
  std::string text() const;

  friend bool operator==(const Object& a, const Object& b) noexcept {
    return a.oid == b.oid && a.attributes == b.attributes;
  }
  friend bool operator!=(const Object& a, const Object& b) noexcept {
    return !(a == b);
  }
  friend std::ostream& operator<<(std::ostream& out, const Object& self) {
    return out << self.text();
  }

  Oid oid;
  Attributes attributes;
};

}  // namespace ostrel

#endif  // OSTREL_ATTRIBUTES_H
