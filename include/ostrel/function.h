// A function object that is moved and never copied: what the asynchronous
// client calls back. Unlike std::function it holds what cannot be copied, a
// std::unique_ptr in a lambda for instance.

#ifndef OSTREL_FUNCTION_H
#define OSTREL_FUNCTION_H

#include <ostrel/export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace ostrel {

// Reports on standard error that an empty UniqueFunction was called, and
// aborts.
[[noreturn]] OSTREL_API void failEmptyCall();

template <class Signature>
class UniqueFunction;

// Holds anything that can be called with `Arguments` and whose result converts
// to `Result`; or nothing. Up to 64 bytes that move without throwing are held
// in place; anything else takes one allocation.
//
// Arguments are passed on as they are declared, so a function that takes a
// const reference fits where an rvalue is passed.
//
// It may be called any number of times. Calling an empty one is an error in the
// program and stops the process, in every build. What the held function throws
// comes out of the call. A call must not destroy, move or assign the function
// itself: move it out first.
template <class Result, class... Arguments>
class UniqueFunction<Result(Arguments...)> {
 public:
  // Bytes that are held in place.
  static constexpr std::size_t kInside = 64;

  // Empty.
  UniqueFunction() noexcept = default;
  UniqueFunction(std::nullptr_t) noexcept {}

  // Holds `function`. Empty when that is a null pointer to a function or
  // member, or an empty std::function or UniqueFunction.
  template <
      class Function, class Held = std::decay_t<Function>,
      std::enable_if_t<!std::is_same_v<Held, UniqueFunction> &&
                           std::is_invocable_r_v<Result, Held&, Arguments...>,
                       int> = 0>
  UniqueFunction(Function&& function) {
    if (isNothing(function)) return;
    if constexpr (kFits<Held>) {
      ::new (at()) Held(std::forward<Function>(function));
      kind_ = &kInPlace<Held>;
    } else {
      ::new (at()) Held*(new Held(std::forward<Function>(function)));
      kind_ = &kApart<Held>;
    }
  }

  UniqueFunction(UniqueFunction&& other) noexcept { take(other); }
  UniqueFunction& operator=(UniqueFunction&& other) noexcept {
    if (this == &other) return *this;
    reset();
    take(other);
    return *this;
  }
  UniqueFunction(const UniqueFunction&) = delete;
  UniqueFunction& operator=(const UniqueFunction&) = delete;
  ~UniqueFunction() { reset(); }

  // Destroys what is held, uncalled.
  UniqueFunction& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  explicit operator bool() const noexcept { return kind_ != nullptr; }

  Result operator()(Arguments... arguments) {
    if (kind_ == nullptr) failEmptyCall();
    return kind_->call(at(), std::forward<Arguments>(arguments)...);
  }

 private:
  // What can be done with one class of functions.
  struct Kind {
    Result (*call)(void* at, Arguments&&... arguments);
    void (*move)(void* from, void* to) noexcept;  // and destroys at `from`
    void (*destroy)(void* at) noexcept;
  };

  template <class Held>
  static constexpr bool kFits = sizeof(Held) <= kInside &&
                                alignof(Held) <= alignof(std::max_align_t) &&
                                std::is_nothrow_move_constructible_v<Held>;

  template <class Held>
  static Result invoke(Held& held, Arguments&&... arguments) {
    if constexpr (std::is_void_v<Result>)
      std::invoke(held, std::forward<Arguments>(arguments)...);
    else
      return std::invoke(held, std::forward<Arguments>(arguments)...);
  }

  template <class Held>
  static Result callInPlace(void* at, Arguments&&... arguments) {
    return invoke(*static_cast<Held*>(at),
                  std::forward<Arguments>(arguments)...);
  }
  template <class Held>
  static void moveInPlace(void* from, void* to) noexcept {
    auto* const held = static_cast<Held*>(from);
    ::new (to) Held(std::move(*held));
    held->~Held();
  }
  template <class Held>
  static void destroyInPlace(void* at) noexcept {
    static_cast<Held*>(at)->~Held();
  }

  template <class Held>
  static Result callApart(void* at, Arguments&&... arguments) {
    return invoke(**static_cast<Held**>(at),
                  std::forward<Arguments>(arguments)...);
  }
  template <class Held>
  static void moveApart(void* from, void* to) noexcept {
    ::new (to) Held*(*static_cast<Held**>(from));
  }
  template <class Held>
  static void destroyApart(void* at) noexcept {
    delete *static_cast<Held**>(at);
  }

  template <class Held>
  static constexpr Kind kInPlace{callInPlace<Held>, moveInPlace<Held>,
                                 destroyInPlace<Held>};
  template <class Held>
  static constexpr Kind kApart{callApart<Held>, moveApart<Held>,
                               destroyApart<Held>};

  template <class T>
  struct MayBeNothing : std::bool_constant<std::is_pointer_v<T> ||
                                           std::is_member_pointer_v<T>> {};
  template <class Signature>
  struct MayBeNothing<std::function<Signature>> : std::true_type {};
  template <class Signature>
  struct MayBeNothing<UniqueFunction<Signature>> : std::true_type {};

  template <class Function>
  static bool isNothing(const Function& function) {
    if constexpr (MayBeNothing<Function>::value) return !function;
    return false;
  }

  void* at() noexcept { return static_cast<void*>(&inside_); }

  void take(UniqueFunction& other) noexcept {
    kind_ = std::exchange(other.kind_, nullptr);
    if (kind_ != nullptr) kind_->move(other.at(), at());
  }

  // Empty before anything is destroyed: a destructor may look here.
  void reset() noexcept {
    const Kind* const kind = std::exchange(kind_, nullptr);
    if (kind != nullptr) kind->destroy(at());
  }

  alignas(std::max_align_t) unsigned char inside_[kInside];
  const Kind* kind_ = nullptr;
};

}  // namespace ostrel

#endif  // OSTREL_FUNCTION_H
