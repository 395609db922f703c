#include "tests/support/ScriptedServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace ferrin::tests {
namespace {

constexpr std::chrono::milliseconds forever{-1};  // as poll takes it

/// The number of bytes that the request has with its body; all of them are awaited. 0 while its head is
/// incomplete.
std::size_t wholeLength(const std::string& request) {
  const auto headEnd = request.find("\r\n\r\n");
  if (headEnd == std::string::npos) return 0;
  const auto field = request.find("Content-Length: ");
  const std::size_t bodyLength = field < headEnd ? std::stoul(request.substr(field + 16)) : 0;
  return headEnd + 4 + bodyLength;
}

}  // namespace

Reply reply(const std::string& statusLine, const std::string& body, const std::string& moreHeaders) {
  return {.pieces = {"HTTP/1.1 " + statusLine + "\r\nConnection: close\r\nContent-Length: " +
                     std::to_string(body.size()) + "\r\n" + moreHeaders + "\r\n" + body}};
}

ScriptedServer::ScriptedServer(std::vector<Reply> script) : replies(std::move(script)) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
  stopReading.reset(ends[0]);
  stopWriting.reset(ends[1]);
  listener.reset(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener.get(), generic, length) != 0 || listen(listener.get(), 16) != 0 ||
      getsockname(listener.get(), generic, &length) != 0) {
    throw std::runtime_error("no listening socket");
  }
  port = ntohs(address.sin_port);
  thread = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
  stopWriting.reset();
  thread.join();
}

std::string ScriptedServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port) + path;
}

std::vector<std::string> ScriptedServer::requests() const {
  const std::lock_guard lock(mutex);
  return received;
}

bool ScriptedServer::endsWhileWaiting(int descriptor, std::chrono::milliseconds time) const {
  std::array<pollfd, 2> awaited{pollfd{stopReading.get(), POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
  poll(awaited.data(), awaited.size(), static_cast<int>(time.count()));
  return awaited[0].revents != 0;
}

void ScriptedServer::serve() {
  for (const Reply& next : replies) {
    if (endsWhileWaiting(listener.get(), forever)) return;
    const core::FileDescriptor connection(accept(listener.get(), nullptr, nullptr));
    answer(connection.get(), next);
  }
}

void ScriptedServer::answer(int connection, const Reply& next) {
  std::string request;
  std::array<char, 65536> block{};
  while (wholeLength(request) == 0 || request.size() < wholeLength(request)) {
    if (endsWhileWaiting(connection, forever)) return;
    const ssize_t count = recv(connection, block.data(), block.size(), 0);
    if (count <= 0) return;
    request.append(block.data(), static_cast<std::size_t>(count));
  }
  {
    const std::lock_guard lock(mutex);
    received.push_back(request);
  }
  for (const std::string& piece : next.pieces) {
    if (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) < 0) return;
    if (endsWhileWaiting(-1, next.gap)) return;
  }
}

}  // namespace ferrin::tests
