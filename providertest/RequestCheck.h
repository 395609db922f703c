#pragma once
// Requests that are refused before anything is sent.

#include <optional>
#include <string>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Why the request is refused, as the user sees it; no value for one that can be sent. Names no URL, which
/// may hold a password, and no header's value. A request needs http or https, a host, and header values
/// without control characters.
std::optional<std::string> reasonToRefuse(const HttpRequest& request);

}  // namespace ferrin::providertest
