#pragma once
// The request that tries a provider without the relay.

#include <optional>
#include <string>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// One prompt for one model, asked for in one piece. Nothing when model or prompt is not UTF-8.
std::optional<HttpRequest> directRequest(const std::string& address, const std::string& key,
                                         const std::string& model, const std::string& prompt);

}  // namespace ferrin::providertest
