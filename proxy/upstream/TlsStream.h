#pragma once

#include <optional>

#include "proxy/loop/Stream.h"
#include "proxy/upstream/TlsContext.h"

namespace ferrin::proxy {

/// A connection to the upstream through TLS. `context` outlives it.
class TlsStream : public Stream {
 public:
  /// Throws std::system_error when the loop can't watch the socket, std::runtime_error for the library's
  /// failures.
  TlsStream(EventLoop& loop, FileDescriptor connected, TlsContext& context, const std::string& host);
  /// Announces the end of the stream if that can be sent at once.
  ~TlsStream() override;

  /// Agrees on keys and verifies the peer. The reason when that fails or is interrupted, else empty.
  Task<std::string> handshake();

  IoResult read(std::span<char> into) override;
  IoResult write(std::span<const std::string_view> pieces) override;
  bool isReusable() override;

 private:
  void write(std::string_view bytes, IoResult& result);
  IoResult outcome(int result);

  std::unique_ptr<SSL, FreeTls> ssl;
  std::optional<IoResult> next;  ///< a result that followed bytes which had to be handed out first
  /// What the handshake waits for. Nothing else asks: an answer to a change of keys waits for the next write.
  bool wantsWriting = false;
};

}  // namespace ferrin::proxy
