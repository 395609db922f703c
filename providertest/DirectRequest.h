#pragma once
// The request of the direct provider test, which bypasses the relay.

#include <optional>
#include <string>

#include "providertest/HttpClient.h"

namespace ferrin::providertest {

/// Sends one prompt to one model and asks for an answer that is not streamed. No value when model or prompt
/// is not UTF-8.
std::optional<HttpRequest> directRequest(const std::string& address, const std::string& key,
                                         const std::string& model, const std::string& prompt);

}  // namespace ferrin::providertest
