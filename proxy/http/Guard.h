#pragma once
// Which requests may spend the key, as far as their heads tell.

#include <cstdint>
#include <optional>
#include <string>

#include "proxy/http/Heads.h"
#include "proxy/http/RelayError.h"

namespace ferrin::proxy {

/// Where the relay listens, as a Host field may name it.
struct OwnAddress {
  std::string host;  ///< with brackets around an IPv6 address
  std::uint16_t port = 0;
};

/// Why a request is refused for what its head says, if it is: it is addressed to another host (DNS
/// rebinding); a web page made it (Origin, or Sec-Fetch-Site other than "none"); or its method is TRACE,
/// which would show the key to the client (RFC 9110, section 9.3.8), or CONNECT.
std::optional<RelayError> refusal(const RequestHead& head, const OwnAddress& own);

}  // namespace ferrin::proxy
