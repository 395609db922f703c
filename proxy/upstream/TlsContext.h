#pragma once
// TLS towards the provider: 1.2 or later, certificate and name always verified against the system's roots.

#include <openssl/ssl.h>

#include <boost/intrusive/list.hpp>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "proxy/loop/Socket.h"
#include "proxy/loop/Task.h"
#include "proxy/system/FileVersion.h"

namespace ferrin::proxy {

struct FreeTls {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};

/// The reason of the library's last failure, which is taken off its queue; "TLS failure" when it tells none.
/// For the life of the process.
const char* takeTlsError();

/// The settings and roots that all connections to the upstream share, and its last session for resumption.
/// Reading the roots takes tens of milliseconds, so a thread of its own does that after the relay listens.
/// Everything else is called on the loop's thread. Outlives its streams.
class TlsContext {
 public:
  explicit TlsContext(EventLoop& home);
  TlsContext(const TlsContext&) = delete;
  TlsContext& operator=(const TlsContext&) = delete;
  /// Waits for the thread.
  ~TlsContext();

  /// Starts to read the roots, if they are not being read. Throws std::system_error when the system has no
  /// thread left.
  void load();
  /// One coroutine's wait for the roots. Forgotten when destroyed.
  class Wait
      : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
   public:
    explicit Wait(TlsContext& shared) : context(shared) {}
    /// Ends ready() within this call, if it waits.
    void cancel() {
      if (is_linked()) resume();
    }

    bool await_ready() const { return !context.loading; }
    void await_suspend(std::coroutine_handle<> waiter) {
      coroutine = waiter;
      context.waiting.push_back(*this);
    }
    void await_resume() const {}

   private:
    friend class TlsContext;
    void resume() {
      unlink();
      coroutine.resume();
    }

    TlsContext& context;
    std::coroutine_handle<> coroutine;
  };
  /// Waits until the roots have been read as they are now: again when their files have changed. Returns at
  /// once when `wait` is cancelled; connection() must not be called then. Throws std::runtime_error when the
  /// roots can't be read, and std::bad_alloc.
  Task<> ready(Wait& wait);

  /// A client's side for `host`, on `socket`, which outlives it. The certificate is verified for the host, be
  /// that a name or an address. Only after ready(). Throws std::runtime_error.
  std::unique_ptr<SSL, FreeTls> connection(const std::string& host, Socket& socket);

  /// Exists while a handshake is under way. Many at once leave freed memory behind, which is given back to
  /// the system after the last of them.
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
  using RootVersions = std::vector<std::optional<FileVersion>>;

  RootVersions rootVersions() const;
  void readRoots() noexcept;
  void loaded();
  static int keepSession(SSL* ssl, SSL_SESSION* session);

  EventLoop& loop;
  const std::vector<std::filesystem::path> files;  ///< with the roots
  RootVersions read;                               ///< of those files, when they were read
  bool loading = false;
  std::unique_ptr<SSL_CTX, FreeTls> settings;
  std::exception_ptr failure;  ///< why there are no settings
  std::unique_ptr<SSL_SESSION, FreeTls> lastSession;
  // What `loader` makes; its own until it posts loaded().
  std::unique_ptr<SSL_CTX, FreeTls> newSettings;
  std::exception_ptr newFailure;
  boost::intrusive::list<Wait, boost::intrusive::constant_time_size<false>> waiting;
  std::thread loader;
  int handshakes = 0;       ///< under way
  int handshakesEnded = 0;  ///< since memory was last given back
};

}  // namespace ferrin::proxy
