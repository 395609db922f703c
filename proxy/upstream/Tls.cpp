#include "proxy/upstream/Tls.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <boost/asio/ip/address.hpp>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "proxy/loop/Gathered.h"
#include "proxy/system/FreeMemory.h"
#include "proxy/system/TrustStore.h"
#include "proxy/upstream/SocketBio.h"

namespace ferrin::proxy {
namespace {

constexpr int manyHandshakes = 32;
/// A head and its body travel together, in one record if they fit.
constexpr std::size_t maxRecordBytes = 16384;

std::string libraryError() {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "TLS failure" : reason;
}

std::string certificateProblem(long verified) {
  return std::string("certificate not trusted: ") + X509_verify_cert_error_string(verified) +
         "; add its issuer to the system's certificates";
}

/// Begins a handshake with nobody, so that the library has fetched what the first one needs before that
/// comes.
void rehearse(SSL_CTX* context) {
  const std::unique_ptr<SSL, FreeTls> ssl(SSL_new(context));
  BIO* const nobody = ssl ? BIO_new(BIO_s_mem()) : nullptr;
  if (nobody != nullptr) {
    SSL_set_bio(ssl.get(), nobody, nobody);  // owned by ssl from here on
    SSL_connect(ssl.get());
  }
  ERR_clear_error();
}

std::unique_ptr<SSL_CTX, FreeTls> makeSettings() {
  std::unique_ptr<SSL_CTX, FreeTls> context(SSL_CTX_new(TLS_client_method()));
  if (!context) throw std::runtime_error(libraryError());
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                      SSL_MODE_RELEASE_BUFFERS);
  SSL_CTX_set_read_ahead(context.get(), 1);  // a record's header and body in one system call
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  if (!trustSystemRoots(context.get()))
    throw std::runtime_error("this system has no trusted certificates; install ca-certificates: " +
                             libraryError());
  rehearse(context.get());
  return context;
}

/// Has the other side's certificate checked for `host`. False when it would not be.
bool verifyAs(SSL* ssl, const std::string& host) {
  boost::system::error_code notAnAddress;
  boost::asio::ip::make_address(host, notAnAddress);
  if (!notAnAddress) return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
  // RFC 6066: names only, never addresses
  return SSL_set_tlsext_host_name(ssl, host.c_str()) == 1 && SSL_set1_host(ssl, host.c_str()) == 1;
}

}  // namespace

TlsContext::~TlsContext() {
  if (loader.joinable()) loader.join();
}

void TlsContext::load() {
  loader = std::thread([this] {
    std::shared_ptr<SSL_CTX> made;
    std::string problem;
    try {
      made = makeSettings();
    } catch (const std::exception& error) {
      problem = error.what();
    }
    loop.post([this, made = std::move(made), problem] {
      if (made) SSL_CTX_up_ref(made.get());
      loaded(std::unique_ptr<SSL_CTX, FreeTls>(made.get()), problem);
    });
  });
}

void TlsContext::loaded(std::unique_ptr<SSL_CTX, FreeTls> finished, std::string problem) {
  settings = std::move(finished);
  failure = std::move(problem);
  if (settings) {
    SSL_CTX_set_app_data(settings.get(), this);
    SSL_CTX_sess_set_new_cb(settings.get(), keepSession);
  }
  for (const auto waiter : std::exchange(waiting, {})) waiter.resume();
}

Task<> TlsContext::ready() {
  struct Loaded {
    bool await_ready() const { return context.settings || !context.failure.empty(); }
    void await_suspend(std::coroutine_handle<> waiter) { context.waiting.push_back(waiter); }
    void await_resume() const {}
    TlsContext& context;
  };
  co_await Loaded{*this};
  if (!settings) throw std::runtime_error(failure);
}

TlsContext::Handshake::~Handshake() {
  --context.handshakes;
  if (++context.handshakesEnded < manyHandshakes || context.handshakes > 0) return;
  context.handshakesEnded = 0;
  releaseFreeMemory();
}

int TlsContext::keepSession(SSL* ssl, SSL_SESSION* session) {
  auto* self = static_cast<TlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
  self->lastSession.reset(session);
  return 1;
}

std::unique_ptr<SSL, FreeTls> TlsContext::connection(const std::string& host, Socket& socket) {
  std::unique_ptr<SSL, FreeTls> ssl(SSL_new(settings.get()));
  if (!ssl) throw std::runtime_error(libraryError());
  BIO* bio = bioOver(socket);
  if (bio != nullptr) SSL_set_bio(ssl.get(), bio, bio);  // owned by ssl from here on
  if (bio == nullptr || !verifyAs(ssl.get(), host)) throw std::runtime_error(libraryError());
  if (lastSession) SSL_set_session(ssl.get(), lastSession.get());
  return ssl;
}

TlsStream::TlsStream(EventLoop& loop, Descriptor connected, TlsContext& context, const std::string& host)
    : Stream(loop, std::move(connected)), ssl(context.connection(host, connection)) {}

TlsStream::~TlsStream() {
  ERR_clear_error();
  SSL_shutdown(ssl.get());  // announces the end if that can be sent now; nobody waits for the answer
  ERR_clear_error();
}

Task<std::string> TlsStream::handshake() {
  for (;;) {
    ERR_clear_error();
    const int result = SSL_connect(ssl.get());
    if (result == 1) co_return std::string();
    const IoResult io = outcome(result);
    const long verified = SSL_get_verify_result(ssl.get());
    if (verified != X509_V_OK) co_return certificateProblem(verified);
    if (io.status == IoStatus::end) co_return std::string("connection closed during the TLS handshake");
    if (io.status == IoStatus::failed) co_return problem();
    const Wake wake = co_await (wantsWriting ? connection.writable() : connection.readable());
    if (wake == Wake::interrupted) co_return std::string("interrupted");
  }
}

/// What the library's last call on this connection came to, when it moved nothing.
IoResult TlsStream::outcome(int result) {
  const int systemError = errno;
  const int kind = SSL_get_error(ssl.get(), result);
  wantsWriting = kind == SSL_ERROR_WANT_WRITE;
  switch (kind) {
    case SSL_ERROR_WANT_READ:
      // 33 KiB, which the library would keep through a handshake, and half of it behind every session ticket.
      SSL_free_buffers(ssl.get());
      return {IoStatus::blocked};
    case SSL_ERROR_WANT_WRITE:
      return {IoStatus::blocked};
    case SSL_ERROR_ZERO_RETURN:
      return {IoStatus::end};
    case SSL_ERROR_SYSCALL:
      return failed(std::generic_category().message(systemError));
    default:
      return failed(libraryError());
  }
}

/// As many records as there are and fit. Asking once too often costs no system call: the socket knows when it
/// has nothing.
IoResult TlsStream::read(std::span<char> into) {
  if (next) return *next;
  std::size_t total = 0;
  more = false;
  while (total < into.size()) {
    ERR_clear_error();
    std::size_t count = 0;
    const int result = SSL_read_ex(ssl.get(), into.data() + total, into.size() - total, &count);
    if (result != 1) {
      const IoResult io = outcome(result);
      if (total == 0) return io;
      if (io.status != IoStatus::blocked) next = io;
      return {IoStatus::moved, total};
    }
    total += count;
  }
  more = true;
  return {IoStatus::moved, total};
}

IoResult TlsStream::write(std::span<const std::string_view> pieces) {
  std::optional<Gathered<maxRecordBytes>> gathered;
  if (pieces.size() > 1) gathered.emplace(pieces);
  const std::string_view bytes = gathered ? gathered->bytes() : pieces.front();
  std::size_t total = 0;
  IoResult problem{IoStatus::moved};
  while (total < bytes.size() && problem.status == IoStatus::moved) {
    ERR_clear_error();
    std::size_t count = 0;
    const int result = SSL_write_ex(ssl.get(), bytes.data() + total, bytes.size() - total, &count);
    if (result != 1) problem = outcome(result);
    total += count;
  }
  if (problem.status == IoStatus::blocked && total > 0) problem.status = IoStatus::moved;
  problem.bytes = total;
  return problem;
}

bool TlsStream::quiet() {
  if (!next && !more && !connection.mayHaveUnread()) return true;
  char byte = 0;
  connection.lookAgain();
  return read(std::span(&byte, 1)).status == IoStatus::blocked;
}

}  // namespace ferrin::proxy
