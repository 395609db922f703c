#include "proxy/http/RelayError.h"

#include <cstddef>
#include <iterator>

namespace ferrin::proxy {
namespace {

constexpr std::string_view cantConnect = "The relay could not connect to the provider. Its log says why.";

struct Row {
  RelayError error;
  int status;
  std::string_view reason;
  std::string_view code;
  std::string_view message;
  std::string_view remedy;  ///< empty where there is nothing to be done
};

/// The client's texts are fixed: the cause of a failure goes to the log, with the remedy.
constexpr Row rows[] = {
    {RelayError::badRequest, 400, "Bad Request", "bad_request", "The relay could not read this request.",
     "speak http to it, not https"},
    {RelayError::malformedBody, 400, "Bad Request", "bad_request", "The relay could not read this request.",
     "mend the program that sent it"},
    {RelayError::forbiddenHost, 403, "Forbidden", "forbidden_host",
     "The relay answers only requests addressed to this computer.", "use http://127.0.0.1 with its port"},
    {RelayError::forbiddenOrigin, 403, "Forbidden", "forbidden_origin",
     "The relay does not answer web pages.", "ask from a program"},
    {RelayError::forbiddenUser, 403, "Forbidden", "forbidden_user",
     "The relay answers only the user who runs it.", "use it as that user"},
    {RelayError::notFound, 404, "Not Found", "not_found", "The relay serves only paths below /v1.",
     "end the base URL in /v1"},
    {RelayError::methodNotAllowed, 405, "Method Not Allowed", "method_not_allowed",
     "The relay forwards neither TRACE nor CONNECT.", "use another method"},
    {RelayError::requestTimeout, 408, "Request Timeout", "request_timeout",
     "The request's body stopped in its middle.", "send the whole body"},
    {RelayError::upgradeRequired, 426, "Upgrade Required", "upgrade_required",
     "The provider does not offer WebSocket here. Use HTTP.", ""},
    {RelayError::headersTooLarge, 431, "Request Header Fields Too Large", "headers_too_large",
     "The request's head is over 64 KiB.", "send fewer or shorter headers"},
    {RelayError::upstreamUnreachable, 502, "Bad Gateway", "upstream_unreachable", cantConnect,
     "check the provider's address and the network"},
    {RelayError::proxyUnreachable, 502, "Bad Gateway", "upstream_unreachable", cantConnect,
     "start that proxy, or correct the proxy variables and apply again"},
    {RelayError::proxyLoginRefused, 502, "Bad Gateway", "upstream_unreachable", cantConnect,
     "put its user and password into the proxy variables and apply again"},
    {RelayError::proxyRefused, 502, "Bad Gateway", "upstream_unreachable", cantConnect,
     "check the provider's address, and that the proxy lets you through to it"},
    {RelayError::upstreamClosed, 502, "Bad Gateway", "upstream_closed",
     "The provider closed the connection before it answered.", "try again"},
    {RelayError::upstreamInvalid, 502, "Bad Gateway", "upstream_invalid",
     "The provider's answer was not valid HTTP.", "check the provider's address"},
    {RelayError::upstreamAddressUnusable, 502, "Bad Gateway", "upstream_address_unusable",
     "The provider's address can't be used. The relay's log says why.",
     "save the right address in Ferrin Relay, and apply it"},
    {RelayError::apiKeyUnavailable, 503, "Service Unavailable", "api_key_unavailable",
     "The relay could not read the API key file. Save the key again in Ferrin Relay.",
     "save the key again in Ferrin Relay"},
    {RelayError::tooManyConnections, 503, "Service Unavailable", "too_many_connections",
     "The relay serves 1,024 connections at most.", "end programs that hold connections to it"},
    {RelayError::ownerUnknown, 503, "Service Unavailable", "too_many_connections",
     "The relay could not find out whose connection this is.",
     "end programs that hold connections to it, or raise the limit of open files"},
    {RelayError::upstreamTimeout, 504, "Gateway Timeout", "upstream_timeout",
     "The provider did not answer in time.", "try again"},
};

constexpr bool areInOrder() {
  for (std::size_t index = 0; index < std::size(rows); ++index) {
    if (rows[index].error != static_cast<RelayError>(index)) return false;
  }
  return std::size(rows) == static_cast<std::size_t>(RelayError::upstreamTimeout) + 1;
}
static_assert(areInOrder());

const Row& rowOf(RelayError error) { return rows[static_cast<std::size_t>(error)]; }

}  // namespace

int statusOf(RelayError error) { return rowOf(error).status; }

std::string withRemedy(RelayError error, std::string_view cause) {
  const Row& row = rowOf(error);
  std::string line(cause.empty() ? row.message.substr(0, row.message.rfind('.')) : cause);
  if (!row.remedy.empty()) line.append("; ").append(row.remedy);
  return line;
}

std::string relayResponse(RelayError error, bool close, bool headOnly) {
  const Row& row = rowOf(error);
  std::string body = R"({"error":{"message":")";
  body.append(row.message)
      .append(R"(","type":"relay_error","param":null,"code":")")
      .append(row.code)
      .append("\"}}");
  const std::string_view fields =
      error == RelayError::upgradeRequired
          ? "X-Ferrin-Relay: error\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
          : "X-Ferrin-Relay: error\r\n";
  return jsonResponse(row.status, row.reason, fields, body, close, headOnly);
}

std::string jsonResponse(int status, std::string_view reason, std::string_view fields, std::string_view body,
                         bool close, bool headOnly) {
  std::string response = "HTTP/1.1 " + std::to_string(status);
  response.append(" ").append(reason).append("\r\nContent-Type: application/json\r\nContent-Length: ");
  response.append(std::to_string(body.size())).append("\r\n").append(fields);
  if (close) response.append("Connection: close\r\n");
  response.append("\r\n");
  if (!headOnly) response.append(body);
  return response;
}

}  // namespace ferrin::proxy
