#pragma once

#include <boost/intrusive/list.hpp>
#include <optional>

#include "proxy/ClientConnection.h"
#include "proxy/Services.h"
#include "proxy/loop/Listener.h"
#include "proxy/loop/Task.h"
#include "proxy/loop/TerminationSignals.h"

namespace ferrin::proxy {

/// Accepts connections and owns them. Everything is called on the event loop's thread.
class Server {
 public:
  /// `shared` outlives it. Takes over the termination signals. Throws std::system_error.
  explicit Server(Services& shared);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Listens and announces that in the log's first line. Throws std::runtime_error, naming the port and, if
  /// it is taken, its holder. Once.
  void start();

 private:
  using Connections = boost::intrusive::list<ClientConnection, boost::intrusive::constant_time_size<false>>;

  void listen();
  void accepted(FileDescriptor socket) noexcept;
  void notAccepted(int error) noexcept;
  void logShortage(int error) noexcept;
  std::optional<RelayError> refusalOf(PeerOwner owner) const noexcept;
  Detached run(FileDescriptor socket, std::optional<RelayError> refused);
  void signalled(int number) noexcept;
  void stopAccepting() noexcept;
  void stopLoopIfDone() noexcept;

  Services& services;
  std::optional<Listener> listener;
  TerminationSignals signals;
  Connections connections;     ///< refused ones included
  std::size_t turnedAway = 0;  ///< connections that are being refused
  Timer acceptAgain;
  bool shortOfDescriptors = false;
};

}  // namespace ferrin::proxy
