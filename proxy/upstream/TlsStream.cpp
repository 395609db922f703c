#include "proxy/upstream/TlsStream.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <cerrno>

#include "proxy/loop/Gathered.h"

namespace ferrin::proxy {
namespace {

std::string_view remedyFor(long verified) {
  switch (verified) {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
      return "add its issuer to the system's certificates";
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return "it is another host's: check the provider's address";
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return "check this computer's clock; if it is right, the provider has to renew the certificate";
    case X509_V_ERR_EE_KEY_TOO_SMALL:
    case X509_V_ERR_CA_KEY_TOO_SMALL:
    case X509_V_ERR_CA_MD_TOO_WEAK:
      return "the provider needs a certificate with a stronger key";
    case X509_V_ERR_INVALID_PURPOSE:
      return "it is not a server's: the provider needs another one";
    default:
      return "ask the provider about it";
  }
}

std::string certificateProblem(long verified) {
  std::string problem("certificate not trusted: ");
  return problem.append(X509_verify_cert_error_string(verified)).append("; ").append(remedyFor(verified));
}

}  // namespace

TlsStream::TlsStream(EventLoop& loop, FileDescriptor connected, TlsContext& context, const std::string& host)
    : Stream(loop, std::move(connected)), ssl(context.connection(host, connection)) {}

TlsStream::~TlsStream() {
  ERR_clear_error();
  SSL_shutdown(ssl.get());  // the peer's answer is not waited for
  ERR_clear_error();
}

Task<std::string> TlsStream::handshake() {
  for (;;) {
    ERR_clear_error();
    const int result = SSL_connect(ssl.get());
    if (result == 1) break;
    const IoResult io = outcome(result);
    const long verified = SSL_get_verify_result(ssl.get());
    if (verified != X509_V_OK) co_return certificateProblem(verified);
    if (io.status == IoStatus::end) co_return std::string("connection closed during the TLS handshake");
    if (io.status == IoStatus::failed) co_return problem();
    Wake wake = Wake::ready;
    if (wantsWriting) {
      wake = co_await connection.writable();
    } else {
      wake = co_await connection.readable();
    }
    if (wake == Wake::interrupted) co_return std::string("interrupted");
  }
  ERR_clear_error();
  co_return std::string();
}

/// The result of the library's last call on this connection, when it moved nothing. SSL_get_error(3) takes
/// anything in this thread's error queue for a failure of that call, even another connection's. To empty the
/// queue before each read would cost a third of the read. Instead, whatever uses the library on the loop's
/// thread leaves the queue empty, callbacks included.
IoResult TlsStream::outcome(int result) {
  const int systemError = errno;
  const int kind = SSL_get_error(ssl.get(), result);
  wantsWriting = kind == SSL_ERROR_WANT_WRITE;
  switch (kind) {
    case SSL_ERROR_WANT_READ:
      // 33 KiB, which the library would keep through a handshake, and half of it after every session ticket.
      SSL_free_buffers(ssl.get());
      return {IoStatus::blocked};
    case SSL_ERROR_WANT_WRITE:
      return {IoStatus::blocked};
    case SSL_ERROR_ZERO_RETURN:
      return {IoStatus::end};
    case SSL_ERROR_SYSCALL:
      ERR_clear_error();
      return failed(systemError);
    default:
      return failed(takeTlsError());
  }
}

/// Reads as many records as there are and fit. A call that would only say that there are no more costs half
/// as much as one that reads a short record, and is left out.
IoResult TlsStream::read(std::span<char> into) {
  if (next) return *next;
  std::size_t total = 0;
  more = false;
  while (total < into.size()) {
    std::size_t count = 0;
    const int result = SSL_read_ex(ssl.get(), into.data() + total, into.size() - total, &count);
    if (result != 1) {
      const IoResult io = outcome(result);
      if (total == 0) return io;
      if (io.status != IoStatus::blocked) next = io;
      return {IoStatus::moved, total};
    }
    total += count;
    if (SSL_has_pending(ssl.get()) == 0 && !connection.hasUnread()) return {IoStatus::moved, total};
  }
  more = true;
  return {IoStatus::moved, total};
}

/// A head and its body travel together, in one record, if they fit.
IoResult TlsStream::write(std::span<const std::string_view> pieces) {
  IoResult result{IoStatus::moved};
  if (Gathered::suits(pieces, Gathered::capacity)) {
    const Gathered gathered(pieces);
    write(gathered.bytes(), result);
  } else {
    for (const std::string_view piece : pieces) write(piece, result);
  }
  if (result.status == IoStatus::blocked && result.bytes > 0) result.status = IoStatus::moved;
  return result;
}

/// Adds to `result`, unless something before was not taken.
void TlsStream::write(std::string_view bytes, IoResult& result) {
  while (!bytes.empty() && result.status == IoStatus::moved) {
    std::size_t count = 0;
    const int done = SSL_write_ex(ssl.get(), bytes.data(), bytes.size(), &count);
    if (done != 1) result.status = outcome(done).status;
    result.bytes += count;
    bytes.remove_prefix(count);
  }
}

bool TlsStream::isReusable() {
  if (!next && !more && !connection.mayHaveUnread()) return true;
  char byte = 0;
  connection.assumeReadable();
  return read(std::span(&byte, 1)).status == IoStatus::blocked;
}

}  // namespace ferrin::proxy
