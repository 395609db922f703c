#pragma once

#include <openssl/bio.h>

#include "proxy/loop/Socket.h"

namespace ferrin::proxy {

/// What the TLS library reads and writes through: `socket`, which outlives it. Null when there is no memory.
BIO* bioOver(Socket& socket);

}  // namespace ferrin::proxy
