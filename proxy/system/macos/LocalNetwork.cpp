#include "proxy/system/LocalNetwork.h"

#include <cerrno>

namespace ferrin::proxy {

/// Since macOS 15 a program needs its user's permission (Apple's technical note TN3179).
std::string_view localNetworkRemedy(int error) noexcept {
  if (error != EHOSTUNREACH) return "";
  return "if it is in your local network, allow the relay there, in System Settings under Privacy & "
         "Security, "
         "Local Network";
}

}  // namespace ferrin::proxy
