// Requests of the asynchronous client in C++20 coroutines.
//
//   ostrel::Task<void> report(ostrel::Client& client, ostrel::Endpoint server)
//   {
//     auto load = co_await client.get(server, "59.1.0.1", {"59.1.5"});
//     if (load) std::cout << server << ' ' << load->at("59.1.5") << '\n';
//   }
//
//   auto all = ostrel::all(report(client, one), report(client, other));
//   ostrel::runUntil(client, all);
//
// A coroutine runs in the client's thread, from where the request is awaited to
// the next one. Destroying a task destroys its coroutine, and what it awaits is
// forgotten. The client must live longer than the tasks that await it.

#ifndef OSTREL_COROUTINE_H
#define OSTREL_COROUTINE_H

#include <ostrel/client.h>

// Before C++20 this header declares nothing.
#if defined(__cpp_impl_coroutine) || \
    (defined(__cpp_coroutines) && __cplusplus >= 202002L)

// clang 14 has coroutines in C++20 without the macro that this header of
// libstdc++ wants to see.
#if !defined(__cpp_impl_coroutine)
#define __cpp_impl_coroutine 201902L
#define OSTREL_DEFINED_CPP_IMPL_COROUTINE
#endif
#include <coroutine>
#if defined(OSTREL_DEFINED_CPP_IMPL_COROUTINE)
#undef __cpp_impl_coroutine
#undef OSTREL_DEFINED_CPP_IMPL_COROUTINE
#endif

#include <cstddef>
#include <exception>
#include <optional>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace ostrel {

// Awaits one request; made by co_await.
template <class T>
class RequestAwaiter {
 public:
  explicit RequestAwaiter(Request<T> request) noexcept
      : request_(std::move(request)) {}
  RequestAwaiter(const RequestAwaiter&) = delete;
  RequestAwaiter& operator=(const RequestAwaiter&) = delete;

  // A coroutine that is destroyed while it waits does not want the result.
  ~RequestAwaiter() { request_.forget(); }

  // A request that was not taken has a result at once.
  bool await_ready() noexcept { return !request_; }

  // False: the result is there already, or there will be none.
  bool await_suspend(std::coroutine_handle<> waiting) {
    asking_ = true;
    const bool taken = request_.then([this, waiting](Result<T>&& result) {
      result_.emplace(std::move(result));
      if (!asking_) waiting.resume();
    });
    asking_ = false;
    return taken && !result_;
  }

  Result<T> await_resume() {
    if (result_) return std::move(*result_);
    const bool closing = !request_;
    return Result<T>(Error(closing ? Failure::cancelled : Failure::misuse,
                           kNetworkError, closing ? ECANCELED : EINVAL));
  }

 private:
  Request<T> request_;
  std::optional<Result<T>> result_;
  bool asking_ = false;
};

template <class T>
RequestAwaiter<T> operator co_await(Request<T>&& request) {
  return RequestAwaiter<T>(std::move(request));
}

template <class T>
class Task;

namespace detail {

// Where the result of a task is kept, and who waits for it.
template <class T>
struct TaskValue {
  std::optional<T> value;
  template <class From>
  void return_value(From&& from) {
    value.emplace(std::forward<From>(from));
  }
  T take() { return std::move(*value); }
};

template <>
struct TaskValue<void> {
  void return_void() noexcept {}
  void take() noexcept {}
};

template <class T>
struct TaskPromise : TaskValue<T> {
  struct Final {
    bool await_ready() noexcept { return false; }
    std::coroutine_handle<> await_suspend(
        std::coroutine_handle<TaskPromise> ended) noexcept {
      const std::coroutine_handle<> next = ended.promise().waiting;
      return next ? next : std::noop_coroutine();
    }
    void await_resume() noexcept {}
  };

  Task<T> get_return_object() noexcept;
  // It begins when it is called, so that several run side by side.
  std::suspend_never initial_suspend() noexcept { return {}; }
  Final final_suspend() noexcept { return {}; }
  void unhandled_exception() noexcept { thrown = std::current_exception(); }

  std::coroutine_handle<> waiting;
  std::exception_ptr thrown;
};

}  // namespace detail

// A coroutine that returns a T. It runs to its first co_await when it is
// called.
template <class T = void>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::TaskPromise<T>;

  Task() noexcept = default;
  Task(Task&& other) noexcept
      : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
  Task& operator=(Task&& other) noexcept {
    if (this == &other) return *this;
    cancel();
    coroutine_ = std::exchange(other.coroutine_, nullptr);
    return *this;
  }
  ~Task() { cancel(); }

  // Destroys the coroutine, with what it awaits. Not from inside itself.
  void cancel() noexcept {
    if (coroutine_) std::exchange(coroutine_, nullptr).destroy();
  }

  bool done() const noexcept { return !coroutine_ || coroutine_.done(); }

  // Its result, once, after it is done. What it threw comes out here.
  T get() {
    promise_type& promise = coroutine_.promise();
    if (promise.thrown) std::rethrow_exception(promise.thrown);
    return promise.take();
  }

  bool await_ready() const noexcept { return done(); }
  void await_suspend(std::coroutine_handle<> waiting) noexcept {
    coroutine_.promise().waiting = waiting;
  }
  T await_resume() { return get(); }

 private:
  friend promise_type;
  explicit Task(std::coroutine_handle<promise_type> coroutine) noexcept
      : coroutine_(coroutine) {}

  std::coroutine_handle<promise_type> coroutine_ = nullptr;
};

template <class T>
Task<T> detail::TaskPromise<T>::get_return_object() noexcept {
  return Task<T>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}

namespace detail {

template <class T>
Task<Result<T>> begun(Request<T> request) {
  co_return co_await std::move(request);
}
template <class T>
Task<T> begun(Task<T> task) {
  return task;
}

}  // namespace detail

// Waits for all of several requests or tasks, which run side by side:
//
//   auto [load, users] = co_await ostrel::all(client.get(...),
//   client.get(...));
//
// Tasks must return something here; those that return nothing go into a vector.
template <class... Each>
auto all(Each... each)
    -> Task<std::tuple<decltype(detail::begun(std::move(each)).get())...>> {
  // All are under way before the first is awaited.
  auto begun = std::make_tuple(detail::begun(std::move(each))...);
  co_return co_await std::apply(
      [](auto&... tasks) -> Task<std::tuple<decltype(tasks.get())...>> {
        co_return std::tuple<decltype(tasks.get())...>{(co_await tasks)...};
      },
      begun);
}

// The same for any number of the same kind, in their order.
template <class T>
Task<std::vector<Result<T>>> all(std::vector<Request<T>> requests) {
  std::vector<Task<Result<T>>> begun;
  begun.reserve(requests.size());
  for (Request<T>& request : requests)
    begun.push_back(detail::begun(std::move(request)));
  std::vector<Result<T>> results;
  results.reserve(begun.size());
  for (Task<Result<T>>& task : begun) results.push_back(co_await task);
  co_return results;
}

inline Task<void> all(std::vector<Task<void>> tasks) {
  for (Task<void>& task : tasks) co_await task;
}

// Runs the client until the task is done, and returns its result. Throws
// std::logic_error when the task waits for something else.
template <class T>
T runUntil(Client& client, Task<T>& task) {
  while (!task.done()) {
    client.run();
    if (!task.done() && client.outstanding() == 0)
      throw std::logic_error("the task does not wait for this client");
  }
  return task.get();
}

}  // namespace ostrel

#endif  // coroutines

#endif  // OSTREL_COROUTINE_H
