#pragma once
// Time limits. All waits of one kind last equally long, so each kind is a list in order of expiry, and one
// timer serves them all: starting, renewing and stopping a limit cost a few pointer writes and no system
// call.

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/intrusive/list.hpp>
#include <chrono>
#include <functional>
#include <vector>

namespace ferrin::proxy {

using Clock = std::chrono::steady_clock;

class DeadlineList;

/// One limit. Calls back once, from the event loop, when it has run its list's length; stopped by stop() and
/// by its own end. The callback may start it again, and may destroy it.
class Deadline
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  explicit Deadline(std::function<void()> onExpiry) : expired(std::move(onExpiry)) {}
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  /// Starts it, or starts it over, on `list`.
  void start(DeadlineList& list);
  /// Starts it over if it is running.
  void renew();
  void stop() { unlink(); }
  bool running() const { return is_linked(); }

 private:
  friend class Deadlines;
  std::function<void()> expired;
  DeadlineList* list = nullptr;
  Clock::time_point due;
};

/// The one timer. It is armed for the earliest limit of all lists, and not at all when there is none.
class Deadlines {
 public:
  explicit Deadlines(boost::asio::io_context& context) : timer(context) {}

  /// Disarms the timer if nothing is waited for. Called when the last connection has gone.
  void settle();
  /// For good: nothing calls back any more.
  void stop() { timer.cancel(); }

 private:
  friend class Deadline;
  friend class DeadlineList;
  using Entries = boost::intrusive::list<Deadline, boost::intrusive::constant_time_size<false>>;

  void armFor(Clock::time_point due);
  void armForEarliest();
  void expireDue();

  boost::asio::steady_timer timer;
  Clock::time_point armedFor = Clock::time_point::max();
  std::vector<DeadlineList*> lists;
};

/// All limits of one length.
class DeadlineList {
 public:
  DeadlineList(Deadlines& owner, std::chrono::milliseconds limit);
  DeadlineList(const DeadlineList&) = delete;
  DeadlineList& operator=(const DeadlineList&) = delete;

 private:
  friend class Deadline;
  friend class Deadlines;
  Deadlines& deadlines;
  std::chrono::milliseconds length;
  Deadlines::Entries entries;
};

}  // namespace ferrin::proxy
