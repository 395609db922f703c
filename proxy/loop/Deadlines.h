#pragma once
// Time limits. All waits of one kind last equally long, so each kind is a list in order of expiry: starting,
// renewing and stopping a limit cost a few pointer writes and no system call.

#include <boost/intrusive/list.hpp>
#include <chrono>
#include <functional>
#include <optional>
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

/// All limits, and the time as it was when this turn of the event loop began, which they count from.
class Deadlines {
 public:
  Clock::time_point now() const { return current; }
  /// A turn begins.
  void advance() { current = Clock::now(); }
  /// How long nothing expires, rounded up, or a day if that is longer; without a value when nothing ever
  /// does.
  std::optional<std::chrono::milliseconds> untilNext();
  /// Calls back all that have run their length. What untilNext() saw spares it the search.
  void expireDue();

 private:
  friend class Deadline;
  friend class DeadlineList;
  using Entries = boost::intrusive::list<Deadline, boost::intrusive::constant_time_size<false>>;

  Clock::time_point current = Clock::now();
  Clock::time_point next = Clock::time_point::min();  ///< nothing expires before this
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
