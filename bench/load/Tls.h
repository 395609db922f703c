#pragma once
// TLS for the load tool, and one connection with or without it.

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

#include "bench/load/Http.h"

namespace ferrin::bench {

struct FreeTls {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeTls>;

/// For the provider: certificate and key are in `pemFile`. One version and one cipher, TLS 1.3 with
/// TLS_AES_128_GCM_SHA256, so that every proxy pays for the same. Null for an empty name: no TLS. Throws
/// std::runtime_error.
TlsContext serverContext(const std::string& pemFile);
/// For the forwarder, which trusts what is in `rootsFile`. Null and exceptions as above.
TlsContext clientContext(const std::string& rootsFile);

/// A connected, non-blocking socket and, where there is a context, TLS over it. The loop closes the socket.
class Wire {
 public:
  /// As the side that was connected to. The handshake happens in the first calls to fill().
  static Wire accepted(int socket, SSL_CTX* context) { return {socket, context, false}; }
  /// As the side that connects to localhost. Waits for the handshake. Throws std::runtime_error.
  static Wire connected(int socket, SSL_CTX* context) { return {socket, context, true}; }

  /// Appends what has arrived to `input`. False at the end or when the connection is broken.
  bool fill(Input& input);
  /// One receive; 0 when nothing is there, -1 at the end or when the connection is broken.
  ssize_t receive(char* into, std::size_t size);
  /// Whether the library holds bytes that the socket does not show any more.
  bool pending() const { return ssl && SSL_has_pending(ssl.get()) == 1; }
  /// As bench::sendAll().
  void sendAll(std::string_view bytes);
  /// Announces the end, over TLS.
  void shutDown();

  int socket() const { return descriptor; }
  bool resumed() const { return ssl && SSL_session_reused(ssl.get()) == 1; }

 private:
  Wire(int socket, SSL_CTX* context, bool connecting);
  void shakeHands();

  int descriptor;
  std::unique_ptr<SSL, FreeTls> ssl;
};

}  // namespace ferrin::bench
