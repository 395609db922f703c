#pragma once

#include <string_view>

namespace ferrin::proxy {

/// What a person can do about a failure to connect, an errno value, with which the system keeps programs from
/// the local network; empty for others, and where systems don't do that.
std::string_view localNetworkRemedy(int error) noexcept;

}  // namespace ferrin::proxy
