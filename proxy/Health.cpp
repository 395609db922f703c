#include "proxy/Health.h"

#include <nlohmann/json.hpp>

#include "proxy/Version.h"

namespace ferrin::proxy {

std::string healthReport(std::string_view upstreamHost, std::size_t connections,
                         std::size_t requestsInFlight) {
  const nlohmann::ordered_json report{{"status", "ok"},
                                      {"version", version},
                                      {"upstream", upstreamHost},
                                      {"connections", connections},
                                      {"requests_in_flight", requestsInFlight}};
  return report.dump();
}

}  // namespace ferrin::proxy
