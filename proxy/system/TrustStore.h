#pragma once

#include <openssl/ssl.h>

#include <filesystem>
#include <vector>

namespace ferrin::proxy {

/// Lets `context` trust what the system trusts, and what `SSL_CERT_FILE` names where it is set. False when
/// there are no roots.
bool trustSystemRoots(SSL_CTX* context);

/// The files and folders that trustSystemRoots() reads: one of them changes when the roots do. Those that
/// don't exist are named, too.
std::vector<std::filesystem::path> rootFiles();

}  // namespace ferrin::proxy
