#pragma once

#include <optional>
#include <string>

#include "proxy/loop/SendBuffer.h"
#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {

/// A client's connection, as its reader and its exchanges share it.
struct Client {
  /// Throws std::system_error when the loop can't watch the socket.
  Client(EventLoop& loop, FileDescriptor connected);

  /// Whether its program has closed the connection, also when bytes that it sent before are still unread
  /// here. One that only sends no more (shutdown(2)) counts as gone too: no client of HTTP does that.
  bool hasGone() const noexcept;
  /// Takes `count` bytes off the front of `pending`, and gives back what a large head or body has taken.
  void dropPending(std::size_t count) noexcept;

  const std::optional<ConnectionEnds>
      ends;  ///< none where the client had left before they could be asked for
  PlainStream stream;
  SendBuffer sendBuffer;
  std::string pending;  ///< received, and not used yet: the next head, or a part of the body that follows it
};

}  // namespace ferrin::proxy
