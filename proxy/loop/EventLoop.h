#pragma once
// The one thread's loop: waits for sockets, time limits and what other threads send, and hands each to its
// owner. A turn takes note of everything that has happened before it calls anybody, so that whoever is called
// sees the whole of it: an end of stream right behind the bytes, say.

#include <array>
#include <atomic>
#include <boost/intrusive/list.hpp>
#include <functional>
#include <mutex>
#include <vector>

#include "proxy/loop/Deadlines.h"
#include "proxy/system/Poller.h"

namespace ferrin::proxy {

class EventLoop;

/// Something to be done once, soon. Gone from its loop when it is destroyed.
class Job
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  Job() = default;
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  virtual ~Job() = default;

 private:
  friend class EventLoop;
  virtual void run() = 0;
};

/// The owner of a descriptor. It may be destroyed by any call, its own included.
class Watched {
 public:
  explicit Watched(EventLoop& home) : loop(home) {}
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;
  virtual ~Watched();

 protected:
  EventLoop& loop;

 private:
  friend class EventLoop;
  /// Only takes note of it.
  virtual void noted(const Change& change) = 0;
  /// What has been noted can be acted upon, reading and writing one after the other.
  virtual void goOnReading() = 0;
  virtual void goOnWriting() = 0;
};

/// All of it on the loop's thread, but for post() and stop().
class EventLoop {
 public:
  /// Runs turns until stop().
  void run();
  /// Waits for something to happen, at most `limit` if there is one, and has it dealt with.
  void turn(std::optional<std::chrono::milliseconds> limit);
  /// Ends run() after the turn at hand. From any thread.
  void stop();

  void watch(int descriptor, Watched& watched) { poller.add(descriptor, watched); }
  /// Has `job` run at the end of this turn, or of the next one if that end has come already. Once, however
  /// often it is said.
  void soon(Job& job);
  /// Has `task` run in a turn that follows. From any thread.
  void post(std::function<void()> task);

  Deadlines& deadlines() { return limits; }
  /// Whether something that happened before this turn may be left for the next one, as a turn takes only so
  /// much.
  bool mayBeBehind() const { return behind; }

 private:
  friend class Watched;
  using Jobs = boost::intrusive::list<Job, boost::intrusive::constant_time_size<false>>;

  void forget(const Watched& watched);
  void dispatch(std::span<Change> changes);
  void runJobs();
  void runPosted();

  Poller poller;
  Deadlines limits;
  std::array<Change, 256> buffer;
  std::span<Change> dispatching;
  bool behind = false;
  Jobs jobs;
  std::mutex mutex;
  std::vector<std::function<void()>> posted;
  std::atomic<bool> anyPosted = false;  ///< spares each turn the mutex
  std::atomic<bool> stopped = false;
};

}  // namespace ferrin::proxy
