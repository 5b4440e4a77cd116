// What an asynchronous request ends with: a result or an error, and the errors
// of single items when it succeeded in part.

#ifndef OSTREL_RESULT_H
#define OSTREL_RESULT_H

#include <ostrel/export.h>
#include <ostrel/identifier.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace ostrel {

// The result of a request that returns nothing.
struct Done {};

enum class Failure : std::uint8_t {
  refused,      // the server answered with a code
  noAnswer,     // nobody answered in time
  portClosed,   // the machine says that nothing listens there
  undecodable,  // the answer cannot be read, or answers another question
  unsendable,   // it never went out: the system refused, or it is too long
  cancelled,    // by the program
  misuse,       // the call is not allowed here
  wrongValue    // a value does not convert to what was asked for
};

// Why something failed. One pointer wide.
class OSTREL_API Error {
 public:
  // `what` names what failed, "get of 59.1.0.1 from 10.0.0.7:5135" for
  // instance; text() adds the reason. `systemError` is an errno or 0.
  // Without memory the error says that there is none: unsendable, ENOMEM.
  Error(Failure kind, int code, int systemError = 0,
        bool mayHaveHappened = false, std::string what = {}) noexcept;
  Error(const Error& other) noexcept;
  Error(Error&& other) noexcept;
  Error& operator=(const Error& other) noexcept;
  Error& operator=(Error&& other) noexcept;
  ~Error();

  Failure kind() const noexcept;

  // A code of codes.h: the server's status, or the library's own.
  int code() const noexcept;

  // The errno of the system call that failed, or 0.
  int systemError() const noexcept;

  // Whether a change went out and no answer came: it may have been made.
  bool mayHaveHappened() const noexcept;

  // What failed, why, and what to do. One line without its end; control
  // characters are escaped, so it is safe to print whatever a server sent.
  std::string text() const;

 private:
  struct State;

  std::unique_ptr<State> state_;  // null: there was no memory for it
};

inline std::ostream& operator<<(std::ostream& out, const Error& error) {
  return out << error.text();
}

// One item of a request that failed while others did not. When the server says
// that some did and not which, there is one with the code -1 (kArgListError).
struct ItemError {
  std::uint32_t position = 0;  // in the list of the request, from 0
  Aid identifier;              // of that item; not valid past the list's end
  int code = 0;                // of codes.h

  // "item 2 (59.6.1): 5(Permission Denied)".
  OSTREL_API std::string text() const;
};

inline bool operator==(const ItemError& a, const ItemError& b) {
  return a.position == b.position && a.identifier == b.identifier &&
         a.code == b.code;
}
inline bool operator!=(const ItemError& a, const ItemError& b) {
  return !(a == b);
}
inline std::ostream& operator<<(std::ostream& out, const ItemError& error) {
  return out << error.text();
}

// Report on standard error which member of a result was asked for that it has
// not, and abort.
[[noreturn]] OSTREL_API void failNoValue(const Error& error);
[[noreturn]] OSTREL_API void failNoError();

// A T or an Error. Where a server says that a part failed, it is a T, and
// itemErrors() is not empty.
//
// Asking an error for its value, or a value for its error, is an error in the
// program and stops the process, in every build.
template <class T>
class [[nodiscard]] Result {
  static_assert(std::is_object_v<T> && !std::is_same_v<T, Error>);

 public:
  using value_type = T;

  Result(T value, std::vector<ItemError> itemErrors = {})
      : content_(std::in_place_index<0>, std::move(value)),
        itemErrors_(std::move(itemErrors)) {}
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const noexcept { return content_.index() == 0; }

  const T& operator*() const& {
    check();
    return *std::get_if<0>(&content_);
  }
  T& operator*() & {
    check();
    return *std::get_if<0>(&content_);
  }
  T&& operator*() && {
    check();
    return std::move(*std::get_if<0>(&content_));
  }
  const T* operator->() const { return &**this; }
  T* operator->() { return &**this; }

  // The value, or `other` in place of an error.
  template <class Other>
  T value_or(Other&& other) const& {
    return *this ? **this : static_cast<T>(std::forward<Other>(other));
  }
  template <class Other>
  T value_or(Other&& other) && {
    return *this ? *std::move(*this)
                 : static_cast<T>(std::forward<Other>(other));
  }

  const Error& error() const {
    if (*this) failNoError();
    return *std::get_if<1>(&content_);
  }

  // What failed of a success in part, in the server's order; else empty.
  const std::vector<ItemError>& itemErrors() const noexcept {
    return itemErrors_;
  }

 private:
  void check() const {
    if (!*this) failNoValue(*std::get_if<1>(&content_));
  }

  std::variant<T, Error> content_;
  std::vector<ItemError> itemErrors_;
};

}  // namespace ostrel

#endif  // OSTREL_RESULT_H
