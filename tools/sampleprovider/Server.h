#pragma once
// Listens and hands each connection on. One thread: whoever runs the io_context.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <string>

#include "tools/sampleprovider/Connection.h"

namespace ferrin::sampleprovider {

class Server {
 public:
  /// Accepts connections from now on. Throws std::runtime_error naming the address or the file that can't be
  /// used. `io` and `options` outlive the server; the server outlives every run of `io`.
  Server(boost::asio::io_context& io, const Options& options, std::string key);

  /// What clients put in front of "/responses".
  std::string baseURL() const;

 private:
  const Options& options;
  Provider provider;
  Statistics statistics;
  Shared shared;
  std::optional<boost::asio::ssl::context> tls;
  boost::asio::ip::tcp::acceptor acceptor;
  boost::asio::steady_timer retry;

  void listen();
  void accept();
  void serve(boost::asio::ip::tcp::socket socket);
};

}  // namespace ferrin::sampleprovider
