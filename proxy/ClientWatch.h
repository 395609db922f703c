#pragma once

#include "proxy/ExchangeState.h"

namespace ferrin::proxy {

/// Ends an exchange when its client leaves while the exchange does not read from the client's connection. A
/// client that closes normally is reported by its socket. But its end of stream can be held up by bytes that
/// it sent before and that the relay does not read now: then the system is asked whether its socket still
/// exists, from time to time.
class ClientWatch {
 public:
  /// `shared` outlives this object.
  explicit ClientWatch(ExchangeState& shared);
  ClientWatch(const ClientWatch&) = delete;
  ClientWatch& operator=(const ClientWatch&) = delete;
  ~ClientWatch() { pause(); }

  /// Watches from now on, beginning with what has arrived already.
  void start();
  /// Watches from now on, beginning a moment later: for a pause in reading that is usually short.
  void startLater();
  /// Stops watching: the client is read from again, or the exchange is over.
  void pause();

 private:
  void check() noexcept;

  ExchangeState& state;
  Timer recheck;
};

}  // namespace ferrin::proxy
