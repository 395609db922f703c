#include <cstdlib>

#include "proxy/system/TrustStore.h"

namespace ferrin::proxy {

namespace {

// A library that came from a package manager looks for roots beside itself; this file is the system's own.
const char* rootFile() {
  const char* chosen = std::getenv("SSL_CERT_FILE");
  return chosen != nullptr ? chosen : "/etc/ssl/cert.pem";
}

}  // namespace

bool trustSystemRoots(SSL_CTX* context) { return SSL_CTX_load_verify_file(context, rootFile()) == 1; }

std::vector<std::filesystem::path> rootFiles() { return {rootFile()}; }

}  // namespace ferrin::proxy
