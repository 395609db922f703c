#pragma once
// A server that a test plays by hand. What never comes ends with the test's own time limit.

#include <poll.h>

#include <boost/asio.hpp>
#include <chrono>
#include <string>

namespace ferrin::tests {

class Connection {
 public:
  explicit Connection(boost::asio::ip::tcp::socket accepted) : socket(std::move(accepted)) {}

  void send(const std::string& bytes) { write(socket, boost::asio::buffer(bytes)); }
  /// A request's head and as much body as its Content-Length says.
  std::string readAnswer() {
    std::string bytes;
    auto into = boost::asio::dynamic_buffer(bytes);
    const std::size_t head = read_until(socket, into, "\r\n\r\n");
    const std::size_t length = std::stoul(bytes.substr(bytes.find("Content-Length: ") + 16));
    read(socket, into, boost::asio::transfer_exactly(head + length - bytes.size()));
    return bytes;
  }
  bool silentFor(std::chrono::milliseconds time) {
    pollfd polled{socket.native_handle(), POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(time.count())) == 0;
  }
  void close() { socket.close(); }

 private:
  boost::asio::ip::tcp::socket socket;
};

class Upstream {
 public:
  std::string url(const std::string& path = "") const {
    return "http://127.0.0.1:" + std::to_string(listener.local_endpoint().port()) + path;
  }
  Connection accept() { return Connection(listener.accept()); }

 private:
  boost::asio::io_context io;
  boost::asio::ip::tcp::acceptor listener{io, {boost::asio::ip::address_v4::loopback(), 0}};
};

}  // namespace ferrin::tests
