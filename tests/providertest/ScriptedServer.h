#pragma once
// An HTTP server on loopback that says what a test wants, and keeps what it was asked.

#include <boost/asio.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ferrin::tests {

/// Serves one connection after the other, each by the next of its replies. Once the request has come in whole
/// it gets the pieces, each followed by the gap, and then the end of the connection.
class ScriptedServer {
 public:
  using Replies = std::vector<std::vector<std::string>>;

  explicit ScriptedServer(Replies script, std::chrono::milliseconds pause = {})
      : replies(std::move(script)), gap(pause) {
    boost::asio::co_spawn(io, serve(), boost::asio::detached);
    thread = std::thread([this] { io.run(); });
  }
  ~ScriptedServer() {
    io.stop();
    thread.join();
  }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(listener.local_endpoint().port()) + path;
  }
  /// To be looked at when the replies have arrived.
  std::vector<boost::beast::http::request<boost::beast::http::string_body>> requests;

 private:
  boost::asio::awaitable<void> serve() {
    using boost::asio::use_awaitable;
    for (const auto& pieces : replies) {
      auto connection = co_await listener.async_accept(use_awaitable);
      boost::beast::flat_buffer buffer;
      co_await boost::beast::http::async_read(connection, buffer, requests.emplace_back(), use_awaitable);
      for (const std::string& piece : pieces) {
        co_await boost::asio::async_write(connection, boost::asio::buffer(piece), use_awaitable);
        co_await boost::asio::steady_timer(io, gap).async_wait(use_awaitable);
      }
    }
  }

  const Replies replies;
  const std::chrono::milliseconds gap;
  boost::asio::io_context io;
  boost::asio::ip::tcp::acceptor listener{io, {boost::asio::ip::address_v4::loopback(), 0}};
  std::thread thread;
};

}  // namespace ferrin::tests
