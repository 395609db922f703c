#include "proxy/http/ProviderRefusal.h"

#include <algorithm>
#include <iterator>

namespace ferrin::proxy {
namespace {

struct Row {
  int status;
  std::string_view explanation;
};

constexpr Row rows[] = {
    {400, "the provider did not accept the request; check the model's name"},
    {401, "the provider refused the key; save the right one in Ferrin Relay"},
    {402, "the provider wants to be paid; check the account there"},
    {403, "the provider forbids this request; check there what the key may do"},
    {404, "the provider has nothing at this address; check the address, and the model's name"},
    {405, "the provider does not take this method here; check the address"},
    {413, "the request is too large for the provider; begin a shorter conversation"},
    {415, "the provider does not take this kind of body; check what the agent sends"},
    {429, "a limit of the provider is reached; wait, or raise it there"},
};
constexpr std::string_view withoutResponses =
    "this provider may not offer the Responses API; ask it, and check the address";

}  // namespace

std::string_view explanationOf(int status, std::string_view path) {
  if ((status == 404 || status == 405) && path.ends_with("/responses")) return withoutResponses;
  const auto* const row = std::find_if(std::begin(rows), std::end(rows),
                                       [status](const Row& known) { return known.status == status; });
  return row == std::end(rows) ? std::string_view() : row->explanation;
}

}  // namespace ferrin::proxy
