#include "bench/load/Tls.h"

#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace ferrin::bench {
namespace {

constexpr int patienceMilliseconds = 5000;

void demand(bool done, const std::string& what) {
  if (done) return;
  const char* reason = ERR_reason_error_string(ERR_get_error());
  throw std::runtime_error(what + ": " + (reason == nullptr ? "TLS failure" : reason));
}

TlsContext context(const SSL_METHOD* method) {
  TlsContext made(SSL_CTX_new(method));
  demand(made != nullptr, "SSL_CTX_new");
  SSL_CTX_set_read_ahead(made.get(), 1);  // a record's header and body in one system call
  SSL_CTX_set_mode(made.get(), SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  return made;
}

void await(int socket, short events) {
  pollfd polled{socket, events, 0};
  poll(&polled, 1, patienceMilliseconds);
}

}  // namespace

TlsContext serverContext(const std::string& pemFile) {
  if (pemFile.empty()) return nullptr;
  TlsContext made = context(TLS_server_method());
  demand(SSL_CTX_use_certificate_chain_file(made.get(), pemFile.c_str()) == 1, pemFile);
  demand(SSL_CTX_use_PrivateKey_file(made.get(), pemFile.c_str(), SSL_FILETYPE_PEM) == 1, pemFile);
  SSL_CTX_set_min_proto_version(made.get(), TLS1_3_VERSION);
  demand(SSL_CTX_set_ciphersuites(made.get(), "TLS_AES_128_GCM_SHA256") == 1, "ciphers");
  return made;
}

TlsContext clientContext(const std::string& rootsFile) {
  if (rootsFile.empty()) return nullptr;
  TlsContext made = context(TLS_client_method());
  demand(SSL_CTX_load_verify_locations(made.get(), rootsFile.c_str(), nullptr) == 1, rootsFile);
  SSL_CTX_set_verify(made.get(), SSL_VERIFY_PEER, nullptr);
  return made;
}

Wire::Wire(int socket, SSL_CTX* context, bool connecting) : descriptor(socket) {
  if (context == nullptr) return;
  ssl.reset(SSL_new(context));
  demand(ssl && SSL_set_fd(ssl.get(), socket) == 1, "SSL_new");
  if (!connecting) {
    SSL_set_accept_state(ssl.get());
    return;
  }
  SSL_set_connect_state(ssl.get());
  demand(SSL_set_tlsext_host_name(ssl.get(), "localhost") == 1, "name");
  demand(SSL_set1_host(ssl.get(), "localhost") == 1, "name");
  shakeHands();
}

void Wire::shakeHands() {
  for (int result = 0; (result = SSL_do_handshake(ssl.get())) != 1;) {
    const int kind = SSL_get_error(ssl.get(), result);
    demand(kind == SSL_ERROR_WANT_READ || kind == SSL_ERROR_WANT_WRITE, "handshake");
    await(descriptor, kind == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT);
  }
}

ssize_t Wire::receive(char* into, std::size_t size) {
  if (!ssl) {
    const ssize_t count = recv(descriptor, into, size, 0);
    if (count < 0) return errno == EAGAIN ? 0 : -1;
    return count == 0 ? -1 : count;
  }
  std::size_t count = 0;
  const int result = SSL_read_ex(ssl.get(), into, size, &count);
  if (result == 1) return static_cast<ssize_t>(count);
  const int kind = SSL_get_error(ssl.get(), result);
  ERR_clear_error();
  return kind == SSL_ERROR_WANT_READ ? 0 : -1;
}

bool Wire::fill(Input& input) {
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t count = receive(block.data(), block.size());
    if (count <= 0) return count == 0;
    input.append({block.data(), static_cast<std::size_t>(count)});
    if (!ssl && static_cast<std::size_t>(count) < block.size()) return true;
  }
}

void Wire::sendAll(std::string_view bytes) {
  if (!ssl) return bench::sendAll(descriptor, bytes);
  std::size_t sent = 0;
  for (int result = 0; (result = SSL_write_ex(ssl.get(), bytes.data(), bytes.size(), &sent)) != 1;) {
    if (SSL_get_error(ssl.get(), result) != SSL_ERROR_WANT_WRITE) {
      ERR_clear_error();
      throw std::system_error(EPIPE, std::generic_category(), "SSL_write");
    }
    await(descriptor, POLLOUT);
  }
}

void Wire::shutDown() {
  if (ssl) SSL_shutdown(ssl.get());
  ERR_clear_error();
}

}  // namespace ferrin::bench
