#include <cstdlib>

#include "proxy/system/TrustStore.h"

namespace ferrin::proxy {

// A library that came from a package manager looks for roots beside itself; this file is the system's own.
bool trustSystemRoots(SSL_CTX* context) {
  const char* chosen = std::getenv("SSL_CERT_FILE");
  return SSL_CTX_load_verify_file(context, chosen != nullptr ? chosen : "/etc/ssl/cert.pem") == 1;
}

}  // namespace ferrin::proxy
