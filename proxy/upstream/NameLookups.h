#pragma once
// Looks the upstream's name up beside the event loop. The system's look-up can't be interrupted and may take
// many seconds. So it runs in a detached thread, and a client that leaves, a later request and the end of the
// process don't wait for it.

#include <boost/intrusive/list.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "proxy/loop/Task.h"
#include "proxy/upstream/AddressRace.h"

namespace ferrin::proxy {

/// The result of a look-up.
struct Found {
  Endpoints endpoints;
  std::string problem;  ///< why there are none
};

/// Asks the system (getaddrinfo(3)). Blocks; from any thread.
Found lookUp(const std::string& host, std::uint16_t port);

class NameLookups {
 public:
  /// `ask` is called in other threads, and may still be running in one after this object has been destroyed.
  NameLookups(EventLoop& loop, std::function<Found()> ask);
  NameLookups(const NameLookups&) = delete;
  NameLookups& operator=(const NameLookups&) = delete;
  ~NameLookups();

  class Wait;
  /// Waits for the result of a look-up that begins now or began a moment ago. The result is empty when `wait`
  /// was cancelled. Throws std::bad_alloc.
  Task<Found> find(Wait& wait);

 private:
  struct Lookup;
  struct Home;
  std::shared_ptr<Lookup> begin();

  std::function<Found()> ask;
  std::shared_ptr<Home> home;
  std::shared_ptr<Lookup> latest;
};

/// One coroutine's wait for a look-up. Destroying it leaves the look-up to others.
class NameLookups::Wait
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  /// Resumes find() within this call.
  void cancel() { finished.set(); }

 private:
  friend class NameLookups;
  SingleConsumerEvent finished;
};

}  // namespace ferrin::proxy
