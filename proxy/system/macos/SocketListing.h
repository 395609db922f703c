#pragma once

#include <optional>

#include "proxy/system/SocketList.h"

namespace ferrin::proxy {

/// The TCP sockets of this machine at this moment; takes about 0.2 ms. Nothing when there is no memory for
/// them or the system gives no list that can be read.
std::optional<SocketList> listSockets() noexcept;

}  // namespace ferrin::proxy
