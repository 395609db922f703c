#pragma once

#include <boost/intrusive/list.hpp>
#include <optional>

#include "proxy/ClientConnection.h"
#include "proxy/Services.h"
#include "proxy/loop/FileWatch.h"
#include "proxy/loop/Listener.h"
#include "proxy/loop/Task.h"
#include "proxy/loop/TerminationSignals.h"
#include "proxy/system/ProgramFile.h"

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
  /// From now on, the loop stops as soon as nobody is connected after the relay's program file has been
  /// replaced or removed. For a relay that a service manager starts again, which starts the new program then.
  /// Throws std::system_error. Once.
  void endWhenReplaced();

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
  void endIfReplaced() noexcept;
  void stopLoopIfDone() noexcept;
  void releaseMemoryAfterCrowd() noexcept;

  Services& services;
  std::optional<Listener> listener;
  TerminationSignals signals;
  const ProgramFile program;
  std::optional<FileWatch> programWatch;
  Connections connections;     ///< refused ones included
  std::size_t turnedAway = 0;  ///< connections that are being refused
  std::size_t crowd = 0;       ///< the most connections at once since free memory was released
  Timer acceptAgain;
  bool shortOfDescriptors = false;
};

}  // namespace ferrin::proxy
