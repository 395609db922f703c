#pragma once
// Which requests are not even tried.

#include <optional>
#include <string>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// For a person to read, without the URL, which may hold a password, or a header's value; nothing for a
/// request that can be sent. Only http and https are spoken, and only to a host that is named.
std::optional<std::string> reasonToRefuse(const HttpRequest& request);

}  // namespace ferrin::providertest
