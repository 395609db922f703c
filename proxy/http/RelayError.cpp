#include "proxy/http/RelayError.h"

#include <array>
#include <cstddef>

namespace ferrin::proxy {
namespace {

struct Row {
  int status;
  std::string_view reason;
  std::string_view code;
  std::string_view message;
  std::string_view remedy;  ///< empty where there is nothing to be done
};

/// In the order of RelayError. Fixed texts: the cause of a failure goes to the log, with the remedy, not to
/// the client.
constexpr std::array<Row, 13> rows{{
    {400, "Bad Request", "bad_request", "The relay could not read this request.",
     "speak http to it, not https"},
    {403, "Forbidden", "forbidden_host", "The relay answers only requests addressed to this computer.",
     "use http://127.0.0.1 with its port"},
    {403, "Forbidden", "forbidden_origin", "The relay does not answer web pages.", "ask from a program"},
    {403, "Forbidden", "forbidden_user", "The relay answers only the user who runs it.",
     "use it as that user"},
    {404, "Not Found", "not_found", "The relay serves only paths below /v1.", "end the base URL in /v1"},
    {426, "Upgrade Required", "upgrade_required", "The provider does not offer WebSocket here. Use HTTP.",
     ""},
    {431, "Request Header Fields Too Large", "headers_too_large", "The request's head is over 64 KiB.",
     "send fewer or shorter headers"},
    {502, "Bad Gateway", "upstream_unreachable",
     "The relay could not connect to the provider. Its log says why.",
     "check the provider's address and the network"},
    {502, "Bad Gateway", "upstream_closed", "The provider closed the connection before it answered.",
     "try again"},
    {502, "Bad Gateway", "upstream_invalid", "The provider's answer was not valid HTTP.",
     "check the provider's address"},
    {503, "Service Unavailable", "api_key_unavailable",
     "The relay could not read the API key file. Save the key again in Ferrin Relay.",
     "save the key again in Ferrin Relay"},
    {503, "Service Unavailable", "too_many_connections", "The relay serves 1,024 connections at most.",
     "end programs that hold connections to it"},
    {504, "Gateway Timeout", "upstream_timeout", "The provider did not answer in time.", "try again"},
}};

const Row& rowOf(RelayError error) { return rows.at(static_cast<std::size_t>(error)); }

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
  std::string answer = "HTTP/1.1 " + std::to_string(status);
  answer.append(" ").append(reason).append("\r\nContent-Type: application/json\r\nContent-Length: ");
  answer.append(std::to_string(body.size())).append("\r\n").append(fields);
  if (close) answer.append("Connection: close\r\n");
  answer.append("\r\n");
  if (!headOnly) answer.append(body);
  return answer;
}

}  // namespace ferrin::proxy
