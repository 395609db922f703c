#pragma once

#include <openssl/x509.h>

namespace ferrin::proxy {

/// Adds the certificates that may issue those of TLS servers: the system's anchors, and what an administrator
/// or the user trusts, without what either of them denies. Whether there are any. Takes tens of milliseconds.
bool addKeychainRoots(X509_STORE* store);

}  // namespace ferrin::proxy
