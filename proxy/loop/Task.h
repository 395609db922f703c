#pragma once
// The coroutines that the relay is written in. A Task starts when it is awaited and resumes its awaiter
// directly when it ends, without a turn of the event loop. Everything runs on the event loop's one thread.

#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

namespace ferrin::proxy {

template <typename T>
class Task;

namespace detail {

class PromiseBase {
 public:
  std::suspend_always initial_suspend() noexcept { return {}; }
  auto final_suspend() noexcept {
    struct ResumeAwaiter {
      bool await_ready() noexcept { return false; }
      std::coroutine_handle<> await_suspend(std::coroutine_handle<>) noexcept { return awaiter; }
      void await_resume() noexcept {}
      std::coroutine_handle<> awaiter;
    };
    return ResumeAwaiter{awaiting};
  }
  void unhandled_exception() noexcept { failure = std::current_exception(); }

  std::coroutine_handle<> awaiting = std::noop_coroutine();
  std::exception_ptr failure;
};

template <typename T>
class Promise : public PromiseBase {
 public:
  Task<T> get_return_object();
  void return_value(T result) { value.emplace(std::move(result)); }
  T take() { return std::move(*value); }

 private:
  std::optional<T> value;
};

template <>
class Promise<void> : public PromiseBase {
 public:
  Task<void> get_return_object();
  void return_void() noexcept {}
  void take() noexcept {}
};

}  // namespace detail

/// A lazily started coroutine. Awaiting it rethrows what it threw. It must not be destroyed while it waits
/// for something that will resume it.
template <typename T = void>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::Promise<T>;

  explicit Task(std::coroutine_handle<promise_type> created) : coroutine(created) {}
  Task(Task&& other) noexcept : coroutine(std::exchange(other.coroutine, nullptr)) {}
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  Task& operator=(Task&&) = delete;
  ~Task() {
    if (coroutine) coroutine.destroy();
  }

  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiter) noexcept {
    coroutine.promise().awaiting = awaiter;
    return coroutine;
  }
  T await_resume() {
    if (coroutine.promise().failure) std::rethrow_exception(coroutine.promise().failure);
    return coroutine.promise().take();
  }

 private:
  std::coroutine_handle<promise_type> coroutine;
};

template <typename T>
Task<T> detail::Promise<T>::get_return_object() {
  return Task<T>(std::coroutine_handle<Promise>::from_promise(*this));
}

inline Task<void> detail::Promise<void>::get_return_object() {
  return Task<void>(std::coroutine_handle<Promise>::from_promise(*this));
}

/// Something that one coroutine waits for and somebody else announces, once or again. Announcing runs the
/// waiter at once.
class Signal {
 public:
  auto wait() {
    struct Awaiter {
      bool await_ready() const noexcept { return false; }
      void await_suspend(std::coroutine_handle<> handle) noexcept { signal.waiter = handle; }
      void await_resume() noexcept {}
      Signal& signal;
    };
    return Awaiter{*this};
  }
  void announce() {
    if (waiter) std::exchange(waiter, nullptr).resume();
  }

 private:
  std::coroutine_handle<> waiter;
};

/// A coroutine that nobody awaits: it starts at once and frees itself when it ends. It must not throw.
struct Detached {
  struct promise_type {
    Detached get_return_object() noexcept { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() noexcept {}
    void unhandled_exception() noexcept { std::terminate(); }
  };
};

/// A second coroutine beside the one that owns this object, which must join it before the object goes.
class SideTask {
 public:
  /// Runs `task` up to its first wait. Not while another one is running. What it throws is rethrown by
  /// join().
  void start(Task<> task) {
    active = true;
    run(std::move(task), *this);
  }
  bool running() const { return active; }
  /// Whether join() has anything to do.
  bool pending() const { return active || failure; }
  Task<> join() {
    if (active) co_await ended.wait();
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
  }

 private:
  static Detached run(Task<> task, SideTask& self) {
    try {
      co_await task;
    } catch (...) {
      self.failure = std::current_exception();
    }
    self.active = false;
    self.ended.announce();
  }

  bool active = false;
  Signal ended;
  std::exception_ptr failure;
};

}  // namespace ferrin::proxy
