#pragma once

#include <openssl/ssl.h>

namespace ferrin::proxy {

/// Lets `context` trust what the system trusts, and what `SSL_CERT_FILE` names where it is set. False when
/// there are no roots.
bool trustSystemRoots(SSL_CTX* context);

}  // namespace ferrin::proxy
