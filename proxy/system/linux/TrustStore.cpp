#include "proxy/system/TrustStore.h"

namespace ferrin::proxy {

bool trustSystemRoots(SSL_CTX* context) { return SSL_CTX_set_default_verify_paths(context) == 1; }

}  // namespace ferrin::proxy
