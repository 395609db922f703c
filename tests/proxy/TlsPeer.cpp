#include "tests/proxy/TlsPeer.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace ferrin::proxy::tests {
namespace {

template <typename Write>
void writePem(const std::filesystem::path& path, Write write) {
  FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr || write(file) != 1) throw std::runtime_error("can't write " + path.string());
  std::fclose(file);
}

}  // namespace

TlsIdentity::TlsIdentity(const std::string& host) {
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_set_pubkey(certificate.get(), key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
  X509_EXTENSION* names =
      X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, const_cast<char*>(("DNS:" + host).c_str()));
  X509_add_ext(certificate.get(), names, -1);
  X509_EXTENSION_free(names);
  X509_sign(certificate.get(), key.get(), EVP_sha256());
  writePem(certificateFile(), [&](FILE* file) { return PEM_write_X509(file, certificate.get()); });
  writePem(keyFile(), [&](FILE* file) {
    return PEM_write_PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  });
}

TlsUpstream::TlsUpstream(const TlsIdentity& identity) : context(SSL_CTX_new(TLS_server_method())) {
  if (SSL_CTX_use_certificate_file(context.get(), identity.certificateFile().c_str(), SSL_FILETYPE_PEM) !=
          1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile().c_str(), SSL_FILETYPE_PEM) != 1) {
    throw std::runtime_error("no TLS identity");
  }
}

void TlsUpstream::speakAtMost(int version) {
  SSL_CTX_set_max_proto_version(context.get(), version);
  SSL_CTX_set_cipher_list(context.get(), "ALL:@SECLEVEL=0");  // what old versions need
}

std::string TlsUpstream::serveOne(const std::string& answer, bool farewell,
                                  const std::function<void(SSL*)>& then) {
  const FileDescriptor socket = upstream.accept().release();
  const std::unique_ptr<SSL, Free> ssl(SSL_new(context.get()));
  SSL_set_fd(ssl.get(), socket.get());
  std::array<char, 16384> block{};
  if (SSL_accept(ssl.get()) != 1) return ERR_clear_error(), "";
  const int count = SSL_read(ssl.get(), block.data(), block.size());
  if (count <= 0) return ERR_clear_error(), "";
  const char* asked = SSL_get_servername(ssl.get(), TLSEXT_NAMETYPE_host_name);
  name = asked == nullptr ? "" : asked;
  reused = SSL_session_reused(ssl.get()) == 1;
  SSL_write(ssl.get(), answer.data(), static_cast<int>(answer.size()));
  then(ssl.get());
  if (farewell) SSL_shutdown(ssl.get());
  return {block.data(), static_cast<std::size_t>(count)};
}

}  // namespace ferrin::proxy::tests
