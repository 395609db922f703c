#pragma once
// The upstream's name, looked up beside the event loop. The system's look-up can't be interrupted and may
// take many seconds, so it runs in a thread that nobody has to wait for: no client that leaves, no later
// request, not the end of the process.

#include <boost/intrusive/list.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "proxy/loop/Task.h"
#include "proxy/upstream/AddressRace.h"

namespace ferrin::proxy {

/// What looking a name up came to.
struct Found {
  Endpoints endpoints;
  std::string problem;  ///< why there are none
};

/// Asks the system. Blocks.
Found lookUp(const std::string& host, std::uint16_t port);

class NameLookups {
 public:
  /// `ask` is called in other threads, and may still be running in one when this object has gone.
  NameLookups(EventLoop& loop, std::function<Found()> ask);
  NameLookups(const NameLookups&) = delete;
  NameLookups& operator=(const NameLookups&) = delete;
  ~NameLookups();

  class Wait;
  /// Waits for the answer to a look-up that begins now or began a moment ago; for nothing once `wait` is
  /// cancelled.
  Task<Found> find(Wait& wait);

 private:
  struct Lookup;
  struct Home;
  std::shared_ptr<Lookup> begin();

  std::function<Found()> ask;
  std::shared_ptr<Home> home;
  std::shared_ptr<Lookup> latest;
};

/// One who waits for a look-up.
class NameLookups::Wait
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  /// Resumes find() at once.
  void cancel() { finished.announce(); }

 private:
  friend class NameLookups;
  Signal finished;
  Found found;
};

}  // namespace ferrin::proxy
