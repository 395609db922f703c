#include "tests/proxy/Peers.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace ferrin::proxy::tests {
namespace {

using std::chrono::milliseconds;

sockaddr_in loopback(std::uint16_t port, const std::string& text = "127.0.0.1") {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, text.c_str(), &address.sin_addr);
  return address;
}

std::uint16_t portOf(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

FileDescriptor listening(int backlog, const sockaddr_in& address = loopback(0)) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(socket.get(), backlog) != 0) {
    throw std::system_error(errno, std::generic_category(), "listen");
  }
  return socket;
}

bool ready(int socket, short events, milliseconds time) {
  pollfd polled{socket, events, 0};
  return poll(&polled, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace

Connection::Connection(std::uint16_t port, int receiveBuffer)
    : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (receiveBuffer > 0)
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  const sockaddr_in address = loopback(port);
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "connect");
  }
}

Connection Connection::overIPv6(std::uint16_t port) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(port);
  address.sin6_addr = in6addr_loopback;
  FileDescriptor socket(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "connect");
  }
  return Connection(std::move(socket));
}

void Connection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) throw std::system_error(errno, std::generic_category(), "send");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::size_t Connection::sendSome(std::string_view bytes) {
  std::size_t total = 0;
  while (total < bytes.size() && ready(socket.get(), POLLOUT, milliseconds(300))) {
    const ssize_t count =
        ::send(socket.get(), bytes.data() + total, bytes.size() - total, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) break;
    total += static_cast<std::size_t>(count);
  }
  return total;
}

void Connection::awaitReadable(milliseconds time) {
  if (!ready(socket.get(), POLLIN, time))
    throw std::runtime_error("nothing came; so far: " + buffered.substr(0, 300));
}

bool Connection::fill() {
  awaitReadable();
  std::array<char, 65536> block{};
  const ssize_t count = recv(socket.get(), block.data(), block.size(), 0);
  if (count < 0) buffered += "<reset>";
  if (count > 0) buffered.append(block.data(), static_cast<std::size_t>(count));
  return count > 0;
}

std::string Connection::readUntil(std::string_view end) {
  std::size_t found = 0;
  while ((found = buffered.find(end)) == std::string::npos) {
    if (!fill()) throw std::runtime_error("ended early, after: " + buffered);
  }
  return read(found + end.size());
}

std::string Connection::read(std::size_t count) {
  while (buffered.size() < count) {
    if (!fill()) throw std::runtime_error("ended early, after: " + buffered);
  }
  std::string bytes = buffered.substr(0, count);
  buffered.erase(0, count);
  return bytes;
}

std::string Connection::readSome() {
  if (buffered.empty()) fill();
  return std::exchange(buffered, {});
}

std::string Connection::readAnswer() {
  const std::string head = readHead();
  const std::size_t field = head.find("Content-Length: ");
  return field == std::string::npos ? head : head + read(std::stoul(head.substr(field + 16)));
}

std::string Connection::readAll() {
  while (fill()) {}
  return std::exchange(buffered, {});
}

bool Connection::silentFor(milliseconds time) {
  return buffered.empty() && !ready(socket.get(), POLLIN, time);
}

milliseconds Connection::timeUntilClosed() {
  const auto start = std::chrono::steady_clock::now();
  while (fill()) {}
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

void Connection::finishSending() { shutdown(socket.get(), SHUT_WR); }

void Connection::reset() {
  const linger now{1, 0};
  setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  socket.reset();
}

Upstream::Upstream(const std::string& address, std::uint16_t port)
    : listener(listening(SOMAXCONN, loopback(port, address))), number(portOf(listener.get())) {}

std::string Upstream::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(number) + std::string(path);
}

Connection Upstream::accept() {
  if (!ready(listener.get(), POLLIN, patience)) throw std::runtime_error("the relay did not connect");
  return Connection(FileDescriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)));
}

bool Upstream::silentFor(milliseconds time) { return !ready(listener.get(), POLLIN, time); }

DeafUpstream::DeafUpstream() : listener(listening(0)), number(portOf(listener.get())) {
  const sockaddr_in address = loopback(number);
  for (FileDescriptor& caller :
       callers) {  // the queue has room for one, and the system knocks again for the other
    caller = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    connect(caller.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
}

std::uint16_t unusedPort() {
  const Upstream briefly;
  return briefly.port();
}

std::string request(std::uint16_t port, const std::string& requestLine, const std::string& moreLines,
                    const std::string& body) {
  const std::string length = body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return requestLine + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n" + moreLines + length +
         "\r\n" + body;
}

}  // namespace ferrin::proxy::tests
