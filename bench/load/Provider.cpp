#include "bench/load/Provider.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cstdio>
#include <stdexcept>

namespace ferrin::bench {
namespace {

const std::string smallBody =
    R"({"id":"resp_0123456789abcdef","object":"response","status":"completed","model":"gpt-5.6-terra","output":[)"
    R"({"type":"message","role":"assistant","content":[{"type":"output_text","text":"An answer of the usual small )"
    R"(size, such as a model list or a short reply."}]}]})";

std::string withLength(const std::string& type, const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Type: " + type +
         "\r\nx-request-id: req_1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

Provider::Provider(Loop& withLoop, std::uint16_t port) : loop(withLoop), listener(listenOn(port)) {
  loop.watch(listener, [this] { accept(); });
}

void Provider::accept() {
  for (;;) {
    const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) return;
    loop.watch(socket, [this, socket, input = std::make_shared<Input>()] { serve(socket, *input); });
  }
}

void Provider::serve(int socket, Input& input) try {
  if (!input.fill(socket)) return end(socket);
  for (;;) {
    const std::string_view bytes = input.bytes();
    const std::size_t headEnd = bytes.find("\r\n\r\n");
    if (headEnd == std::string_view::npos) return;
    const std::size_t target = bytes.find(' ') + 1;
    answer(socket, bytes.substr(target, bytes.find(' ', target) - target));
    input.consume(headEnd + 4);
  }
} catch (const std::system_error&) {  // the other side has left in the middle of an answer
  end(socket);
}

void Provider::end(int socket) {
  std::erase(begun, socket);
  loop.forget(socket);
}

void Provider::answer(int socket, std::string_view path) {
  constexpr std::string_view prefix = "/v1";  // which proxies keep or leave out
  constexpr std::string_view sized = "/bytes/";
  if (path.starts_with(prefix)) path.remove_prefix(prefix.size());
  if (path == "/stream") {
    sendAll(socket,
            "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n");
    begun.push_back(socket);
  } else if (path.starts_with(sized)) {
    const std::size_t size = std::stoul(std::string(path.substr(sized.size())));
    sendAll(socket, withLength("application/octet-stream", std::string(size, 'x')));
  } else {
    sendAll(socket, withLength("application/json", smallBody));
  }
}

void Provider::sendEvent(int stream) {
  // As long as a token's event: 128 bytes of content in one chunk.
  std::string event =
      "80\r\nevent: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"at\":";
  event += std::to_string(now());
  const std::size_t content = event.size() - 4;
  event += std::string(128 - content - 3, ' ') + "}\n\n\r\n";
  sendAll(stream, event);
}

}  // namespace ferrin::bench
