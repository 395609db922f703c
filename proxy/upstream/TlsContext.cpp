#include "proxy/upstream/TlsContext.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <cerrno>
#include <chrono>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "proxy/system/FreeMemory.h"
#include "proxy/system/TrustStore.h"
#include "proxy/upstream/SocketBio.h"

namespace ferrin::proxy {
namespace {

constexpr int manyHandshakes = 32;
constexpr std::chrono::milliseconds untilMemory{100};

/// Dummy handshake: makes OpenSSL load its algorithms before the first connection.
void rehearse(SSL_CTX* context) {
  const std::unique_ptr<SSL, FreeTls> ssl(SSL_new(context));
  BIO* const discarding = ssl ? BIO_new(BIO_s_mem()) : nullptr;
  if (discarding != nullptr) {
    SSL_set_bio(ssl.get(), discarding, discarding);  // owned by ssl from here on
    SSL_connect(ssl.get());
  }
  ERR_clear_error();
}

std::unique_ptr<SSL_CTX, FreeTls> makeSettings() {
  std::unique_ptr<SSL_CTX, FreeTls> context(SSL_CTX_new(TLS_client_method()));
  if (!context) throw std::runtime_error(takeTlsError());
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                      SSL_MODE_RELEASE_BUFFERS);
  SSL_CTX_set_read_ahead(context.get(), 1);  // a record's header and body in one system call
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  if (!trustSystemRoots(context.get()))
    throw std::runtime_error(
        std::string("this system has no trusted certificates; install ca-certificates: ") + takeTlsError());
  rehearse(context.get());
  return context;
}

/// Has the other side's certificate checked for `host`. False when it would not be.
bool verifyAs(SSL* ssl, const std::string& host) {
  boost::system::error_code notAnAddress;
  boost::asio::ip::make_address(host, notAnAddress);
  if (!notAnAddress) return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
  SSL_set_hostflags(ssl,
                    X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);  // "*.example", but not "a*.example" (RFC 6125)
  // RFC 6066: names only, never addresses
  return SSL_set_tlsext_host_name(ssl, host.c_str()) == 1 && SSL_set1_host(ssl, host.c_str()) == 1;
}

}  // namespace

const char* takeTlsError() {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "TLS failure" : reason;
}

TlsContext::TlsContext(EventLoop& home) : loop(home), files(rootFiles()) {}

TlsContext::~TlsContext() {
  if (loader.joinable()) loader.join();
}

TlsContext::RootVersions TlsContext::rootVersions() const {
  RootVersions versions(files.size());
  std::transform(files.begin(), files.end(), versions.begin(),
                 [](const std::filesystem::path& file) { return versionOf(file); });
  return versions;
}

void TlsContext::load() {
  if (loading) return;
  if (loader.joinable()) loader.join();    // it has ended: its result is here
  RootVersions versions = rootVersions();  // before the files are read, so that a later change shows
  loader = std::thread([this] { readRoots(); });
  loading = true;
  read = std::move(versions);
}

/// In the thread of its own.
void TlsContext::readRoots() noexcept {
  try {
    newSettings = makeSettings();
  } catch (...) {
    newFailure = std::current_exception();
  }
  for (;;) {  // whoever waits for the roots does so until this has been posted
    try {
      return loop.post([this] { loaded(); });
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(untilMemory);
    }
  }
}

void TlsContext::loaded() {
  loading = false;
  settings = std::move(newSettings);
  failure = std::exchange(newFailure, nullptr);
  lastSession.reset();  // a resumed session's certificate is not verified again
  if (settings) {
    if (SSL_CTX_set_app_data(settings.get(), this) == 1) SSL_CTX_sess_set_new_cb(settings.get(), keepSession);
    ERR_clear_error();  // without the memory for that, no session is kept
  }
  while (!waiting.empty()) waiting.front().resume();
}

Task<> TlsContext::ready(Wait& wait) {
  if (!settings || read != rootVersions()) load();
  co_await wait;
  if (!settings && !loading) std::rethrow_exception(failure);
}

TlsContext::Handshake::~Handshake() {
  --context.handshakes;
  if (++context.handshakesEnded < manyHandshakes || context.handshakes > 0) return;
  context.handshakesEnded = 0;
  releaseFreeMemory();
}

/// Keeps a copy: the library makes a session useless when its connection ends without a close_notify, which
/// is how many servers end theirs.
int TlsContext::keepSession(SSL* ssl, SSL_SESSION* session) {
  SSL_CTX* const context = SSL_get_SSL_CTX(ssl);
  auto* self = static_cast<TlsContext*>(SSL_CTX_get_app_data(context));
  if (context == self->settings.get())  // an older one's was verified with older roots
    self->lastSession.reset(SSL_SESSION_dup(session));
  // This is called from within a read, which succeeds all the same.
  if (!self->lastSession) ERR_clear_error();
  return 0;
}

std::unique_ptr<SSL, FreeTls> TlsContext::connection(const std::string& host, Socket& socket) {
  std::unique_ptr<SSL, FreeTls> ssl(SSL_new(settings.get()));
  if (!ssl) throw std::runtime_error(takeTlsError());
  BIO* bio = bioOver(socket);
  if (bio != nullptr) SSL_set_bio(ssl.get(), bio, bio);  // owned by ssl from here on
  if (bio == nullptr || !verifyAs(ssl.get(), host)) throw std::runtime_error(takeTlsError());
  const std::unique_ptr<SSL_SESSION, FreeTls> copy(lastSession ? SSL_SESSION_dup(lastSession.get())
                                                               : nullptr);
  if (copy) SSL_set_session(ssl.get(), copy.get());
  return ssl;
}

}  // namespace ferrin::proxy
