#pragma once
// Keeps a connection to the upstream open for as long as a client is connected, so that a request after a
// pause pays no handshake. One that the relay lets go of after its time is replaced; one that the upstream
// closed, or that can't be opened, is not before the next request.

#include <functional>

#include "proxy/Services.h"
#include "proxy/upstream/Connector.h"

namespace ferrin::proxy {

class WarmConnection {
 public:
  /// `ended` is called after each attempt.
  WarmConnection(Services& shared, std::function<void()> ended);
  WarmConnection(const WarmConnection&) = delete;
  WarmConnection& operator=(const WarmConnection&) = delete;
  /// Not while it is busy.
  ~WarmConnection() { services.pool.onExpiry(nullptr); }

  /// Whether a connection is being opened.
  bool busy() const { return attempt != nullptr; }
  /// Gives up what is under way, at once or in the next turn.
  void stop();

 private:
  Detached renew();

  Services& services;
  std::function<void()> ended;
  Connector* attempt = nullptr;
};

}  // namespace ferrin::proxy
