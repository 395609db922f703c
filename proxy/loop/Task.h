#pragma once
// The coroutines that the relay is written in. All of them run on the event loop's thread.
//
// Destroying a coroutine that waits cancels it: whatever it waits for (Socket, SingleConsumerEvent, another
// Task) forgets it, and its locals are destroyed as by a return. A coroutine must not be destroyed while it
// runs, that is, from a call that it is making. To end one from inside such a call, interrupt what it waits
// for.
//
// GCC 12 destroys some temporaries of an awaited expression twice: braced arguments, and the arms of `?:`.
// Give them a name, or write an `if`.

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

/// A coroutine that starts when it is awaited, and resumes its awaiter directly when it ends, without a turn
/// of the event loop. Awaiting it rethrows what it threw. Calling the function that returns it throws
/// std::bad_alloc when there is no memory for its frame.
template <typename T = void>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::Promise<T>;

  explicit Task(std::coroutine_handle<promise_type> created) : coroutine(created) {}
  Task(Task&& other) noexcept : coroutine(std::exchange(other.coroutine, nullptr)) {}
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  Task& operator=(Task&&) = delete;
  /// Cancels it if it waits. Not while it runs.
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
  friend class SideTask;
  std::coroutine_handle<promise_type> coroutine;
};

template <typename T>
Task<T> detail::Promise<T>::get_return_object() {
  return Task<T>(std::coroutine_handle<Promise>::from_promise(*this));
}

inline Task<void> detail::Promise<void>::get_return_object() {
  return Task<void>(std::coroutine_handle<Promise>::from_promise(*this));
}

/// A one-time event that one coroutine waits for. Outlives the wait.
class SingleConsumerEvent {
 public:
  SingleConsumerEvent() = default;
  SingleConsumerEvent(const SingleConsumerEvent&) = delete;
  SingleConsumerEvent& operator=(const SingleConsumerEvent&) = delete;

  /// The event has happened. Resumes the waiter within this call, which may destroy this object.
  void set() {
    happened = true;
    if (waiter) std::exchange(waiter, nullptr).resume();
  }

  /// Waits for set(); not at all when that was called before. One waiter at a time.
  auto wait() {
    struct Awaiter {
      explicit Awaiter(SingleConsumerEvent& awaited) : event(awaited) {}
      Awaiter(const Awaiter&) = delete;
      Awaiter& operator=(const Awaiter&) = delete;
      ~Awaiter() {
        if (waits) event.waiter = nullptr;
      }
      bool await_ready() const noexcept { return event.happened; }
      void await_suspend(std::coroutine_handle<> handle) noexcept {
        event.waiter = handle;
        waits = true;
      }
      void await_resume() noexcept { waits = false; }  // the event may be gone by the time this is destroyed
      SingleConsumerEvent& event;
      bool waits = false;
    };
    return Awaiter(*this);
  }

 private:
  std::coroutine_handle<> waiter;
  bool happened = false;
};

/// A coroutine that is not awaited: it starts at once and frees itself when it ends. An exception that leaves
/// it ends the process; so its body catches everything.
struct Detached {
  struct promise_type {
    Detached get_return_object() noexcept { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() noexcept {}
    void unhandled_exception() noexcept { std::terminate(); }
  };
};

/// A second coroutine beside the one that owns this object. Destroying this object cancels it.
class SideTask {
 public:
  /// Runs `task` up to its first wait. Again only when the task before it has ended.
  void start(Task<> task) {
    side.emplace(std::move(task));
    side->coroutine.resume();
  }
  bool started() const { return side.has_value(); }
  /// Whether it has started and not ended.
  bool running() const { return started() && !side->coroutine.done(); }

  /// Waits until it has ended, and rethrows what it threw. Once after each start().
  auto join() {
    struct Awaiter {
      explicit Awaiter(Task<>& awaited) : task(awaited) {}
      Awaiter(const Awaiter&) = delete;
      Awaiter& operator=(const Awaiter&) = delete;
      ~Awaiter() { task.coroutine.promise().awaiting = std::noop_coroutine(); }
      bool await_ready() const noexcept { return task.coroutine.done(); }
      void await_suspend(std::coroutine_handle<> joiner) noexcept {
        task.coroutine.promise().awaiting = joiner;
      }
      void await_resume() { task.await_resume(); }
      Task<>& task;
    };
    return Awaiter(*side);
  }

 private:
  std::optional<Task<>> side;
};

}  // namespace ferrin::proxy
