#include "providertest/DirectRequest.h"

#include <nlohmann/json.hpp>

#include "core/Text.h"

namespace ferrin::providertest {

std::optional<HttpRequest> directRequest(const std::string& address, const std::string& key,
                                         const std::string& model, const std::string& prompt) {
  if (!core::isUTF8(model) || !core::isUTF8(prompt)) return std::nullopt;
  const nlohmann::json body = {{"model", model}, {"input", prompt}, {"stream", false}};
  return HttpRequest{
      .url = address,
      .headers = {{"Authorization", "Bearer " + key}, {"Content-Type", "application/json"}},
      .body = body.dump(),
  };
}

}  // namespace ferrin::providertest
