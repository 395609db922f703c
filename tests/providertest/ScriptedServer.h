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

/// What one connection gets once its request has come in whole: the pieces, each followed by a gap, and then
/// the end of the connection.
struct Reply {
  std::vector<std::string> pieces;
  std::chrono::milliseconds gap{0};
};

/// A reply whose length is told.
inline Reply reply(const std::string& statusLine, const std::string& body, const std::string& headers = "") {
  return {.pieces = {"HTTP/1.1 " + statusLine + "\r\nConnection: close\r\nContent-Length: " +
                     std::to_string(body.size()) + "\r\n" + headers + "\r\n" + body}};
}

/// Serves one connection after the other, the first with the first reply.
class ScriptedServer {
 public:
  using Request = boost::beast::http::request<boost::beast::http::string_body>;

  explicit ScriptedServer(std::vector<Reply> script) : replies(std::move(script)) {
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
  std::vector<Request> requests;

 private:
  boost::asio::awaitable<void> serve() {
    using boost::asio::use_awaitable;
    for (const Reply& next : replies) {
      auto connection = co_await listener.async_accept(use_awaitable);
      boost::beast::flat_buffer buffer;
      boost::beast::http::request_parser<Request::body_type> parser;
      parser.body_limit(boost::none);
      co_await boost::beast::http::async_read(connection, buffer, parser, use_awaitable);
      requests.push_back(parser.release());
      for (const std::string& piece : next.pieces) {
        co_await boost::asio::async_write(connection, boost::asio::buffer(piece), use_awaitable);
        co_await boost::asio::steady_timer(io, next.gap).async_wait(use_awaitable);
      }
    }
  }

  const std::vector<Reply> replies;
  boost::asio::io_context io;
  boost::asio::ip::tcp::acceptor listener{io, {boost::asio::ip::address_v4::loopback(), 0}};
  std::thread thread;
};

}  // namespace ferrin::tests
