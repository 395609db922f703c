#include "proxy/Health.h"

#include "proxy/Version.h"

namespace ferrin::proxy {

// No value needs escaping: a version, and a host without quotes, backslashes or control characters.
std::string healthReport(std::string_view upstreamHost, std::size_t connections,
                         std::size_t requestsInFlight) {
  std::string report = R"({"status":"ok","version":")";
  report.append(version).append(R"(","upstream":")").append(upstreamHost);
  report.append(R"(","connections":)").append(std::to_string(connections));
  return report.append(R"(,"requests_in_flight":)").append(std::to_string(requestsInFlight)).append("}");
}

}  // namespace ferrin::proxy
