#pragma once
// Who may spend the key: programs of this user, and nobody else. Web pages are told apart by what browsers
// send.

#include <cstdint>
#include <optional>

#include "proxy/http/Heads.h"
#include "proxy/http/RelayError.h"

namespace ferrin::proxy {

/// Why a request to the relay on `port` is refused for what its head says, if it is: it is addressed to
/// another host (DNS rebinding), or a web page made it (Origin; Sec-Fetch-Site but "none").
std::optional<RelayError> refusal(const RequestHead& head, std::uint16_t port);

}  // namespace ferrin::proxy
