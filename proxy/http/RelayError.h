#pragma once
// The responses that the relay makes itself when it can't or won't forward.

#include <string>
#include <string_view>

namespace ferrin::proxy {

/// Each has a row in RelayError.cpp: status, code, texts.
enum class RelayError {
  badRequest,
  malformedBody,
  forbiddenHost,
  forbiddenOrigin,
  forbiddenUser,
  notFound,
  methodNotAllowed,
  requestTimeout,
  upgradeRequired,
  headersTooLarge,
  upstreamUnreachable,
  proxyUnreachable,
  proxyLoginRefused,
  proxyRefused,
  upstreamClosed,
  upstreamInvalid,
  upstreamAddressUnusable,
  apiKeyUnavailable,
  tooManyConnections,
  ownerUnknown,
  upstreamTimeout,
};

int statusOf(RelayError error);

/// The cause for the log, with what a person can do about it, in one line. An empty cause stands for the
/// client's message.
std::string withRemedy(RelayError error, std::string_view cause);

/// The whole response: a head with `X-Ferrin-Relay: error`, and the error object in the provider's shape.
/// `close` announces that the connection ends with it; `headOnly` leaves the body out, as for HEAD.
std::string relayResponse(RelayError error, bool close, bool headOnly);

/// Head and body of a JSON response of the relay's own. `fields` are complete lines.
std::string jsonResponse(int status, std::string_view reason, std::string_view fields, std::string_view body,
                         bool close, bool headOnly);

}  // namespace ferrin::proxy
