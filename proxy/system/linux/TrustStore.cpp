#include "proxy/system/TrustStore.h"

#include <openssl/x509.h>

#include <cstdlib>

namespace ferrin::proxy {

namespace {

std::filesystem::path chosenOr(const char* variable, const char* usual) {
  const char* chosen = std::getenv(variable);
  return chosen != nullptr ? chosen : usual;
}

}  // namespace

bool trustSystemRoots(SSL_CTX* context) { return SSL_CTX_set_default_verify_paths(context) == 1; }

std::vector<std::filesystem::path> rootFiles() {
  return {chosenOr(X509_get_default_cert_file_env(), X509_get_default_cert_file()),
          chosenOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir())};
}

}  // namespace ferrin::proxy
