#pragma once
// A provider behind TLS, played by the test.

#include <openssl/ssl.h>

#include <functional>
#include <memory>
#include <string>

#include "tests/proxy/Peers.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy::tests {

/// A key and a certificate of its own making for one host name.
class TlsIdentity {
 public:
  explicit TlsIdentity(const std::string& host);
  std::filesystem::path certificateFile() const { return folder / "certificate.pem"; }
  std::filesystem::path keyFile() const { return folder / "key.pem"; }

 private:
  ferrin::tests::TemporaryFolder folder;
};

class TlsUpstream {
 public:
  explicit TlsUpstream(const TlsIdentity& identity);
  /// Speaks nothing newer than `version`, as SSL_CTX_set_max_proto_version(3) numbers it.
  void speakAtMost(int version);
  std::string url() const { return "https://localhost:" + std::to_string(upstream.port()); }

  /// Takes one connection and answers its first request with `answer`, does what `then` says and closes it,
  /// with TLS's own farewell or without. The request's head; empty when the other side broke off before
  /// sending one.
  std::string serveOne(
      const std::string& answer, bool farewell = true, const std::function<void(SSL*)>& then = [](SSL*) {});
  const std::string& serverName() const { return name; }
  bool resumed() const { return reused; }

 private:
  struct Free {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };
  Upstream upstream;
  std::unique_ptr<SSL_CTX, Free> context;
  std::string name;
  bool reused = false;
};

}  // namespace ferrin::proxy::tests
