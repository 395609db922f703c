#pragma once
// The listening socket and the life of the whole relay.

#include <boost/intrusive/list.hpp>
#include <optional>

#include "proxy/ClientConnection.h"
#include "proxy/Services.h"
#include "proxy/loop/Listener.h"
#include "proxy/loop/Task.h"
#include "proxy/loop/TerminationSignals.h"

namespace ferrin::proxy {

class Server {
 public:
  explicit Server(Services& shared);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Listens and says so in the log's first line. Throws std::runtime_error, naming the port and its holder
  /// where it is taken.
  void start();

 private:
  using Connections = boost::intrusive::list<ClientConnection, boost::intrusive::constant_time_size<false>>;

  void listen();
  void accepted(FileDescriptor socket) noexcept;
  void notAccepted(int error) noexcept;
  void logShortage(int error) noexcept;
  Detached run(FileDescriptor socket);
  void signalled();
  void stop();
  void abandonAll();
  void stopLoopIfDone();

  Services& services;
  std::optional<Listener> listener;
  TerminationSignals signals;
  Connections connections;
  Timer drain;
  Timer acceptAgain;
  bool shortOfDescriptors = false;
};

}  // namespace ferrin::proxy
