#pragma once
// Who may spend the key: programs of this user, and nobody else. Web pages are told apart by what browsers
// send.

#include <cstdint>
#include <optional>

#include "proxy/Heads.h"
#include "proxy/RelayError.h"

namespace ferrin::proxy {

/// Why a request to the relay on `port` is refused for what its head says, if it is: it is addressed to
/// another host (DNS rebinding), or a web page made it (Origin; Sec-Fetch-Site but "none").
std::optional<RelayError> refusal(const RequestHead& head, std::uint16_t port);

/// A request's target in origin form, with the authority that it named, if any (RFC 9112, section 3.2.2).
struct Target {
  std::string_view authority;
  std::string_view pathAndQuery;
};
Target splitTarget(std::string_view target);
/// The path alone.
inline std::string_view withoutQuery(std::string_view target) { return target.substr(0, target.find('?')); }

}  // namespace ferrin::proxy
