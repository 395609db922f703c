#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ferrin::proxy {

/// The body of the answer to GET /healthz: nothing secret in it.
std::string healthReport(std::string_view upstreamHost, std::size_t connections,
                         std::size_t requestsInFlight);

}  // namespace ferrin::proxy
