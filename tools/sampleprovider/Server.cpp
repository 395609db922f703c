#include "tools/sampleprovider/Server.h"

#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tools/sampleprovider/Tls.h"

namespace ferrin::sampleprovider {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

/// After a failed accept, most likely for want of descriptors: time for connections to end.
constexpr std::chrono::milliseconds acceptAgainAfter{50};

std::string text(const tcp::endpoint& endpoint) {
  std::ostringstream out;
  out << endpoint;
  return out.str();
}

}  // namespace

Server::Server(asio::io_context& io, const Options& givenOptions, std::string key)
    : options(givenOptions),
      provider(options, std::move(key)),
      shared{options, provider, statistics},
      acceptor(io),
      retry(io) {
  if (options.tls) tls = serverContext(*options.tls);
  listen();
  accept();
}

std::string Server::baseURL() const {
  return (tls ? "https://" : "http://") + text(acceptor.local_endpoint()) + options.prefix;
}

void Server::listen() {
  const tcp::endpoint endpoint(asio::ip::make_address(options.host), options.port);
  try {
    acceptor.open(endpoint.protocol());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen(tcp::acceptor::max_listen_connections);
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error(text(endpoint) + ": " + error.code().message());
  }
}

void Server::accept() {
  acceptor.async_accept([this](boost::system::error_code error, tcp::socket socket) {
    if (!error) {
      serve(std::move(socket));
      accept();
      return;
    }
    retry.expires_after(acceptAgainAfter);
    retry.async_wait([this](boost::system::error_code stopped) {
      if (!stopped) accept();
    });
  });
}

void Server::serve(tcp::socket socket) {
  boost::system::error_code alreadyGone;
  socket.set_option(tcp::no_delay(true), alreadyGone);
  tls ? serveConnection(std::move(socket), *tls, shared) : serveConnection(std::move(socket), shared);
}

}  // namespace ferrin::sampleprovider
