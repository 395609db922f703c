#include "proxy/system/ProxySettings.h"

namespace ferrin::proxy {

/// None: launchd's definition holds no environment, and the system's network settings are not read yet.
ProxySettings proxySettings() { return {}; }

}  // namespace ferrin::proxy
