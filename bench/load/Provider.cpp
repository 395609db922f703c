#include "bench/load/Provider.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <system_error>
#include <utility>

namespace ferrin::bench {
namespace {

const std::string smallBody =
    R"({"id":"resp_0123456789abcdef","object":"response","status":"completed","model":"gpt-5.6-terra","output":[)"
    R"({"type":"message","role":"assistant","content":[{"type":"output_text","text":"An answer of the usual small )"
    R"(size, such as a model list or a short reply."}]}]})";

std::string withLength(const std::string& type, const std::string& body, const std::string& more = "") {
  return "HTTP/1.1 200 OK\r\nContent-Type: " + type + "\r\nx-request-id: req_1\r\n" + more +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

Provider::Provider(Loop& withLoop, std::uint16_t port, const std::string& pemFile)
    : loop(withLoop), tls(serverContext(pemFile)), listener(listenOn(port)) {
  loop.watch(listener, [this] { accept(); });
}

void Provider::accept() {
  for (;;) {
    const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) return;
    loop.watch(socket, [this, connection = std::make_shared<Connection>(
                                  Connection{Wire::accepted(socket, tls.get()), {}})] { serve(connection); });
  }
}

void Provider::serve(const Shared& connection) try {
  const bool open = connection->wire.fill(connection->input);
  for (;;) {
    const std::string_view bytes = connection->input.bytes();
    const std::size_t headEnd = bytes.find("\r\n\r\n");
    if (headEnd == std::string_view::npos) break;
    count(*connection);
    const std::size_t target = bytes.find(' ') + 1;
    const std::string path(bytes.substr(target, bytes.find(' ', target) - target));
    connection->input.consume(headEnd + 4);
    if (!answer(connection, path)) return end(connection);
  }
  if (!open) end(connection);
} catch (const std::system_error&) {  // the other side has left in the middle of an answer
  end(connection);
}

void Provider::count(Connection& connection) {
  ++requests;
  if (std::exchange(connection.counted, true)) return;
  ++connections;
  if (connection.wire.resumed()) ++resumed;
}

void Provider::end(const Shared& connection) {
  std::erase(begun, connection);
  connection->wire.shutDown();
  loop.forget(connection->wire.socket());
}

bool Provider::answer(const Shared& connection, std::string_view path) {
  constexpr std::string_view prefix = "/v1";  // which proxies keep or leave out
  constexpr std::string_view sized = "/bytes/";
  Wire& wire = connection->wire;
  if (path.starts_with(prefix)) path.remove_prefix(prefix.size());
  if (path == "/stream") {
    wire.sendAll("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n");
    begun.push_back(connection);
  } else if (path.starts_with(sized)) {
    const std::size_t size = std::stoul(std::string(path.substr(sized.size())));
    wire.sendAll(withLength("application/octet-stream", std::string(size, 'x')));
  } else if (path == "/once") {
    wire.sendAll(withLength("application/json", smallBody, "Connection: close\r\n"));
    return false;
  } else if (path == "/counts") {
    wire.sendAll(withLength("application/json", "{" + counts() + "}"));
  } else {
    wire.sendAll(withLength("application/json", smallBody));
  }
  return true;
}

void Provider::sendEvent(std::size_t index) {
  // As long as a token's event: 128 bytes of content in one chunk.
  std::string event =
      "80\r\nevent: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"at\":";
  event += std::to_string(now());
  const std::size_t content = event.size() - 4;
  event += std::string(128 - content - 3, ' ') + "}\n\n\r\n";
  if (begun.empty()) return;
  const Shared connection = begun.at(index % begun.size());
  try {
    connection->wire.sendAll(event);
  } catch (const std::system_error&) {  // the other side has left
    end(connection);
  }
}

std::string Provider::counts() const {
  return "\"connections\": " + std::to_string(connections) + ", \"resumed\": " + std::to_string(resumed) +
         ", \"requests\": " + std::to_string(requests);
}

}  // namespace ferrin::bench
