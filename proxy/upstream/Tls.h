#pragma once
// TLS towards the provider: 1.2 or later, certificate and name always verified against the system's roots.

#include <openssl/ssl.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

struct FreeTls {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};

/// The settings and the roots, shared by all connections to the one upstream, and its last session for
/// resumption. Reading the roots takes tens of milliseconds, so a thread of its own does that after the relay
/// listens.
class TlsContext {
 public:
  explicit TlsContext(EventLoop& home) : loop(home) {}
  TlsContext(const TlsContext&) = delete;
  TlsContext& operator=(const TlsContext&) = delete;
  ~TlsContext();

  /// Starts reading the roots. Once.
  void load();
  /// Waits until the roots are there. Throws std::runtime_error when they can't be read.
  Task<> ready();

  /// A client's side for `host`, which is verified (a name, or an address in the certificate), on `socket`.
  std::unique_ptr<SSL, FreeTls> connection(const std::string& host, Socket& socket);

  /// Exists while a handshake is under way. Many at once take memory that is given back behind the last of
  /// them.
  class Handshake {
   public:
    explicit Handshake(TlsContext& shared) : context(shared) { ++context.handshakes; }
    Handshake(const Handshake&) = delete;
    Handshake& operator=(const Handshake&) = delete;
    ~Handshake();

   private:
    TlsContext& context;
  };

 private:
  void loaded(std::unique_ptr<SSL_CTX, FreeTls> finished, std::string problem);
  static int keepSession(SSL* ssl, SSL_SESSION* session);

  EventLoop& loop;
  std::unique_ptr<SSL_CTX, FreeTls> settings;
  std::unique_ptr<SSL_SESSION, FreeTls> lastSession;
  std::string failure;
  std::vector<std::coroutine_handle<>> waiting;
  std::thread loader;
  int handshakes = 0;       ///< under way
  int handshakesEnded = 0;  ///< since memory was last given back
};

class TlsStream : public Stream {
 public:
  TlsStream(EventLoop& loop, Descriptor connected, TlsContext& context, const std::string& host);
  ~TlsStream() override;

  /// Agrees on keys and verifies the other side. The reason when that fails or is interrupted, else empty.
  Task<std::string> handshake();

  IoResult read(std::span<char> into) override;
  IoResult write(std::span<const std::string_view> pieces) override;
  bool quiet() override;

 private:
  IoResult outcome(int result);

  std::unique_ptr<SSL, FreeTls> ssl;
  std::optional<IoResult> next;  ///< met behind bytes that had to be handed out first
  bool wantsWriting = false;
};

}  // namespace ferrin::proxy
