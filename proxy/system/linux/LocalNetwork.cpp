#include "proxy/system/LocalNetwork.h"

namespace ferrin::proxy {

std::string_view localNetworkRemedy(int) noexcept { return ""; }

}  // namespace ferrin::proxy
