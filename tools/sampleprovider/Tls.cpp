#include "tools/sampleprovider/Tls.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

namespace ferrin::sampleprovider {
namespace {

namespace asio = boost::asio;
namespace ssl = asio::ssl;

struct Free {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Certificate = std::unique_ptr<X509, Free>;

void check(bool succeeded) {
  if (!succeeded) throw std::runtime_error("--tls-self-made: no certificate could be made");
}

void addExtension(X509& certificate, int kind, const char* value) {
  X509V3_CTX context{};
  X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Free> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
  check(extension && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

Certificate selfSigned(EVP_PKEY& key) {
  constexpr long daySeconds = 86'400;
  Certificate certificate(X509_new());
  check(certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -daySeconds);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), daySeconds);
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  const auto* const commonName = reinterpret_cast<const unsigned char*>("ferrin-sample-provider");
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, commonName, -1, -1, 0) == 1);
  check(X509_set_issuer_name(certificate.get(), name) == 1 && X509_set_pubkey(certificate.get(), &key) == 1);
  addExtension(*certificate, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(*certificate, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
  check(X509_sign(certificate.get(), &key, EVP_sha256()) > 0);
  return certificate;
}

void write(X509& certificate, const std::filesystem::path& path) {
  const std::unique_ptr<std::FILE, Free> file(std::fopen(path.c_str(), "we"));
  if (!file || PEM_write_X509(file.get(), &certificate) != 1 || std::fflush(file.get()) != 0) {
    throw std::system_error(errno, std::generic_category(), path.string());
  }
}

void useSelfMade(ssl::context& context, const std::filesystem::path& written) {
  const Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  check(key != nullptr);
  const Certificate certificate = selfSigned(*key);
  check(SSL_CTX_use_certificate(context.native_handle(), certificate.get()) == 1 &&
        SSL_CTX_use_PrivateKey(context.native_handle(), key.get()) == 1);
  write(*certificate, written);
}

void useFiles(ssl::context& context, const TlsFiles& files) {
  boost::system::error_code error;
  context.use_certificate_chain_file(files.certificate.string(), error);
  if (error) throw std::runtime_error(files.certificate.string() + ": " + error.message());
  context.use_private_key_file(files.key.string(), ssl::context::pem, error);
  if (error) throw std::runtime_error(files.key.string() + ": " + error.message());
}

}  // namespace

ssl::context serverContext(const TlsFiles& files) {
  ssl::context context(ssl::context::tls_server);
  check(SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION) == 1);
  files.selfMadeCertificate.empty() ? useFiles(context, files)
                                    : useSelfMade(context, files.selfMadeCertificate);
  return context;
}

}  // namespace ferrin::sampleprovider
