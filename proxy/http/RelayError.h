#pragma once
// The answers that the relay makes itself when it can't or won't forward.

#include <string>
#include <string_view>

namespace ferrin::proxy {

enum class RelayError {
  badRequest,
  forbiddenHost,
  forbiddenOrigin,
  forbiddenUser,
  notFound,
  upgradeRequired,
  headersTooLarge,
  upstreamUnreachable,
  upstreamClosed,
  upstreamInvalid,
  apiKeyUnavailable,
  tooManyConnections,
  upstreamTimeout,
};

int statusOf(RelayError error);

/// The cause as the log tells it, with what a person can do about it: in one line, without a line feed.
/// Without a cause it is what the client is told.
std::string withRemedy(RelayError error, std::string_view cause);

/// The whole answer: head with `X-Ferrin-Relay: error`, and the error object in the provider's shape. `close`
/// says that the connection ends with it; `headOnly` leaves the body out, as for HEAD.
std::string relayResponse(RelayError error, bool close, bool headOnly);

/// Head and body of a JSON answer of the relay's own. `fields` are complete lines.
std::string jsonResponse(int status, std::string_view reason, std::string_view fields, std::string_view body,
                         bool close, bool headOnly);

}  // namespace ferrin::proxy
