#include "proxy/system/TrustStore.h"

#include <cstdlib>

#include "proxy/system/macos/Keychain.h"

namespace ferrin::proxy {
namespace {

/// The system's anchors, without what people have changed.
constexpr const char* anchorFile = "/etc/ssl/cert.pem";

bool trustFile(SSL_CTX* context, const char* file) { return SSL_CTX_load_verify_file(context, file) == 1; }

}  // namespace

// OpenSSL itself knows files only.
bool trustSystemRoots(SSL_CTX* context) {
  const char* chosen = std::getenv("SSL_CERT_FILE");
  if (chosen != nullptr && !trustFile(context, chosen)) return false;
  const bool hasKeychain = addKeychainRoots(SSL_CTX_get_cert_store(context));
  return hasKeychain || chosen != nullptr || trustFile(context, anchorFile);
}

// macOS keeps an administrator's certificates and the settings in these; Apple documents neither.
std::vector<std::filesystem::path> rootFiles() {
  const char* chosen = std::getenv("SSL_CERT_FILE");
  return {chosen != nullptr ? chosen : anchorFile, "/Library/Keychains/System.keychain",
          "/Library/Security/Trust Settings"};
}

}  // namespace ferrin::proxy
