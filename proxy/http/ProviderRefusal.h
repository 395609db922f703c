#pragma once

#include <string_view>

namespace ferrin::proxy {

/// What a refusal by the provider means and what to do about it, for the log; empty for a status that needs
/// no explanation. `path` is the request's, without the query.
std::string_view explanationOf(int status, std::string_view path);

}  // namespace ferrin::proxy
